#pragma once

#include <cstdint>

namespace halvora {

/// What the RM830 driver does with an answer, chosen by its byte 0 (an unsigned value). "Release" gives the
/// command slot back; "success" and "failure" are `operationFinished` true and false.
enum class RM830AnswerAction {
    ReleaseThenSuccess,  ///< 0x01, 0x02, 0x0B, 0x37: settings accepted
    SuccessThenRelease,  ///< 0x19, 0x2A, 0x46: monitoring switch, monitoring window, dates
    CurrentDay,          ///< 0x09: today's totals, then real-time mode is stopped
    FirmwareVersion,     ///< 0x27: the version, the firmware check, release
    RealtimeHeartRate,   ///< 0x2C: a value of the stream (slot kept), or its end (release, success)
    HeartRateHistory,    ///< 0x2F: one packet of the heart-rate history
    DayFrame,            ///< 0x43: one quarter hour of a history day, or no data for the day
    HeartRate,           ///< 0x6D: one heart rate, release
    Release,             ///< every other code: release
    ReleaseThenFailure,  ///< 0x82, 0x8B, 0xB7: personal data, targets or time format refused
    StopRealtime,        ///< 0x89: real-time mode failed; it is stopped
    FailureKeepingSlot,  ///< 0xA9: failure, the slot stays taken
    FailureThenRelease,  ///< 0xAA, 0xAC, 0xC6: monitoring window, real-time heart rate or dates refused
};

/// The RM830 bracelet's answer table.
class RM830AnswerTable {
public:
    RM830AnswerTable() = delete;

    /// The action for an answer whose byte 0 is `code`.
    static RM830AnswerAction actionFor(std::uint8_t code);
};

}  // namespace halvora
