// Facade operations every kind shares. Each family's rows live in HalvoraSDKManagerFacade<Family>.cpp: each
// looks up the registered driver of its kind and forwards the call to it on the driver's callback queue;
// without a driver nothing happens.
#include "halvora/Devices/Bracelet/HalvoraSDKBracelet.hpp"
#include "halvora/Devices/Vital/HalvoraSDKBraceletVital.hpp"
#include "halvora/Devices/Measurement/HalvoraSDKHeartDeviceV3.hpp"
#include "halvora/Manager/internal/ForwardTo.hpp"

namespace halvora {

void HalvoraSDKManager::checkBatteryLevel(DeviceKind kind) {
    // Three independent tests of the driver's class: a bracelet asks every connected bracelet.
    const auto driver = driverForKind(kind);
    forwardTo<HalvoraSDKHeartDeviceV3>(kind, [](HalvoraSDKHeartDeviceV3& d) { d.getBatteryLevel(); });
    if (std::dynamic_pointer_cast<HalvoraSDKBracelet>(driver)) getBraceletBattery();
    if (std::dynamic_pointer_cast<HalvoraSDKBraceletVital>(driver)) getBraceletBattery();
}

std::optional<std::string> HalvoraSDKManager::getDeviceUUID(DeviceKind kind) const {
    auto driver = driverForKind(kind);
    if (!driver) return std::nullopt;
    auto peripheral = driver->device();
    if (!peripheral) return std::nullopt;
    return peripheral->identifier();
}

}  // namespace halvora
