#pragma once

// Expected request frames: the given bytes, zero-padded to 15, and the low byte of their plain sum.
#include <string>
#include <vector>

#include "support/Hex.hpp"

namespace halvora::test {

inline std::string frame16(const std::string& hexBody) {
    auto body = bytes(hexBody);
    body.resize(15, 0);
    unsigned sum = 0;
    for (auto b : body) sum += b;
    body.push_back(static_cast<std::uint8_t>(sum & 0xFF));
    return hex(body);
}

}  // namespace halvora::test
