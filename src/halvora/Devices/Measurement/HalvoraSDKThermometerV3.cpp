#include "halvora/Devices/Measurement/HalvoraSDKThermometerV3.hpp"

#include <algorithm>
#include <array>

namespace halvora {

namespace {

// Frame layout: [0..3] FA AA AA AF, [4..8] fields (temperature at 7-8), [9] XOR of 4..8, last two F5 5F.
constexpr std::array<std::uint8_t, 4> kHead = {0xFA, 0xAA, 0xAA, 0xAF};
constexpr std::array<std::uint8_t, 2> kTail = {0xF5, 0x5F};
constexpr std::size_t kFieldsStart = 4;
constexpr std::size_t kValueHigh = 7;
constexpr std::size_t kValueLow = 8;
constexpr std::size_t kCheckIndex = 9;
constexpr std::size_t kMinimumLength = kCheckIndex + 1;
constexpr std::uint8_t kHundredthsFlag = 0x80;
constexpr std::uint8_t kHighBits = 0x3F;
constexpr std::int32_t kMode = 4;

bool isFramed(std::span<const std::uint8_t> frame) {
    if (frame.size() < kHead.size() + kTail.size()) return false;
    return std::equal(kHead.begin(), kHead.end(), frame.begin()) &&
           std::equal(kTail.begin(), kTail.end(), frame.end() - static_cast<std::ptrdiff_t>(kTail.size()));
}

}  // namespace

bool HalvoraSDKThermometerV3::isNameValid(const std::string& name) {
    return containsIgnoringCase(name, getName());
}

bool HalvoraSDKThermometerV3::matchDevice(const std::shared_ptr<Peripheral>& peripheral) {
    const auto name = peripheralName(peripheral);
    return name && isNameValid(*name);
}

void HalvoraSDKThermometerV3::parseFrame(std::span<const std::uint8_t> frame) {
    if (!isFramed(frame)) {
        log().write("Discarding packet: The end packet is not correct.");
        return;
    }
    // Framed, but too short to hold the fields: nothing to read.
    if (frame.size() < kMinimumLength) return;
    const std::uint8_t high = frame[kValueHigh];
    const int raw = (high & kHighBits) * 256 + frame[kValueLow];
    const double divisor = (high & kHundredthsFlag) != 0 ? 100.0 : 10.0;
    const auto fields = frame.subspan(kFieldsStart, kCheckIndex - kFieldsStart);
    if (static_cast<std::uint8_t>(calculateCRC(fields)) != frame[kCheckIndex]) {
        // Logged as discarded, yet delivered.
        log().write("Discarding packet: The crc packet is not correct.");
    }
    HalvoraSDKThermometerData reading;
    reading.mode = kMode;
    reading.temperature = raw / divisor;
    reading.unit = HalvoraSDKThermometerData::kUnitCelsius;
    deliverReading(reading);
}

}  // namespace halvora
