// The text-command bracelet's commands: connect, ask, wait for the answer, print it.
#include "BraceletCommands.hpp"

#include <algorithm>

#include "BraceletSettingsText.hpp"
#include "CliError.hpp"
#include "Commands.hpp"
#include "CsvWriter.hpp"
#include "ProgressBar.hpp"
#include "halvora/Core/Format.hpp"

namespace halvora::cli {

namespace {

/// How long the tool waits for an answer once the bracelet is connected.
constexpr double kAnswerSeconds = 70;  // a lost answer holds the bracelet's command slot for 60 s
/// How long one history download may take.
constexpr double kDownloadSeconds = 600;

/// The confirmation codes of the settings, as the bracelet's answers report them.
enum SettingCode : std::int32_t {
    CodeHeight = 0,
    CodeWeight = 1,
    CodeDate = 2,
    CodeGoal = 3,
    CodeNotifications = 4,
    CodeRaiseHand = 5,
    CodeFindPhone = 6,
    CodeHeartMonitor = 7,
    CodeFindDevice = 8,
    CodeAntiLost = 9,
    CodeSedentary = 10,
    CodeAlarm = 11,
    CodeFirstAlarm = 12,
};

std::size_t countOf(const std::vector<std::int32_t>& codes, std::int32_t code) {
    return static_cast<std::size_t>(std::count(codes.begin(), codes.end(), code));
}

}  // namespace

bool BraceletSettings::empty() const {
    return !height && !weight && !goal && !date && !units && alarms.empty() && !sedentary && !findPhone && !antiLost &&
           !raiseHand && !hrMonitor && ancs.empty() && !text;
}

BraceletSession::BraceletSession(Session& session, double timeout)
    : session_(session), listener_(std::make_shared<BraceletListener>()) {
    session_.manager().setBraceletDelegate(listener_);
    connectAndWait(session_, DeviceTypeBracelet, timeout);
}

BraceletSession::~BraceletSession() {
    try {
        disconnectAndSettle(session_, DeviceTypeBracelet);
    } catch (...) {
        // The link is going anyway; nothing more to report.
    }
    session_.manager().setBraceletDelegate({});
}

void BraceletSession::waitFor(const std::function<bool()>& done, double seconds, const std::string& what) {
    if (!session_.waitUntil(done, halvora::seconds(seconds))) {
        throw CliError(ExitDeviceError, "the bracelet did not " + what);
    }
}

std::vector<HistoryRecord> downloadHistory(Session& session, BraceletListener& listener, double timeout,
                                           bool progress) {
    ProgressBar bar("history");
    if (progress) {
        listener.setProgressWatcher(
            [&bar](std::int32_t package, std::int32_t total) { bar.update(package, total, "packages"); });
    }
    const std::size_t before = listener.syncs().size();
    // The bracelet's last package reaches the application with the next download: a second download,
    // which finds nothing new on the bracelet, brings it.
    bool finished = true;
    for (std::size_t round = 1; round <= 2 && finished; ++round) {
        session.manager().synchronizeBraceletHistoryData();
        finished = session.waitUntil([&] { return listener.syncs().size() >= before + round; }, seconds(timeout));
    }
    listener.setProgressWatcher({});
    bar.finish();
    if (!finished) throw CliError(ExitDeviceError, "the bracelet did not finish its history download");
    const auto all = listener.syncs();
    return historyRecords({all.begin() + static_cast<std::ptrdiff_t>(before), all.end()});
}

int runBraceletSteps(Session& session, double timeout) {
    BraceletSession bracelet(session, timeout);
    bracelet.manager().getBraceletCurrentSteps();
    bracelet.waitFor([&] { return bracelet.listener().steps().has_value(); }, kAnswerSeconds, "report its steps");
    const auto steps = *bracelet.listener().steps();
    nlohmann::json event = toJson(steps);
    event["event"] = "steps";
    session.printer().event(event, "steps: " + stepsText(steps));
    return ExitOk;
}

int runBraceletHeart(Session& session, double timeout) {
    BraceletSession bracelet(session, timeout);
    bracelet.manager().getBraceletHeartBeat();
    bracelet.waitFor([&] { return !bracelet.listener().heartRates().empty(); }, kAnswerSeconds, "report a heart rate");
    const auto rate = bracelet.listener().heartRates().front();
    nlohmann::json event = toJson(rate);
    event["event"] = "heart";
    session.printer().event(event, format("heart rate: %d bpm", rate.heartRate));
    return ExitOk;
}

int runBraceletSync(Session& session, const std::optional<std::string>& csvPath, double timeout) {
    std::optional<CsvWriter> csv;
    if (csvPath) csv.emplace(*csvPath, historyCsvHeader());
    BraceletSession bracelet(session, timeout);
    const auto records = downloadHistory(session, bracelet.listener(), kDownloadSeconds, !session.printer().json());
    printHistory(session.printer(), records);
    if (csv) {
        for (const auto& r : records) csv->row(historyCsvRow(r));
        csv->close();
    }
    return ExitOk;
}

int runBraceletBattery(Session& session, double timeout) {
    BraceletSession bracelet(session, timeout);
    bracelet.manager().getBraceletBattery();
    bracelet.waitFor([&] { return bracelet.listener().battery().has_value(); }, kAnswerSeconds,
                     "report its battery level");
    const int level = *bracelet.listener().battery();
    session.printer().event({{"event", "battery"}, {"kind", DeviceTypeBracelet}, {"level", level}},
                            format("battery: %d %%", level));
    return ExitOk;
}

int runBraceletVersion(Session& session, double timeout) {
    BraceletSession bracelet(session, timeout);
    bracelet.manager().getBraceletVersion();
    std::string version;
    bracelet.waitFor(
        [&] {
            for (const auto& info : bracelet.listener().infos()) {
                if (info.rfind("Version: ", 0) == 0) version = trimmedLine(info);
            }
            return !version.empty();
        },
        kAnswerSeconds, "report its version");
    session.printer().event({{"event", "version"}, {"info", version}}, version);
    return ExitOk;
}

int runBraceletFind(Session& session, double timeout) {
    BraceletSession bracelet(session, timeout);
    bracelet.manager().sendBraceletFindDevice();
    bracelet.waitFor([&] { return countOf(bracelet.listener().parameterCodes(), CodeFindDevice) > 0; }, kAnswerSeconds,
                     "confirm the find request");
    session.printer().event({{"event", "parameterSet"}, {"code", CodeFindDevice}}, "the bracelet is signalling");
    return ExitOk;
}

int runBraceletSet(Session& session, const BraceletSettings& settings, double timeout) {
    if (settings.empty()) throw CliError(ExitBadArguments, "no setting given (see halvora bracelet set --help)");
    const auto plan = settingsPlan(settings, session);  // checks every value before connecting
    BraceletSession bracelet(session, timeout);
    for (const auto& step : plan) step.send(bracelet.manager());
    for (const auto& step : plan) {
        if (step.code) {
            const std::size_t wanted = step.occurrence;
            bracelet.waitFor(
                [&] {
                    const auto codes = bracelet.listener().parameterCodes();
                    return countOf(codes, *step.code) +
                               (step.alternativeCode ? countOf(codes, *step.alternativeCode) : 0) >=
                           wanted;
                },
                kAnswerSeconds, "confirm the " + step.label);
        } else if (step.info) {
            bracelet.waitFor(
                [&] {
                    const auto infos = bracelet.listener().infos();
                    return std::any_of(infos.begin(), infos.end(),
                                       [&](const std::string& i) { return i.find(*step.info) != std::string::npos; });
                },
                kAnswerSeconds, "confirm the " + step.label);
        }
        const bool confirmed = step.code || step.info;
        session.printer().event({{"event", confirmed ? "set" : "sent"}, {"setting", step.label}},
                                step.label + (confirmed ? " set" : " sent (the bracelet does not confirm it)"));
    }
    return ExitOk;
}

}  // namespace halvora::cli
