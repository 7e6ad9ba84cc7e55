#include "halvora/Devices/Tensio/internal/TensioFrameAssembler.hpp"

#include <utility>

#include "halvora/Devices/Tensio/internal/TensioFrame.hpp"

namespace halvora {

TensioFrameAssembler::Status TensioFrameAssembler::append(std::span<const std::uint8_t> bytes) {
    if (buffer_.size() + bytes.size() > kCap) {
        buffer_.clear();
        return Status::Dropped;
    }
    buffer_.insert(buffer_.end(), bytes.begin(), bytes.end());
    if (buffer_.size() <= TensioFrame::kLengthIndex) return Status::Waiting;
    const std::size_t expected = TensioFrame::totalLength(buffer_[TensioFrame::kLengthIndex]);
    if (buffer_.size() < expected) return Status::Waiting;
    if (buffer_.size() > expected) {
        buffer_.clear();
        return Status::Dropped;
    }
    return Status::Complete;
}

std::vector<std::uint8_t> TensioFrameAssembler::take() {
    return std::exchange(buffer_, {});
}

}  // namespace halvora
