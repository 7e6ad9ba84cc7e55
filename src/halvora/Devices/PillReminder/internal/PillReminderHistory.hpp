#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "halvora/Devices/PillReminder/HalvoraSDKPillReminderPerformanceData.hpp"

namespace halvora {

/// The entries of the pill box's taken/missed history. A history reply (code D5) carries up to eight
/// entries of six bytes from byte 5 on. An entry e0..e5: year - 2000 = (e0 & 15) x 4 + (e1 >> 6); month =
/// (e1 >> 2) & 15; day = (e1 & 3) x 8 + (e2 >> 5); hour taken = e2 & 31; minute taken = e3 >> 2; status =
/// e3 & 3; planned hour e4; planned minute e5.
class PillReminderHistory {
public:
    PillReminderHistory() = delete;

    /// Bytes of an entry.
    static constexpr std::size_t kEntryLength = 6;
    /// Index of the first entry in a reply.
    static constexpr std::size_t kFirstEntryIndex = 5;
    /// The most entries a reply carries.
    static constexpr std::size_t kMaxEntries = 8;

    /// One entry as a record (request 10): `date` the day at the planned time, `dateTaken` the day at the
    /// time taken, `statusTaken` the status. Nothing when either date names no real moment.
    static std::optional<HalvoraSDKPillReminderPerformanceData> decode(std::span<const std::uint8_t, kEntryLength> e);
    /// The records of a reply's entries, in order; entries that run past the reply's end or yield no record
    /// are skipped.
    static std::vector<HalvoraSDKPillReminderPerformanceData> readReply(std::span<const std::uint8_t> reply);
};

}  // namespace halvora
