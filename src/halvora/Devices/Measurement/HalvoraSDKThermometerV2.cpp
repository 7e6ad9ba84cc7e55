#include "halvora/Devices/Measurement/HalvoraSDKThermometerV2.hpp"

#include <array>

namespace halvora {

namespace {

// A full frame: [0..3] header 02 20 DD 0A, [4] type, [5..] fields.
constexpr std::array<std::uint8_t, 4> kHeader = {0x02, 0x20, 0xDD, 0x0A};
constexpr std::size_t kHeaderlessLength = 10;
constexpr std::size_t kTypeIndex = 4;
constexpr std::uint8_t kTypeReading = 0xAA;
constexpr std::uint8_t kTypeReadingAlternate = 0xFF;
constexpr std::uint8_t kTypeAcknowledgement = 0xDD;
constexpr std::uint8_t kTypeError = 0xEE;
constexpr std::size_t kReadingLength = 8;          // flags 5, temperature 6-7
constexpr std::size_t kAcknowledgementLength = 7;  // command 5, data 6
constexpr std::size_t kErrorLength = 6;            // error 5
constexpr std::uint8_t kFlagFahrenheit = 0x01;
constexpr std::uint8_t kFlagModeThree = 0x02;
constexpr std::int32_t kModeDefault = 2;
constexpr std::int32_t kModeThree = 3;

// Command frame: 02 20 DD 02 FD <command> <check>, the check the XOR of bytes 1 to 5.
constexpr std::array<std::uint8_t, 5> kCommandPrefix = {0x02, 0x20, 0xDD, 0x02, 0xFD};

// Error bytes minus one index this table; only the entries whose bit is set in the mask are reported.
constexpr std::array<std::int32_t, 6> kErrorTable = {1, 0, 3, 2, 5, 4};
constexpr std::uint32_t kErrorMask = 0x3D;

}  // namespace

bool HalvoraSDKThermometerV2::isNameValid(const std::string& name) {
    return containsIgnoringCase(name, getName()) || containsIgnoringCase(name, *getSecondName());
}

bool HalvoraSDKThermometerV2::matchDevice(const std::shared_ptr<Peripheral>& peripheral) {
    const auto name = peripheralName(peripheral);
    return name && isNameValid(*name);
}

std::vector<std::uint8_t> HalvoraSDKThermometerV2::commandFrame(std::int32_t command) {
    std::vector<std::uint8_t> frame(kCommandPrefix.begin(), kCommandPrefix.end());
    frame.push_back(static_cast<std::uint8_t>(command));
    const auto checked = std::span<const std::uint8_t>(frame).subspan(1);
    frame.push_back(static_cast<std::uint8_t>(calculateCRC(checked)));
    return frame;
}

std::optional<std::int32_t> HalvoraSDKThermometerV2::errorCodeFor(std::uint8_t deviceByte) {
    const std::uint32_t index = static_cast<std::uint8_t>(deviceByte - 1);
    if (index >= kErrorTable.size() || ((kErrorMask >> index) & 1U) == 0) return std::nullopt;
    return kErrorTable[index];
}

void HalvoraSDKThermometerV2::sendCommand(std::int32_t command) {
    writeRawData(commandFrame(command));
}

void HalvoraSDKThermometerV2::parseFrame(std::span<const std::uint8_t> value) {
    std::vector<std::uint8_t> frame;
    if (value.size() == kHeaderlessLength) frame.assign(kHeader.begin(), kHeader.end());
    frame.insert(frame.end(), value.begin(), value.end());
    if (frame.size() <= kTypeIndex) return;
    switch (frame[kTypeIndex]) {
        case kTypeReading:
        case kTypeReadingAlternate:
            parseReading(frame);
            break;
        case kTypeAcknowledgement:
            parseAcknowledgement(frame);
            break;
        case kTypeError:
            parseError(frame);
            break;
        default:
            break;
    }
}

void HalvoraSDKThermometerV2::parseReading(std::span<const std::uint8_t> frame) {
    if (frame.size() < kReadingLength) return;
    const std::uint8_t flags = frame[5];
    const int value = (frame[6] << 8) | frame[7];
    const bool fahrenheit = (flags & kFlagFahrenheit) != 0;
    HalvoraSDKThermometerData reading;
    reading.date = now();
    reading.mode = (flags & kFlagModeThree) != 0 ? kModeThree : kModeDefault;
    if (fahrenheit) {
        // The device always measures in Celsius; the conversion is made in single precision.
        const float celsius = static_cast<float>(value) / 100.0F;
        reading.temperature = celsius * 9.0F / 5.0F + 32.0F;
        reading.unit = HalvoraSDKThermometerData::kUnitFahrenheit;
    } else {
        reading.temperature = value / 100.0;
        reading.unit = HalvoraSDKThermometerData::kUnitCelsius;
    }
    if (deliverReading(reading)) sendCommand(kAcknowledgeReading);
}

void HalvoraSDKThermometerV2::parseAcknowledgement(std::span<const std::uint8_t> frame) {
    if (frame.size() < kAcknowledgementLength) return;
    HalvoraSDKThermometerSuccessData acknowledgement;
    acknowledgement.command = frame[5];
    acknowledgement.data = frame[6];
    if (auto receiver = applicationDelegate()) receiver->thermometerOnSuccessCommand(acknowledgement);
}

void HalvoraSDKThermometerV2::parseError(std::span<const std::uint8_t> frame) {
    if (frame.size() < kErrorLength) return;
    const auto code = errorCodeFor(frame[5]);
    // Reported only when the application has a general device delegate, yet sent to the thermometer
    // delegate: the device family has always worked this way.
    if (!code || !hasDeviceDelegate()) return;
    if (auto receiver = applicationDelegate()) receiver->thermometerOnError(*code);
}

}  // namespace halvora
