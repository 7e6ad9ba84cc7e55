#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

namespace halvora {

/// Reads a whole file for the firmware update.
class FileBytes {
public:
    FileBytes() = delete;

    /// The file's bytes; empty when it is missing, unreadable or empty (no exception ever leaves).
    static std::vector<std::uint8_t> read(const std::filesystem::path& file);
};

}  // namespace halvora
