#pragma once

#include <string>

#include "halvora/Devices/Tensio/HalvoraSDKTensioBraceletInterval.hpp"

namespace halvora::cli {

/// An ambulatory window as the command line gives it: HH:MM-HH:MM/PERIOD. The bracelet keeps half hours, so
/// the minutes are 00 or 30; PERIOD is the measuring period in minutes, 30 to 240 in steps of 30, sent as
/// its code PERIOD / 30 - 1. A window ends after it starts, within the day.
class TensioWindowSyntax {
public:
    TensioWindowSyntax() = delete;

    /// The shortest measuring period, and the step between periods, in minutes.
    static constexpr int kPeriodStep = 30;
    /// The longest measuring period, in minutes.
    static constexpr int kLongestPeriod = 240;
    /// The syntax, for --help.
    static constexpr const char* kHelp =
        "WINDOW is HH:MM-HH:MM/PERIOD: the bracelet measures on its own from the start to the end, every PERIOD "
        "minutes. Minutes are 00 or 30 (the bracelet keeps half hours); a window ends after it starts, within "
        "the day; PERIOD is 30 to 240 in steps of 30. The kit takes at most 3 windows, and refuses windows "
        "where one starts or ends inside another (touching ends are fine). Example: 08:00-12:00/30 "
        "12:00-22:30/60";

    /// The window `text` stands for; throws CliError(ExitBadArguments) saying what is wrong with it.
    static HalvoraSDKTensioBraceletInterval parse(const std::string& text);
};

}  // namespace halvora::cli
