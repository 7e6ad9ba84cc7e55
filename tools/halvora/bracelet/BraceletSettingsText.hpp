#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "BraceletCommands.hpp"
#include "halvora/Manager/HalvoraSDKManager.hpp"
#include "halvora/Records/HalvoraSDKBraceletAlarm.hpp"
#include "halvora/Records/HalvoraSDKBraceletSedentaryAlarm.hpp"

namespace halvora::cli {

/// One setting to send, and how the bracelet confirms it.
struct SettingStep {
    std::string label;  ///< "height", "alarm 2", ...
    std::function<void(HalvoraSDKManager&)> send;
    std::optional<std::int32_t> code;             ///< the confirmation code, if the bracelet sends one
    std::optional<std::int32_t> alternativeCode;  ///< a second code that confirms it too (alarms)
    std::optional<std::string> info;              ///< an informational text that confirms it instead
    std::size_t occurrence = 1;                   ///< how many confirmations of the code this step needs
};

/// The steps of a `bracelet set`, in the order they are sent. Throws CliError(ExitBadArguments) for a value
/// that cannot be sent, before anything is connected.
std::vector<SettingStep> settingsPlan(const BraceletSettings& settings, Session& session);

/// An alarm from "N,DAYS,HH:MM" (N 1 or 2; DAYS "mon+wed+sat", "daily", "weekdays", "weekend" or "none").
HalvoraSDKBraceletAlarm parseAlarm(const std::string& text);
/// A sedentary reminder from "MINUTES,HH:MM,HH:MM".
HalvoraSDKBraceletSedentaryAlarm parseSedentary(const std::string& text);
/// A local date from "now" (the session's clock) or "yyyy-MM-dd HH:mm".
Date parseBraceletDate(const std::string& text, Session& session);
/// The text without its trailing line end.
std::string trimmedLine(const std::string& text);

}  // namespace halvora::cli
