// The bracelet's answers, dispatched by their first byte.
#include "halvora/Devices/RM830/HalvoraSDKBraceletRM830.hpp"
#include "halvora/Devices/RM830/internal/RM830AnswerTable.hpp"
#include "halvora/Devices/RM830/internal/RM830Codes.hpp"
#include "halvora/Devices/RM830/internal/RM830CurrentDay.hpp"
#include "halvora/Devices/RM830/internal/RM830DayDecoder.hpp"
#include "halvora/Devices/RM830/internal/RM830DayFrames.hpp"
#include "halvora/Devices/RM830/internal/RM830FirmwareVersion.hpp"
#include "halvora/Devices/RM830/internal/RM830HeartRateDownload.hpp"
#include "halvora/Devices/RM830/internal/RM830HeartRatePacket.hpp"
#include "halvora/Manager/HalvoraDeviceDelegate.hpp"

namespace halvora {

namespace {

/// Byte 1 of the answers that carry a value or a marker there.
constexpr std::size_t kValueIndex = 1;
/// Bytes an answer needs to have a byte 1.
constexpr std::size_t kValueLength = 2;
/// A real-time heart rate of 0 ends the stream.
constexpr std::uint8_t kStreamEnded = 0;
/// `stopRealtime` argument of the follow-ups: no slot of their own.
constexpr std::int32_t kStopWithoutSlot = 1;

}  // namespace

void HalvoraSDKBraceletRM830::handleAnswer(std::span<const std::uint8_t> answer) {
    if (answer.empty()) return;  // no code to dispatch on
    switch (RM830AnswerTable::actionFor(answer[0])) {
        case RM830AnswerAction::ReleaseThenSuccess:
            releaseSlot();
            finished(true);
            return;
        case RM830AnswerAction::SuccessThenRelease:
            finished(true);
            releaseSlot();
            return;
        case RM830AnswerAction::CurrentDay:
            handleCurrentDay(answer);
            return;
        case RM830AnswerAction::FirmwareVersion:
            handleFirmwareVersion(answer);
            return;
        case RM830AnswerAction::RealtimeHeartRate:
            handleRealtimeHeartRate(answer);
            return;
        case RM830AnswerAction::HeartRateHistory:
            handleHeartRateHistory(answer);
            return;
        case RM830AnswerAction::DayFrame:
            handleDayFrame(answer);
            return;
        case RM830AnswerAction::HeartRate:
            handleHeartRate(answer);
            return;
        case RM830AnswerAction::Release:
            releaseSlot();
            return;
        case RM830AnswerAction::ReleaseThenFailure:
            releaseSlot();
            finished(false);
            return;
        case RM830AnswerAction::StopRealtime:
            stopRealtime(kStopWithoutSlot);
            return;
        case RM830AnswerAction::FailureKeepingSlot:
            finished(false);
            return;
        case RM830AnswerAction::FailureThenRelease:
            finished(false);
            releaseSlot();
            return;
    }
}

void HalvoraSDKBraceletRM830::finished(bool success) {
    if (auto receiver = rm830Delegate()) receiver->operationFinished(success);
}

void HalvoraSDKBraceletRM830::reportHeartRate(std::int32_t heartRate) {
    if (auto receiver = rm830Delegate()) receiver->braceletRM830HRReceived(heartRate);
}

void HalvoraSDKBraceletRM830::sendInformation(const std::string& text) {
    if (auto receiver = deviceDelegate()) receiver->deviceOnSendInformation(kInformationKind, text);
}

// ------------------------------------------------------------------------------------ single answers

void HalvoraSDKBraceletRM830::handleCurrentDay(std::span<const std::uint8_t> answer) {
    if (auto record = RM830CurrentDay::decode(answer, now())) {
        if (auto receiver = rm830Delegate()) receiver->braceletCurrentStepsReceived(*record);
    }
    // The bracelet is in real-time mode: the answer to this stop gives the request's slot back.
    stopRealtime(kStopWithoutSlot);
}

void HalvoraSDKBraceletRM830::handleFirmwareVersion(std::span<const std::uint8_t> answer) {
    if (auto version = RM830FirmwareVersion::fromAnswer(answer)) {
        version_ = std::move(*version);
        sendInformation(kVersionMessagePrefix + version_);
        updateFirmware();
    }
    releaseSlot();
}

void HalvoraSDKBraceletRM830::handleRealtimeHeartRate(std::span<const std::uint8_t> answer) {
    if (answer.size() < kValueLength) return;
    const std::uint8_t value = answer[kValueIndex];
    if (value == kStreamEnded) {
        releaseSlot();
        finished(true);
    } else {
        reportHeartRate(value);  // the stream goes on under the same slot
    }
}

void HalvoraSDKBraceletRM830::handleHeartRate(std::span<const std::uint8_t> answer) {
    if (answer.size() >= kValueLength) reportHeartRate(answer[kValueIndex]);
    releaseSlot();
}

// ------------------------------------------------------------------------------------ history day

void HalvoraSDKBraceletRM830::handleDayFrame(std::span<const std::uint8_t> answer) {
    if (answer.size() < kValueLength) return;
    const std::uint8_t marker = answer[kValueIndex];
    if (marker == RM830Codes::kDayWithoutData) {
        releaseSlot();
        return;
    }
    // Frames of another kind, and frames too short to decode, are neither kept nor counted.
    if (marker != RM830Codes::kDayFrame || answer.size() < RM830DayDecoder::kFrameLength) return;
    if (dayFrames_->add(answer) != RM830DayFrames::Outcome::DayComplete) return;
    deliverDay();
    releaseSlot();
}

void HalvoraSDKBraceletRM830::deliverDay() {
    auto data = RM830DayDecoder::decode(dayFrames_->frames());
    if (!data) return;
    if (auto receiver = rm830Delegate()) receiver->braceletSyncReceived(*data);
}

// ------------------------------------------------------------------------------------ heart-rate history

void HalvoraSDKBraceletRM830::handleHeartRateHistory(std::span<const std::uint8_t> answer) {
    if (answer.size() < RM830HeartRatePacket::kLength) {
        log().write("HalvoraSDKBraceletRM830: heart-rate packet too short, download ended");
        endHeartRateDownload();
        return;
    }
    const std::uint8_t marker = answer[kValueIndex];
    if (heartRates_->isFull()) {  // the download already ended at the cap: nothing more is added
        if (marker == RM830Codes::kLastPacket) endHeartRateDownload();
        return;
    }
    if (marker == RM830Codes::kMorePackets && heartRates_->isLastThatFits()) {
        log().writef("HalvoraSDKBraceletRM830: heart-rate download stopped at %zu packets",
                     RM830HeartRateDownload::kMaxPackets);
        endHeartRateDownload();
    } else if (marker == RM830Codes::kMorePackets) {
        getHeartRateValueNoLock(heartRates_->nextPacket());
    } else if (marker == RM830Codes::kLastPacket) {
        endHeartRateDownload();
    }
    // Added after the hand-over above: the last packet's readings wait for a later one.
    heartRates_->append(RM830HeartRatePacket::readings(answer));
}

void HalvoraSDKBraceletRM830::endHeartRateDownload() {
    if (auto receiver = rm830Delegate()) receiver->braceletRM830HRSyncReceived(heartRates_->readings());
    releaseSlot();
}

}  // namespace halvora
