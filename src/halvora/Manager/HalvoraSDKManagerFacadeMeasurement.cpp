// Facade rows of the measurement devices: blood-pressure monitors, thermometers and the weight scale.
#include "halvora/Core/PreferenceUtils.hpp"
#include "halvora/Devices/Measurement/HalvoraSDKHeartDevice.hpp"
#include "halvora/Devices/Measurement/HalvoraSDKHeartDeviceV3.hpp"
#include "halvora/Devices/Measurement/HalvoraSDKThermometerV2.hpp"
#include "halvora/Devices/Tensio/HalvoraSDKTensioBracelet.hpp"
#include "halvora/Manager/internal/ForwardTo.hpp"

namespace halvora {

bool HalvoraSDKManager::startMeasurement(DeviceKind kind) {
    if (kind == DeviceTypeTensioBracelet) {
        return forwardTo<HalvoraSDKTensioBracelet>(kind, [](HalvoraSDKTensioBracelet& d) { d.startMeasurement(); });
    }
    if (kind != DeviceTypeHeart) return false;
    // The second generation has no start command: it measures on its own.
    return forwardTo<HalvoraSDKHeartDevice>(kind, [](HalvoraSDKHeartDevice& d) { d.startMeasurement(); }) ||
           forwardTo<HalvoraSDKHeartDeviceV3>(kind, [](HalvoraSDKHeartDeviceV3& d) { d.startMeasurement(); });
}

bool HalvoraSDKManager::startMeasurement() {
    startMeasurement(DeviceTypeHeart);
    return false;
}

bool HalvoraSDKManager::sendThermometerCommand(std::int32_t command) {
    return forwardTo<HalvoraSDKThermometerV2>(DeviceTypeThermometer,
                                              [command](HalvoraSDKThermometerV2& d) { d.sendCommand(command); });
}

void HalvoraSDKManager::setWeightScaleParams(const std::string& unit, std::int32_t gender, std::int32_t age,
                                             std::int32_t height) {
    preferences().setWeightProfile(PreferenceUtils::WeightProfile{unit, gender, age, height});
}

}  // namespace halvora
