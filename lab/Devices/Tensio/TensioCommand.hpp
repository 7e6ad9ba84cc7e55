#pragma once

namespace halvora::lab {

/// The commands the blood-pressure bracelet takes. The six-byte ones are 5A 00 02 c p k, the eleven-byte ones
/// 5A 00 07 c b4..b9 k; the codes are given as c p (or c alone).
enum class TensioCommand {
    StartMeasurement,   ///< 00 00: inflate the cuff and measure
    StopMeasurement,    ///< 00 01: abandon the running measurement
    ReadMemory,         ///< 01 00: the memory's count, then one stored measurement per further request
    ClearMemory,        ///< 02 00: empty the memory
    ReadClock,          ///< 03 00: the clock
    ReadSchedule,       ///< 03 01: the ambulatory windows held
    ReadBasicInfo,      ///< 04 00: battery, ambulatory flag, unit, hold and stored count
    RepeatMeasurement,  ///< 06 00: send the newest stored measurement again
    ResetDefaults,      ///< 13 AA: configuration and schedule back to their defaults (a fixed frame)
    SetClock,           ///< 20: two-digit year, month, day, hour, minute and second
    SetScheduleWindow,  ///< 21: one ambulatory window
    SetConfiguration,   ///< 22: ambulatory measurement on or off, and the wrist it is worn on
};

}  // namespace halvora::lab
