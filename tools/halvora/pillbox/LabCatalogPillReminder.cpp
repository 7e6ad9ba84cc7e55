// The "tameinagli" pill box in the tool's lab, and how its script reads from a lab file. Times are the box's
// local wall-clock times, "yyyy-MM-dd HH:mm" or "yyyy-MM-dd HH:mm:ss", from 2000-01-01 00:00 to
// 2099-12-31 23:59:59; history entries reach 2063-12-31 (the year has six bits there).
//
// Commands are named: "setClock" (C2), "setZone" (C4), "readZone" (CD), "readBattery" (CE), "readLastSync"
// (CF), "markSynchronised" (D0), "clearHistory" (D1), "readClock" (D2), "readSchedule" (D3), "writeSchedule"
// (D4), "readHistory" (D5), "setAlarmDuration" (D6), "setConfirmationTime" (D7), "clearSchedule" (D8).
//
// "script" keys (all optional):
//   "name"       the GAP name the phone sees, "" for an empty one, null for none (default: the device's
//                "name", else "tameinagli")
//   "localName"  the advertised local name (default: the device's "name", else "tameinagli")
//   "battery"    battery level, percent, 0 to 100
//   "clock"      where the box's clock stands at the start (it then runs on); absent: the lab's local time
//                until the phone sets it
//   "zone"       the zone reported until the phone sets one: {"hours": -12 to 14, "minutes": -59 to 59}
//   "lastSync"   the last synchronisation reported until the phone marks one (default 2000-01-01 00:00:00)
//   "schedule"   stored alarms: [{"time": time, "colour": 1 to 5}, ...], at most 10 a day and 366 days
//   "history"    the taken/missed history, one of:
//                  {"seed": 0 or more}: made up from the stored schedule (each alarm past the clock's time is
//                  taken on time, late or missed, by the seed); the default, with seed 1
//                  {"entries": [{"planned": time, "taken": "HH:mm" (default "00:00"), "status": "onTime",
//                  "late", "missed" or "skipped"}, ...]}: these doses, oldest first, at most 1024
//   "faults"     the box's own protocol faults (the link faults sit beside the script):
//     "refuse"       commands answered with AA 55 02 F1 F3, changing nothing: [name, ...]
//     "noReplyTo"    commands that take effect but get no reply: [name, ...]
//     "wrongLength"  commands whose replies carry one zero byte too many: [name, ...]
//
// Memory: the box keeps what the phone wrote between runs of the tool, in the lab state folder (LabState):
// a JSON file per box, written at each change, read when the lab is built, winning over the script's values:
//   {"zone": {"hours": h, "minutes": m}, "lastSync": time or null, "alarmDuration": n, "confirmationTime": n,
//    "schedule": [{"time": time, "colour": c}, ...],
//    "history": {"entries": [...]} (a list history as it stands, empty once cleared) or null (made up from the
//    seed), "historyClearedAt": time or null}
// A memory file that does not read is reported on stderr in one line and ignored: the box starts from its
// script.
#include <array>
#include <cstdio>
#include <limits>
#include <map>
#include <utility>

#include "BraceletTimeField.hpp"
#include "JsonReader.hpp"
#include "LabCatalog.hpp"
#include "LabState.hpp"
#include "halvora/Core/Format.hpp"
#include "lab/Devices/PillReminder/VirtualPillBox.hpp"

namespace halvora::cli {

namespace {

constexpr int kMaxBattery = 100;
constexpr int kMinZoneHours = -12;
constexpr int kMaxZoneHours = 14;
constexpr int kMaxZoneMinutes = 59;
constexpr int kLastEntryYear = 2063;

const std::array<std::pair<const char*, lab::PillBoxCommand>, 14> kCommandNames = {{
    {"setClock", lab::PillBoxCommand::SetClock},
    {"setZone", lab::PillBoxCommand::SetZone},
    {"readZone", lab::PillBoxCommand::ReadZone},
    {"readBattery", lab::PillBoxCommand::ReadBattery},
    {"readLastSync", lab::PillBoxCommand::ReadLastSync},
    {"markSynchronised", lab::PillBoxCommand::MarkSynchronised},
    {"clearHistory", lab::PillBoxCommand::ClearHistory},
    {"readClock", lab::PillBoxCommand::ReadClock},
    {"readSchedule", lab::PillBoxCommand::ReadSchedule},
    {"writeSchedule", lab::PillBoxCommand::WriteSchedule},
    {"readHistory", lab::PillBoxCommand::ReadHistory},
    {"setAlarmDuration", lab::PillBoxCommand::SetAlarmDuration},
    {"setConfirmationTime", lab::PillBoxCommand::SetConfirmationTime},
    {"clearSchedule", lab::PillBoxCommand::ClearSchedule},
}};

const std::array<std::pair<const char*, lab::PillBoxDose::Status>, 4> kStatusNames = {{
    {"onTime", lab::PillBoxDose::Status::OnTime},
    {"late", lab::PillBoxDose::Status::Late},
    {"missed", lab::PillBoxDose::Status::Missed},
    {"skipped", lab::PillBoxDose::Status::Skipped},
}};

std::vector<lab::PillBoxCommand> commandList(const JsonReader& faults, const char* key) {
    return faults.namedList(key, kCommandNames, "readClock");
}

lab::PillBoxFaults readFaults(const JsonReader& faults) {
    faults.rejectUnknown({"refuse", "noReplyTo", "wrongLength"});
    return {commandList(faults, "refuse"), commandList(faults, "noReplyTo"), commandList(faults, "wrongLength")};
}

std::vector<lab::PillBoxAlarm> readSchedule(const JsonReader& script) {
    std::vector<lab::PillBoxAlarm> alarms;
    std::map<lab::BraceletTime, std::size_t> perDay;
    for (const auto& entry : script.objects("schedule")) {
        entry.rejectUnknown({"time", "colour"});
        if (!entry.has("colour")) entry.fail("colour", "missing: 1 to 5");
        lab::PillBoxAlarm alarm;
        alarm.time = readTwoDigitYearTime(entry, "time");
        alarm.time.second = 0;
        alarm.colour =
            entry.integerIn("colour", alarm.colour, lab::PillBoxAlarm::kFirstColour, lab::PillBoxAlarm::kLastColour);
        const lab::BraceletTime day{alarm.time.year, alarm.time.month, alarm.time.day, 0, 0, 0};
        if (++perDay[day] > lab::VirtualPillBox::kMaxAlarmsPerDay) {
            entry.fail("time", format("more than %zu alarms on this day", lab::VirtualPillBox::kMaxAlarmsPerDay));
        }
        if (perDay.size() > lab::VirtualPillBox::kMaxDays) {
            entry.fail("time", format("more than %zu days of alarms", lab::VirtualPillBox::kMaxDays));
        }
        alarms.push_back(alarm);
    }
    return alarms;
}

/// "HH:mm" as hour and minute.
std::pair<int, int> readTakenTime(const JsonReader& entry) {
    const std::string text = entry.text("taken", "00:00");
    const auto time = lab::BraceletTime::parse("2000-01-01 " + text);
    if (!time || text.size() != 5) entry.fail("taken", "expected a time of day like \"08:05\"");
    return {time->hour, time->minute};
}

std::vector<lab::PillBoxDose> readEntries(const JsonReader& history) {
    std::vector<lab::PillBoxDose> doses;
    const auto entries = history.objects("entries");
    if (entries.size() > lab::VirtualPillBox::kMaxHistory) {
        history.fail("entries", format("expected at most %zu doses", lab::VirtualPillBox::kMaxHistory));
    }
    for (const auto& entry : entries) {
        entry.rejectUnknown({"planned", "taken", "status"});
        lab::PillBoxDose dose;
        dose.planned = readTwoDigitYearTime(entry, "planned");
        dose.planned.second = 0;
        if (dose.planned.year > kLastEntryYear) entry.fail("planned", "expected a time before 2064");
        std::tie(dose.takenHour, dose.takenMinute) = readTakenTime(entry);
        if (!entry.has("status")) entry.fail("status", "missing: \"onTime\", \"late\", \"missed\" or \"skipped\"");
        dose.status = entry.named("status", entry.json()["status"], kStatusNames);
        doses.push_back(dose);
    }
    return doses;
}

void readHistory(const JsonReader& history, lab::PillBoxScript& script) {
    history.rejectUnknown({"seed", "entries"});
    if (history.has("seed") && history.has("entries")) history.fail("entries", "give either \"seed\" or \"entries\"");
    if (history.has("entries")) {
        script.history = readEntries(history);
        return;
    }
    script.historySeed = static_cast<std::uint64_t>(history.integerIn("seed", 1, 0, std::numeric_limits<int>::max()));
}

lab::PillBoxScript readPillBoxScript(const JsonReader& script) {
    script.rejectUnknown(
        {"name", "localName", "battery", "clock", "zone", "lastSync", "schedule", "history", "faults"});
    lab::PillBoxScript out;
    out.battery = script.integerIn("battery", out.battery, 0, kMaxBattery);
    if (script.has("clock")) out.clock = readTwoDigitYearTime(script, "clock");
    const JsonReader zone = script.object("zone");
    zone.rejectUnknown({"hours", "minutes"});
    out.zoneHours = zone.integerIn("hours", out.zoneHours, kMinZoneHours, kMaxZoneHours);
    out.zoneMinutes = zone.integerIn("minutes", out.zoneMinutes, -kMaxZoneMinutes, kMaxZoneMinutes);
    if (script.has("lastSync")) out.lastSync = readTwoDigitYearTime(script, "lastSync");
    out.schedule = readSchedule(script);
    readHistory(script.object("history"), out);
    out.faults = readFaults(script.object("faults"));
    return out;
}

/// The script's "name" and "localName" over the device's names.
void applyNames(const JsonReader& script, lab::VirtualPeripheralConfig& config) {
    if (script.has("name")) {
        const auto& name = script.json()["name"];
        if (!name.is_null() && !name.is_string())
            script.fail("name", "expected a text (\"\" for an empty name) or null");
        config.name = name.is_null() ? std::nullopt : std::optional<std::string>(name.get<std::string>());
    }
    if (script.has("localName")) config.localName = script.optionalText("localName");
}

constexpr const char* kAlarmTimeFormat = "%04d-%02d-%02d %02d:%02d";

std::string minuteText(const lab::BraceletTime& time) {
    return format(kAlarmTimeFormat, time.year, time.month, time.day, time.hour, time.minute);
}

nlohmann::json optionalTimeJson(const std::optional<lab::BraceletTime>& time) {
    return time ? nlohmann::json(time->text()) : nlohmann::json(nullptr);
}

nlohmann::json doseJson(const lab::PillBoxDose& dose) {
    const char* status = kStatusNames[0].first;
    for (const auto& [name, value] : kStatusNames) {
        if (value == dose.status) status = name;
    }
    return {{"planned", minuteText(dose.planned)},
            {"taken", format("%02d:%02d", dose.takenHour, dose.takenMinute)},
            {"status", status}};
}

nlohmann::json memoryJson(const lab::PillBoxMemory& memory) {
    nlohmann::json schedule = nlohmann::json::array();
    for (const auto& alarm : memory.schedule) {
        schedule.push_back({{"time", minuteText(alarm.time)}, {"colour", alarm.colour}});
    }
    nlohmann::json history(nullptr);
    if (memory.history) {
        nlohmann::json entries = nlohmann::json::array();
        for (const auto& dose : *memory.history) entries.push_back(doseJson(dose));
        history = {{"entries", entries}};
    }
    return {{"zone", {{"hours", memory.zoneHours}, {"minutes", memory.zoneMinutes}}},
            {"lastSync", optionalTimeJson(memory.lastSync)},
            {"alarmDuration", memory.alarmDuration},
            {"confirmationTime", memory.confirmationTime},
            {"schedule", schedule},
            {"history", history},
            {"historyClearedAt", optionalTimeJson(memory.historyClearedAt)}};
}

std::optional<lab::BraceletTime> readOptionalTime(const JsonReader& reader, const std::string& key) {
    if (!reader.has(key) || reader.json()[key].is_null()) return std::nullopt;
    return readTwoDigitYearTime(reader, key);
}

/// A memory file's box memory; throws CliError naming the field that does not read.
lab::PillBoxMemory readMemory(const JsonReader& memory) {
    memory.rejectUnknown(
        {"zone", "lastSync", "alarmDuration", "confirmationTime", "schedule", "history", "historyClearedAt"});
    lab::PillBoxMemory out;
    const JsonReader zone = memory.object("zone");
    zone.rejectUnknown({"hours", "minutes"});
    out.zoneHours = zone.integerIn("hours", out.zoneHours, kMinZoneHours, kMaxZoneHours);
    out.zoneMinutes = zone.integerIn("minutes", out.zoneMinutes, -kMaxZoneMinutes, kMaxZoneMinutes);
    out.lastSync = readOptionalTime(memory, "lastSync");
    out.alarmDuration = memory.integerIn("alarmDuration", 0, 0, std::numeric_limits<std::uint8_t>::max());
    out.confirmationTime = memory.integerIn("confirmationTime", 0, 0, std::numeric_limits<std::uint8_t>::max());
    out.schedule = readSchedule(memory);
    if (memory.has("history") && !memory.json()["history"].is_null()) {
        const JsonReader history = memory.object("history");
        history.rejectUnknown({"entries"});
        out.history = readEntries(history);
    }
    out.historyClearedAt = readOptionalTime(memory, "historyClearedAt");
    return out;
}

/// Puts back what the lab state remembers of the box (a memory that does not read is reported on stderr and
/// ignored), then keeps its memory there at each change.
void rememberBetweenRuns(lab::VirtualPillBox& box, const std::string& identifier) {
    const LabState state = LabState::current();
    if (!state.keeps()) return;
    const std::string file = state.memoryFile(identifier)->string();
    if (const auto text = state.read(identifier)) {
        try {
            box.restore(readMemory(JsonReader(nlohmann::json::parse(*text), "memory")));
        } catch (const std::exception& error) {
            std::fprintf(stderr, "halvora: ignoring the lab memory %s: %s\n", file.c_str(), error.what());
        }
    }
    auto warned = std::make_shared<bool>(false);
    box.setMemoryCallback([state, identifier, warned](const lab::PillBoxMemory& memory) {
        const auto failure = state.write(identifier, memoryJson(memory).dump(2) + "\n");
        if (failure && !*warned) {
            *warned = true;
            std::fprintf(stderr, "halvora: the lab box's memory is not kept: %s\n", failure->c_str());
        }
    });
}

std::shared_ptr<lab::VirtualPeripheral> makePillBox(const LabDeviceSpec& entry) {
    LabClass named;  // only its default name matters to the device's configuration
    named.defaultName = lab::VirtualPillBox::kName;
    auto config = LabCatalog::config(entry, named);
    const JsonReader script(entry.script, entry.where + ".script");
    const lab::PillBoxScript pillBoxScript = readPillBoxScript(script);
    applyNames(script, config);
    auto box = std::make_shared<lab::VirtualPillBox>(config);
    box->setScript(pillBoxScript);
    box->setFaults(entry.faults);
    rememberBetweenRuns(*box, config.identifier);
    return box;
}

/// Two days of alarms, 30 and 31 December 2025: before the tool's virtual start (2026-01-01), so that the
/// history has doses to show once the phone sets the box's clock (seed 13: one late, one missed).
nlohmann::json defaultSchedule() {
    nlohmann::json alarms = nlohmann::json::array();
    for (const char* day : {"2025-12-30", "2025-12-31"}) {
        alarms.push_back({{"time", std::string(day) + " 08:00"}, {"colour", 1}});
        alarms.push_back({{"time", std::string(day) + " 13:00"}, {"colour", 2}});
        alarms.push_back({{"time", std::string(day) + " 20:30"}, {"colour", 3}});
    }
    return alarms;
}

}  // namespace

void addPillReminderLabClasses(std::vector<LabClass>& classes) {
    LabClass c;
    c.className = "HalvoraSDKPillReminder";
    c.kind = DeviceTypePillReminder;
    c.defaultName = lab::VirtualPillBox::kName;
    c.make = &makePillBox;
    c.defaultScript = {{"battery", 72}, {"schedule", defaultSchedule()}, {"history", {{"seed", 13}}}};
    classes.push_back(std::move(c));
}

}  // namespace halvora::cli
