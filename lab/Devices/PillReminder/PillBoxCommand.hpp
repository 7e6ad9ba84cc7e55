#pragma once

#include <cstdint>

namespace halvora::lab {

/// The commands the pill box takes, by the code in byte 3 of the phone's frame AA 55 len code ... checksum.
enum class PillBoxCommand : std::uint8_t {
    SetClock = 0xC2,             ///< year - 2000, month, day, weekday, hour, minute, second
    SetZone = 0xC4,              ///< zone hours and minutes, signed bytes
    ReadZone = 0xCD,             ///< the zone
    ReadBattery = 0xCE,          ///< the battery level
    ReadLastSync = 0xCF,         ///< when the phone last marked a synchronisation
    MarkSynchronised = 0xD0,     ///< the phone synchronised: the box keeps its clock's time
    ClearHistory = 0xD1,         ///< forget the taken/missed history
    ReadClock = 0xD2,            ///< the clock
    ReadSchedule = 0xD3,         ///< the stored alarms, one reply per day
    WriteSchedule = 0xD4,        ///< up to five alarms of one day
    ReadHistory = 0xD5,          ///< the taken/missed history
    SetAlarmDuration = 0xD6,     ///< how long an alarm rings (one byte)
    SetConfirmationTime = 0xD7,  ///< how long the box waits for a dose to be confirmed (one byte)
    ClearSchedule = 0xD8,        ///< forget every alarm
};

}  // namespace halvora::lab
