#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

namespace halvora::lab {

/// Faults of the RM830's bootloader (VirtualRM830Bootloader), beside the lab's link faults. None is on
/// unless set.
struct RM830UpdaterFaults {
    /// The new procedure's start (01 04) is answered 10 01 03 (not supported) at once, as by an older
    /// bootloader: the phone then starts again with the old procedure.
    bool refuseNewStart = false;
    /// The old procedure's start (01) is answered 10 01 03 too.
    bool refuseOldStart = false;
    /// The status answering the start once the sizes have arrived, in place of 1 (success).
    std::optional<std::uint8_t> startStatus;
    /// The status answering the image once all of it has arrived, in place of 1.
    std::optional<std::uint8_t> receiveStatus;
    /// The status answering validation of a complete image, in place of 1.
    std::optional<std::uint8_t> validateStatus;
    /// Validation finds the image damaged: 10 04 05 (CRC error).
    bool crcError = false;
    /// The n-th packet receipt (from 1, counted from the start request) is not sent: the phone, waiting
    /// for it, stalls until the bootloader gives up (its inactivity time).
    std::optional<int> loseReceipt;
    /// The link drops as soon as this many image bytes (or more) have arrived; once per stay in the
    /// bootloader.
    std::optional<std::size_t> dropLinkAfterBytes;
};

}  // namespace halvora::lab
