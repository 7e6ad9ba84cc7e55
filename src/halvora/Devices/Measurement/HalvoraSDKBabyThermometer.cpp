#include "halvora/Devices/Measurement/HalvoraSDKBabyThermometer.hpp"

#include <string_view>

#include "halvora/Core/internal/Utf8.hpp"
#include "halvora/Devices/Measurement/internal/BabyThermometerTables.hpp"

namespace halvora {

namespace {

namespace tables = babyThermometerTables;

// Body conversion, in double precision.
constexpr double kLowBase = 20.0;
constexpr double kLowStep = 0.5;
constexpr double kMainBase = 34.0;
constexpr double kMainStep = 0.02;
constexpr double kHighBase = 42.0;
constexpr double kHighStep = 0.5;
constexpr double kBelowLowBase = 30.0;  // the extrapolation below the low table starts here, not at 20.0
constexpr double kAboveHighBase = 45.0;
constexpr double kFailedBodyLookup = 30.0;
constexpr float kFailedAmbientLookup = -100.0F;

// The value: at least this many bytes; body reading in characters 0-3, ambient in 4-7.
constexpr std::size_t kMinimumValueLength = 5;
constexpr std::size_t kFieldWidth = 4;
constexpr std::size_t kCharactersNeeded = 2 * kFieldWidth;

/// Looks `raw` up in an ascending table whose entry i stands for base + step * i: interpolates below the
/// first entry greater than `raw` (the base itself when that is the first entry); nothing when no entry is
/// greater.
template <typename Real>
std::optional<Real> lookUp(std::span<const std::int32_t> table, Real base, Real step, std::int32_t raw) {
    for (std::size_t i = 0; i < table.size(); ++i) {
        if (table[i] <= raw) continue;
        if (i == 0) return base;
        const auto below = static_cast<std::int64_t>(table[i - 1]);
        return base + step * static_cast<Real>(i - 1) +
               static_cast<Real>(raw - below) * step / static_cast<Real>(table[i] - below);
    }
    return std::nullopt;
}

/// Linear extrapolation beyond an end entry of a table: `at` (the end entry's temperature) plus `step` per
/// `spacing` (the distance from the end entry to its neighbour) of signed distance from the end entry.
template <typename Real>
Real extrapolate(Real at, Real step, std::int32_t raw, std::int32_t end, std::int32_t spacing) {
    return at + static_cast<Real>(static_cast<std::int64_t>(raw) - end) * step / static_cast<Real>(spacing);
}

bool isSpace(char16_t c) {
    return c == u' ' || c == u'\t' || c == u'\n' || c == u'\r' || c == u'\v' || c == u'\f';
}

/// The decimal number at the start of `text` (leading blanks and one sign accepted); 0 when there is none.
std::int32_t leadingNumber(std::u16string_view text) {
    std::size_t i = 0;
    while (i < text.size() && isSpace(text[i])) ++i;
    bool negative = false;
    if (i < text.size() && (text[i] == u'+' || text[i] == u'-')) negative = text[i++] == u'-';
    std::int32_t value = 0;
    for (; i < text.size() && text[i] >= u'0' && text[i] <= u'9'; ++i) value = value * 10 + (text[i] - u'0');
    return negative ? -value : value;
}

}  // namespace

bool HalvoraSDKBabyThermometer::isNameValid(const std::string& name) {
    return name.find(getName()) != std::string::npos || name.find(getSecondName()) != std::string::npos;
}

bool HalvoraSDKBabyThermometer::matchDevice(const std::shared_ptr<Peripheral>& peripheral) {
    const auto name = peripheralName(peripheral);
    return name && isNameValid(*name);
}

const std::vector<std::uint8_t>& HalvoraSDKBabyThermometer::startCommand() {
    static const std::vector<std::uint8_t> command = {0x01};
    return command;
}

std::span<const std::int32_t> HalvoraSDKBabyThermometer::temperLowDataArray() {
    return tables::kTemperLow;
}
std::span<const std::int32_t> HalvoraSDKBabyThermometer::temperDataArray() {
    return tables::kTemper;
}
std::span<const std::int32_t> HalvoraSDKBabyThermometer::temperHighDataArray() {
    return tables::kTemperHigh;
}
std::span<const std::int32_t> HalvoraSDKBabyThermometer::envTemperArray() {
    return tables::kEnvTemper;
}

float HalvoraSDKBabyThermometer::getTemper(std::int32_t raw) {
    const auto low = temperLowDataArray();
    const auto main = temperDataArray();
    const auto high = temperHighDataArray();
    double result = kFailedBodyLookup;
    if (raw <= low[0]) {
        result = extrapolate(kBelowLowBase, kLowStep, raw, low[0], low[1] - low[0]);
    } else if (raw < main[0]) {
        result = lookUp(low, kLowBase, kLowStep, raw).value_or(kFailedBodyLookup);
    } else if (raw >= high.back()) {
        result = extrapolate(kAboveHighBase, kHighStep, raw, high.back(), high.back() - high[high.size() - 2]);
    } else if (raw < high[0]) {
        result = lookUp(main, kMainBase, kMainStep, raw).value_or(kFailedBodyLookup);
    } else {
        result = lookUp(high, kHighBase, kHighStep, raw).value_or(kFailedBodyLookup);
    }
    return static_cast<float>(result);
}

float HalvoraSDKBabyThermometer::getEnvTemper(std::int32_t raw) {
    const auto table = envTemperArray();
    const float base = envBaseTemper();
    const float step = envDeltaTemper();
    if (raw < table[0]) return extrapolate(base, step, raw, table[0], table[1] - table[0]);
    if (raw > table.back()) {
        const float top = base + step * static_cast<float>(table.size() - 1);
        return extrapolate(top, step, raw, table.back(), table.back() - table[table.size() - 2]);
    }
    return lookUp(table, base, step, raw).value_or(kFailedAmbientLookup);
}

std::optional<std::pair<std::int32_t, std::int32_t>> HalvoraSDKBabyThermometer::rawReadings(
    std::span<const std::uint8_t> value) {
    if (value.size() < kMinimumValueLength) return std::nullopt;
    const std::string_view bytes(reinterpret_cast<const char*>(value.data()), value.size());
    const auto text = Utf8::toUtf16Strict(bytes);
    if (!text || text->size() < kCharactersNeeded) return std::nullopt;
    const std::u16string_view characters(*text);
    return std::make_pair(leadingNumber(characters.substr(0, kFieldWidth)),
                          leadingNumber(characters.substr(kFieldWidth, kFieldWidth)));
}

void HalvoraSDKBabyThermometer::startMeasurement() {
    writeRawData(startCommand());
}

void HalvoraSDKBabyThermometer::characteristicsReady() {
    reportReady();
    startMeasurement();
}

void HalvoraSDKBabyThermometer::parseFrame(std::span<const std::uint8_t> frame) {
    const auto raw = rawReadings(frame);
    if (!raw) return;
    HalvoraSDKBabyThermometerData reading;
    reading.temperature = getTemper(raw->first);
    reading.environmentTemperature = getEnvTemper(raw->second);
    if (auto receiver = applicationDelegate()) receiver->babyThermometerOnResult(reading);
}

std::shared_ptr<HalvoraBabyThermometerDelegate> HalvoraSDKBabyThermometer::applicationDelegate() const {
    if (auto delegates = context().delegates.lock()) return delegates->babyThermometerDelegate();
    return nullptr;
}

}  // namespace halvora
