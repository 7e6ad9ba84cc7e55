#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace halvora {

/// The header line of a history package, "AT+DATA:<7 comma-separated integers>\r\n".
struct BraceletPackageHeader {
    /// `dataType` of step items.
    static constexpr std::int32_t kDataTypeSteps = 0;
    /// `dataType` of heart-rate items.
    static constexpr std::int32_t kDataTypeHeartRate = 3;
    /// `dataType` of sleep items.
    static constexpr std::int32_t kDataTypeSleep = 7;
    /// Number of fields of a header line.
    static constexpr std::size_t kFieldCount = 7;

    /// What the package's items are (kDataType...; any other type is discarded).
    std::int32_t dataType = 0;
    /// Bytes at the start of the package that hold items.
    std::int32_t currentPackageInfoLength = 0;
    /// Bytes of the whole package.
    std::int32_t currentPackageTotalLength = 0;
    /// The package's number.
    std::int32_t currentPackageNumber = 0;
    /// Number of the last package of the download (0: nothing to download).
    std::int32_t totalPackages = 0;
    /// Kept, not checked.
    std::int32_t packageCRC = 0;
    /// Kept, not used.
    std::int32_t packageEncrypted = 0;

    /// The fields of `line` from after its first ":" to its first "\r\n", split at ","; nothing unless there
    /// are exactly 7. Each field is read as `BraceletText::integerValue` reads numbers.
    static std::optional<BraceletPackageHeader> parse(std::string_view line);
};

}  // namespace halvora
