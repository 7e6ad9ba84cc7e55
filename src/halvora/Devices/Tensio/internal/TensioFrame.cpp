#include "halvora/Devices/Tensio/internal/TensioFrame.hpp"

#include <algorithm>

namespace halvora {

std::uint8_t TensioFrame::commandCheck(std::uint8_t code, std::uint8_t parameter) {
    return static_cast<std::uint8_t>(kCommandLength ^ code ^ parameter);
}

std::vector<std::uint8_t> TensioFrame::command(std::uint8_t code, std::uint8_t parameter) {
    return {kHeader, kSecondByte, kCommandLength, code, parameter, commandCheck(code, parameter)};
}

std::vector<std::uint8_t> TensioFrame::setting(std::uint8_t code,
                                               const std::array<std::uint8_t, kSettingValues>& values,
                                               std::uint8_t check) {
    std::vector<std::uint8_t> frame(totalLength(kSettingLength));
    frame[0] = kHeader;
    frame[1] = kSecondByte;
    frame[kLengthIndex] = kSettingLength;
    frame[kBodyIndex] = code;
    std::copy(values.begin(), values.end(), frame.begin() + kBodyIndex + 1);
    frame.back() = check;
    return frame;
}

}  // namespace halvora
