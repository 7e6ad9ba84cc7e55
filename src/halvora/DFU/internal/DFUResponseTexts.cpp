#include "halvora/DFU/internal/DFUResponseTexts.hpp"

#include <array>
#include <utility>

#include "halvora/Core/Format.hpp"
#include "halvora/DFU/internal/DFUOpcodes.hpp"

namespace halvora {

namespace {

constexpr const char* kUnknownStatusText = "unknown Error";

constexpr std::array<std::pair<std::uint8_t, const char*>, 5> kStatusTexts{{
    {DFUOpcodes::kStatusInvalidState, "Invalid Response"},
    {DFUOpcodes::kStatusNotSupported, "Operation Not Supported"},
    {DFUOpcodes::kStatusDataSizeExceeds, "Data Size Exceeds"},
    {DFUOpcodes::kStatusCRCError, "CRC Error"},
    {DFUOpcodes::kStatusOperationFailed, "Operation Failed"},
}};

constexpr std::array<std::pair<std::uint8_t, const char*>, 4> kErrorFormats{{
    {DFUOpcodes::kStartDFU, "Error on StartDFU\n Message: %s"},
    {DFUOpcodes::kInitDFUParameters, "Error on Init Packet\n Message: %s"},
    {DFUOpcodes::kReceiveFirmwareImage, "Error on Receive Firmware Image\n Message: %s"},
    {DFUOpcodes::kValidateFirmware, "Error on Validate Firmware Request\n Message: %s"},
}};

}  // namespace

std::string DFUResponseTexts::statusText(std::uint8_t status) {
    for (const auto& [code, text] : kStatusTexts) {
        if (code == status) return text;
    }
    return kUnknownStatusText;
}

std::string DFUResponseTexts::errorMessage(std::uint8_t opcode, std::uint8_t status) {
    for (const auto& [code, errorFormat] : kErrorFormats) {
        if (code == opcode) return format(errorFormat, statusText(status).c_str());
    }
    return {};
}

}  // namespace halvora
