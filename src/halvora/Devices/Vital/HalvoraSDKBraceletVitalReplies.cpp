// The bracelet's replies and events, dispatched by their first byte.
#include <map>

#include "halvora/Devices/Vital/HalvoraSDKBraceletVital.hpp"
#include "halvora/Devices/Vital/internal/VitalCodes.hpp"
#include "halvora/Devices/Vital/internal/VitalCommandNumber.hpp"
#include "halvora/Devices/Vital/internal/VitalErrorNumber.hpp"
#include "halvora/Devices/Vital/internal/VitalReplyParser.hpp"
#include "halvora/Devices/Vital/internal/VitalReplyTable.hpp"
#include "halvora/Devices/Vital/internal/VitalRequests.hpp"

namespace halvora {

namespace {

using N = VitalCommandNumber;
using P = VitalReplyParser;

constexpr std::int32_t kNoType = -1;
constexpr bool kRelease = true;
constexpr bool kKeep = false;
constexpr const char* kBatteryLevelKey = "batteryLevel";
constexpr const char* kActivityPeriodAccepted = "getActivityPeriod accepted";
constexpr const char* kHealthMeasurementReceived = "setHealthMeasurementControl received";
constexpr const char* kSOSReceived = "SOSFunctionCommandPacket received";
constexpr const char* kHeartbeatReceived = "braceletHeartBeatPacket received";

/// Whether a sport heartbeat carries values: any byte after its code that is not zero.
bool carriesValues(std::span<const std::uint8_t> reply) {
    for (std::size_t i = 1; i < reply.size(); ++i) {
        if (reply[i] != 0) return true;
    }
    return false;
}

}  // namespace

void HalvoraSDKBraceletVital::handleReply(std::span<const std::uint8_t> reply) {
    if (reply.empty()) return;  // no code to dispatch on
    const VitalReplyRow row = VitalReplyTable::rowFor(reply[0]);
    switch (row.action) {
        case VitalReplyAction::Success:
            return sendSuccessfulCommand(row.command, kNoType, std::monostate{}, kRelease);
        case VitalReplyAction::Refused:
            return sendError(VitalErrorNumber::kRefused, row.command, kRelease);
        case VitalReplyAction::ParametersAcknowledged:
            return handleParametersAcknowledged();
        case VitalReplyAction::FirstParameters:
            return handleFirstParameters(reply);
        case VitalReplyAction::SecondParameters:
            return handleSecondParameters(reply);
        case VitalReplyAction::RealtimeData:
            return handleRealtimeData(reply);
        case VitalReplyAction::Battery:
            return handleBattery(reply);
        case VitalReplyAction::FirmwareCommand:
            return handleFirmwareCommand(reply);
        case VitalReplyAction::SportHeartbeat:
            return handleSportHeartbeat(reply);
        case VitalReplyAction::MacAddress:
            return handleMacAddress(reply);
        case VitalReplyAction::ActivityPeriod:
            return handleActivityPeriod(reply);
        case VitalReplyAction::HealthMeasurement:
            return handleHealthMeasurement(reply);
        case VitalReplyAction::DetectionSet:
            return sendSuccessfulCommand(N::kSetAutomaticDetection, periodType_, std::monostate{}, kRelease);
        case VitalReplyAction::DetectionSettings:
            return handleDetectionSettings(reply);
        case VitalReplyAction::Time:
            return handleTime(reply);
        case VitalReplyAction::User:
            return handleUser(reply);
        case VitalReplyAction::StepGoal:
            return handleStepGoal(reply);
        case VitalReplyAction::HistoryPage:
            return handleHistoryPage(reply);
        case VitalReplyAction::ECGWaveformPage:
            return handleECGWaveformPage(reply);
        case VitalReplyAction::ECGStarted:
            return handleECGStarted(reply);
        case VitalReplyAction::ECGStatus:
            return handleECGStatus(reply);
        case VitalReplyAction::HeartRateStatus:
            return handleHeartRateStatus(reply);
        case VitalReplyAction::ECGValues:
            return handleECGValues(reply);
        case VitalReplyAction::SOS:
            return handleSOS();
        case VitalReplyAction::Unknown:
            return releaseSemaphore();
    }
}

// ------------------------------------------------------------------------------------ parameters

void HalvoraSDKBraceletVital::handleFirstParameters(std::span<const std::uint8_t> reply) {
    if (auto parameters = P::parameters(reply)) {
        parameters->secondFrameSetting = parameters_.secondFrameSetting;  // the second read brings it
        parameters_ = *parameters;
    }
    followUp(VitalRequests::plain(VitalCodes::kGetNewParameters));
}

void HalvoraSDKBraceletVital::handleSecondParameters(std::span<const std::uint8_t> reply) {
    if (auto parameters = P::secondParameters(reply, parameters_)) parameters_ = *parameters;
    // Even a short reply ends the read: the record held is what the bracelet last told.
    sendSuccessfulCommand(N::kGetDeviceParameters, kNoType, parameters_, kRelease);
}

// ------------------------------------------------------------------------------------ single values

void HalvoraSDKBraceletVital::handleRealtimeData(std::span<const std::uint8_t> reply) {
    if (auto data = P::realtime(reply)) return sendSuccessfulCommand(N::kRealtimeData, kNoType, *data, kRelease);
    releaseSemaphore();
}

void HalvoraSDKBraceletVital::handleBattery(std::span<const std::uint8_t> reply) {
    if (auto level = P::battery(reply)) {
        using Levels = std::map<std::string, std::int32_t>;
        return sendSuccessfulCommand(N::kGetDeviceBattery, kNoType, Levels{{kBatteryLevelKey, *level}}, kRelease);
    }
    releaseSemaphore();
}

void HalvoraSDKBraceletVital::handleMacAddress(std::span<const std::uint8_t> reply) {
    if (auto address = P::macAddress(reply))
        return sendSuccessfulCommand(N::kGetMACAddress, kNoType, *address, kRelease);
    releaseSemaphore();
}

void HalvoraSDKBraceletVital::handleActivityPeriod(std::span<const std::uint8_t> reply) {
    log().write(kActivityPeriodAccepted);
    if (auto period = P::activityPeriod(reply))
        return sendSuccessfulCommand(N::kGetActivityPeriod, kNoType, *period, kRelease);
    releaseSemaphore();
}

void HalvoraSDKBraceletVital::handleHealthMeasurement(std::span<const std::uint8_t> reply) {
    log().write(kHealthMeasurementReceived);
    sendSuccessfulCommand(N::kHealthMeasurementControl, healthMeasurement_, P::payload(reply), kRelease);
}

void HalvoraSDKBraceletVital::handleDetectionSettings(std::span<const std::uint8_t> reply) {
    if (auto period = P::detection(reply, periodType_))
        return sendSuccessfulCommand(N::kGetAutomaticDetection, periodType_, *period, kRelease);
    releaseSemaphore();
}

void HalvoraSDKBraceletVital::handleTime(std::span<const std::uint8_t> reply) {
    if (auto date = P::time(reply)) return sendSuccessfulCommand(N::kGetTime, kNoType, *date, kRelease);
    releaseSemaphore();
}

void HalvoraSDKBraceletVital::handleUser(std::span<const std::uint8_t> reply) {
    if (auto user = P::user(reply)) return sendSuccessfulCommand(N::kGetUserInformation, kNoType, *user, kRelease);
    releaseSemaphore();
}

void HalvoraSDKBraceletVital::handleStepGoal(std::span<const std::uint8_t> reply) {
    if (auto goal = P::stepGoal(reply)) return sendSuccessfulCommand(N::kGetStepGoal, kNoType, *goal, kRelease);
    releaseSemaphore();
}

// ------------------------------------------------------------------------------------ events

void HalvoraSDKBraceletVital::handleFirmwareCommand(std::span<const std::uint8_t> reply) {
    if (auto operation = P::operation(reply)) sendOperation(*operation);
}

void HalvoraSDKBraceletVital::handleSportHeartbeat(std::span<const std::uint8_t> reply) {
    log().write(kHeartbeatReceived);
    // The bracelet waits for the phone's answer to its heartbeat: the same code, at once, outside the queue.
    writeRawData(VitalRequests::plain(VitalCodes::kSportHeartbeatPacket));
    if (carriesValues(reply)) {
        sendSuccessfulCommand(N::kSportHeartbeatWithData, kNoType, P::payload(reply), kKeep);
    } else {
        sendSuccessfulCommand(N::kSportHeartbeatWithoutData, kNoType, std::monostate{}, kKeep);
    }
}

void HalvoraSDKBraceletVital::handleSOS() {
    log().write(kSOSReceived);
    sendSOS();
}

// ------------------------------------------------------------------------------------ downloads

void HalvoraSDKBraceletVital::handleHistoryPage(std::span<const std::uint8_t> reply) {
    if (handleHistory(reply)) return;
    releaseSemaphore();  // the table sends only history codes here; anything else just ends its request
}

}  // namespace halvora
