#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "lab/Devices/Vital/VitalSettings.hpp"
#include "lab/Devices/Vital/internal/VitalProtocol.hpp"

namespace halvora::lab {

/// Puts the phone's alarm list back together from the pieces it arrives in. The list is one 39-byte block
/// per alarm (23, the count, the index, enabled, type, BCD hour and minute, week days, a length byte and
/// its characters, zeros) and the trailer 23 FF; its length follows from the count in byte 1 of the first
/// piece, and pieces are appended until it is reached. "23 FF" alone is the empty list.
///
/// Cap: a list announcing more than kMaxAlarms alarms (or none) is malformed at its first piece, so at
/// most kMaxListBytes are ever held.
class VitalAlarmList {
public:
    /// The most alarms a list may hold.
    static constexpr std::size_t kMaxAlarms = 32;
    /// The longest list.
    static constexpr std::size_t kMaxListBytes = kMaxAlarms * vital::kAlarmBlockLength + vital::kAlarmTrailerLength;

    /// Where the list stands after a piece.
    enum class Progress {
        Incomplete,  ///< more pieces are awaited
        Complete,    ///< the list arrived whole and reads well: alarms() holds it
        Malformed,   ///< the list is not one: it was dropped
    };

    /// Whether a list has started and awaits more pieces.
    bool collecting() const { return expected_ > 0; }
    /// Adds a piece (the first one starts the list).
    Progress add(const std::vector<std::uint8_t>& piece);
    /// The alarms of the last complete list.
    const std::vector<VitalSettings::Alarm>& alarms() const { return alarms_; }
    /// Drops a list not yet complete.
    void reset();

private:
    Progress finish();
    std::optional<VitalSettings::Alarm> block(std::size_t index, std::size_t count) const;

    std::vector<std::uint8_t> bytes_;
    std::size_t expected_ = 0;  // the list's length once started; 0: no list under way
    std::vector<VitalSettings::Alarm> alarms_;
};

}  // namespace halvora::lab
