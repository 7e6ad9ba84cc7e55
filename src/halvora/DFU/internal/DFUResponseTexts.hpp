#pragma once

#include <cstdint>
#include <string>

namespace halvora {

/// The texts of the bootloader's responses: the status texts and, per request, the format of the error that
/// a failed response reports.
class DFUResponseTexts {
public:
    DFUResponseTexts() = delete;

    /// The text of a response status: 2 "Invalid Response", 3 "Operation Not Supported", 4 "Data Size
    /// Exceeds", 5 "CRC Error", 6 "Operation Failed", anything else "unknown Error".
    static std::string statusText(std::uint8_t status);
    /// The error reported when request `opcode` (1 to 4) fails with `status`: the request's format filled with
    /// the status text ("Error on StartDFU\n Message: Operation Not Supported"); empty for other opcodes.
    static std::string errorMessage(std::uint8_t opcode, std::uint8_t status);
};

}  // namespace halvora
