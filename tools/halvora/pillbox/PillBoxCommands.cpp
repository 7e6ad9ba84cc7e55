// The pill box's commands: connect, ask, wait for the answer, print it.
#include "PillBoxCommands.hpp"

#include <algorithm>
#include <functional>
#include <map>
#include <variant>

#include "CliError.hpp"
#include "CsvWriter.hpp"
#include "PillBoxRecords.hpp"
#include "PillScheduleFile.hpp"
#include "RecordJson.hpp"
#include "TimeTexts.hpp"
#include "halvora/Core/Calendar.hpp"
#include "halvora/Core/DateUtils.hpp"
#include "halvora/Core/Format.hpp"
#include "halvora/Devices/PillReminder/PillReminderRequest.hpp"

namespace halvora::cli {

namespace {

using Request = PillReminderRequest;
using Alarm = HalvoraSDKPillReminderAlarmData;
using Dose = HalvoraSDKPillReminderPerformanceData;

/// The alarms one schedule frame of the kit carries.
constexpr std::size_t kAlarmsPerFrame = 5;
/// The zones the kit sends: whole hours from -12 to 12.
constexpr int kWidestZoneHours = 12;
/// The largest value of a one-byte setting.
constexpr int kMaxByte = 255;

// ------------------------------------------------------------------ results

const HalvoraSDKPillReminderMessageData& messageOf(const HalvoraSDKPillReminderResult& result,
                                                   const std::string& what) {
    const auto* message = std::get_if<HalvoraSDKPillReminderMessageData>(&result);
    if (!message) throw CliError(ExitDeviceError, "the box's answer to the " + what + " is not a message");
    return *message;
}

const HalvoraSDKPillReminderAlarmListData& listOf(const HalvoraSDKPillReminderResult& result, const std::string& what) {
    const auto* list = std::get_if<HalvoraSDKPillReminderAlarmListData>(&result);
    if (!list) throw CliError(ExitDeviceError, "the box's answer to the " + what + " is not a list");
    return *list;
}

Date dateOf(const HalvoraSDKPillReminderResult& result) {
    return std::visit([](const auto& record) { return record.date; }, result);
}

// ------------------------------------------------------------------ requests

/// Asks the clock, prints it with `text` before it.
void printClock(PillBoxSession& box, const std::string& event, const std::string& text) {
    const auto result = box.ask(Request::kGetDeviceTime, "clock request", [](auto& m) { return m.prGetDeviceTime(); });
    const Date clock = dateOf(result);
    box.session().printer().event({{"event", event}, {"request", Request::kGetDeviceTime}, {"date", isoDate(clock)}},
                                  text + Calendar::formatDateTime(clock));
}

void printLastSync(PillBoxSession& box) {
    const auto result = box.ask(Request::kGetLatestSynchronizationTime, "request for the last synchronisation",
                                [](auto& m) { return m.prGetLatestSynchronizationTime(); });
    const Date last = dateOf(result);
    box.session().printer().event(
        {{"event", "sync-status"}, {"request", Request::kGetLatestSynchronizationTime}, {"date", isoDate(last)}},
        "last synchronisation: " + Calendar::formatDateTime(last));
}

/// A setting the box acknowledges; its message is printed as it comes.
void acknowledged(PillBoxSession& box, std::int32_t request, const std::string& what,
                  const std::function<bool(HalvoraSDKManager&)>& send) {
    box.ask(request, what, send);
}

/// Opens the box for a command: the listener, the connection, the box's messages printed from then on.
void open(PillBoxSession& box, double timeout) {
    box.connect(timeout);
    box.printMessages();
}

std::size_t framesOf(const std::vector<Alarm>& alarms) {
    std::map<Date, std::size_t> perDay;
    for (const auto& alarm : alarms) ++perDay[DateUtils::dateWithoutTime(alarm.date)];
    std::size_t frames = 0;
    for (const auto& [day, count] : perDay) frames += (count + kAlarmsPerFrame - 1) / kAlarmsPerFrame;
    return frames;
}

std::vector<Alarm> sortedByTime(std::vector<Alarm> alarms) {
    std::stable_sort(alarms.begin(), alarms.end(), [](const Alarm& a, const Alarm& b) {
        return a.date != b.date ? a.date < b.date : a.color < b.color;
    });
    return alarms;
}

bool sameAlarms(const std::vector<Alarm>& a, const std::vector<Alarm>& b) {
    const auto x = sortedByTime(a);
    const auto y = sortedByTime(b);
    return std::equal(x.begin(), x.end(), y.begin(), y.end(),
                      [](const Alarm& l, const Alarm& r) { return l.date == r.date && l.color == r.color; });
}

// ------------------------------------------------------------------ printing

void printSchedule(Printer& printer, const std::vector<Alarm>& alarms) {
    if (printer.json()) {
        for (const auto& alarm : alarms) printer.event(alarmJson(alarm), "");
        return;
    }
    if (alarms.empty()) {
        printer.line("the box holds no alarms");
        return;
    }
    printer.line(format("%zu alarms in the box:", alarms.size()));
    std::vector<std::vector<std::string>> rows;
    for (const auto& alarm : alarms) rows.push_back(alarmFields(alarm));
    printer.table({"date", "time", "colour"}, rows);
}

void printHistory(Printer& printer, const std::vector<Dose>& doses, const std::vector<Alarm>& schedule) {
    if (printer.json()) {
        for (const auto& dose : doses) printer.event(doseJson(dose, plannedColor(schedule, dose.date)), "");
        return;
    }
    if (doses.empty()) {
        printer.line("the box's history is empty");
        return;
    }
    printer.line(doseSummary(doses));
    std::vector<std::vector<std::string>> rows;
    for (const auto& dose : doses) {
        const auto color = plannedColor(schedule, dose.date);
        rows.push_back(
            {Calendar::formatDateTime(dose.date).substr(0, 16), color ? std::to_string(*color) : "-",
             doseHasTakenTime(dose.statusTaken) ? Calendar::formatDateTime(dose.dateTaken).substr(11, 5) : "-",
             doseStatusText(dose.statusTaken)});
    }
    printer.table({"planned", "colour", "taken", "status"}, rows);
}

}  // namespace

std::pair<int, int> parsePillBoxZone(const std::string& text) {
    int hour = 0;
    int minute = 0;
    const bool signedText = !text.empty() && (text[0] == '+' || text[0] == '-');
    const std::string rest = signedText ? text.substr(1) : text;
    if (!parseTimeOfDay(rest, hour, minute) || hour > kWidestZoneHours || rest.find(':') != 2) {
        throw CliError(ExitBadArguments, "bad zone \"" + text + "\": expected +HH:MM or -HH:MM, -12:00 to +12:59");
    }
    if (text[0] != '-') return {hour, minute};
    if (minute != 0) {
        throw CliError(ExitBadArguments, "zone \"" + text +
                                             "\": the kit sends a zone west of UTC with negative minutes, "
                                             "which it refuses; only whole hours can be set there");
    }
    return {-hour, 0};
}

void writePillSchedule(PillBoxSession& box, const std::vector<Alarm>& alarms) {
    const auto mark = box.listener().mark();
    if (!box.manager().prSetAlarmSchedule(alarms)) throw CliError(ExitNoDevice, "no pill box is connected");
    // The write ends with the synchronisation mark, after every frame's reply (a refused frame does not stop
    // the others): its report is waited for, then every error on the way is the command's.
    const double seconds = PillBoxSession::kAnswerSeconds + static_cast<double>(framesOf(alarms));
    std::optional<CliError> unanswered;
    try {
        box.awaitReport(Request::kSetSuccessfulSynchronizationStatus, mark, "schedule", seconds);
    } catch (const CliError& error) {
        unanswered = error;
    }
    for (const auto& event : box.listener().eventsSince(mark)) {
        if (event.error) throwBoxError(event, "schedule");
    }
    if (unanswered) throw *unanswered;
}

std::vector<Alarm> readPillSchedule(PillBoxSession& box) {
    const auto result =
        box.ask(Request::kGetAlarmSchedule, "schedule request", [](auto& m) { return m.prGetAlarmSchedule(); });
    std::vector<Alarm> alarms;
    for (const auto& entry : listOf(result, "schedule request").alarmList) {
        if (const auto* alarm = std::get_if<Alarm>(&entry)) alarms.push_back(*alarm);
    }
    return alarms;
}

std::vector<Dose> readPillHistory(PillBoxSession& box) {
    const auto result = box.ask(Request::kGetSchedulePerformanceHistory, "history request",
                                [](auto& m) { return m.prGetSchedulePerformanceHistory(); });
    std::vector<Dose> doses;
    for (const auto& entry : listOf(result, "history request").alarmList) {
        if (const auto* dose = std::get_if<Dose>(&entry)) doses.push_back(*dose);
    }
    return doses;
}

std::string doseSummary(const std::vector<Dose>& doses) {
    std::map<std::string, std::size_t> byStatus;
    std::size_t taken = 0;
    for (const auto& dose : doses) {
        ++byStatus[doseStatusText(dose.statusTaken)];
        if (doseTaken(dose.statusTaken)) ++taken;
    }
    std::string text = format("%zu doses: %zu taken", doses.size(), taken);
    if (byStatus.count("late")) text += format(" (%zu late)", byStatus["late"]);
    for (const auto& [status, count] : byStatus) {
        if (status != "on time" && status != "late") text += format(", %zu %s", count, status.c_str());
    }
    return text;
}

int runPillBoxTime(Session& session, double timeout) {
    PillBoxSession box(session);
    open(box, timeout);
    printClock(box, "clock", "box clock: ");
    return ExitOk;
}

int runPillBoxSetTime(Session& session, double timeout) {
    PillBoxSession box(session);
    open(box, timeout);
    acknowledged(box, Request::kSetDeviceTime, "clock setting", [](auto& m) { return m.prSetDeviceTime(); });
    printClock(box, "clock", "box clock set to the phone's: ");
    return ExitOk;
}

int runPillBoxZone(Session& session, double timeout) {
    PillBoxSession box(session);
    open(box, timeout);
    const auto result =
        box.ask(Request::kGetDeviceTimeZone, "zone request", [](auto& m) { return m.prGetDeviceTimeZone(); });
    const auto& message = messageOf(result, "zone request");
    // The box's text as the kit gives it (a zone west of UTC reads with two minus signs).
    session.printer().event({{"event", "zone"}, {"request", message.request}, {"messageText", message.messageText}},
                            "box zone: " + message.messageText);
    return ExitOk;
}

int runPillBoxBattery(Session& session, double timeout) {
    PillBoxSession box(session);
    open(box, timeout);
    const auto result =
        box.ask(Request::kGetBatteryLevel, "battery request", [](auto& m) { return m.prGetBatteryLevel(); });
    const auto& message = messageOf(result, "battery request");
    session.printer().event({{"event", "battery"}, {"request", message.request}, {"messageText", message.messageText}},
                            "battery: " + message.messageText + " %");
    return ExitOk;
}

int runPillBoxSyncStatus(Session& session, bool mark, double timeout) {
    PillBoxSession box(session);
    open(box, timeout);
    if (mark) {
        acknowledged(box, Request::kSetSuccessfulSynchronizationStatus, "synchronisation mark",
                     [](auto& m) { return m.prSetSuccessfulSynchronizationStatus(); });
    }
    printLastSync(box);
    return ExitOk;
}

int runPillBoxDuration(Session& session, int value, double timeout) {
    PillBoxSession box(session);
    open(box, timeout);
    acknowledged(box, Request::kSetAlarmDuration, "alarm duration",
                 [value](auto& m) { return m.prSetAlarmDuration(value); });
    return ExitOk;
}

int runPillBoxConfirmation(Session& session, int value, double timeout) {
    PillBoxSession box(session);
    open(box, timeout);
    acknowledged(box, Request::kSetAlarmConfirmationTime, "confirmation time",
                 [value](auto& m) { return m.prSetAlarmConfirmationTime(value); });
    return ExitOk;
}

int runPillBoxClearSchedule(Session& session, double timeout) {
    PillBoxSession box(session);
    open(box, timeout);
    acknowledged(box, Request::kClearAlarmSchedule, "clearing of the schedule",
                 [](auto& m) { return m.prClearAlarmSchedule(); });
    return ExitOk;
}

int runPillBoxClearHistory(Session& session, double timeout) {
    PillBoxSession box(session);
    open(box, timeout);
    acknowledged(box, Request::kClearSchedulePerformanceHistory, "clearing of the history",
                 [](auto& m) { return m.prClearSchedulePerformanceHistory(); });
    return ExitOk;
}

int runPillBoxSet(Session& session, const PillBoxSettings& settings, double timeout) {
    // Every value is checked before the box is connected.
    const auto zone = settings.zone ? std::optional(parsePillBoxZone(*settings.zone)) : std::nullopt;
    for (const auto& value : {settings.duration, settings.confirmation}) {
        if (value && (*value < 0 || *value > kMaxByte)) throw CliError(ExitBadArguments, "a setting is 0 to 255");
    }
    if (!zone && !settings.time && !settings.duration && !settings.confirmation && !settings.markSynchronized) {
        throw CliError(ExitBadArguments, "nothing to set: give --zone, --time, --duration, --confirmation or --sync");
    }
    PillBoxSession box(session);
    open(box, timeout);
    if (zone) {
        acknowledged(box, Request::kSetDeviceTimeZone, "zone setting",
                     [zone](auto& m) { return m.prSetDeviceTimeZone(zone->first, zone->second); });
    }
    if (settings.time) {
        acknowledged(box, Request::kSetDeviceTime, "clock setting", [](auto& m) { return m.prSetDeviceTime(); });
    }
    if (const auto value = settings.duration) {
        acknowledged(box, Request::kSetAlarmDuration, "alarm duration",
                     [value](auto& m) { return m.prSetAlarmDuration(*value); });
    }
    if (const auto value = settings.confirmation) {
        acknowledged(box, Request::kSetAlarmConfirmationTime, "confirmation time",
                     [value](auto& m) { return m.prSetAlarmConfirmationTime(*value); });
    }
    if (settings.markSynchronized) {
        acknowledged(box, Request::kSetSuccessfulSynchronizationStatus, "synchronisation mark",
                     [](auto& m) { return m.prSetSuccessfulSynchronizationStatus(); });
    }
    return ExitOk;
}

int runPillBoxScheduleGet(Session& session, const std::optional<std::string>& csvPath, double timeout) {
    // The file is opened first: a path that cannot be written fails before the box is asked.
    std::optional<CsvWriter> csv;
    if (csvPath) csv.emplace(*csvPath, kScheduleColumns);
    PillBoxSession box(session);
    open(box, timeout);
    const auto alarms = readPillSchedule(box);
    printSchedule(session.printer(), alarms);
    if (csv) {
        for (const auto& alarm : alarms) csv->row(alarmFields(alarm));
        csv->close();
    }
    return ExitOk;
}

int runPillBoxScheduleSet(Session& session, const std::string& path, double timeout) {
    // The whole file is read and checked before the box is connected: a bad file sends nothing.
    std::vector<Alarm> alarms;
    for (const auto& entry : PillScheduleFile::read(path)) alarms.push_back(toAlarm(entry));
    PillBoxSession box(session);
    open(box, timeout);
    writePillSchedule(box, alarms);
    // Read back, so that what the box now holds is printed (and checked).
    const auto held = readPillSchedule(box);
    printSchedule(session.printer(), held);
    if (!sameAlarms(alarms, held)) {
        throw CliError(ExitDeviceError,
                       format("the box holds %zu alarms that differ from the %zu written", held.size(), alarms.size()));
    }
    return ExitOk;
}

int runPillBoxHistory(Session& session, const std::optional<std::string>& csvPath, double timeout) {
    std::optional<CsvWriter> csv;
    if (csvPath) csv.emplace(*csvPath, kHistoryColumns);
    PillBoxSession box(session);
    open(box, timeout);
    // The history carries no colours: they come from the schedule's alarms at the same planned times.
    const auto schedule = readPillSchedule(box);
    const auto doses = readPillHistory(box);
    printHistory(session.printer(), doses, schedule);
    if (csv) {
        for (const auto& dose : doses) csv->row(doseFields(dose, plannedColor(schedule, dose.date)));
        csv->close();
    }
    return ExitOk;
}

}  // namespace halvora::cli
