#include "halvora/Transport/BLEUUID.hpp"

#include <cctype>

#include "halvora/Core/Format.hpp"

namespace halvora {

namespace {

constexpr std::array<std::uint8_t, 16> kBaseUUID = {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x10, 0x00,
                                                    0x80, 0x00, 0x00, 0x80, 0x5f, 0x9b, 0x34, 0xfb};

int hexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    const char lower = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (lower >= 'a' && lower <= 'f') return lower - 'a' + 10;
    return -1;
}

/// Reads hexadecimal digit pairs into `out`, skipping hyphens at the canonical positions only.
bool readHex(std::string_view text, std::uint8_t* out, std::size_t count) {
    std::size_t digits = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '-') {
            if (text.size() != 36 || (i != 8 && i != 13 && i != 18 && i != 23)) return false;
            continue;
        }
        const int value = hexValue(c);
        if (value < 0 || digits == count * 2) return false;
        if (digits % 2 == 0) {
            out[digits / 2] = static_cast<std::uint8_t>(value * 16);
        } else {
            out[digits / 2] = static_cast<std::uint8_t>(out[digits / 2] + value);
        }
        ++digits;
    }
    return digits == count * 2;
}

}  // namespace

std::optional<BLEUUID> BLEUUID::parse(std::string_view text) {
    std::array<std::uint8_t, 16> bytes = kBaseUUID;
    if (text.size() == 4) {
        if (!readHex(text, bytes.data() + 2, 2)) return std::nullopt;
    } else if (text.size() == 8) {
        if (!readHex(text, bytes.data(), 4)) return std::nullopt;
    } else if (text.size() == 36) {
        if (!readHex(text, bytes.data(), 16)) return std::nullopt;
    } else {
        return std::nullopt;
    }
    return fromBytes(bytes);
}

BLEUUID::BLEUUID(std::string_view text) {
    if (auto parsed = parse(text)) bytes_ = parsed->bytes_;
}

BLEUUID BLEUUID::fromBytes(const std::array<std::uint8_t, 16>& bytes) {
    BLEUUID uuid;
    uuid.bytes_ = bytes;
    return uuid;
}

bool BLEUUID::isNil() const {
    for (auto b : bytes_) {
        if (b != 0) return false;
    }
    return true;
}

bool BLEUUID::isShort() const {
    for (std::size_t i = 4; i < 16; ++i) {
        if (bytes_[i] != kBaseUUID[i]) return false;
    }
    return true;
}

std::string BLEUUID::toLongString() const {
    const auto& b = bytes_;
    return format("%02X%02X%02X%02X-%02X%02X-%02X%02X-%02X%02X-%02X%02X%02X%02X%02X%02X", b[0], b[1], b[2], b[3],
                  b[4], b[5], b[6], b[7], b[8], b[9], b[10], b[11], b[12], b[13], b[14], b[15]);
}

std::string BLEUUID::toString() const {
    if (isShort() && bytes_[0] == 0 && bytes_[1] == 0) return format("%02X%02X", bytes_[2], bytes_[3]);
    return toLongString();
}

}  // namespace halvora
