#include "halvora/Devices/Tensio/internal/TensioCommandTable.hpp"

#include "halvora/Devices/Tensio/internal/TensioFrame.hpp"

namespace halvora {

std::vector<std::uint8_t> TensioCommandTable::frame(const Entry& entry) {
    return TensioFrame::command(entry.code, entry.parameter);
}

std::vector<std::uint8_t> TensioCommandTable::resetFrame() {
    return {TensioFrame::kHeader, TensioFrame::kSecondByte, TensioFrame::kCommandLength,
            kResetDefaults.code,  kResetDefaults.parameter, kResetCheck};
}

}  // namespace halvora
