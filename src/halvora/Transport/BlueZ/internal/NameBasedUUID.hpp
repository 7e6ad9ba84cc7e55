#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "halvora/Transport/BLEUUID.hpp"

namespace halvora::bluez {

/// SHA-1 of `data` (FIPS 180-4).
std::array<std::uint8_t, 20> sha1(std::string_view data);

/// A name-based (version 5, SHA-1) UUID of `name` in the namespace `space` (RFC 4122, section 4.3): the
/// same name always gives the same UUID.
BLEUUID nameBasedUUID(const BLEUUID& space, std::string_view name);

}  // namespace halvora::bluez
