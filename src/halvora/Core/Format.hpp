#pragma once

#include <cstdarg>
#include <string>

namespace halvora {

/// printf-style formatting into a std::string: the formats mean exactly what printf means.
std::string format(const char* fmt, ...) __attribute__((format(printf, 1, 2)));
/// The same with a va_list.
std::string vformat(const char* fmt, va_list args) __attribute__((format(printf, 1, 0)));

}  // namespace halvora
