#include "halvora/Devices/Measurement/HalvoraSDKThermometer.hpp"

namespace halvora {

namespace {

// Frame layout: [0] FE, [1] FD, [2] unit, [3] type, [4..5] temperature x 10 (big-endian), [6] 0D, [7] 0A.
constexpr std::size_t kFrameLength = 8;
constexpr std::uint8_t kHead0 = 0xFE;
constexpr std::uint8_t kHead1 = 0xFD;
constexpr std::uint8_t kTail0 = 0x0D;
constexpr std::uint8_t kTail1 = 0x0A;
constexpr std::size_t kUnitIndex = 2;
constexpr std::size_t kTypeIndex = 3;
constexpr std::size_t kValueIndex = 4;
constexpr std::uint8_t kUnitFahrenheit = 0x15;
constexpr std::uint8_t kTypeReading = 0x01;
constexpr std::uint8_t kTypeReadingAlternate = 0x00;
constexpr std::int32_t kMode = 0;
constexpr double kValueScale = 10.0;

}  // namespace

bool HalvoraSDKThermometer::isNameValid(const std::string& name) {
    return name.find(getName()) != std::string::npos;
}

bool HalvoraSDKThermometer::matchDevice(const std::shared_ptr<Peripheral>& peripheral) {
    const auto name = peripheralName(peripheral);
    return name && isNameValid(*name);
}

const std::vector<std::uint8_t>& HalvoraSDKThermometer::startCommand() {
    static const std::vector<std::uint8_t> command = {0xFE, 0xFD, 0xAA, 0xA0, 0x0D, 0x0A};
    return command;
}

bool HalvoraSDKThermometer::checkValue(std::span<const std::uint8_t> frame) {
    return frame.size() >= kFrameLength && frame[0] == kHead0 && frame[1] == kHead1 && frame[6] == kTail0 &&
           frame[7] == kTail1;
}

void HalvoraSDKThermometer::startMeasurement() {
    writeRawData(startCommand());
}

void HalvoraSDKThermometer::parseFrame(std::span<const std::uint8_t> frame) {
    if (frame.size() != kFrameLength || !checkValue(frame)) return;
    const std::uint8_t type = frame[kTypeIndex];
    if (type != kTypeReading && type != kTypeReadingAlternate) return;
    const int value = (frame[kValueIndex] << 8) | frame[kValueIndex + 1];
    HalvoraSDKThermometerData reading;
    reading.date = now();
    reading.mode = kMode;
    reading.temperature = value / kValueScale;
    reading.unit = frame[kUnitIndex] == kUnitFahrenheit ? HalvoraSDKThermometerData::kUnitFahrenheit
                                                        : HalvoraSDKThermometerData::kUnitCelsius;
    deliverReading(reading);
}

}  // namespace halvora
