#pragma once

#include <cstdint>

namespace halvora {

/// What the Vital driver does with a reply, chosen by its byte 0.
enum class VitalReplyAction {
    Success,                 ///< an acknowledgement: the row's command succeeded, the permit is freed
    Refused,                 ///< the bracelet refused the row's command: error 0, the permit is freed
    ParametersAcknowledged,  ///< 0x03: the second parameter frame follows under the same permit
    FirstParameters,         ///< 0x04: the parameters are read, the second read follows
    SecondParameters,        ///< 0x07: the parameter read ends (command 11)
    RealtimeData,            ///< 0x09: a real-time reading (command 2)
    Battery,                 ///< 0x13: the battery level (command 14)
    FirmwareCommand,         ///< 0x16: the bracelet asks for an operation
    SportHeartbeat,          ///< 0x18: the bracelet's sport heartbeat (commands 38, 39)
    MacAddress,              ///< 0x22: the MAC address (command 8)
    ActivityPeriod,          ///< 0x26: the exercise reminder (command 6)
    HealthMeasurement,       ///< 0x28: the health-measurement answer (command 16)
    DetectionSet,            ///< 0x2A: a schedule was set (command 15)
    DetectionSettings,       ///< 0x2B: a schedule (command 5)
    Time,                    ///< 0x41: the clock (command 1)
    User,                    ///< 0x42: the user record (command 13)
    StepGoal,                ///< 0x4B: the step goal (command 3)
    HistoryPage,             ///< a history download reply (0x51 ... 0x66)
    ECGWaveformPage,         ///< 0x71: a page of a stored ECG waveform (command 32 at its end)
    ECGStarted,              ///< 0x99: the answer to the start of an ECG upload (command 28)
    ECGStatus,               ///< 0x9C: the ECG measurement status (commands 30 and 29)
    HeartRateStatus,         ///< 0x83: the heart-rate status (command 31)
    ECGValues,               ///< 0xAA: live ECG values, only during an ECG upload
    SOS,                     ///< 0xFE: the wearer's SOS
    Unknown,                 ///< any other code: the permit is freed, nothing is reported
};

/// One row of the table: the action and the command number it reports (-1 where it has none of its own).
struct VitalReplyRow {
    /// What to do.
    VitalReplyAction action = VitalReplyAction::Unknown;
    /// The command reported, for Success and Refused rows.
    std::int32_t command = -1;
};

/// The Vital bracelet's reply table.
class VitalReplyTable {
public:
    VitalReplyTable() = delete;

    /// The row of a reply whose byte 0 is `code`.
    static VitalReplyRow rowFor(std::uint8_t code);
};

}  // namespace halvora
