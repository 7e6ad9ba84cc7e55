#include "lab/Devices/RM830/internal/RM830Protocol.hpp"

#include <charconv>

namespace halvora::lab::rm830 {

namespace {

constexpr int kBcdLimit = 100;
constexpr char kVersionSeparator = '.';
constexpr int kLowestVersionPart = -128;
constexpr int kHighestVersionPart = 127;

}  // namespace

std::uint8_t checksum(std::span<const std::uint8_t> bytes) {
    unsigned sum = 0;
    for (auto b : bytes) sum += b;
    return static_cast<std::uint8_t>(sum & 0xFF);
}

std::uint8_t toBcd(int value) {
    const int v = ((value % kBcdLimit) + kBcdLimit) % kBcdLimit;
    return static_cast<std::uint8_t>((v / 10) << 4 | (v % 10));
}

std::optional<int> fromBcd(std::uint8_t byte) {
    const int high = byte >> 4;
    const int low = byte & 0x0F;
    if (high > 9 || low > 9) return std::nullopt;
    return high * 10 + low;
}

std::optional<std::array<std::uint8_t, 4>> versionBytes(const std::string& text) {
    std::array<std::uint8_t, 4> bytes{};
    const char* at = text.data();
    const char* end = text.data() + text.size();
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (i > 0) {
            if (at == end || *at != kVersionSeparator) return std::nullopt;
            ++at;
        }
        if (at == end || *at == '+') return std::nullopt;
        int part = 0;
        const auto [next, error] = std::from_chars(at, end, part);
        if (error != std::errc() || part < kLowestVersionPart || part > kHighestVersionPart) return std::nullopt;
        bytes[i] = static_cast<std::uint8_t>(static_cast<std::int8_t>(part));
        at = next;
    }
    if (at != end) return std::nullopt;
    return bytes;
}

}  // namespace halvora::lab::rm830
