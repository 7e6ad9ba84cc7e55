#include "halvora/Core/Format.hpp"

#include <cstdio>

namespace halvora {

std::string vformat(const char* fmt, va_list args) {
    // One pass into a buffer on the stack for the usual short line; a longer one is formatted again into
    // a string of the size the first pass measured.
    char line[256];
    va_list copy;
    va_copy(copy, args);
    const int needed = std::vsnprintf(line, sizeof line, fmt, copy);
    va_end(copy);
    if (needed <= 0) return {};
    const auto length = static_cast<std::size_t>(needed);
    if (length < sizeof line) return std::string(line, length);
    std::string out(length, '\0');
    std::vsnprintf(out.data(), length + 1, fmt, args);
    return out;
}

std::string format(const char* fmt, ...) {
    va_list args;
    va_start(args, fmt);
    std::string out = vformat(fmt, args);
    va_end(args);
    return out;
}

}  // namespace halvora
