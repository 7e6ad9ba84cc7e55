#include "halvora/Devices/Vital/internal/VitalReplyTable.hpp"

#include "halvora/Devices/Vital/internal/VitalCodes.hpp"
#include "halvora/Devices/Vital/internal/VitalCommandNumber.hpp"

namespace halvora {

namespace {

VitalReplyRow success(std::int32_t command) {
    return {VitalReplyAction::Success, command};
}

VitalReplyRow refused(std::int32_t command) {
    return {VitalReplyAction::Refused, command};
}

VitalReplyRow row(VitalReplyAction action) {
    return {action, -1};
}

}  // namespace

VitalReplyRow VitalReplyTable::rowFor(std::uint8_t code) {
    using C = VitalCodes;
    using N = VitalCommandNumber;
    using A = VitalReplyAction;
    switch (code) {
        case C::kSetTime:
            return success(N::kSetTime);
        case C::kSetUser:
            return success(N::kSetUserInformation);
        case C::kSetParameters:
            return row(A::ParametersAcknowledged);
        case C::kGetParameters:
            return row(A::FirstParameters);
        case C::kSetNewParameters:
            return success(N::kSetDeviceParameters);
        case C::kGetNewParameters:
            return row(A::SecondParameters);
        case C::kRealtime:
            return row(A::RealtimeData);
        case C::kSetStepGoal:
            return success(N::kSetStepGoal);
        case C::kBattery:
            return row(A::Battery);
        case C::kWeather:
            return success(N::kSetWeather);
        case C::kFirmwareCommand:
            return row(A::FirmwareCommand);
        case C::kSportHeartbeatPacket:
            return row(A::SportHeartbeat);
        case C::kSportMode:
            return success(N::kSportModeControl);
        case C::kMacAddress:
            return row(A::MacAddress);
        case C::kAlarms:
            return success(N::kSetAlarms);
        case C::kSetActivityPeriod:
            return success(N::kSetActivityPeriod);
        case C::kGetActivityPeriod:
            return row(A::ActivityPeriod);
        case C::kHealthMeasurement:
            return row(A::HealthMeasurement);
        case C::kSetAutomaticDetection:
            return row(A::DetectionSet);
        case C::kGetAutomaticDetection:
            return row(A::DetectionSettings);
        case C::kGetTime:
            return row(A::Time);
        case C::kGetUser:
            return row(A::User);
        case C::kGetStepGoal:
            return row(A::StepGoal);
        case C::kTotalSteps:
        case C::kDetailedSteps:
        case C::kDetailedSleep:
        case C::kAutomaticHeartRate:
        case C::kHeartRate:
        case C::kHRV:
        case C::kSport:
        case C::kBloodOxygen:
        case C::kTemperature:
        case C::kAutomaticTemperature:
        case C::kAutomaticBloodOxygen:
            return row(A::HistoryPage);
        case C::kECGWaveform:
            return row(A::ECGWaveformPage);
        case C::kECGStartUploading:
            return row(A::ECGStarted);
        case C::kECGStatus:
            return row(A::ECGStatus);
        case C::refused(C::kSetTime):
            return refused(N::kSetTime);
        case C::refused(C::kSetUser):
            return refused(N::kSetUserInformation);
        // 0x83 would be the refusal of the first parameter frame, but the bracelet uses it for the heart-rate
        // status; the driver never reads it as a refusal.
        case C::kHeartRateStatus:
            return row(A::HeartRateStatus);
        case C::refused(C::kGetParameters):
        case C::refused(C::kGetNewParameters):
            return refused(N::kGetDeviceParameters);
        case C::refused(C::kSetNewParameters):
            return refused(N::kSetDeviceParameters);
        case C::refused(C::kRealtime):
            return refused(N::kSetRealtimeStepCounting);
        case C::refused(C::kSetStepGoal):
            return refused(N::kSetStepGoal);
        case C::refused(C::kBattery):
            return refused(N::kGetDeviceBattery);
        case C::refused(C::kMacAddress):
            return refused(N::kGetMACAddress);
        case C::refused(C::kSetActivityPeriod):
            return refused(N::kSetActivityPeriod);
        case C::refused(C::kGetActivityPeriod):
            return refused(N::kGetActivityPeriod);
        case C::kECGValues:
            return row(A::ECGValues);
        case C::refused(C::kGetAutomaticDetection):
            return refused(N::kGetAutomaticDetection);
        case C::kQRCode:
            return success(N::kShowQRCode);
        case C::refused(C::kGetTime):
            return refused(N::kGetTime);
        case C::refused(C::kGetUser):
            return refused(N::kGetUserInformation);
        case C::refused(C::kGetStepGoal):
            return refused(N::kGetStepGoal);
        case C::kSOS:
            return row(A::SOS);
        default:
            return row(A::Unknown);
    }
}

}  // namespace halvora
