#include "support/Hex.hpp"

#include <cstdio>
#include <stdexcept>

namespace halvora::test {

std::vector<std::uint8_t> bytes(const std::string& hex) {
    std::vector<std::uint8_t> out;
    std::string digits;
    for (char c : hex) {
        if (c != ' ') digits.push_back(c);
    }
    if (digits.size() % 2 != 0) throw std::invalid_argument("odd number of hex digits: " + hex);
    for (std::size_t i = 0; i < digits.size(); i += 2) {
        out.push_back(static_cast<std::uint8_t>(std::stoul(digits.substr(i, 2), nullptr, 16)));
    }
    return out;
}

std::string hex(const std::vector<std::uint8_t>& bytes) {
    std::string out;
    char buffer[4];
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        std::snprintf(buffer, sizeof buffer, i ? " %02X" : "%02X", bytes[i]);
        out += buffer;
    }
    return out;
}

}  // namespace halvora::test
