// Facade operations: each looks up the registered driver of its kind and forwards the call to it on the
// driver's callback queue; without a driver nothing happens.
#include "halvora/Core/PreferenceUtils.hpp"
#include "halvora/Devices/Measurement/HalvoraSDKHeartDevice.hpp"
#include "halvora/Devices/Measurement/HalvoraSDKHeartDeviceV3.hpp"
#include "halvora/Devices/Measurement/HalvoraSDKThermometerV2.hpp"
#include "halvora/Manager/HalvoraSDKManager.hpp"

namespace halvora {

template <typename Driver, typename Work>
bool HalvoraSDKManager::forwardTo(DeviceKind kind, Work work) {
    auto driver = std::dynamic_pointer_cast<Driver>(driverForKind(kind));
    if (!driver) return false;
    bleQueue_->async([driver, work] { work(*driver); });
    return true;
}

bool HalvoraSDKManager::startMeasurement(DeviceKind kind) {
    if (kind != DeviceTypeHeart) return false;
    // The second generation has no start command: it measures on its own.
    return forwardTo<HalvoraSDKHeartDevice>(kind, [](HalvoraSDKHeartDevice& d) { d.startMeasurement(); }) ||
           forwardTo<HalvoraSDKHeartDeviceV3>(kind, [](HalvoraSDKHeartDeviceV3& d) { d.startMeasurement(); });
}

bool HalvoraSDKManager::startMeasurement() {
    startMeasurement(DeviceTypeHeart);
    return false;
}

void HalvoraSDKManager::checkBatteryLevel(DeviceKind kind) {
    forwardTo<HalvoraSDKHeartDeviceV3>(kind, [](HalvoraSDKHeartDeviceV3& d) { d.getBatteryLevel(); });
}

bool HalvoraSDKManager::sendThermometerCommand(std::int32_t command) {
    return forwardTo<HalvoraSDKThermometerV2>(DeviceTypeThermometer,
                                              [command](HalvoraSDKThermometerV2& d) { d.sendCommand(command); });
}

std::optional<std::string> HalvoraSDKManager::getDeviceUUID(DeviceKind kind) const {
    auto driver = driverForKind(kind);
    if (!driver) return std::nullopt;
    auto peripheral = driver->device();
    if (!peripheral) return std::nullopt;
    return peripheral->identifier();
}

void HalvoraSDKManager::setWeightScaleParams(const std::string& unit, std::int32_t gender, std::int32_t age,
                                             std::int32_t height) {
    preferences().setWeightUnit(unit);
    preferences().setWeightGender(gender);
    preferences().setWeightAge(age);
    preferences().setWeightHeight(height);
}

}  // namespace halvora
