#include "lab/Devices/Bracelet/internal/CommandLine.hpp"

namespace halvora::lab {

CommandLine CommandLine::parse(const std::string& line) {
    const auto equals = line.find('=');
    if (equals == std::string::npos) return {line, std::nullopt};
    return {line.substr(0, equals), line.substr(equals + 1)};
}

}  // namespace halvora::lab
