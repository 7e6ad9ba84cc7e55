#include "halvora/Devices/Measurement/HalvoraSDKHeartDeviceV2.hpp"

#include <array>
#include <utility>

namespace halvora {

namespace {

constexpr std::size_t kBatteryFrameLength = 9;     // level at 8
constexpr std::size_t kProgressFrameLength = 2;    // 20, pressure
constexpr std::uint8_t kProgressMarker = 0x20;
constexpr std::size_t kMinResultFrameLength = 11;  // systolic 2, diastolic 4, pulse 8
constexpr std::size_t kErrorFrameLength = 4;       // FF FE FF, error byte
constexpr std::array<std::uint8_t, 3> kErrorMarker = {0xFF, 0xFE, 0xFF};

constexpr std::array<std::pair<std::uint8_t, std::int32_t>, 6> kErrorCodes = {{
    {0x01, -1}, {0x02, -4}, {0x03, -5}, {0x04, -6}, {0x05, -2}, {0x06, -7},
}};

bool isErrorFrame(std::span<const std::uint8_t> frame) {
    return frame.size() == kErrorFrameLength && frame[0] == kErrorMarker[0] && frame[1] == kErrorMarker[1] &&
           frame[2] == kErrorMarker[2];
}

}  // namespace

bool HalvoraSDKHeartDeviceV2::matchDevice(const std::shared_ptr<Peripheral>& peripheral) {
    return nameEquals(peripheral, "eBlood-Pressure");
}

std::optional<std::int32_t> HalvoraSDKHeartDeviceV2::errorCodeFor(std::uint8_t deviceByte) {
    return lookUpErrorCode(kErrorCodes, deviceByte);
}

void HalvoraSDKHeartDeviceV2::parseFrame(std::span<const std::uint8_t> frame) {
    if (frame.size() == kBatteryFrameLength) {
        reportBatteryLevel(frame[8]);
    } else if (frame.size() == kProgressFrameLength && frame[0] == kProgressMarker) {
        reportData(static_cast<std::int32_t>(frame[1]));
    } else if (frame.size() >= kMinResultFrameLength && !dataReceived()) {
        setDataReceived(true);
        HalvoraSDKHeartData result;
        result.systolic = frame[2];
        result.diastolic = frame[4];
        result.pulse = frame[8];
        deliverResultUnlessRepeated(result);
    } else if (isErrorFrame(frame)) {
        reportDeviceError(errorCodeFor(frame[3]));
    }
}

}  // namespace halvora
