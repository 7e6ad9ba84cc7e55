#include "TensioWindowSyntax.hpp"

#include <cctype>
#include <optional>

#include "CliError.hpp"

namespace halvora::cli {

namespace {

constexpr int kLastHour = 23;
constexpr int kHalfHour = 30;
constexpr int kMinutesPerHour = 60;
constexpr int kDecimal = 10;
/// Digits of each number: hours of one or two, minutes of two, the period of one to four.
constexpr std::size_t kMostHourDigits = 2;
constexpr std::size_t kMinuteDigits = 2;
constexpr std::size_t kMostPeriodDigits = 4;

[[noreturn]] void refuse(const std::string& text, const std::string& reason) {
    throw CliError(ExitBadArguments, "bad ambulatory window \"" + text + "\": " + reason);
}

/// `least` to `most` decimal digits at `pos`, which moves past them.
std::optional<int> digits(const std::string& text, std::size_t& pos, std::size_t least, std::size_t most) {
    int value = 0;
    std::size_t count = 0;
    while (count < most && pos < text.size() && std::isdigit(static_cast<unsigned char>(text[pos])) != 0) {
        value = value * kDecimal + (text[pos] - '0');
        ++pos;
        ++count;
    }
    if (count < least) return std::nullopt;
    return value;
}

/// The character `c` at `pos`, which moves past it.
bool literal(const std::string& text, std::size_t& pos, char c) {
    if (pos >= text.size() || text[pos] != c) return false;
    ++pos;
    return true;
}

/// H:MM or HH:MM at `pos`, which moves past it.
bool timeOfDay(const std::string& text, std::size_t& pos, int& hour, int& minute) {
    const auto h = digits(text, pos, 1, kMostHourDigits);
    if (!h || !literal(text, pos, ':')) return false;
    const auto m = digits(text, pos, kMinuteDigits, kMinuteDigits);
    if (!m) return false;
    hour = *h;
    minute = *m;
    return true;
}

/// The half-hour flag of a minute (0 or 30).
int halfHour(const std::string& text, int minute) {
    if (minute != 0 && minute != kHalfHour) refuse(text, "minutes are 00 or 30 (the bracelet keeps half hours)");
    return minute == kHalfHour ? 1 : 0;
}

int hour(const std::string& text, int value) {
    if (value > kLastHour) refuse(text, "hours run from 00 to 23");
    return value;
}

int minutesOfDay(int hour, int halfHourFlag) {
    return hour * kMinutesPerHour + (halfHourFlag != 0 ? kHalfHour : 0);
}

}  // namespace

HalvoraSDKTensioBraceletInterval TensioWindowSyntax::parse(const std::string& text) {
    std::size_t pos = 0;
    int startHour = 0, startMinute = 0, endHour = 0, endMinute = 0;
    std::optional<int> period;
    if (!timeOfDay(text, pos, startHour, startMinute) || !literal(text, pos, '-') ||
        !timeOfDay(text, pos, endHour, endMinute) || !literal(text, pos, '/') ||
        !(period = digits(text, pos, 1, kMostPeriodDigits)) || pos != text.size()) {
        refuse(text, "a window is HH:MM-HH:MM/PERIOD, e.g. 08:00-12:30/60");
    }
    HalvoraSDKTensioBraceletInterval window;
    window.startHour = hour(text, startHour);
    window.startMinuteInterval = halfHour(text, startMinute);
    window.endHour = hour(text, endHour);
    window.endMinuteInterval = halfHour(text, endMinute);
    if (minutesOfDay(window.endHour, window.endMinuteInterval) <=
        minutesOfDay(window.startHour, window.startMinuteInterval)) {
        refuse(text, "a window ends after it starts, within the day");
    }
    if (*period < kPeriodStep || *period > kLongestPeriod || *period % kPeriodStep != 0) {
        refuse(text, "PERIOD is the measuring period in minutes, 30 to 240 in steps of 30");
    }
    window.ambulatoriInterval = *period / kPeriodStep - 1;
    return window;
}

}  // namespace halvora::cli
