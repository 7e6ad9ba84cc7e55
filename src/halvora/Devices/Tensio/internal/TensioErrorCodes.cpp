#include "halvora/Devices/Tensio/internal/TensioErrorCodes.hpp"

namespace halvora {

namespace {

/// A table of consecutive codes: sub-code 1 gives `firstCode`, each next one a code one lower.
struct CodeRange {
    std::uint8_t lastSubCode;
    std::int32_t firstCode;
};
constexpr CodeRange kMeasurementErrors{6, -8};
constexpr CodeRange kDeviceErrors{5, -14};
constexpr std::uint8_t kFirstSubCode = 1;

DeviceError lookUp(const CodeRange& range, std::uint8_t subCode) {
    if (subCode < kFirstSubCode || subCode > range.lastSubCode) return std::monostate{};
    return range.firstCode - (subCode - kFirstSubCode);
}

}  // namespace

DeviceError TensioErrorCodes::measurementError(std::uint8_t subCode) {
    return lookUp(kMeasurementErrors, subCode);
}

DeviceError TensioErrorCodes::plainError() {
    return std::monostate{};
}

DeviceError TensioErrorCodes::deviceError(std::uint8_t subCode) {
    return lookUp(kDeviceErrors, subCode);
}

}  // namespace halvora
