#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "halvora/Core/Date.hpp"
#include "halvora/Records/HalvoraSDKBraceletAlarm.hpp"
#include "halvora/Records/HalvoraSDKBraceletSedentaryAlarm.hpp"

namespace halvora {

/// The texts of the bracelet's commands, each ending in "\r\n" (but the custom instruction, which is sent as
/// given). Numbers are decimal unless said otherwise; zero padding never cuts a longer number.
class BraceletCommands {
public:
    BraceletCommands() = delete;

    /// "AT+DT=yyyyMMddHHmm", the date in local time.
    static std::string date(Date date);
    /// "AT+PACE".
    static std::string currentSteps();
    /// "AT+STEPSTORE".
    static std::string stepStore();
    /// "AT+HEART=<n>": 1 starts a measurement, 0 stops it.
    static std::string heartBeat(std::int32_t start);
    /// "AT+HEIGHT=<cm>", at least 3 digits.
    static std::string userHeight(std::int32_t centimetres);
    /// "AT+WEIGHT=<kg>", at least 3 digits.
    static std::string userWeight(std::int32_t kilograms);
    /// "AT+HANDSUP=<n>".
    static std::string riseHand(std::int32_t enabled);
    /// "AT+ANTI_LOST=<n>".
    static std::string antitheft(std::int32_t enabled);
    /// "AT+FINDPHONE=<n>".
    static std::string findPhone(std::int32_t enabled);
    /// "AT+FINDBT".
    static std::string findDevice();
    /// "AT+HRMONITOR=<n>".
    static std::string monitorHeartRate(std::int32_t enabled);
    /// "BT+IOS=<n>".
    static std::string btIOS(std::int32_t value);
    /// "AT+RUN=<n>": 1 starts an exercise, 0 finishes it.
    static std::string exercise(std::int32_t start);
    /// "AT+TOPACE=<n>": 1 starts the real-time pedometer, 0 finishes it.
    static std::string autoSteps(std::int32_t start);
    /// "AT+DEST=<steps>", at least 5 digits.
    static std::string stepTarget(std::int32_t steps);
    /// "AT+UNITS=<n>".
    static std::string distanceUnit(std::int32_t unit);
    /// "AT+ANCS=<mask>": the low 32 bits of the sum of `values` in upper-case hexadecimal, at least 4 digits.
    static std::string ancs(const std::vector<std::int32_t>& values);
    /// "AT+ALARM=0,00,00000000,0000", or "AT+ALARM2=..." for the second alarm.
    static std::string disableAlarm(bool secondary);
    /// "AT+ALARM[2]=1,00,<days>,<HHmm>": the day field has one character per day, Sunday to Friday ("1" set),
    /// then "11" with Saturday or "01" without (eight characters, the last always "1"); hour and minute two
    /// digits each. Alarm 2 on Monday and Saturday at 7:30 gives "AT+ALARM2=1,00,01000011,0730".
    static std::string alarm(const HalvoraSDKBraceletAlarm& alarm);
    /// "AT+SIT=000,0000,0000,0".
    static std::string disableSedentaryAlarm();
    /// "AT+SIT=%3d,%2d%2d,%2d%2d,1" with interval, start and end, every blank then turned into "0": interval
    /// 30 from 8:05 to 22:00 gives "AT+SIT=030,0805,2200,1".
    static std::string sedentaryAlarm(const HalvoraSDKBraceletSedentaryAlarm& alarm);
    /// "AT+NAME=<text>": text for the bracelet's display.
    static std::string text(const std::string& text);
    /// "AT+DATA=<n>": asks for package n of the stored history (0 starts a download).
    static std::string requestData(std::int32_t package);
};

}  // namespace halvora
