// `halvora vital ecg` and `halvora vital ecg-waveform`: an ECG measured live, or one stored on the bracelet,
// printed as its summary and drawn as a paper strip.
#include "VitalEcg.hpp"

#include <cmath>

#include "CliError.hpp"
#include "RecordJson.hpp"
#include "VitalSession.hpp"
#include "bracelet/BraceletRecords.hpp"
#include "halvora/Core/Format.hpp"
#include "halvora/Devices/Vital/HalvoraSDKVitalECGStatus.hpp"
#include "plot/EcgStrip.hpp"

namespace halvora::cli {

namespace {

using C = VitalCommand;
using M = HalvoraSDKManager;

/// The start's statuses up to this one mean the upload runs.
constexpr std::int32_t kLastStartedStatus = 1;
/// The status of a finished measurement.
constexpr std::int32_t kFinishedStatus = 3;
/// Between two status polls.
constexpr auto kPollInterval = std::chrono::seconds(1);
/// How long a stored waveform's download may take.
constexpr double kWaveformSeconds = 120;

/// What the live measurement gave.
struct LiveEcg {
    std::vector<double> samples;
    std::optional<HalvoraSDKVitalECGConstantsData> summary;  // from the finished status
    std::optional<HalvoraSDKVitalECGConstantsData> latest;   // the last heart-rate status
    bool finished = false;
    double seconds = 0;
};

template <typename T>
const T* valueIn(const HalvoraSDKResponse& response) {
    return std::get_if<T>(&response.data);
}

void startMeasurement(VitalSession& bracelet) {
    const auto answer = bracelet.ask(C::kECGStart, [](M& m) { return m.startVitalECG(); });
    const auto* status = valueIn<HalvoraSDKVitalECGStatus>(answer);
    if (!status) throw CliError(ExitDeviceError, "the ECG start's answer carried no status");
    if (status->status > kLastStartedStatus) {
        throw CliError(ExitDeviceError, format("the bracelet did not start the ECG (status %d)", status->status));
    }
}

/// Polls the status once; the finished measurement's summary when it is finished.
std::optional<HalvoraSDKVitalECGConstantsData> pollFinished(VitalSession& bracelet, bool& finished) {
    const auto mark = bracelet.listener().mark();
    const auto answer = bracelet.ask(C::kECGStatus, [](M& m) { return m.getVitalECGStatus(); });
    const auto* status = valueIn<HalvoraSDKVitalECGStatus>(answer);
    finished = status && status->status == kFinishedStatus;
    if (!finished) return std::nullopt;
    if (status->data) return status->data;
    // A finished status without its summary: the summary may still have come on its own.
    for (const auto& r : bracelet.listener().responsesSince(mark, C::kECGFinished)) {
        if (const auto* summary = valueIn<HalvoraSDKVitalECGConstantsData>(r)) return *summary;
    }
    return std::nullopt;
}

LiveEcg measure(VitalSession& bracelet, double seconds) {
    LiveEcg live;
    const auto mark = bracelet.listener().mark();
    const auto start = bracelet.session().elapsed();
    startMeasurement(bracelet);
    const auto limit = std::chrono::duration<double>(seconds);
    while (!live.finished && bracelet.session().elapsed() - start < limit) {
        bracelet.session().pass(kPollInterval);
        live.summary = pollFinished(bracelet, live.finished);
    }
    live.seconds = std::chrono::duration<double>(bracelet.session().elapsed() - start).count();
    for (const auto& r : bracelet.listener().responsesSince(mark, C::kECGValues)) {
        if (const auto* frame = valueIn<HalvoraSDKVitalECGData>(r)) {
            live.samples.insert(live.samples.end(), frame->ecgData.begin(), frame->ecgData.end());
        } else if (const auto* status = valueIn<HalvoraSDKVitalECGConstantsData>(r)) {
            live.latest = *status;
        }
    }
    return live;
}

std::string summaryText(int heartRate, int hrv, std::optional<int> breathingRate) {
    std::string out = format("heart rate %d bpm, HRV %d", heartRate, hrv);
    if (breathingRate) out += format(", breathing rate %d /min", *breathingRate);
    return out;
}

double samplesSeconds(std::size_t samples) {
    return static_cast<double>(samples) / EcgStrip::kDefaultSampleRate;
}

void writeStrip(const std::string& path, std::vector<double> samples, EcgCaption caption) {
    EcgStrip strip(std::move(samples));
    strip.setCaption(std::move(caption));
    strip.render().save(path);
}

void printLive(Printer& printer, const LiveEcg& live) {
    const auto& values = live.summary ? live.summary : live.latest;
    nlohmann::json event = {{"event", "ecg"},
                            {"finished", live.finished},
                            {"samples", live.samples.size()},
                            {"seconds", std::round(live.seconds * 10) / 10}};
    std::string text = live.finished ? "ECG finished" : format("ECG stopped after %.0f s, not finished", live.seconds);
    if (values) {
        event["date"] = live.summary ? isoDate(values->date) : nlohmann::json(nullptr);
        event["hrv"] = values->hrv;
        event["heartRate"] = values->heartRate;
        event["breathingRate"] = live.summary ? nlohmann::json(values->breathingRate) : nlohmann::json(nullptr);
        text += ": " + summaryText(values->heartRate, values->hrv,
                                   live.summary ? std::optional<int>(values->breathingRate) : std::nullopt);
        if (live.summary) text += ", " + localDateText(values->date);
    }
    text += format(" (%zu live samples, %.1f s of trace)", live.samples.size(), samplesSeconds(live.samples.size()));
    printer.event(event, text);
}

}  // namespace

int runVitalEcg(Session& session, const VitalEcgOptions& options, double timeout) {
    VitalSession bracelet(session);
    bracelet.connect(timeout);
    const auto live = measure(bracelet, options.seconds);
    printLive(session.printer(), live);
    if (options.plot) {
        EcgCaption caption;
        caption.title = "ECG measurement";
        if (const auto& values = live.summary ? live.summary : live.latest) {
            caption.heartRate = values->heartRate;
            caption.hrv = values->hrv;
            if (live.summary) {
                caption.date = values->date;
                caption.breathingRate = values->breathingRate;
            }
        }
        writeStrip(*options.plot, live.samples, std::move(caption));
    }
    return ExitOk;
}

int runVitalEcgWaveform(Session& session, const VitalEcgWaveformOptions& options, double timeout) {
    VitalSession bracelet(session);
    bracelet.connect(timeout);
    const int record = options.record;
    HalvoraSDKResponse answer;
    try {
        answer = bracelet.ask(
            C::kECGWaveform, [record](M& m) { return m.getVitalECGWaveform(record); }, kWaveformSeconds);
    } catch (const CliError& error) {
        // A record the bracelet does not hold ends with its end page alone: no record ever comes.
        if (std::string(error.what()).rfind("the bracelet did not answer", 0) != 0) throw;
        throw CliError(ExitDeviceError, format("the bracelet sent no ECG waveform record %d", record));
    }
    const auto* ecg = valueIn<HalvoraSDKVitalECGData>(answer);
    if (!ecg) throw CliError(ExitDeviceError, "the waveform answer carried no ECG record");
    const nlohmann::json event = {{"identifier", ecg->identifier},
                                  {"date", isoDate(ecg->date)},
                                  {"hrv", ecg->hrv},
                                  {"heartRate", ecg->heartRate},
                                  {"breathRate", ecg->breathRate},
                                  {"pr", ecg->pr},
                                  {"qt", ecg->qt},
                                  {"qtc", ecg->qtc},
                                  {"trs", ecg->trs},
                                  {"samples", ecg->ecgData.size()}};
    session.printer().event(
        event, format("ECG record %d, %s: %s; PR %.0f ms, QT %.0f ms, QTc %.0f ms, RR %.0f ms; %zu samples (%.1f s)",
                      ecg->identifier, localDateText(ecg->date).c_str(),
                      summaryText(ecg->heartRate, ecg->hrv, ecg->breathRate).c_str(), ecg->pr, ecg->qt, ecg->qtc,
                      ecg->trs, ecg->ecgData.size(), samplesSeconds(ecg->ecgData.size())));
    if (options.plot) {
        EcgCaption caption;
        caption.title = format("ECG record %d", ecg->identifier);
        caption.date = ecg->date;
        caption.heartRate = ecg->heartRate;
        caption.hrv = ecg->hrv;
        caption.breathingRate = ecg->breathRate;
        writeStrip(*options.plot, ecg->ecgData, std::move(caption));
    }
    return ExitOk;
}

}  // namespace halvora::cli
