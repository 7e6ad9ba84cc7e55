#include "halvora/Devices/Measurement/BloodPressureMonitor.hpp"

namespace halvora {

void BloodPressureMonitor::deliverResultUnlessRepeated(const HalvoraSDKHeartData& result) {
    if (lastData_ && lastData_->isEqual(result)) return;
    auto receiver = delegate();
    if (!receiver) return;
    receiver->deviceOnDataReceived(shared_from_this(), result);
    lastData_ = result;
}

void BloodPressureMonitor::reportDeviceError(std::optional<std::int32_t> code) {
    reportError(code ? DeviceError(*code) : DeviceError(std::monostate{}));
}

bool BloodPressureMonitor::nameEquals(const std::shared_ptr<Peripheral>& peripheral, const char* name) {
    if (!peripheral) return false;
    const auto peripheralName = peripheral->name();
    return peripheralName && *peripheralName == name;
}

}  // namespace halvora
