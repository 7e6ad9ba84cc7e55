#include "lab/Devices/PillReminder/internal/PillBoxAnswers.hpp"

#include <algorithm>
#include <span>

#include "lab/Devices/PillReminder/PillBoxCommand.hpp"
#include "lab/Devices/PillReminder/internal/PillBoxProtocol.hpp"

namespace halvora::lab {

namespace {

constexpr int kMaxByte = 0xFF;
constexpr int kMinSigned = -128;
constexpr int kMaxSigned = 127;
constexpr int kMaxBattery = 100;

std::uint8_t byteOf(int value) {
    return static_cast<std::uint8_t>(std::clamp(value, 0, kMaxByte));
}

std::uint8_t signedByteOf(int value) {
    return static_cast<std::uint8_t>(static_cast<std::int8_t>(std::clamp(value, kMinSigned, kMaxSigned)));
}

}  // namespace

PillBoxAnswers::Frame PillBoxAnswers::frame(std::uint8_t code, const std::vector<std::uint8_t>& payload) {
    Frame bytes(pillbox::kPayloadIndex + payload.size() + 1, 0);
    bytes[0] = pillbox::kHeader0;
    bytes[1] = pillbox::kHeader1;
    bytes[pillbox::kLengthIndex] = static_cast<std::uint8_t>(payload.size() + pillbox::kBareLength);
    bytes[pillbox::kCodeIndex] = code;
    std::copy(payload.begin(), payload.end(), bytes.begin() + pillbox::kPayloadIndex);
    const std::span<const std::uint8_t> all(bytes);
    bytes.back() = pillbox::checksum(all.subspan(pillbox::kLengthIndex, payload.size() + pillbox::kBareLength));
    return bytes;
}

PillBoxAnswers::Frame PillBoxAnswers::ack() {
    return frame(pillbox::kAck, {});
}

PillBoxAnswers::Frame PillBoxAnswers::refusal() {
    return frame(pillbox::kRefusal, {});
}

PillBoxAnswers::Frame PillBoxAnswers::scheduleRefusal() {
    return frame(pillbox::kScheduleRefusal, {});
}

PillBoxAnswers::Frame PillBoxAnswers::dated(std::uint8_t code, const BraceletTime& time) {
    return frame(code, {byteOf(time.year - pillbox::kCentury), byteOf(time.month), byteOf(time.day), byteOf(time.hour),
                        byteOf(time.minute), byteOf(time.second)});
}

PillBoxAnswers::Frame PillBoxAnswers::clock(const BraceletTime& time) {
    return dated(pillbox::kClockReply, time);
}

PillBoxAnswers::Frame PillBoxAnswers::zone(int hours, int minutes) {
    return frame(static_cast<std::uint8_t>(PillBoxCommand::ReadZone), {signedByteOf(hours), signedByteOf(minutes)});
}

PillBoxAnswers::Frame PillBoxAnswers::battery(int level) {
    return frame(pillbox::kBatteryReply, {byteOf(std::clamp(level, 0, kMaxBattery))});
}

PillBoxAnswers::Frame PillBoxAnswers::lastSync(const BraceletTime& time) {
    return dated(static_cast<std::uint8_t>(PillBoxCommand::ReadLastSync), time);
}

PillBoxAnswers::Frame PillBoxAnswers::scheduleDay(const BraceletTime& day, const std::vector<PillBoxAlarm>& alarms) {
    const std::size_t count = std::min(alarms.size(), pillbox::kSlotsPerDay);
    const auto packedDay = pillbox::packDay(day);
    std::vector<std::uint8_t> payload{packedDay[0], packedDay[1], static_cast<std::uint8_t>(count)};
    for (std::size_t i = 0; i < pillbox::kSlotsPerDay; ++i) {
        const auto slot = i < count ? pillbox::packSlot(alarms[i]) : pillbox::kEmptySlot;
        payload.insert(payload.end(), slot.begin(), slot.end());
    }
    return frame(static_cast<std::uint8_t>(PillBoxCommand::ReadSchedule), payload);
}

PillBoxAnswers::Frame PillBoxAnswers::history(const std::vector<PillBoxDose>& doses) {
    const std::size_t count = std::min(doses.size(), pillbox::kMaxEntriesPerReply);
    std::vector<std::uint8_t> payload{static_cast<std::uint8_t>(count)};
    for (std::size_t i = 0; i < count; ++i) {
        const auto entry = pillbox::packEntry(doses[i]);
        payload.insert(payload.end(), entry.begin(), entry.end());
    }
    return frame(static_cast<std::uint8_t>(PillBoxCommand::ReadHistory), payload);
}

PillBoxAnswers::Frame PillBoxAnswers::lengthened(const Frame& original) {
    if (original.size() <= pillbox::kPayloadIndex) return original;
    std::vector<std::uint8_t> payload(original.begin() + pillbox::kPayloadIndex, original.end() - 1);
    payload.push_back(0x00);
    return frame(original[pillbox::kCodeIndex], payload);
}

std::vector<PillBoxAnswers::Frame> PillBoxAnswers::pieces(const Frame& whole) {
    std::vector<Frame> out;
    for (std::size_t at = 0; at < whole.size(); at += pillbox::kPieceSize) {
        const std::size_t end = std::min(whole.size(), at + pillbox::kPieceSize);
        out.emplace_back(whole.begin() + static_cast<std::ptrdiff_t>(at),
                         whole.begin() + static_cast<std::ptrdiff_t>(end));
    }
    return out;
}

}  // namespace halvora::lab
