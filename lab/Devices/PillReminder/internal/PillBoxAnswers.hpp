#pragma once

#include <cstdint>
#include <vector>

#include "lab/Devices/Bracelet/BraceletTime.hpp"
#include "lab/Devices/PillReminder/PillBoxAlarm.hpp"
#include "lab/Devices/PillReminder/PillBoxDose.hpp"

namespace halvora::lab {

/// The box's reply frames AA 55 len code payload checksum, each whole (cut into notifications by
/// pieces()). Values too large for their bytes are clamped.
class PillBoxAnswers {
public:
    /// One reply frame.
    using Frame = std::vector<std::uint8_t>;

    PillBoxAnswers() = delete;

    /// A frame with this code and payload.
    static Frame frame(std::uint8_t code, const std::vector<std::uint8_t>& payload);
    /// AA 55 02 F0 F2: done; also the end of a listing.
    static Frame ack();
    /// AA 55 02 F1 F3: a bad frame, or a command refused.
    static Frame refusal();
    /// AA 55 02 FE 00: a schedule frame the box cannot store.
    static Frame scheduleRefusal();
    /// AA 55 08 B2, year - 2000, month, day, hour, minute, second, checksum.
    static Frame clock(const BraceletTime& time);
    /// AA 55 04 CD, hours, minutes (signed bytes), checksum.
    static Frame zone(int hours, int minutes);
    /// AA 55 03 B9, level, checksum.
    static Frame battery(int level);
    /// AA 55 08 CF, year - 2000, month, day, hour, minute, second, checksum.
    static Frame lastSync(const BraceletTime& time);
    /// One day of the schedule, 28 bytes: AA 55 19 D3, the packed day, the alarm count, ten slots (the
    /// day's alarms in order, then FF FF), checksum. At most ten alarms are sent.
    static Frame scheduleDay(const BraceletTime& day, const std::vector<PillBoxAlarm>& alarms);
    /// One history reply: AA 55 len D5, the entry count, the 6-byte entries, checksum (at most eight).
    static Frame history(const std::vector<PillBoxDose>& doses);
    /// `frame` with one zero byte more after its payload, the length byte and checksum counting it.
    static Frame lengthened(const Frame& frame);
    /// `frame` cut into notifications of at most 20 bytes.
    static std::vector<Frame> pieces(const Frame& frame);

private:
    static Frame dated(std::uint8_t code, const BraceletTime& time);
};

}  // namespace halvora::lab
