#include "halvora/DFU/internal/FileBytes.hpp"

#include <exception>
#include <fstream>
#include <system_error>

namespace halvora {

std::vector<std::uint8_t> FileBytes::read(const std::filesystem::path& file) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(file, error)) return {};
    const auto size = std::filesystem::file_size(file, error);
    if (error || size == 0) return {};
    try {
        std::ifstream stream(file, std::ios::binary);
        if (!stream) return {};
        std::vector<std::uint8_t> bytes(static_cast<std::size_t>(size));
        stream.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        bytes.resize(static_cast<std::size_t>(stream.gcount()));
        return bytes;
    } catch (const std::exception&) {  // a file too large to hold reads as missing
        return {};
    }
}

}  // namespace halvora
