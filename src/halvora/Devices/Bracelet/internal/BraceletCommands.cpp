#include "halvora/Devices/Bracelet/internal/BraceletCommands.hpp"

#include <algorithm>

#include "halvora/Core/Calendar.hpp"
#include "halvora/Core/Format.hpp"
#include "halvora/Devices/Bracelet/internal/BraceletText.hpp"

namespace halvora {

namespace {

constexpr int kHeightDigits = 3;
constexpr int kWeightDigits = 3;
constexpr int kStepTargetDigits = 5;

constexpr const char* kAlarm = "AT+ALARM";
constexpr const char* kSecondAlarmSuffix = "2";
constexpr const char* kAlarmOn = "=1,00,";
constexpr const char* kAlarmOff = "=0,00,00000000,0000";
constexpr const char* kSaturdaySet = "11,";
constexpr const char* kSaturdayClear = "01,";
constexpr const char* kSedentaryFields = "AT+SIT=%3d,%2d%2d,%2d%2d,1";
constexpr const char* kSedentaryOff = "AT+SIT=000,0000,0000,0";

/// A command line: the command text and the line end.
std::string line(const std::string& command) {
    return command + std::string(BraceletText::kLineEnd);
}

/// "<name>=<value>" and the line end.
std::string withNumber(const char* name, std::int32_t value) {
    return line(format("%s=%d", name, value));
}

/// "<name>=<value>" with the value left-padded with "0" to `digits` characters, and the line end.
std::string withPaddedNumber(const char* name, std::int32_t value, int digits) {
    return line(format("%s=%0*d", name, digits, value));
}

char dayFlag(bool set) {
    return set ? '1' : '0';
}

}  // namespace

std::string BraceletCommands::date(Date date) {
    const std::tm local = Calendar::toLocal(date);
    return line(format("AT+DT=%04d%02d%02d%02d%02d", local.tm_year + 1900, local.tm_mon + 1, local.tm_mday,
                       local.tm_hour, local.tm_min));
}

std::string BraceletCommands::currentSteps() {
    return line("AT+PACE");
}
std::string BraceletCommands::stepStore() {
    return line("AT+STEPSTORE");
}
std::string BraceletCommands::heartBeat(std::int32_t start) {
    return withNumber("AT+HEART", start);
}
std::string BraceletCommands::userHeight(std::int32_t centimetres) {
    return withPaddedNumber("AT+HEIGHT", centimetres, kHeightDigits);
}
std::string BraceletCommands::userWeight(std::int32_t kilograms) {
    return withPaddedNumber("AT+WEIGHT", kilograms, kWeightDigits);
}
std::string BraceletCommands::riseHand(std::int32_t enabled) {
    return withNumber("AT+HANDSUP", enabled);
}
std::string BraceletCommands::antitheft(std::int32_t enabled) {
    return withNumber("AT+ANTI_LOST", enabled);
}
std::string BraceletCommands::findPhone(std::int32_t enabled) {
    return withNumber("AT+FINDPHONE", enabled);
}
std::string BraceletCommands::findDevice() {
    return line("AT+FINDBT");
}
std::string BraceletCommands::monitorHeartRate(std::int32_t enabled) {
    return withNumber("AT+HRMONITOR", enabled);
}
std::string BraceletCommands::btIOS(std::int32_t value) {
    return withNumber("BT+IOS", value);
}
std::string BraceletCommands::exercise(std::int32_t start) {
    return withNumber("AT+RUN", start);
}
std::string BraceletCommands::autoSteps(std::int32_t start) {
    return withNumber("AT+TOPACE", start);
}
std::string BraceletCommands::stepTarget(std::int32_t steps) {
    return withPaddedNumber("AT+DEST", steps, kStepTargetDigits);
}
std::string BraceletCommands::distanceUnit(std::int32_t unit) {
    return withNumber("AT+UNITS", unit);
}

std::string BraceletCommands::ancs(const std::vector<std::int32_t>& values) {
    std::uint32_t mask = 0;  // unsigned: the sum wraps to its low 32 bits
    for (std::int32_t value : values) mask += static_cast<std::uint32_t>(value);
    return line(format("AT+ANCS=%04X", mask));
}

std::string BraceletCommands::disableAlarm(bool secondary) {
    return line(std::string(kAlarm) + (secondary ? kSecondAlarmSuffix : "") + kAlarmOff);
}

std::string BraceletCommands::alarm(const HalvoraSDKBraceletAlarm& alarm) {
    std::string text = std::string(kAlarm) + (alarm.secondaryAlarm ? kSecondAlarmSuffix : "") + kAlarmOn;
    for (bool day : {alarm.sunday, alarm.monday, alarm.tuesday, alarm.wednesday, alarm.thursday, alarm.friday}) {
        text += dayFlag(day);
    }
    text += alarm.saturday ? kSaturdaySet : kSaturdayClear;
    text += format("%02d%02d", alarm.hour, alarm.minute);
    return line(text);
}

std::string BraceletCommands::disableSedentaryAlarm() {
    return line(kSedentaryOff);
}

std::string BraceletCommands::sedentaryAlarm(const HalvoraSDKBraceletSedentaryAlarm& alarm) {
    std::string text =
        format(kSedentaryFields, alarm.interval, alarm.startHour, alarm.startMinute, alarm.endHour, alarm.endMinute);
    std::replace(text.begin(), text.end(), ' ', '0');
    return line(text);
}

std::string BraceletCommands::text(const std::string& text) {
    return line("AT+NAME=" + text);
}

std::string BraceletCommands::requestData(std::int32_t package) {
    return withNumber("AT+DATA", package);
}

}  // namespace halvora
