#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace halvora::test {

/// "FD FD FB 01 20" to bytes (spaces optional).
std::vector<std::uint8_t> bytes(const std::string& hex);
/// Bytes to "FD FD FB 01 20", for failure messages.
std::string hex(const std::vector<std::uint8_t>& bytes);

}  // namespace halvora::test
