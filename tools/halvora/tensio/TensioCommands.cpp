// The wrist blood-pressure bracelet's commands: connect, ask, wait for the answer, print it.
#include "TensioCommands.hpp"

#include "CliError.hpp"
#include "CsvWriter.hpp"
#include "ProgressBar.hpp"
#include "RecordJson.hpp"
#include "TensioTexts.hpp"
#include "TensioWindowSyntax.hpp"
#include "bracelet/BraceletRecords.hpp"
#include "halvora/Core/Format.hpp"

namespace halvora::cli {

namespace {

using Reading = HalvoraSDKTensioBraceletData;
using Request = TensioBraceletRequest;

/// A measurement inflates and deflates the cuff in well under this.
constexpr double kMeasurementSeconds = 180;
/// The most measurements the memory holds (its count is one byte).
constexpr std::int32_t kMostStoredMeasurements = 255;
/// The fields of a reading, in the order of the CSV columns.
const std::vector<std::string> kCsvHeader = {"date", "systolic", "diastolic", "pulse", "irregular"};

std::string number(const std::optional<std::int32_t>& value) {
    return value ? std::to_string(*value) : "";
}

nlohmann::json toJson(const Reading& data) {
    return {{"date", isoDate(data.date)},
            {"systolic", optionalJson(data.systolic)},
            {"diastolic", optionalJson(data.diastolic)},
            {"pulse", optionalJson(data.pulse)},
            {"irregular", optionalJson(data.irregular)}};
}

// ------------------------------------------------------------------ the memory walk

/// One answer of the memory walk: a stored measurement, or the memory's count (the walk's first answer).
struct MemoryAnswer {
    std::optional<Reading> record;
    std::optional<std::int32_t> count;
};

MemoryAnswer askMemory(TensioSession& bracelet) {
    const auto before = bracelet.driverState().command;
    const auto mark = bracelet.listener().mark();
    bracelet.manager().getBloodPressureHistoryTensioBracelet();
    const auto state = bracelet.awaitRequestEnd(before, mark, "request for its memory");
    const auto records = bracelet.listener().resultsSince(mark);
    if (!records.empty()) return {records.back(), std::nullopt};
    // A record equal to the last one delivered is not delivered again: it is that one.
    if (state.dataReceived) return {state.lastData, std::nullopt};
    return {std::nullopt, state.totalBloodPressureHistory};
}

/// The memory's count. Records that come before it end a walk begun before this connection.
std::int32_t memoryCount(TensioSession& bracelet) {
    for (std::int32_t asked = 0; asked <= kMostStoredMeasurements; ++asked) {
        const auto answer = askMemory(bracelet);
        if (answer.count) return *answer.count;
        if (!answer.record) {
            throw CliError(ExitDeviceError,
                           "the bracelet answered the request for its memory with neither a count "
                           "nor a measurement");
        }
    }
    throw CliError(ExitDeviceError, "the bracelet did not report how many measurements it holds");
}

void printMemory(Printer& printer, const std::vector<Reading>& records) {
    if (printer.json()) {
        for (const auto& record : records) printer.event(toJson(record), "");
        return;
    }
    if (records.empty()) {
        printer.line("the bracelet's memory is empty");
        return;
    }
    printer.line(
        format("%zu measurements in the bracelet's memory, oldest first (it keeps no dates: each is "
               "dated when it was read)",
               records.size()));
    std::vector<std::vector<std::string>> rows;
    for (std::size_t i = 0; i < records.size(); ++i) {
        const auto& r = records[i];
        rows.push_back({std::to_string(i + 1), number(r.systolic), number(r.diastolic), number(r.pulse),
                        r.irregular.value_or(0) != 0 ? "yes" : "no", localDateText(r.date)});
    }
    printer.table({"#", "systolic", "diastolic", "pulse", "irregular", "read at"}, rows);
}

// ------------------------------------------------------------------ texts

TensioTexts::Clock readClock(TensioSession& bracelet) {
    const auto mark = bracelet.listener().mark();
    bracelet.manager().getSmartwatchTimeTensioBracelet();
    const auto text = bracelet.awaitText(TensioTexts::kClockPrefix, mark, "clock request");
    const auto clock = TensioTexts::clock(text);
    if (!clock) throw CliError(ExitDeviceError, "the bracelet's clock does not read as a time: \"" + text + "\"");
    return *clock;
}

TensioTexts::BasicInfo readBasicInfo(TensioSession& bracelet) {
    const auto mark = bracelet.listener().mark();
    bracelet.manager().getBasicInfoTensioBracelet();
    const auto text = bracelet.awaitText(TensioTexts::kBasicInfoPrefix, mark, "request for its information");
    const auto info = TensioTexts::basicInfo(text);
    if (!info)
        throw CliError(ExitDeviceError, "the bracelet's information does not read as expected: \"" + text + "\"");
    return *info;
}

/// The windows of the schedule the bracelet holds (none for an empty schedule).
std::vector<TensioTexts::Window> readSchedule(TensioSession& bracelet) {
    const auto mark = bracelet.listener().mark();
    // The kit's facade has no request for the schedule: it goes to the driver. It bypasses the command slot,
    // which is free here: the tool asks one thing at a time.
    bracelet.onDriverQueue([](HalvoraSDKTensioBracelet& d) { d.getAmbulatoryBloodPressureTime(); });
    std::vector<TensioTexts::Window> windows;
    bracelet.await(
        mark,
        [&] {
            windows.clear();
            for (const auto& information : bracelet.listener().informationSince(mark)) {
                const auto* text = std::get_if<std::string>(&information);
                const auto window = text ? TensioTexts::window(*text) : std::nullopt;
                if (window) windows.push_back(*window);
            }
            return !windows.empty() && windows.back().last();
        },
        "schedule request");
    if (windows.size() == 1 && windows.front().empty()) return {};
    return windows;
}

void printSchedule(Printer& printer, const std::vector<TensioTexts::Window>& windows) {
    printer.event({{"event", "schedule"}, {"windows", windows.size()}},
                  windows.empty() ? "ambulatory schedule: no windows"
                                  : format("ambulatory schedule: %zu windows", windows.size()));
    for (const auto& w : windows) {
        printer.event({{"event", "window"},
                       {"startTime", w.startTime},
                       {"endTime", w.endTime},
                       {"serialNo", w.serialNo},
                       {"totalTimeIntervals", w.totalTimeIntervals},
                       {"intervalMinutes", w.intervalMinutes}},
                      format("  window %d of %d: %s-%s, every %d min", w.serialNo, w.totalTimeIntervals,
                             w.startTime.c_str(), w.endTime.c_str(), w.intervalMinutes));
    }
}

/// Hands the windows to the kit; throws when it refuses them at once (more than it takes, or windows that
/// overlap), before anything is written to the bracelet.
void sendWindows(TensioSession& bracelet, const std::vector<HalvoraSDKTensioBraceletInterval>& windows,
                 const TensioListener::Mark& mark) {
    bracelet.manager().setAmbulatoryBloodPressureTimeTensioBracelet(windows);
    for (const auto& information : bracelet.listener().informationSince(mark)) {
        if (std::holds_alternative<std::int32_t>(information)) {
            throw CliError(ExitDeviceError, *tensioFailure(information) + "; nothing was sent to the bracelet");
        }
    }
}

/// Sends one request that the bracelet acknowledges, and waits for the acknowledgement.
template <typename Send>
void acknowledged(TensioSession& bracelet, std::int32_t request, const std::string& what, Send send) {
    const auto mark = bracelet.listener().mark();
    send(bracelet.manager());
    bracelet.awaitExecuted(request, mark, what);
}

}  // namespace

std::string wristResultText(const Reading& data) {
    return format("%d/%d mmHg, pulse %d%s", data.systolic.value_or(0), data.diastolic.value_or(0),
                  data.pulse.value_or(0), data.irregular.value_or(0) != 0 ? ", irregular heartbeat" : "");
}

HalvoraSDKTensioBraceletData measureWrist(TensioSession& bracelet, bool live) {
    auto& listener = bracelet.listener();
    auto& printer = bracelet.session().printer();
    if (live) {
        listener.setPressureWatcher([&printer](std::int32_t value) {
            printer.event({{"event", "progress"}, {"value", value}}, format("cuff pressure %d mmHg", value));
        });
    }
    const auto mark = listener.mark();
    bracelet.manager().startMeasurementTensioBracelet();
    try {
        bracelet.await(
            mark, [&] { return !listener.resultsSince(mark).empty(); }, "measurement", kMeasurementSeconds);
    } catch (const CliError&) {
        listener.setPressureWatcher(nullptr);
        // A cuff still inflated is let go before the link ends.
        if (bracelet.manager().isTensioBraceletMeasuring()) bracelet.manager().stopMeasurementTensioBracelet();
        throw;
    }
    listener.setPressureWatcher(nullptr);
    return listener.resultsSince(mark).front();
}

std::vector<HalvoraSDKTensioBraceletData> readMemory(TensioSession& bracelet) {
    const std::int32_t count = memoryCount(bracelet);
    ProgressBar bar("history");
    std::vector<Reading> records;
    for (std::int32_t i = 0; i < count; ++i) {
        const auto answer = askMemory(bracelet);
        if (!answer.record) {
            throw CliError(ExitDeviceError,
                           format("the bracelet started its memory over after %d of %d measurements", i, count));
        }
        records.push_back(*answer.record);
        bar.update(i + 1, count, "measurements");
    }
    return records;
}

int runMeasureWristBloodPressure(Session& session, double timeout) {
    TensioSession bracelet(session);
    bracelet.connect(timeout);
    session.printer().line("connected HalvoraSDKTensioBracelet: keep the wrist at heart level");
    const Reading result = measureWrist(bracelet, true);
    nlohmann::json event = toJson(result);
    event["event"] = "result";
    session.printer().event(event, "result: " + wristResultText(result));
    return ExitOk;
}

int runTensioHistory(Session& session, const std::optional<std::string>& csvPath, double timeout) {
    // The file is opened first: a path that cannot be written fails before the bracelet is asked.
    std::optional<CsvWriter> csv;
    if (csvPath) csv.emplace(*csvPath, kCsvHeader);
    TensioSession bracelet(session);
    bracelet.connect(timeout);
    const auto records = readMemory(bracelet);
    printMemory(session.printer(), records);
    if (csv) {
        for (const auto& r : records) {
            csv->row(
                {localDateText(r.date), number(r.systolic), number(r.diastolic), number(r.pulse), number(r.irregular)});
        }
        csv->close();
    }
    return ExitOk;
}

int runTensioClear(Session& session, double timeout) {
    TensioSession bracelet(session);
    bracelet.connect(timeout);
    acknowledged(bracelet, Request::kRemoveBloodPressureHistory, "clearing of its memory",
                 [](HalvoraSDKManager& m) { m.removeBloodPressureHistoryTensioBracelet(); });
    session.printer().event({{"event", "cleared"}}, "memory cleared");
    return ExitOk;
}

int runTensioTime(Session& session, double timeout) {
    TensioSession bracelet(session);
    bracelet.connect(timeout);
    const auto clock = readClock(bracelet);
    session.printer().event({{"event", "clock"}, {"clock", clock.text()}}, "bracelet clock: " + clock.text());
    return ExitOk;
}

int runTensioSetTime(Session& session, double timeout) {
    TensioSession bracelet(session);
    bracelet.connect(timeout);
    acknowledged(bracelet, Request::kSetSmartwatchTime, "clock setting",
                 [](HalvoraSDKManager& m) { m.setSmartwatchTimeTensioBracelet(); });
    // Read back, so that what the bracelet now shows is printed.
    const auto clock = readClock(bracelet);
    session.printer().event({{"event", "set"}, {"setting", "clock"}, {"clock", clock.text()}},
                            "bracelet clock set to the phone's: " + clock.text());
    return ExitOk;
}

int runTensioInfo(Session& session, double timeout) {
    TensioSession bracelet(session);
    bracelet.connect(timeout);
    const auto info = readBasicInfo(bracelet);
    auto& printer = session.printer();
    printer.event({{"event", "info"},
                   {"battery", info.battery},
                   {"ambulatory", info.ambulatory},
                   {"unit", info.unit},
                   {"hold", info.hold},
                   {"stored", info.stored}},
                  "");
    printer.line(format("battery: %d %%", info.battery));
    printer.line(std::string("ambulatory measuring: ") + (info.ambulatory ? "on" : "off"));
    printer.line("unit: " + info.unit);
    printer.line(format("hold: %d", info.hold));
    printer.line(format("stored measurements: %d", info.stored));
    return ExitOk;
}

int runTensioConfig(Session& session, const TensioConfigOptions& options, double timeout) {
    TensioSession bracelet(session);
    bracelet.connect(timeout);
    HalvoraSDKTensioBraceletConfig config;
    config.hand = options.hand;
    // The bracelet takes both settings in one frame: a switch not given keeps the state the bracelet reports.
    config.ambulatoryEnabled = options.ambulatory ? *options.ambulatory == "on" : readBasicInfo(bracelet).ambulatory;
    acknowledged(bracelet, Request::kSetConfig, "configuration",
                 [&config](HalvoraSDKManager& m) { m.setSmartwatchConfigTensioBracelet(config); });
    session.printer().event({{"event", "set"},
                             {"setting", "config"},
                             {"hand", config.hand},
                             {"ambulatoryEnabled", config.ambulatoryEnabled}},
                            format("configuration set: hand %d, ambulatory measuring %s", config.hand,
                                   config.ambulatoryEnabled ? "on" : "off"));
    return ExitOk;
}

int runTensioReset(Session& session, double timeout) {
    TensioSession bracelet(session);
    bracelet.connect(timeout);
    acknowledged(bracelet, Request::kResetDefaults, "reset",
                 [](HalvoraSDKManager& m) { m.resetDefaultsTensioBracelet(); });
    session.printer().event({{"event", "reset"}}, "settings back to their defaults");
    return ExitOk;
}

int runTensioAmbulatoryGet(Session& session, double timeout) {
    TensioSession bracelet(session);
    bracelet.connect(timeout);
    printSchedule(session.printer(), readSchedule(bracelet));
    return ExitOk;
}

int runTensioAmbulatorySet(Session& session, const std::vector<std::string>& texts, double timeout) {
    std::vector<HalvoraSDKTensioBraceletInterval> windows;
    windows.reserve(texts.size());
    for (const auto& text : texts) windows.push_back(TensioWindowSyntax::parse(text));
    TensioSession bracelet(session);
    // First without a bracelet: the kit refuses a list longer than it takes before it looks for one, so such
    // a list costs no connection. (With no bracelet connected, the kit sends nothing.)
    sendWindows(bracelet, windows, bracelet.listener().mark());
    bracelet.connect(timeout);
    const auto mark = bracelet.listener().mark();
    sendWindows(bracelet, windows, mark);
    bracelet.awaitExecuted(Request::kSetAmbulatoryBloodPressureTime, mark, "ambulatory schedule", windows.size());
    printSchedule(session.printer(), readSchedule(bracelet));
    return ExitOk;
}

}  // namespace halvora::cli
