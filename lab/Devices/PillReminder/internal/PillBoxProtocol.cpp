#include "lab/Devices/PillReminder/internal/PillBoxProtocol.hpp"

#include <algorithm>
#include <numeric>

#include "lab/Devices/Bracelet/DeviceClock.hpp"

namespace halvora::lab::pillbox {

namespace {

constexpr int kByteMask = 0xFF;
constexpr int kYearBits = 0x7F;
constexpr int kMonthBits = 0x0F;
constexpr int kDayBits = 0x1F;
constexpr int kHourBits = 0x1F;
constexpr int kMinuteBits = 0x3F;
constexpr int kColourBits = 0x1F;
constexpr int kStatusBits = 0x03;

std::uint8_t byteOf(int value) {
    return static_cast<std::uint8_t>(value & kByteMask);
}

/// The 16 bits of a packed day or slot as two bytes, most significant first.
std::array<std::uint8_t, 2> bigEndian(int bits) {
    return {byteOf(bits >> 8), byteOf(bits)};
}

}  // namespace

std::uint8_t checksum(std::span<const std::uint8_t> bytes) {
    return byteOf(std::accumulate(bytes.begin(), bytes.end(), 0));
}

std::array<std::uint8_t, 2> packDay(const BraceletTime& day) {
    const int year = std::clamp(day.year - kCentury, 0, kYearBits);
    return bigEndian(year << 9 | (day.month & kMonthBits) << 5 | (day.day & kDayBits));
}

std::optional<BraceletTime> unpackDay(std::uint8_t first, std::uint8_t second) {
    const int year = kCentury + (first >> 1);
    const int month = (first & 1) * 8 + (second >> 5);
    const int day = second & kDayBits;
    return DeviceClock::realTime(year, month, day, 0, 0, 0);
}

std::array<std::uint8_t, 2> packSlot(const PillBoxAlarm& alarm) {
    return bigEndian((alarm.time.hour & kHourBits) << 11 | (alarm.time.minute & kMinuteBits) << 5 |
                     (alarm.colour & kColourBits));
}

Slot unpackSlot(std::uint8_t first, std::uint8_t second) {
    return {(first >> 3) & kHourBits, (first & 7) * 8 + ((second >> 5) & 7), second & kColourBits};
}

std::array<std::uint8_t, kEntrySize> packEntry(const PillBoxDose& dose) {
    const int year = std::clamp(dose.planned.year - kCentury, 0, kLastEntryYear - kCentury);
    const int month = dose.planned.month & kMonthBits;
    const int day = dose.planned.day & kDayBits;
    const int status = static_cast<int>(dose.status) & kStatusBits;
    return {byteOf(year >> 2),
            byteOf((year & 3) << 6 | month << 2 | day >> 3),
            byteOf((day & 7) << 5 | (dose.takenHour & kHourBits)),
            byteOf((dose.takenMinute & kMinuteBits) << 2 | status),
            byteOf(dose.planned.hour),
            byteOf(dose.planned.minute)};
}

}  // namespace halvora::lab::pillbox
