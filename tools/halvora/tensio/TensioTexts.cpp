#include "TensioTexts.hpp"

#include <cstdio>

#include "halvora/Core/Format.hpp"

namespace halvora::cli {

namespace {

/// The bracelet's two-digit years count from 2000.
constexpr int kCentury = 2000;
/// Room for one word of the texts ("mmHg", "OFF", "08:30"): the formats below read at most 7 characters.
constexpr std::size_t kWordSize = 8;
/// The fields each text holds.
constexpr int kClockFields = 6;
constexpr int kBasicInfoFields = 7;
constexpr int kWindowFields = 5;

}  // namespace

std::string TensioTexts::Clock::text() const {
    return format("%04d-%02d-%02d %02d:%02d:%02d", year, month, day, hour, minute, second);
}

std::optional<TensioTexts::Clock> TensioTexts::clock(const std::string& text) {
    Clock clock;
    int consumed = 0;
    if (std::sscanf(text.c_str(), "TensioBracelet time: %d-%d-%d %d:%d:%d%n", &clock.year, &clock.month, &clock.day,
                    &clock.hour, &clock.minute, &clock.second, &consumed) != kClockFields ||
        static_cast<std::size_t>(consumed) != text.size()) {
        return std::nullopt;
    }
    clock.year += kCentury;
    return clock;
}

std::optional<TensioTexts::BasicInfo> TensioTexts::basicInfo(const std::string& text) {
    BasicInfo info;
    int ambulatory = 0;
    int unitCode = 0;
    char ambulatoryText[kWordSize] = {};
    char unit[kWordSize] = {};
    if (std::sscanf(text.c_str(),
                    "Battery level: %d\nABPM: %d - %7s\nUnit: %d - %7s\nHold: %d\nTotal saved blood pressure: %d",
                    &info.battery, &ambulatory, ambulatoryText, &unitCode, unit, &info.hold,
                    &info.stored) != kBasicInfoFields) {
        return std::nullopt;
    }
    info.ambulatory = ambulatory != 0;
    info.unit = unit;
    return info;
}

std::optional<TensioTexts::Window> TensioTexts::window(const std::string& text) {
    Window window;
    char start[kWordSize] = {};
    char end[kWordSize] = {};
    if (std::sscanf(
            text.c_str(), "Interval startTime %7s\nendTime %7s\nserialNo %d\ntotalTimeIntervals %d\nintervalMinutes %d",
            start, end, &window.serialNo, &window.totalTimeIntervals, &window.intervalMinutes) != kWindowFields) {
        return std::nullopt;
    }
    window.startTime = start;
    window.endTime = end;
    return window;
}

}  // namespace halvora::cli
