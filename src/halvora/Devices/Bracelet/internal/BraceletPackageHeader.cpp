#include "halvora/Devices/Bracelet/internal/BraceletPackageHeader.hpp"

#include "halvora/Devices/Bracelet/internal/BraceletText.hpp"

namespace halvora {

std::optional<BraceletPackageHeader> BraceletPackageHeader::parse(std::string_view line) {
    const auto fields = BraceletText::split(BraceletText::fieldAfterColon(line), ',');
    if (fields.size() != kFieldCount) return std::nullopt;
    BraceletPackageHeader header;
    std::int32_t* const targets[kFieldCount] = {&header.dataType,
                                                &header.currentPackageInfoLength,
                                                &header.currentPackageTotalLength,
                                                &header.currentPackageNumber,
                                                &header.totalPackages,
                                                &header.packageCRC,
                                                &header.packageEncrypted};
    for (std::size_t i = 0; i < kFieldCount; ++i) *targets[i] = BraceletText::integerValue(fields[i]);
    return header;
}

}  // namespace halvora
