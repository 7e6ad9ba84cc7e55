#include "halvora/Devices/Tensio/internal/TensioInformation.hpp"

#include <algorithm>
#include <array>

#include "halvora/Core/Format.hpp"
#include "halvora/Devices/Tensio/internal/TensioDateText.hpp"

namespace halvora {

namespace {

constexpr std::array<std::uint8_t, 9> kPeriods{0, 30, 60, 90, 120, 136, 166, 196, 226};
constexpr int kNibbleShift = 4;
constexpr int kLowNibble = 0x0F;
constexpr int kKilopascalFrom = 16;  // b5 from here up: the unit nibble is not 0

// Clock.
constexpr std::size_t kClockFirst = 3;  // b3..b8: year, month, day, hour, minute, second

// Schedule window.
constexpr std::size_t kStartHour = 3;
constexpr std::size_t kStartMinute = 4;
constexpr std::size_t kEndHour = 5;
constexpr std::size_t kEndMinute = 6;
constexpr std::size_t kFirstOfPair = 7;
constexpr std::size_t kSecondOfPair = 8;

// Basic information.
constexpr std::size_t kBattery = 3;
constexpr std::size_t kAmbulatory = 4;
constexpr std::size_t kUnitAndHold = 5;
constexpr std::size_t kSavedCount = 7;

int highNibble(std::uint8_t value) {
    return value >> kNibbleShift;
}

int lowNibble(std::uint8_t value) {
    return value & kLowNibble;
}

}  // namespace

bool TensioInformation::isPeriod(std::uint8_t value) {
    return std::find(kPeriods.begin(), kPeriods.end(), value) != kPeriods.end();
}

std::optional<std::string> TensioInformation::clock(std::span<const std::uint8_t> frame) {
    if (frame.size() < kLength) return std::nullopt;
    const auto b = frame.subspan(kClockFirst);
    return format("TensioBracelet time: %d-%d-%d %d:%d:%d", b[0], b[1], b[2], b[3], b[4], b[5]);
}

std::optional<TensioInformation::Window> TensioInformation::scheduleWindow(std::span<const std::uint8_t> frame) {
    if (frame.size() < kLength) return std::nullopt;
    const std::uint8_t first = frame[kFirstOfPair];
    const std::uint8_t second = frame[kSecondOfPair];
    const bool secondIsPeriod = isPeriod(second);
    const std::uint8_t period = secondIsPeriod ? second : first;
    const std::uint8_t serial = secondIsPeriod ? first : second;
    const int serialNo = highNibble(serial);
    const int total = lowNibble(serial);
    const std::string start = TensioDateText::time(frame[kStartHour], frame[kStartMinute]);
    const std::string end = TensioDateText::time(frame[kEndHour], frame[kEndMinute]);
    std::string text =
        format("Interval %s\n%s\n%s\n%s\n%s", format("startTime %s", start.c_str()).c_str(),
               format("endTime %s", end.c_str()).c_str(), format("serialNo %d", serialNo).c_str(),
               format("totalTimeIntervals %d", total).c_str(), format("intervalMinutes %d", period).c_str());
    return Window{std::move(text), serialNo == total};
}

std::optional<std::string> TensioInformation::basicInfo(std::span<const std::uint8_t> frame) {
    if (frame.size() < kLength) return std::nullopt;
    const int ambulatory = highNibble(frame[kAmbulatory]);
    const std::uint8_t unitAndHold = frame[kUnitAndHold];
    const std::string battery = format("Battery level: %d", frame[kBattery]);
    const std::string abpm = format("ABPM: %d - %s", ambulatory, ambulatory != 0 ? "ON" : "OFF");
    const std::string unit =
        format("Unit: %d - %s", highNibble(unitAndHold), unitAndHold < kKilopascalFrom ? "mmHg" : "kPa");
    const std::string hold = format("Hold: %d", lowNibble(unitAndHold));
    const std::string saved = format("Total saved blood pressure: %d", frame[kSavedCount]);
    return format("%s\n%s\n%s\n%s\n%s\n", battery.c_str(), abpm.c_str(), unit.c_str(), hold.c_str(), saved.c_str());
}

}  // namespace halvora
