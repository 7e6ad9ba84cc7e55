#include "halvora/Devices/RM830/internal/RM830Frame.hpp"

namespace halvora {

RM830Frame& RM830Frame::set(std::size_t index, std::uint8_t value) {
    if (index >= kFirstParameter && index <= kLastParameter) bytes_[index] = value;
    return *this;
}

std::vector<std::uint8_t> RM830Frame::bytes() const {
    std::vector<std::uint8_t> out(bytes_.begin(), bytes_.end());
    out[kChecksumIndex] = checksum(std::span(out).first(kChecksumIndex));
    return out;
}

std::uint8_t RM830Frame::checksum(std::span<const std::uint8_t> body) {
    unsigned sum = 0;
    for (std::uint8_t byte : body) sum += byte;
    return static_cast<std::uint8_t>(sum);
}

std::int32_t RM830Frame::sum(const std::vector<std::int32_t>& values) {
    std::uint32_t total = 0;  // unsigned: wraps instead of overflowing
    for (std::int32_t value : values) total += static_cast<std::uint32_t>(value);
    return static_cast<std::int32_t>(total);
}

}  // namespace halvora
