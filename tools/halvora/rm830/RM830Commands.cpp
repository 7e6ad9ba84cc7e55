// The RM830 bracelet's commands: connect, ask, wait for the answer, print it.
#include "RM830Commands.hpp"

#include <cstdio>
#include <map>

#include "CliError.hpp"
#include "Commands.hpp"
#include "CsvWriter.hpp"
#include "TimeTexts.hpp"
#include "bracelet/BraceletRecords.hpp"
#include "bracelet/BraceletSettingsText.hpp"
#include "halvora/Core/Calendar.hpp"
#include "halvora/Core/Format.hpp"
#include "halvora/Devices/RM830/HalvoraSDKBraceletRM830.hpp"

namespace halvora::cli {

namespace {

/// How long the tool waits for an answer once the bracelet is connected.
constexpr double kAnswerSeconds = 70;  // a lost answer holds the bracelet's command slot for 60 s
/// The firmware texts the bracelet's driver reports.
constexpr const char* kVersionPrefix = "Version :";
constexpr const char* kFirmwareCurrent = "Firmware is already updated";
/// The only bracelet that takes a heart-rate monitoring window.
constexpr const char* kWindowBraceletName = "HR1638";

[[noreturn]] void bad(const std::string& what) {
    throw CliError(ExitBadArguments, what);
}

std::optional<std::string> informationStartingWith(Session& session, const std::string& prefix) {
    for (const auto& info : session.app().information(DeviceTypeBraceletRM830)) {
        if (info.rfind(prefix, 0) == 0) return info;
    }
    return std::nullopt;
}

/// The RM830 driver the manager holds, for the requests the facade does not offer.
std::shared_ptr<HalvoraSDKBraceletRM830> driverOf(Session& session) {
    auto driver =
        std::dynamic_pointer_cast<HalvoraSDKBraceletRM830>(session.manager().driverForKind(DeviceTypeBraceletRM830));
    if (!driver) throw CliError(ExitDeviceError, "the bracelet went away");
    return driver;
}

/// Runs `work` on the driver's queue, where the manager's calls run.
void onDriverQueue(Session& session, std::function<void(HalvoraSDKBraceletRM830&)> work) {
    auto driver = driverOf(session);
    auto queue = driver->context().callbackQueue;
    if (!queue) throw CliError(ExitDeviceError, "the bracelet's driver has no queue");
    queue->async([driver, work = std::move(work)] { work(*driver); });
}

Date parseBirthday(const std::string& text) {
    std::tm local{};
    char extra = 0;
    if (std::sscanf(text.c_str(), "%4d-%2d-%2d%c", &local.tm_year, &local.tm_mon, &local.tm_mday, &extra) != 3) {
        bad("the birthday must be \"yyyy-MM-dd\", got \"" + text + "\"");
    }
    local.tm_year -= 1900;
    local.tm_mon -= 1;
    local.tm_hour = 12;
    local.tm_isdst = -1;
    return Calendar::fromLocal(local);
}

HalvoraSDKRM830TimeRange parseWindow(const std::string& window, const std::string& days) {
    HalvoraSDKRM830TimeRange range;
    const auto dash = window.find('-');
    if (dash == std::string::npos || !parseTimeOfDay(window.substr(0, dash), range.startHour, range.startMinute) ||
        !parseTimeOfDay(window.substr(dash + 1), range.endHour, range.endMinute)) {
        bad("the monitoring window must be HH:MM-HH:MM, got \"" + window + "\"");
    }
    static const std::map<std::string, bool HalvoraSDKRM830TimeRange::*> kDays = {
        {"mon", &HalvoraSDKRM830TimeRange::monday},    {"tue", &HalvoraSDKRM830TimeRange::tuesday},
        {"wed", &HalvoraSDKRM830TimeRange::wednesday}, {"thu", &HalvoraSDKRM830TimeRange::thursday},
        {"fri", &HalvoraSDKRM830TimeRange::friday},    {"sat", &HalvoraSDKRM830TimeRange::saturday},
        {"sun", &HalvoraSDKRM830TimeRange::sunday}};
    for (const auto& [name, day] : kDays) range.*day = false;
    for (const auto& name : parseDayNames(days, "monitoring days")) range.*(kDays.at(name)) = true;
    return range;
}

void writeCsv(const std::optional<std::string>& path, const std::vector<HistoryRecord>& records) {
    if (!path) return;
    CsvWriter csv(*path, historyCsvHeader());
    for (const auto& r : records) csv.row(historyCsvRow(r));
    csv.close();
}

/// Waits for the next `operationFinished` after `before` of them; throws when the bracelet refused it.
void awaitFinished(Session& session, RM830Listener& listener, std::size_t before, const std::string& what) {
    if (!session.waitUntil([&] { return listener.finished().size() > before; }, seconds(kAnswerSeconds))) {
        throw CliError(ExitDeviceError, "the bracelet did not answer the " + what);
    }
    if (!listener.finished()[before]) throw CliError(ExitDeviceError, "the bracelet refused the " + what);
}

}  // namespace

HalvoraSDKStepData todayTotals(Session& session, RM830Listener& listener) {
    // Today's quarter hours come first, then the bracelet's running totals.
    session.manager().getBraceletRM830TodayData();
    if (!session.waitUntil([&] { return listener.steps().has_value(); }, seconds(kAnswerSeconds))) {
        throw CliError(ExitDeviceError, "the bracelet did not report today's steps");
    }
    return *listener.steps();
}

std::vector<HistoryRecord> downloadDay(Session& session, RM830Listener& listener, int daysAgo) {
    const std::size_t days = listener.syncs().size();
    session.manager().getBraceletRM830HistoryData(daysAgo);
    // A day without data is answered without a record: the answer to the next request says it is over (the
    // bracelet answers one request at a time).
    const std::size_t before = listener.finished().size();
    onDriverQueue(session, [](HalvoraSDKBraceletRM830& d) { d.getDatesWithInfo(); });
    awaitFinished(session, listener, before, "request for its days with data");
    const auto all = listener.syncs();
    return historyRecords({all.begin() + static_cast<std::ptrdiff_t>(days), all.end()});
}

RM830Session::RM830Session(Session& session, double timeout, bool allowOutdated)
    : session_(session), listener_(std::make_shared<RM830Listener>()) {
    session_.manager().setBraceletRM830Delegate(listener_);
    connectAndWait(session_, DeviceTypeBraceletRM830, timeout);
    // The bracelet's opening: its version is read and checked, then its time format set (one answer).
    waitFor([&] { return informationStartingWith(session_, kVersionPrefix).has_value(); }, kAnswerSeconds,
            "report its firmware version");
    version_ = informationStartingWith(session_, kVersionPrefix)->substr(std::string(kVersionPrefix).size());
    waitFor([&] { return !listener_->finished().empty(); }, kAnswerSeconds, "accept its time format");
    current_ = informationStartingWith(session_, kFirmwareCurrent).has_value();
    if (!current_ && !allowOutdated) {
        throw CliError(ExitDeviceError, "the bracelet's firmware " + version_ +
                                            " is older than the kit's: it was switched to update mode");
    }
}

RM830Session::~RM830Session() {
    try {
        disconnectAndSettle(session_, DeviceTypeBraceletRM830);
    } catch (...) {
        // The link is going anyway; nothing more to report.
    }
    session_.manager().setBraceletRM830Delegate({});
}

void RM830Session::waitFor(const std::function<bool()>& done, double seconds, const std::string& what) {
    if (!session_.waitUntil(done, halvora::seconds(seconds))) {
        throw CliError(ExitDeviceError, "the bracelet did not " + what);
    }
}

void RM830Session::waitFinished(std::size_t before, const std::string& what) {
    awaitFinished(session_, *listener_, before, what);
}

std::string RM830Session::name() {
    const auto peripheral = driverOf(session_)->device();
    return peripheral && peripheral->name() ? *peripheral->name() : "";
}

int runRM830Today(Session& session, double timeout) {
    RM830Session bracelet(session, timeout);
    const auto steps = todayTotals(session, bracelet.listener());
    nlohmann::json event = toJson(steps);
    event["event"] = "steps";
    session.printer().event(event, "today: " + stepsText(steps));
    printHistory(session.printer(), historyRecords(bracelet.listener().syncs()));
    return ExitOk;
}

int runRM830History(Session& session, int daysAgo, const std::optional<std::string>& csvPath, double timeout) {
    if (daysAgo < 1 || daysAgo > 255) bad("DAYS must be from 1 to 255 (days back; `rm830 today` is day 0)");
    RM830Session bracelet(session, timeout);
    const auto records = downloadDay(session, bracelet.listener(), daysAgo);
    if (records.empty() && !session.printer().json()) session.printer().line("no data for that day");
    printHistory(session.printer(), records);
    writeCsv(csvPath, records);
    return ExitOk;
}

int runRM830Heart(Session& session, std::optional<double> seconds, double timeout) {
    RM830Session bracelet(session, timeout);
    bracelet.manager().setBraceletRM830RealtimeHREnabled(true);
    bracelet.waitFor([&] { return !bracelet.listener().heartRates().empty(); }, kAnswerSeconds, "report a heart rate");
    if (seconds) session.waitUntil([] { return false; }, halvora::seconds(*seconds));
    const auto rates = bracelet.listener().heartRates();
    const std::size_t shown = seconds ? rates.size() : 1;
    for (std::size_t i = 0; i < shown; ++i) {
        session.printer().event({{"event", "heart"}, {"heartRate", rates[i]}}, format("heart rate: %d bpm", rates[i]));
    }
    // The bracelet keeps streaming until told to stop, and it stops when the link ends too.
    bracelet.manager().setBraceletRM830RealtimeHREnabled(false);
    return ExitOk;
}

int runRM830HeartHistory(Session& session, const std::optional<std::string>& csvPath, double timeout) {
    RM830Session bracelet(session, timeout);
    bracelet.manager().getBraceletRM830HeartRateSync();
    bracelet.waitFor([&] { return !bracelet.listener().heartHistories().empty(); }, kAnswerSeconds * 4,
                     "deliver its heart-rate history");
    HalvoraSDKBraceletData data;
    data.heartData = bracelet.listener().heartHistories().front();
    const auto records = historyRecords({data});
    printHistory(session.printer(), records);
    writeCsv(csvPath, records);
    return ExitOk;
}

int runRM830Set(Session& session, const RM830Settings& settings, double timeout) {
    if (settings.empty()) bad("no setting given (see halvora rm830 set --help)");
    std::vector<std::pair<std::string, std::function<void(HalvoraSDKManager&)>>> plan;
    if (settings.time) {
        const Date date = parseBraceletDate(*settings.time, session);
        plan.emplace_back("time", [date](HalvoraSDKManager& m) { m.configureBraceletRM830Datetime(date); });
    }
    if (settings.goal) {
        if (*settings.goal < 0 || *settings.goal > 0xFFFFFF) bad("the step goal must be from 0 to 16777215");
        const auto goal = *settings.goal;
        plan.emplace_back("step goal", [goal](HalvoraSDKManager& m) { m.configureBraceletRM830StepsGoal(goal); });
    }
    if (settings.user()) {
        if (!settings.birthday) bad("the user's details need --birthday (the bracelet keeps the age)");
        const Date birthday = parseBirthday(*settings.birthday);
        const auto height = settings.height;
        const auto weight = settings.weight;
        const int gender = settings.gender.value_or(0);
        plan.emplace_back("user details", [=](HalvoraSDKManager& m) {
            m.configureBraceletRM830UserInfo(height, weight, gender, birthday, false);
        });
    }
    RM830Session bracelet(session, timeout);
    for (const auto& [label, send] : plan) {
        const std::size_t before = bracelet.listener().finished().size();
        send(bracelet.manager());
        bracelet.waitFinished(before, label);
        session.printer().event({{"event", "set"}, {"setting", label}}, label + " set");
    }
    return ExitOk;
}

int runRM830Monitoring(Session& session, const RM830Monitoring& monitoring, double timeout) {
    const bool on = monitoring.state == "on";
    std::optional<HalvoraSDKRM830TimeRange> range;
    if (monitoring.window) range = parseWindow(*monitoring.window, monitoring.days);
    RM830Session bracelet(session, timeout);
    const std::size_t before = bracelet.listener().finished().size();
    if (monitoring.window) {
        if (bracelet.name() != kWindowBraceletName) {
            throw CliError(ExitDeviceError, "only a bracelet named " + std::string(kWindowBraceletName) +
                                                " takes a monitoring window (this one is \"" + bracelet.name() + "\")");
        }
        bracelet.manager().setBraceletRM830MonitoringHRAuto(on ? 1 : 0, range);
    } else {
        bracelet.manager().setBraceletRM830MonitoringHREnabled(on);
    }
    bracelet.waitFinished(before, "heart-rate monitoring setting");
    session.printer().event(
        {{"event", "set"}, {"setting", "monitoring"}, {"enabled", on}},
        std::string("heart-rate monitoring ") + (on ? "on" : "off") +
            (monitoring.window ? " from " + *monitoring.window + " (" + monitoring.days + ")" : ""));
    return ExitOk;
}

int runRM830Version(Session& session, double timeout) {
    RM830Session bracelet(session, timeout, true);
    session.printer().event(
        {{"event", "version"}, {"version", bracelet.version()}, {"current", bracelet.current()}},
        "firmware " + bracelet.version() +
            (bracelet.current() ? " (current)" : " (older than the kit's: the bracelet was switched to update mode)"));
    return ExitOk;
}

}  // namespace halvora::cli
