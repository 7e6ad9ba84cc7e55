#include "halvora/Core/HalvoraSDKDevice.hpp"

#include <cmath>

namespace halvora {

HalvoraSDKDevice HalvoraSDKDevice::init(std::string identifier, int rssi) {
    HalvoraSDKDevice device;
    device.deviceIdentifier = std::move(identifier);
    device.RSSI = rssi;
    return device;
}

int HalvoraSDKDevice::getPowerValue() { return -69; }

double HalvoraSDKDevice::getDistanceToDevice() const {
    return std::pow(10.0, (static_cast<double>(getPowerValue()) - static_cast<double>(RSSI)) / 20.0);
}

}  // namespace halvora
