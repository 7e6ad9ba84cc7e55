#include "halvora/Devices/PillReminder/internal/PillReminderFrame.hpp"

#include "halvora/Core/ByteUtils.hpp"
#include "halvora/Core/Format.hpp"

namespace halvora {

namespace {

/// Year numbers the box counts from.
constexpr int kYearBase = 2000;
/// Texts of a setTime frame before its checksum.
constexpr std::size_t kSetTimeTexts = 11;
/// Texts of a setZone frame before its checksum.
constexpr std::size_t kSetZoneTexts = 6;
/// Texts of a one-value frame before its checksum.
constexpr std::size_t kSetValueTexts = 5;
/// Bytes of a frame besides len's count (AA, 55 and len itself).
constexpr std::size_t kUncounted = 3;

}  // namespace

const std::vector<std::uint8_t> PillReminderFrame::kGetTime{0xAA, 0x55, 0x02, 0xD2, 0xD4};
const std::vector<std::uint8_t> PillReminderFrame::kGetZone{0xAA, 0x55, 0x02, 0xCD, 0xCF};
const std::vector<std::uint8_t> PillReminderFrame::kGetBattery{0xAA, 0x55, 0x02, 0xCE, 0xD0};
const std::vector<std::uint8_t> PillReminderFrame::kGetSyncTime{0xAA, 0x55, 0x02, 0xCF, 0xD1};
const std::vector<std::uint8_t> PillReminderFrame::kSetSyncStatus{0xAA, 0x55, 0x02, 0xD0, 0xD2};
const std::vector<std::uint8_t> PillReminderFrame::kClearHistory{0xAA, 0x55, 0x02, 0xD1, 0xD3};
const std::vector<std::uint8_t> PillReminderFrame::kGetSchedule{0xAA, 0x55, 0x02, 0xD3, 0xD5};
const std::vector<std::uint8_t> PillReminderFrame::kGetHistory{0xAA, 0x55, 0x02, 0xD5, 0xD7};
const std::vector<std::uint8_t> PillReminderFrame::kClearSchedule{0xAA, 0x55, 0x02, 0xD8, 0xDA};

PillReminderFrame::HexArray PillReminderFrame::createHexArray(std::size_t count) {
    HexArray frame(count, "FF");
    setByte(frame, 0, kHeader0);
    setByte(frame, 1, kHeader1);
    return frame;
}

void PillReminderFrame::setByte(HexArray& frame, std::size_t index, std::int32_t value) {
    if (index >= frame.size()) return;
    frame[index] = ByteUtils::decimalToHex(static_cast<std::uint32_t>(value) & 0xFFu);
}

std::vector<std::uint8_t> PillReminderFrame::calculateChecksum(const HexArray& frame) {
    auto bytes = ByteUtils::dataFromArrayHex(frame);
    if (!bytes) return {};
    const auto sum = ByteUtils::dataFromArrayHex({ByteUtils::checksum(*bytes)});
    if (!sum || sum->size() != 1) return {};
    bytes->push_back(sum->front());
    return *bytes;
}

PillReminderFrame::HexArray PillReminderFrame::begin(std::size_t count, std::uint8_t code) {
    auto frame = createHexArray(count);
    // len counts what follows it: the rest of the texts and the checksum.
    setByte(frame, kLengthIndex, static_cast<std::int32_t>(count + 1 - kUncounted));
    setByte(frame, kCodeIndex, code);
    return frame;
}

std::vector<std::uint8_t> PillReminderFrame::setTime(const std::tm& local) {
    auto frame = begin(kSetTimeTexts, kSetTime);
    const std::int32_t fields[] = {local.tm_year + 1900 - kYearBase,
                                   local.tm_mon + 1,
                                   local.tm_mday,
                                   local.tm_wday + 1,
                                   local.tm_hour,
                                   local.tm_min,
                                   local.tm_sec};
    std::size_t index = kPayloadIndex;
    for (const auto field : fields) setByte(frame, index++, field);
    return calculateChecksum(frame);
}

std::vector<std::uint8_t> PillReminderFrame::setZone(std::int32_t hours, std::int32_t minutes) {
    auto frame = begin(kSetZoneTexts, kSetZone);
    setByte(frame, kPayloadIndex, hours);
    setByte(frame, kPayloadIndex + 1, minutes);
    return calculateChecksum(frame);
}

std::vector<std::uint8_t> PillReminderFrame::setValue(std::uint8_t code, std::int32_t value) {
    auto frame = begin(kSetValueTexts, code);
    setByte(frame, kPayloadIndex, value);
    return calculateChecksum(frame);
}

bool PillReminderFrame::isAcknowledgement(std::span<const std::uint8_t> reply, bool checkLength) {
    if (reply.size() <= kPayloadIndex) return false;
    if (checkLength && reply[kLengthIndex] != kAckLength) return false;
    return reply[kCodeIndex] == kAckCode && reply[kPayloadIndex] == kAckSecond;
}

bool PillReminderFrame::hasLengthAndCode(std::span<const std::uint8_t> reply, std::uint8_t length, std::uint8_t code) {
    return reply.size() > kCodeIndex && reply[kLengthIndex] == length && reply[kCodeIndex] == code;
}

std::string PillReminderFrame::describe(std::span<const std::uint8_t> bytes) {
    std::string text;
    for (const auto b : bytes) text += format("%02X ", b);
    return text;
}

}  // namespace halvora
