#include "halvora/Transport/BlueZ/internal/NameBasedUUID.hpp"

#include <string>
#include <vector>

namespace halvora::bluez {

namespace {

constexpr std::size_t kBlockBytes = 64;
constexpr std::size_t kLengthBytes = 8;
constexpr std::uint8_t kPaddingMarker = 0x80;
constexpr std::uint8_t kVersion5 = 0x50;
constexpr std::uint8_t kVersionMask = 0x0F;
constexpr std::uint8_t kVariantRFC4122 = 0x80;
constexpr std::uint8_t kVariantMask = 0x3F;

std::uint32_t rotateLeft(std::uint32_t value, int bits) {
    return (value << bits) | (value >> (32 - bits));
}

void compressBlock(std::array<std::uint32_t, 5>& state, const std::uint8_t* block) {
    std::array<std::uint32_t, 80> w{};
    for (std::size_t i = 0; i < 16; ++i) {
        w[i] = static_cast<std::uint32_t>(block[4 * i]) << 24 | static_cast<std::uint32_t>(block[4 * i + 1]) << 16 |
               static_cast<std::uint32_t>(block[4 * i + 2]) << 8 | static_cast<std::uint32_t>(block[4 * i + 3]);
    }
    for (std::size_t i = 16; i < 80; ++i) w[i] = rotateLeft(w[i - 3] ^ w[i - 8] ^ w[i - 14] ^ w[i - 16], 1);
    std::uint32_t a = state[0], b = state[1], c = state[2], d = state[3], e = state[4];
    for (std::size_t i = 0; i < 80; ++i) {
        std::uint32_t f = 0;
        std::uint32_t k = 0;
        if (i < 20) {
            f = (b & c) | (~b & d);
            k = 0x5A827999;
        } else if (i < 40) {
            f = b ^ c ^ d;
            k = 0x6ED9EBA1;
        } else if (i < 60) {
            f = (b & c) | (b & d) | (c & d);
            k = 0x8F1BBCDC;
        } else {
            f = b ^ c ^ d;
            k = 0xCA62C1D6;
        }
        const std::uint32_t next = rotateLeft(a, 5) + f + e + k + w[i];
        e = d;
        d = c;
        c = rotateLeft(b, 30);
        b = a;
        a = next;
    }
    state[0] += a;
    state[1] += b;
    state[2] += c;
    state[3] += d;
    state[4] += e;
}

}  // namespace

std::array<std::uint8_t, 20> sha1(std::string_view data) {
    std::array<std::uint32_t, 5> state = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476, 0xC3D2E1F0};
    std::vector<std::uint8_t> message(data.begin(), data.end());
    const std::uint64_t bitLength = static_cast<std::uint64_t>(message.size()) * 8;
    message.push_back(kPaddingMarker);
    while (message.size() % kBlockBytes != kBlockBytes - kLengthBytes) message.push_back(0);
    for (int shift = 56; shift >= 0; shift -= 8) message.push_back(static_cast<std::uint8_t>(bitLength >> shift));
    for (std::size_t offset = 0; offset < message.size(); offset += kBlockBytes) compressBlock(state, &message[offset]);
    std::array<std::uint8_t, 20> digest{};
    for (std::size_t i = 0; i < 5; ++i) {
        for (std::size_t j = 0; j < 4; ++j) digest[4 * i + j] = static_cast<std::uint8_t>(state[i] >> (24 - 8 * j));
    }
    return digest;
}

BLEUUID nameBasedUUID(const BLEUUID& space, std::string_view name) {
    std::string input(space.bytes().begin(), space.bytes().end());
    input.append(name);
    const auto digest = sha1(input);
    std::array<std::uint8_t, 16> bytes{};
    std::copy(digest.begin(), digest.begin() + 16, bytes.begin());
    bytes[6] = static_cast<std::uint8_t>((bytes[6] & kVersionMask) | kVersion5);
    bytes[8] = static_cast<std::uint8_t>((bytes[8] & kVariantMask) | kVariantRFC4122);
    return BLEUUID::fromBytes(bytes);
}

}  // namespace halvora::bluez
