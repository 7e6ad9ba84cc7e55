// The settings requests: argument checks, frames and the two-step parameter exchanges.
#include "halvora/Core/DateUtils.hpp"
#include "halvora/Devices/Vital/HalvoraSDKBraceletVital.hpp"
#include "halvora/Devices/Vital/internal/VitalArgumentChecks.hpp"
#include "halvora/Devices/Vital/internal/VitalCodes.hpp"
#include "halvora/Devices/Vital/internal/VitalCommandNumber.hpp"
#include "halvora/Devices/Vital/internal/VitalErrorNumber.hpp"
#include "halvora/Devices/Vital/internal/VitalRequests.hpp"

namespace halvora {

namespace {

constexpr const char* kMinimumStepsTooHigh =
    "Checking Set Activity Period Error - Minimum Number Steps too high (Maximum is 255 steps)";
constexpr const char* kIntervalTooLong = "Checking Automatic Heart Rate Detection Error - Interval must be <= 65535";
constexpr const char* kWrongWindow = "Checking Automatic Heart Rate Detection Error - Wrong start o end time";

}  // namespace

void HalvoraSDKBraceletVital::setTime(Date date) {
    requestFrame(VitalRequests::setTime(date));
}

void HalvoraSDKBraceletVital::getTime() {
    requestFrame(VitalRequests::plain(VitalCodes::kGetTime));
}

void HalvoraSDKBraceletVital::setStepGoal(std::uint32_t goal) {
    requestFrame(VitalRequests::setStepGoal(goal));
}

void HalvoraSDKBraceletVital::getStepGoal() {
    requestFrame(VitalRequests::plain(VitalCodes::kGetStepGoal));
}

void HalvoraSDKBraceletVital::getMACAddress() {
    requestFrame(VitalRequests::plain(VitalCodes::kMacAddress));
}

void HalvoraSDKBraceletVital::setUserInformation(const HalvoraSDKUser& user) {
    request([user](HalvoraSDKBraceletVital& self) {
        const auto age = user.birthDate ? DateUtils::getAgeFromDate(user.birthDate, self.now()).value_or(0) : user.age;
        self.writeRawData(VitalRequests::setUserInformation(user, age));
    });
}

void HalvoraSDKBraceletVital::getUserInformation() {
    requestFrame(VitalRequests::plain(VitalCodes::kGetUser));
}

void HalvoraSDKBraceletVital::setDeviceParameters(const HalvoraSDKVitalParams& parameters) {
    request([parameters](HalvoraSDKBraceletVital& self) {
        if (auto error = VitalArgumentChecks::checkVitalParameters(parameters)) {
            self.sendError(*error, VitalCommandNumber::kSetDeviceParameters, true);
            return;
        }
        self.parameters_ = parameters;
        self.writeRawData(VitalRequests::setDeviceParameters(parameters));
    });
}

void HalvoraSDKBraceletVital::getDeviceParameters() {
    requestFrame(VitalRequests::plain(VitalCodes::kGetParameters));
}

void HalvoraSDKBraceletVital::getDeviceBattery() {
    requestFrame(VitalRequests::plain(VitalCodes::kBattery));
}

void HalvoraSDKBraceletVital::setActivityPeriod(const HalvoraSDKVitalActivityPeriod& period) {
    request([period](HalvoraSDKBraceletVital& self) {
        if (auto error = VitalArgumentChecks::checkActivityPeriod(period)) {
            if (*error == VitalErrorNumber::kMinimumSteps) self.log().write(kMinimumStepsTooHigh);
            self.sendError(*error, VitalCommandNumber::kSetActivityPeriod, true);
            return;
        }
        self.writeRawData(VitalRequests::setActivityPeriod(period));
    });
}

void HalvoraSDKBraceletVital::getActivityPeriod() {
    requestFrame(VitalRequests::plain(VitalCodes::kGetActivityPeriod));
}

void HalvoraSDKBraceletVital::setAutomaticDetection(const HalvoraSDKVitalPeriod& period) {
    request([period](HalvoraSDKBraceletVital& self) {
        if (auto error = VitalArgumentChecks::checkAutomaticDetection(period)) {
            self.log().write(*error == VitalErrorNumber::kOutOfRange ? kIntervalTooLong : kWrongWindow);
            self.waitingHeartRateResponse_ = false;
            self.sendError(*error, VitalCommandNumber::kSetAutomaticDetection, true);
            return;
        }
        self.periodType_ = period.type;
        self.writeRawData(VitalRequests::setAutomaticDetection(period));
    });
}

void HalvoraSDKBraceletVital::getAutomaticDetection(std::int32_t type) {
    periodType_ = type;
    writeRawData(VitalRequests::getAutomaticDetection(type));
}

void HalvoraSDKBraceletVital::setHealthMeasurementControl(std::int32_t quantity, bool enable) {
    request([quantity, enable](HalvoraSDKBraceletVital& self) {
        self.healthMeasurement_ = quantity;
        self.writeRawData(VitalRequests::setHealthMeasurementControl(quantity, enable));
    });
}

void HalvoraSDKBraceletVital::setRealtimeStepCounting(bool steps, bool temperature) {
    requestFrame(VitalRequests::setRealtimeStepCounting(steps, temperature));
}

void HalvoraSDKBraceletVital::sportModeControlEnable(std::int32_t enable, std::int32_t sportMode,
                                                     std::int32_t levelSelection, std::int32_t timePeriod) {
    request([=](HalvoraSDKBraceletVital& self) {
        if (auto error = VitalArgumentChecks::checkSportTimePeriod(timePeriod)) {
            self.sendError(*error, VitalCommandNumber::kSportModeControl, true);
            return;
        }
        self.writeRawData(VitalRequests::sportModeControl(enable, sportMode, levelSelection, timePeriod));
    });
}

void HalvoraSDKBraceletVital::sendSportHeartbeatWithDistance(std::uint32_t distance, std::int32_t kmPerSeconds,
                                                             std::int32_t gpsStrength) {
    requestFrame(VitalRequests::sportHeartbeat(distance, kmPerSeconds, gpsStrength));
}

void HalvoraSDKBraceletVital::showQRCode(bool show) {
    requestFrame(VitalRequests::showQRCode(show));
}

void HalvoraSDKBraceletVital::setWeather(const HalvoraSDKVitalWeather& weather) {
    requestFrame(VitalRequests::setWeather(weather));
}

void HalvoraSDKBraceletVital::setAlarms(const std::vector<HalvoraSDKVitalAlarm>& alarms) {
    requestFrame(VitalRequests::setAlarms(alarms));
}

// ------------------------------------------------------------------------------------ second steps

void HalvoraSDKBraceletVital::handleParametersAcknowledged() {
    followUp(VitalRequests::setDeviceNewParameters(parameters_));
}

}  // namespace halvora
