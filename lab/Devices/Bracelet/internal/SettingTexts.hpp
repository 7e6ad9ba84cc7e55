#pragma once

#include <optional>
#include <string>

#include "lab/Devices/Bracelet/BraceletSettings.hpp"

namespace halvora::lab {

/// An alarm command's argument, "1,00,01000011,0730": on (0/1), two mode digits, eight day characters
/// (0/1: Sunday to Saturday, then one more) and HHmm; nothing when a field is malformed or out of range.
std::optional<BraceletSettings::Alarm> parseAlarmArgument(const std::string& argument);
/// An alarm written back in the form of its command's argument.
std::string alarmArgument(const BraceletSettings::Alarm& alarm);

/// A sedentary command's argument, "030,0805,2200,1": interval (three digits), from and to (HHmm each) and
/// on (0/1); nothing when a field is malformed or out of range.
std::optional<BraceletSettings::Sedentary> parseSedentaryArgument(const std::string& argument);
/// A sedentary reminder written back in the form of its command's argument.
std::string sedentaryArgument(const BraceletSettings::Sedentary& sedentary);

}  // namespace halvora::lab
