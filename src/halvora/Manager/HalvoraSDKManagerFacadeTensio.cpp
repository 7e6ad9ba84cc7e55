// Facade rows of the wrist blood-pressure bracelet (kind 5): each forwards to the driver registered for the
// kind, on its callback queue; without one nothing happens.
#include "halvora/Devices/Tensio/HalvoraSDKTensioBracelet.hpp"
#include "halvora/Manager/internal/ForwardTo.hpp"

namespace halvora {

namespace {

using Tensio = HalvoraSDKTensioBracelet;

/// The most windows an ambulatory schedule holds.
constexpr std::size_t kMaxAmbulatoryIntervals = 3;
/// Information for a schedule of more windows than that.
constexpr std::int32_t kTooManyIntervals = -20;
/// Information for windows the bracelet's check refuses (one inside another).
constexpr std::int32_t kIntervalsRefused = -21;

}  // namespace

bool HalvoraSDKManager::isTensioBraceletMeasuring() const {
    auto driver = std::dynamic_pointer_cast<Tensio>(driverForKind(DeviceTypeTensioBracelet));
    return driver && driver->measuring();
}

void HalvoraSDKManager::startMeasurementTensioBracelet() {
    startMeasurement(DeviceTypeTensioBracelet);
}

void HalvoraSDKManager::stopMeasurementTensioBracelet() {
    forwardTo<Tensio>(DeviceTypeTensioBracelet, [](Tensio& d) { d.stopMeasurement(); });
}

void HalvoraSDKManager::returnMeasurementTensioBracelet() {
    returnMeasurement(DeviceTypeTensioBracelet);
}

bool HalvoraSDKManager::returnMeasurement(DeviceKind kind) {
    if (kind != DeviceTypeTensioBracelet) return false;
    return forwardTo<Tensio>(kind, [](Tensio& d) { d.returnMeasurement(); });
}

void HalvoraSDKManager::getBloodPressureHistoryTensioBracelet() {
    forwardTo<Tensio>(DeviceTypeTensioBracelet, [](Tensio& d) { d.getBloodPressureHistory(); });
}

void HalvoraSDKManager::removeBloodPressureHistoryTensioBracelet() {
    forwardTo<Tensio>(DeviceTypeTensioBracelet, [](Tensio& d) { d.removeBloodPressureHistory(); });
}

void HalvoraSDKManager::getSmartwatchTimeTensioBracelet() {
    forwardTo<Tensio>(DeviceTypeTensioBracelet, [](Tensio& d) { d.getSmartwatchTime(); });
}

void HalvoraSDKManager::setSmartwatchTimeTensioBracelet() {
    forwardTo<Tensio>(DeviceTypeTensioBracelet, [](Tensio& d) { d.setSmartwatchTime(); });
}

void HalvoraSDKManager::getBasicInfoTensioBracelet() {
    forwardTo<Tensio>(DeviceTypeTensioBracelet, [](Tensio& d) { d.getBasicInfo(); });
}

void HalvoraSDKManager::resetDefaultsTensioBracelet() {
    forwardTo<Tensio>(DeviceTypeTensioBracelet, [](Tensio& d) { d.resetDefaults(); });
}

void HalvoraSDKManager::setSmartwatchConfigTensioBracelet(const HalvoraSDKTensioBraceletConfig& config) {
    forwardTo<Tensio>(DeviceTypeTensioBracelet, [config](Tensio& d) { d.setConfig(config); });
}

void HalvoraSDKManager::setAmbulatoryBloodPressureTimeTensioBracelet(
    const std::vector<HalvoraSDKTensioBraceletInterval>& intervals) {
    if (intervals.size() > kMaxAmbulatoryIntervals) {
        if (auto receiver = tensioBraceletDelegate()) receiver->tensioBraceletInformation(kTooManyIntervals);
        return;
    }
    if (!std::dynamic_pointer_cast<Tensio>(driverForKind(DeviceTypeTensioBracelet))) return;
    if (!Tensio::checkIntervalCorrect(intervals)) {
        if (auto receiver = tensioBraceletDelegate()) receiver->tensioBraceletInformation(kIntervalsRefused);
        return;
    }
    forwardTo<Tensio>(DeviceTypeTensioBracelet, [intervals](Tensio& d) { d.setAmbulatoryBloodPressureTime(intervals); });
}

}  // namespace halvora
