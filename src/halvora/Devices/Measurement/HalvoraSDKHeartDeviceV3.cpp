#include "halvora/Devices/Measurement/HalvoraSDKHeartDeviceV3.hpp"

#include <array>

#include "halvora/Core/internal/Saturating.hpp"

namespace halvora {

namespace {

constexpr std::uint8_t kFrameStart = 0x02;
constexpr std::uint8_t kAddress = 0x40;
constexpr std::uint8_t kBatteryMarker = 0xD4;
constexpr std::size_t kResultFrameLength = 17;  // systolic 5-6, diastolic 7-8, pulse 11-12
constexpr std::size_t kShortFrameLength = 9;    // battery (level at 7) or error (FF at 4, error byte at 7)
constexpr std::size_t kProgressFrameLength = 7; // pressure at 5
constexpr std::uint8_t kErrorMarker = 0xFF;

// Error bytes minus one index this table; only the entries whose bit is set in the mask are meaningful.
constexpr std::array<std::int32_t, 11> kErrorTable = {-8, -9, -4, 0, -5, 0, -1, 0, 0, 0, -7};
constexpr std::uint32_t kErrorMask = 0x457;

/// A 16-bit value the way the monitor's pairs are read: high byte into bits 16-23, low byte below.
std::int32_t pairValue(std::span<const std::uint8_t> frame, std::size_t high) {
    return (static_cast<std::int32_t>(frame[high]) << 16) | frame[high + 1];
}

bool hasHeader(std::span<const std::uint8_t> frame) { return frame[0] == kFrameStart && frame[1] == kAddress; }

}  // namespace

bool HalvoraSDKHeartDeviceV3::matchDevice(const std::shared_ptr<Peripheral>& peripheral) {
    return nameEquals(peripheral, "Belter_BT");
}

const std::vector<std::uint8_t>& HalvoraSDKHeartDeviceV3::startCommand() {
    static const std::vector<std::uint8_t> command = {0x02, 0x40, 0xDD, 0x04, 0xFF, 0xFD, 0x02, 0x01, 0x98};
    return command;
}

const std::vector<std::uint8_t>& HalvoraSDKHeartDeviceV3::batteryCommand() {
    static const std::vector<std::uint8_t> command = {0x02, 0x40, 0xDD, 0x04, 0xFF, 0xFD, 0x02, 0x03, 0x9A};
    return command;
}

std::optional<std::int32_t> HalvoraSDKHeartDeviceV3::errorCodeFor(std::uint8_t deviceByte) {
    const std::uint32_t index = static_cast<std::uint8_t>(deviceByte - 1);
    if (index >= kErrorTable.size() || ((kErrorMask >> index) & 1U) == 0) return std::nullopt;
    return kErrorTable[index];
}

void HalvoraSDKHeartDeviceV3::startMeasurement() {
    progressCount_ = 0;
    setDataReceived(false);
    writeRawData(startCommand());
}

void HalvoraSDKHeartDeviceV3::getBatteryLevel() { writeRawData(batteryCommand()); }

void HalvoraSDKHeartDeviceV3::parseResult(std::span<const std::uint8_t> frame) {
    setDataReceived(true);
    HalvoraSDKHeartData result;
    result.systolic = pairValue(frame, 5);
    result.diastolic = pairValue(frame, 7);
    result.pulse = pairValue(frame, 11);
    deliverResultUnlessRepeated(result);
}

void HalvoraSDKHeartDeviceV3::parseFrame(std::span<const std::uint8_t> frame) {
    if (frame.size() == kResultFrameLength && !dataReceived()) {
        parseResult(frame);
    } else if (frame.size() == kShortFrameLength && hasHeader(frame)) {
        if (frame[2] == kBatteryMarker) {
            reportBatteryLevel(frame[7]);
        } else if (frame[4] == kErrorMarker && progressCount_ > 0) {
            reportDeviceError(errorCodeFor(frame[7]));
        }
    } else if (frame.size() == kProgressFrameLength && frame[0] == kFrameStart) {
        internal::incrementSaturating(progressCount_);
        reportData(static_cast<std::int32_t>(frame[5]));
    }
}

}  // namespace halvora
