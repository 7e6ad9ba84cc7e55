#include "VitalRecords.hpp"

#include <utility>
#include <vector>

#include "RecordJson.hpp"
#include "bracelet/BraceletRecords.hpp"
#include "halvora/Core/Format.hpp"

namespace halvora::cli {

namespace {

void addWindow(nlohmann::json& out, const HalvoraSDKPeriod& p) {
    out["startHour"] = p.startHour;
    out["startMinute"] = p.startMinute;
    out["endHour"] = p.endHour;
    out["endMinute"] = p.endMinute;
    out["monday"] = p.monday;
    out["tuesday"] = p.tuesday;
    out["wednesday"] = p.wednesday;
    out["thursday"] = p.thursday;
    out["friday"] = p.friday;
    out["saturday"] = p.saturday;
    out["sunday"] = p.sunday;
}

std::string daysText(const HalvoraSDKPeriod& p) {
    const std::vector<std::pair<bool, const char*>> days = {
        {p.monday, "mon"}, {p.tuesday, "tue"},  {p.wednesday, "wed"}, {p.thursday, "thu"},
        {p.friday, "fri"}, {p.saturday, "sat"}, {p.sunday, "sun"}};
    std::string out;
    for (const auto& [on, name] : days) {
        if (!on) continue;
        if (!out.empty()) out += "+";
        out += name;
    }
    return out.empty() ? "none" : out;
}

std::string windowText(const HalvoraSDKPeriod& p) {
    return format("%02d:%02d-%02d:%02d %s", p.startHour, p.startMinute, p.endHour, p.endMinute, daysText(p).c_str());
}

}  // namespace

nlohmann::json toJson(const HalvoraSDKVitalNotification& n) {
    return {{"call", n.call},
            {"sms", n.sms},
            {"email", n.email},
            {"wechat", n.wechat},
            {"qq", n.qq},
            {"facebook", n.facebook},
            {"twitter", n.twitter},
            {"whatsapp", n.whatsapp},
            {"skype", n.skype},
            {"line", n.line},
            {"linkedin", n.linkedin},
            {"instagram", n.instagram},
            {"messenger", n.messenger},
            {"snapchat", n.snapchat},
            {"telegram", n.telegram},
            {"other", n.other}};
}

nlohmann::json toJson(const HalvoraSDKVitalParams& p) {
    return {{"distanceUnitKm", p.distanceUnitKm},
            {"hourDisplay24h", p.hourDisplay24h},
            {"wristSenseEnabled", p.wristSenseEnabled},
            {"temperatureUnitCelsius", p.temperatureUnitCelsius},
            {"nightMode", p.nightMode},
            {"ANCSEnabled", p.ANCSEnabled},
            {"notifications", p.notifications ? toJson(*p.notifications) : nlohmann::json(nullptr)},
            {"basicHeartRateSetting", p.basicHeartRateSetting},
            {"screenBrightness", p.screenBrightness},
            {"dialInterface", p.dialInterface},
            {"language", p.language},
            {"secondFrameSetting", p.secondFrameSetting}};
}

nlohmann::json toJson(const HalvoraSDKUser& user) {
    return {{"sex", user.sex},       {"birthDate", isoDate(user.birthDate)},
            {"age", user.age},       {"height", user.height},
            {"weight", user.weight}, {"extra", user.extra}};
}

nlohmann::json toJson(const HalvoraSDKVitalActivityPeriod& period) {
    nlohmann::json out = {{"exerciseReminderPeriod", period.exerciseReminderPeriod},
                          {"minimumNumberSteps", period.minimumNumberSteps},
                          {"motionEnabled", period.motionEnabled}};
    addWindow(out, period);
    return out;
}

nlohmann::json toJson(const HalvoraSDKVitalPeriod& period) {
    nlohmann::json out = {
        {"workingMode", period.workingMode}, {"intervalTime", period.intervalTime}, {"type", period.type}};
    addWindow(out, period);
    return out;
}

nlohmann::json toJson(const HalvoraSDKStepSummaryData& d) {
    return {{"date", isoDate(d.date)},
            {"totalSteps", d.totalSteps},
            {"totalCalories", d.totalCalories},
            {"totalDistance", d.totalDistance},
            {"totalActiveTime", d.totalActiveTime},
            {"totalExerciseTime", d.totalExerciseTime}};
}

nlohmann::json toJson(const HalvoraSDKDetailedStepData& d) {
    nlohmann::json out = toJson(static_cast<const HalvoraSDKStepData&>(d));
    out["stepsPerMinute"] = d.stepsPerMinute;
    return out;
}

nlohmann::json toJson(const HalvoraSDKDetailedSleepData& d) {
    nlohmann::json out = toJson(static_cast<const HalvoraSDKSleepData&>(d));
    out["sleepPer5Minutes"] = d.sleepPer5Minutes;
    return out;
}

nlohmann::json toJson(const HalvoraSDKVitalHRVData& d) {
    return {{"date", isoDate(d.date)},  {"hrv", d.hrv},         {"vascularAging", d.vascularAging},
            {"heartRate", d.heartRate}, {"fatigue", d.fatigue}, {"systolic", d.systolic},
            {"diastolic", d.diastolic}};
}

nlohmann::json toJson(const HalvoraSDKSportData& d) {
    return {{"date", isoDate(d.date)},
            {"hr", d.hr},
            {"steps", d.steps},
            {"calories", d.calories},
            {"distance", d.distance},
            {"activeTime", d.activeTime},
            {"exerciseTime", d.exerciseTime},
            {"sportType", d.sportType}};
}

std::string parametersText(const HalvoraSDKVitalParams& p) {
    std::string out = format("brightness %d, dial %d, heart-rate base %d, language %d", p.screenBrightness,
                             p.dialInterface, p.basicHeartRateSetting, p.language);
    out += p.distanceUnitKm ? ", km" : ", miles";
    out += p.hourDisplay24h ? ", 24h" : ", 12h";
    out += p.temperatureUnitCelsius ? ", celsius" : ", fahrenheit";
    if (p.wristSenseEnabled) out += ", wrist sense";
    if (p.nightMode) out += ", night mode";
    if (p.ANCSEnabled) out += ", notifications forwarded";
    return out;
}

std::string userText(const HalvoraSDKUser& user) {
    return format("sex %d, age %d, %d cm, %d kg, extra %d", user.sex, user.age, user.height, user.weight, user.extra);
}

std::string activityText(const HalvoraSDKVitalActivityPeriod& period) {
    return format("%s, every %d min under %d steps, %s", windowText(period).c_str(), period.exerciseReminderPeriod,
                  period.minimumNumberSteps, period.motionEnabled ? "on" : "off");
}

std::string detectionText(const HalvoraSDKVitalPeriod& period) {
    return format("mode %d, %s, every %d min", period.workingMode, windowText(period).c_str(), period.intervalTime);
}

}  // namespace halvora::cli
