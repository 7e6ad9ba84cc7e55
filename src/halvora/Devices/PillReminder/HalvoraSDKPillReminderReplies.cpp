// The pill box's replies: routed by the request in progress, checked, and reported to the application.
#include <algorithm>

#include "halvora/Core/Format.hpp"
#include "halvora/Devices/PillReminder/HalvoraSDKPillReminder.hpp"
#include "halvora/Devices/PillReminder/internal/PillReminderDates.hpp"
#include "halvora/Devices/PillReminder/internal/PillReminderFrame.hpp"
#include "halvora/Devices/PillReminder/internal/PillReminderHistory.hpp"
#include "halvora/Devices/PillReminder/internal/PillReminderMessages.hpp"
#include "halvora/Devices/PillReminder/internal/PillReminderSchedule.hpp"

namespace halvora {

namespace {

using Request = PillReminderRequest;
using Frame = PillReminderFrame;

/// Bytes of a reply piece that the box sends when more follows.
constexpr std::size_t kPieceLength = 20;
/// History bytes held before the piece that completes the reply.
constexpr std::size_t kHistoryHeld = 40;

/// Appends `value` to `buffer`, never past `cap` bytes (the parsers read no further).
void appendCapped(std::vector<std::uint8_t>& buffer, std::span<const std::uint8_t> value, std::size_t cap) {
    const std::size_t room = cap > buffer.size() ? cap - buffer.size() : 0;
    buffer.insert(buffer.end(), value.begin(),
                  value.begin() + static_cast<std::ptrdiff_t>(std::min(room, value.size())));
}

/// Takes the buffer's bytes, leaving it empty.
std::vector<std::uint8_t> take(std::vector<std::uint8_t>& buffer) {
    std::vector<std::uint8_t> bytes;
    bytes.swap(buffer);
    return bytes;
}

/// Appends `entries` to `list`, never past `cap` entries.
template <typename Entry>
void appendCapped(std::vector<HalvoraSDKPillReminderAlarmEntry>& list, const std::vector<Entry>& entries,
                  std::size_t cap) {
    for (const auto& entry : entries) {
        if (list.size() >= cap) return;
        list.emplace_back(entry);
    }
}

}  // namespace

void HalvoraSDKPillReminder::peripheralDidUpdateValueForCharacteristic(
    const std::shared_ptr<Peripheral>& /*peripheral*/, const std::shared_ptr<Characteristic>& characteristic,
    const std::vector<std::uint8_t>& value, const OptionalError& error) {
    if (isReleased() || !characteristic) return;
    log().writef("<<      %s", Frame::describe(value).c_str());
    if (error || disposed_) return;
    if (characteristic->uuid() == hardwareRevisionStringUUID()) {
        hardwareRevision_.assign(value.begin(), value.end());
        return;
    }
    route(value);
}

void HalvoraSDKPillReminder::route(std::span<const std::uint8_t> value) {
    switch (currentRequest_) {
        case Request::kSetDeviceTime:
        case Request::kSetDeviceTimeZone:
            handleAcknowledgement(value, false);
            return;
        case Request::kSetSuccessfulSynchronizationStatus:
        case Request::kClearSchedulePerformanceHistory:
        case Request::kSetAlarmDuration:
        case Request::kSetAlarmConfirmationTime:
        case Request::kClearAlarmSchedule:
            handleAcknowledgement(value, true);
            return;
        case Request::kGetDeviceTime:
        case Request::kGetLatestSynchronizationTime:
            handleDate(value);
            return;
        case Request::kGetDeviceTimeZone:
            handleZone(value);
            return;
        case Request::kGetBatteryLevel:
            handleBattery(value);
            return;
        case Request::kSetAlarmsSchedule:
            handleScheduleFrameReply(value);
            return;
        case Request::kGetAlarmSchedule:
            receiveSchedulePiece(value);
            return;
        case Request::kGetSchedulePerformanceHistory:
            receiveHistoryPiece(value);
            return;
        default:
            return;  // no request yet, 11, or 15 and above: nothing to judge
    }
}

// ------------------------------------------------------------------------------------ settings

void HalvoraSDKPillReminder::handleAcknowledgement(std::span<const std::uint8_t> reply, bool checkLength) {
    const std::int32_t request = currentRequest_;
    if (Frame::isAcknowledgement(reply, checkLength)) {
        sendMessage(request, PillReminderMessages::success(request));
    } else {
        sendError(request, PillReminderMessages::error(request));
    }
    releasePermit();
}

void HalvoraSDKPillReminder::handleDate(std::span<const std::uint8_t> reply) {
    const std::int32_t request = currentRequest_;
    const std::uint8_t code = request == Request::kGetDeviceTime ? Frame::kTimeReply : Frame::kSyncTimeReply;
    const auto date = Frame::hasLengthAndCode(reply, Frame::kDateReplyLength, code)
                          ? PillReminderDates::replyDate(reply)
                          : std::nullopt;
    if (date) {
        HalvoraSDKPillReminderData result;
        result.request = request;
        result.date = *date;
        sendResult(result);
    } else {
        sendError(request, PillReminderMessages::error(request));
    }
    releasePermit();
}

void HalvoraSDKPillReminder::handleZone(std::span<const std::uint8_t> reply) {
    const std::int32_t request = currentRequest_;
    if (Frame::hasLengthAndCode(reply, Frame::kZoneReplyLength, Frame::kZoneReply) &&
        reply.size() > Frame::kPayloadIndex + 1) {
        const auto hours = static_cast<std::int8_t>(reply[Frame::kPayloadIndex]);
        const auto minutes = static_cast<std::int8_t>(reply[Frame::kPayloadIndex + 1]);
        // The sign comes from the format and, for a zone west of GMT, again from the number: the box's text.
        const char* pattern = hours >= 0 ? "+%02d:%02d UTC" : "-%02d:%02d UTC";
        sendMessage(request, format(pattern, hours, minutes));
    } else {
        sendError(request, PillReminderMessages::error(request));
    }
    releasePermit();
}

void HalvoraSDKPillReminder::handleBattery(std::span<const std::uint8_t> reply) {
    const std::int32_t request = currentRequest_;
    if (Frame::hasLengthAndCode(reply, Frame::kBatteryReplyLength, Frame::kBatteryReply) &&
        reply.size() > Frame::kPayloadIndex) {
        sendMessage(request, format("%d", static_cast<std::int8_t>(reply[Frame::kPayloadIndex])));
    } else {
        sendError(request, PillReminderMessages::error(request));
    }
    releasePermit();
}

// ------------------------------------------------------------------------------------ schedule write

void HalvoraSDKPillReminder::handleScheduleFrameReply(std::span<const std::uint8_t> reply) {
    const std::int32_t request = Request::kSetAlarmsSchedule;
    if (Frame::isAcknowledgement(reply, true)) {
        sendMessage(request, PillReminderMessages::kAlarmsSet);
    } else if (Frame::hasLengthAndCode(reply, Frame::kAckLength, Frame::kScheduleRefused)) {
        sendError(request, PillReminderMessages::kAlarmsRefused);
    } else {
        sendError(request, PillReminderMessages::kHardwareFailure);
    }
    if (packetsToSend_.empty()) {  // a reply nobody waits for: the write is over
        releasePermit();
        return;
    }
    packetsToSend_.erase(packetsToSend_.begin());
    if (!packetsToSend_.empty()) {
        writeRequest(Request::kSetAlarmsSchedule, packetsToSend_.front());
        return;
    }
    writeSynchronizationStatusUnderHeldPermit();
}

// ------------------------------------------------------------------------------------ schedule read

void HalvoraSDKPillReminder::receiveSchedulePiece(std::span<const std::uint8_t> value) {
    if (lastAlarmSchedule_.empty() && value.size() == kPieceLength) {
        appendCapped(lastAlarmSchedule_, value, kMaxScheduleReplyLength);
        return;
    }
    if (lastAlarmSchedule_.empty()) {
        handleScheduleReply(value);
        return;
    }
    appendCapped(lastAlarmSchedule_, value, kMaxScheduleReplyLength);
    const auto reply = take(lastAlarmSchedule_);
    handleScheduleReply(reply);
}

void HalvoraSDKPillReminder::handleScheduleReply(std::span<const std::uint8_t> reply) {
    const std::int32_t request = Request::kGetAlarmSchedule;
    if (reply.size() >= PillReminderSchedule::kReplyFirstSlotIndex &&
        reply[Frame::kCodeIndex] == Frame::kScheduleDayReply) {
        appendCapped(alarms_, PillReminderSchedule::readReply(reply), kMaxAlarms);
        return;  // more days follow; the slot stays taken
    }
    if (Frame::hasLengthAndCode(reply, Frame::kAckLength, Frame::kAckCode)) {
        HalvoraSDKPillReminderAlarmListData list;
        list.request = request;
        list.alarmList = std::move(alarms_);
        sendResult(list);
    } else {
        sendError(request, PillReminderMessages::error(request));
    }
    alarms_.clear();
    currentRequest_ = Request::kNone;
    releasePermit();
}

// ------------------------------------------------------------------------------------ history read

void HalvoraSDKPillReminder::receiveHistoryPiece(std::span<const std::uint8_t> value) {
    if (lastSchedulePerformance_.size() >= kHistoryHeld) {
        appendCapped(lastSchedulePerformance_, value, kMaxHistoryReplyLength);
        const auto reply = take(lastSchedulePerformance_);
        handleHistoryReply(reply);
        return;
    }
    if (value.size() == kPieceLength) {
        appendCapped(lastSchedulePerformance_, value, kMaxHistoryReplyLength);
        return;
    }
    lastSchedulePerformance_.clear();  // a reply cut short: its pieces are dropped
    handleHistoryReply(value);
}

void HalvoraSDKPillReminder::handleHistoryReply(std::span<const std::uint8_t> reply) {
    const std::int32_t request = Request::kGetSchedulePerformanceHistory;
    if (reply.size() > Frame::kCodeIndex && reply[Frame::kCodeIndex] == Frame::kHistoryReply) {
        appendCapped(records_, PillReminderHistory::readReply(reply), kMaxRecords);
        return;  // more pages follow; the slot stays taken
    }
    if (Frame::isAcknowledgement(reply, true)) {
        HalvoraSDKPillReminderAlarmListData list;
        list.request = request;
        list.alarmList = std::move(records_);
        sendResult(list);
    } else {
        sendError(request, PillReminderMessages::error(request));
    }
    records_.clear();
    releasePermit();
}

// ------------------------------------------------------------------------------------ delivery

void HalvoraSDKPillReminder::sendResult(const HalvoraSDKPillReminderResult& result) {
    auto delegates = context().delegates.lock();
    auto receiver = delegates ? delegates->pillReminderDelegate() : nullptr;
    if (receiver) receiver->pillReminderOnResult(result);
}

void HalvoraSDKPillReminder::sendMessage(std::int32_t request, const std::string& text) {
    HalvoraSDKPillReminderMessageData message;
    message.request = request;
    message.messageText = text;
    sendResult(message);
}

void HalvoraSDKPillReminder::sendError(std::int32_t request, const std::string& text) {
    HalvoraSDKPillReminderMessageData error;
    error.request = request;
    error.messageText = text;
    auto delegates = context().delegates.lock();
    auto receiver = delegates ? delegates->pillReminderDelegate() : nullptr;
    if (receiver) receiver->pillReminderOnError(error);
}

}  // namespace halvora
