#include "halvora/Devices/Bracelet/internal/BraceletConfirmation.hpp"

#include <array>

#include "halvora/Devices/Bracelet/internal/BraceletText.hpp"

namespace halvora {

namespace {

/// Every fragment that makes an answer a confirmation.
constexpr std::array<std::string_view, 21> kConfirmationFragments = {
    "OK",        "AT+HEIGHT",  "AT+UNITS", "AT+WEIGHT", "AT+FINDPHONE", "AT+ANTI_LOST", "AT+HRMONITOR",
    "AT+FINDBT", "AT+HANDSUP", "AT+DT",    "AT+ANCS",   "AT+STEPSTORE", "AT+DEST",      "BT+IOS",
    "AT+BOND",   "AT+BAT",     "AT+VER",   "AT+OFF",    "AT+NAME",      "AT+ACT",       "AT+ALARM",
};

/// Answers that confirm a setting, in the order they are tested.
struct ParameterRow {
    std::string_view fragment;
    std::int32_t code;
};
constexpr std::array<ParameterRow, 10> kParameterRows = {{
    {"AT+HEIGHT", 0},
    {"AT+WEIGHT", 1},
    {"AT+DT", 2},
    {"AT+ANCS", 4},
    {"AT+DEST", 3},
    {"AT+HANDSUP", 5},
    {"AT+FINDPHONE", 6},
    {"AT+HRMONITOR", 7},
    {"AT+FINDBT", 8},
    {"AT+ANTI_LOST", 9},
}};

/// Answers that report a fixed text (or, with an empty text, nothing), tested after the settings.
struct InfoRow {
    std::string_view fragment;
    std::string_view info;
};
constexpr std::array<InfoRow, 6> kInfoRows = {{
    {"AT+ALARM", "Alarm set"},
    {"AT+NAME", "Text sent"},
    {"AT+OFF", ""},
    {"AT+ACT", "Activated"},
    {"AT+BOND:OK", "Bond ok"},
    {"AT+BOND:ERR", "Bond err"},
}};

constexpr std::string_view kVersion = "AT+VER";
constexpr std::string_view kVersionPrefix = "AT+VER:";
constexpr std::string_view kVersionInfo = "Version: ";
constexpr std::string_view kBattery = "AT+BAT";
constexpr std::string_view kBatteryPrefix = "AT+BAT:";
constexpr std::string_view kBatteryInfo = "% Battery: ";

}  // namespace

bool BraceletConfirmation::isConfirmation(std::string_view text) {
    for (std::string_view fragment : kConfirmationFragments) {
        if (BraceletText::contains(text, fragment)) return true;
    }
    return false;
}

BraceletConfirmation::Report BraceletConfirmation::reportFor(std::string_view text) {
    Report report;
    for (const auto& row : kParameterRows) {
        if (!BraceletText::contains(text, row.fragment)) continue;
        report.parameterCode = row.code;
        return report;
    }
    for (const auto& row : kInfoRows) {
        if (!BraceletText::contains(text, row.fragment)) continue;
        if (!row.info.empty()) report.info = std::string(row.info);
        return report;
    }
    if (BraceletText::contains(text, kVersion)) {
        report.info = BraceletText::replaceAll(text, kVersionPrefix, kVersionInfo);
    } else if (BraceletText::contains(text, kBattery)) {
        report.info = BraceletText::replaceAll(text, kBatteryPrefix, kBatteryInfo);
        report.batteryLevel = BraceletText::integerValue(BraceletText::fieldAfterColon(text));
    }
    return report;
}

}  // namespace halvora
