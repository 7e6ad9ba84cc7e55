#include "halvora/Devices/Measurement/HalvoraSDKHeartDevice.hpp"

#include <array>
#include <utility>

namespace halvora {

namespace {

// Frame layout: [0..1] not inspected, [2] frame type, [3..] fields.
constexpr std::size_t kTypeIndex = 2;
constexpr std::uint8_t kTypeStarted = 0x06;
constexpr std::uint8_t kTypeProgress = 0xFB;
constexpr std::uint8_t kTypeResult = 0xFC;
constexpr std::uint8_t kTypeError = 0xFD;
constexpr std::size_t kStartedFrameLength = 5;
constexpr std::size_t kErrorFrameLength = 4;     // error byte at 3
constexpr std::size_t kProgressFrameLength = 5;  // pressure high byte at 3, low byte at 4
constexpr std::size_t kResultFrameLength = 6;    // systolic 3, diastolic 4, pulse 5

constexpr std::array<std::pair<std::uint8_t, std::int32_t>, 7> kErrorCodes = {{
    {0x0E, -1}, {0x01, -2}, {0x02, -3}, {0x03, -4}, {0x05, -5}, {0x0C, -6}, {0x0B, -7},
}};

}  // namespace

bool HalvoraSDKHeartDevice::matchDevice(const std::shared_ptr<Peripheral>& peripheral) {
    return nameEquals(peripheral, "Bluetooth BP");
}

const std::vector<std::uint8_t>& HalvoraSDKHeartDevice::startCommand() {
    static const std::vector<std::uint8_t> command = {0xFD, 0xFD, 0xFA, 0x05, 0x0D, 0x0A};
    return command;
}

std::optional<std::int32_t> HalvoraSDKHeartDevice::errorCodeFor(std::uint8_t deviceByte) {
    return lookUpErrorCode(kErrorCodes, deviceByte);
}

void HalvoraSDKHeartDevice::startMeasurement() { writeRawData(startCommand()); }

void HalvoraSDKHeartDevice::parseFrame(std::span<const std::uint8_t> frame) {
    if (frame.size() <= kTypeIndex) return;
    const std::uint8_t type = frame[kTypeIndex];
    if (frame.size() == kStartedFrameLength && type == kTypeStarted) {
        log().write("Starting measurement...");
    } else if (type == kTypeError) {
        if (frame.size() < kErrorFrameLength) return;
        reportDeviceError(errorCodeFor(frame[3]));
    } else if (type == kTypeResult) {
        if (frame.size() < kResultFrameLength) return;
        HalvoraSDKHeartData result;
        result.systolic = frame[3];
        result.diastolic = frame[4];
        result.pulse = frame[5];
        reportData(result);
    } else if (type == kTypeProgress) {
        if (frame.size() < kProgressFrameLength) return;
        // The monitor's high byte lands in bits 16-23, as the device family has always read it.
        const std::int32_t value = (static_cast<std::int32_t>(frame[3]) << 16) | frame[4];
        reportData(value);
    }
}

}  // namespace halvora
