#include "halvora/Devices/Tensio/internal/TensioEvent.hpp"

#include "halvora/Devices/Tensio/internal/TensioErrorCodes.hpp"

namespace halvora {

namespace {

constexpr std::size_t kB3 = 3;
constexpr std::size_t kB4 = 4;
constexpr std::size_t kB5 = 5;
constexpr std::int32_t kHighByte = 256;

}  // namespace

std::optional<TensioEvent> TensioEvent::fromFrame(std::span<const std::uint8_t> frame) {
    if (frame.size() < kLength) return std::nullopt;
    return TensioEvent(frame[kB3], frame[kB4], frame[kB5]);
}

bool TensioEvent::answersRequest() const {
    return b3_ == kAcknowledgement || b4_ == 0 || b5_ == kAcknowledgementEnd;
}

bool TensioEvent::isPlainAcknowledgement() const {
    return b3_ == kAcknowledgement && b4_ == 0 && b5_ == kAcknowledgementEnd;
}

TensioEvent::Kind TensioEvent::kind() const {
    switch (b3_) {
        case kAcknowledgement:
            return Kind::Acknowledgement;
        case kMeasurementError:
        case kPlainError:
        case kDeviceError:
            return Kind::Error;
        case kCount:
            return Kind::Count;
        default:
            return Kind::Pressure;
    }
}

DeviceError TensioEvent::error() const {
    switch (b3_) {
        case kMeasurementError:
            return TensioErrorCodes::measurementError(b4_);
        case kDeviceError:
            return TensioErrorCodes::deviceError(b4_);
        default:
            return TensioErrorCodes::plainError();
    }
}

std::int32_t TensioEvent::pressure() const {
    return b3_ * kHighByte + b4_;
}

}  // namespace halvora
