#pragma once

#include <optional>
#include <string>

namespace halvora::lab {

/// One command line from the phone, split at its first "=": "AT+HEIGHT=170" is the name "AT+HEIGHT" with
/// the argument "170"; "AT+PACE" has no argument.
struct CommandLine {
    std::string name;                     ///< the text before "=" (the whole line without one)
    std::optional<std::string> argument;  ///< the text after "="

    /// Splits a line (without its "\r\n").
    static CommandLine parse(const std::string& line);
};

}  // namespace halvora::lab
