#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace halvora {

/// The bracelet's confirmation answers to settings and plain commands, and what each one reports to the
/// application. An answer is recognised by the fragments it contains, not by its start.
class BraceletConfirmation {
public:
    BraceletConfirmation() = delete;

    /// What an answer reports.
    struct Report {
        /// A `braceletParameterSet` code.
        std::optional<std::int32_t> parameterCode;
        /// A `braceletInfoReceived` text.
        std::optional<std::string> info;
        /// A battery level for `braceletBatteryReceived` and the manager.
        std::optional<std::int32_t> batteryLevel;
    };

    /// Whether `text` contains any of the fragments of a confirmation ("OK", "AT+HEIGHT", "AT+UNITS", ...);
    /// an answer that does not is ignored and leaves the command slot taken.
    static bool isConfirmation(std::string_view text);
    /// The report of a confirmation: the first fragment that `text` contains, in the order of the table,
    /// decides. Answers such as "OK", "AT+UNITS", "AT+STEPSTORE", "BT+IOS" and "AT+OFF" report nothing.
    static Report reportFor(std::string_view text);
};

}  // namespace halvora
