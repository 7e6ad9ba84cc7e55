// The Vital bracelet ("J2025E") in the tool's lab, and how its script reads from a lab file. Durations are
// in milliseconds; times are the bracelet's local wall-clock times, "yyyy-MM-dd HH:mm" or
// "yyyy-MM-dd HH:mm:ss", from 2000-01-01 00:00 to 2099-12-31 23:59:59 (what its two-digit BCD year holds).
// Command codes are numbers from 0 to 255 or texts like "0x2B".
//
// "script" keys (all optional):
//   "clock"               where the bracelet's clock stands at the start (it then runs on); absent: the lab's
//                         local time until the phone sets it
//   "battery"             the battery level of the 0x13 answer, percent, 0 to 100
//   "macAddress"          the 0x22 answer's address, "C8:4A:20:25:0E:10" (six hex bytes, first byte first)
//   "steps"               today's steps at the start (the real-time frames), 0 to 2000000000
//   "stepsPerUpdate"      steps added before each further real-time frame, 0 to 10000
//   "heartRate"           the heart rate measured, 1 to 255
//   "heartRateSpread"     each reading varies by up to this much either way (from the lab's seed), 0 to 100
//   "temperature"         the skin temperature, tenths of a degree Celsius, 0 to 600
//   "temperatureSpread"   each temperature varies by up to this many tenths either way, 0 to 100
//   "realTimeIntervalMs"  between two real-time frames, 10 to 600000
//   "sos"                 SOS events: [{"atMs": after the link came up, 0 to 86400000}, ...]
//   "firmwareCommands"    firmware-command events: [{"atMs": ..., "operation": 0 to 255}, ...]
//   "heartbeats"          sport heartbeat packets: [{"atMs": ..., "withData": true (default) or false}, ...]
//   "notificationGapMs"   between two notifications of one answer, 0 to 60000 (0: back to back)
//   "faults"              the bracelet's own protocol faults (the link faults sit beside the script):
//     "failCodes"            commands answered with their code | 0x80, changing nothing: [11, "0x41"]
//     "loseAnswersTo"        commands whose answers are lost (the command still takes effect)
//     "cutAnswersTo"         answers are cut to this many bytes, 0 to 15
//     "cutAnswerCodes"       the answers (by their byte 0) "cutAnswersTo" cuts; absent or empty: all
//     "strayEveryMs"         while linked, a frame nobody asked for every this long, 10 to 600000
//   "history"             the stored history the phone pages through (0x51 to 0x66); every key optional:
//     "seed"                 seeds the generated days and the stored electrocardiograms, 0 to 2147483647
//                            (default 1)
//     "days"                 days generated from the seed, ending with the clock's day, 0 (default) to 60:
//                            steps, totals, a night of sleep, heart rate, blood oxygen, HRV, sport, temperature
//     explicit records, sent before the generated ones of their kind, each with its "time" (a clock time):
//     "totals"               [{"time" (its day counts), "steps", "activeMinutes", "distance" (hundredths of a
//                            km), "calories" (hundredths of a kcal), "exerciseMinutes"}], 0 to 2000000000
//     "steps"                [{"time", "steps", "calories" (hundredths), "distance" (hundredths of a km), each
//                            0 to 65535, "perMinute": up to ten steps per minute, 0 to 255}]
//     "sleep"                [{"time", "minutes": one value per minute (0 none, 1 deep, other light), 0 to
//                            255, at most 1440}]
//     "heartRate", "bloodOxygen", "automaticBloodOxygen"      [{"time", "value": 0 to 255}]
//     "temperature", "automaticTemperature"                   [{"time", "value": tenths of a degree, 0 to 65535}]
//     "automaticHeartRate"   [{"time" (the first sample), "samples": up to fifteen, 15 minutes apart, 0 to 255}]
//     "hrv"                  [{"time", "hrv", "vascularAging", "heartRate", "fatigue", "systolic", "diastolic"},
//                            each 0 to 255]
//     "sport"                [{"time", "heartRate" (0 to 255), "steps", "calories" (kcal), "distance" (metres),
//                            each 0 to 65535, "activeSeconds", "exerciseSeconds" (0 to 2000000000), "type" (0
//                            to 255)}]
//   "ecg"                 the electrocardiogram (0x99, 0x9C, 0x71); every key optional:
//     "heartRate"            beats per minute recorded and reported, 40 to 200 (default 72)
//     "hrv"                  milliseconds the beats vary by, and the reported HRV, 0 to 255 (default 42)
//     "breathingRate"        breaths per minute reported, 0 to 60 (default 16)
//     "seconds"              how long a measurement streams, 1 to 600 (default 30)
//     "refuse"               answer every 0x99 with this status, 2 to 255, and record nothing
//     "records"              electrocardiograms stored already (numbered from 1), 0 to 16 (default 1)

#include <algorithm>
#include <cctype>
#include <limits>

#include "BraceletTimeField.hpp"
#include "JsonReader.hpp"
#include "LabCatalog.hpp"
#include "halvora/Core/Format.hpp"
#include "lab/Devices/Vital/VirtualVitalBracelet.hpp"

namespace halvora::cli {

namespace {

constexpr int kMaxSteps = 2000000000;
constexpr int kMaxStepsPerUpdate = 10000;
constexpr int kMaxSpread = 100;
constexpr int kMaxTemperature = 600;
constexpr int kMinIntervalMs = 10;
constexpr int kMaxIntervalMs = 600000;
constexpr int kMaxEventMs = 86400000;
constexpr int kMaxGapMs = 60000;
constexpr int kMaxCutLength = 15;
constexpr int kMaxPercent = 100;
constexpr int kMaxByte = 255;
constexpr std::size_t kMacTextLength = 17;  // "C8:4A:20:25:0E:10"
constexpr std::size_t kMacPartStride = 3;

std::array<std::uint8_t, 6> macField(const JsonReader& reader, const char* key, std::array<std::uint8_t, 6> fallback) {
    if (!reader.has(key)) return fallback;
    const auto text = reader.optionalText(key);
    const char* expected = "expected six hex bytes like \"C8:4A:20:25:0E:10\"";
    if (!text || text->size() != kMacTextLength) reader.fail(key, expected);
    std::array<std::uint8_t, 6> out{};
    for (std::size_t i = 0; i < out.size(); ++i) {
        const std::size_t at = i * kMacPartStride;
        const bool hex = std::isxdigit(static_cast<unsigned char>((*text)[at])) != 0 &&
                         std::isxdigit(static_cast<unsigned char>((*text)[at + 1])) != 0;
        const bool separated = i + 1 == out.size() || (*text)[at + 2] == ':';
        if (!hex || !separated) reader.fail(key, expected);
        out[i] = static_cast<std::uint8_t>(std::stoi(text->substr(at, 2), nullptr, 16));
    }
    return out;
}

/// A command code: a number from 0 to 255 or a text like "0x2B".
std::optional<std::uint8_t> code(const nlohmann::json& value) {
    long long n = -1;
    if (value.is_number_integer()) {
        n = value.get<long long>();
    } else if (value.is_string()) {
        const auto text = value.get<std::string>();
        if (text.size() < 3 || text.size() > 4 || text[0] != '0' || (text[1] != 'x' && text[1] != 'X')) return {};
        const bool hex =
            std::all_of(text.begin() + 2, text.end(), [](unsigned char c) { return std::isxdigit(c) != 0; });
        if (!hex) return {};
        n = std::stoll(text.substr(2), nullptr, 16);
    }
    if (n < 0 || n > kMaxByte) return std::nullopt;
    return static_cast<std::uint8_t>(n);
}

std::vector<std::uint8_t> codeList(const JsonReader& faults, const char* key) {
    std::vector<std::uint8_t> out;
    if (!faults.has(key)) return out;
    const auto& list = faults.json()[key];
    const char* expected = "expected a list of command codes like 11 or \"0x2B\"";
    if (!list.is_array()) faults.fail(key, expected);
    for (const auto& value : list) {
        const auto c = code(value);
        if (!c) faults.fail(key, expected);
        out.push_back(*c);
    }
    return out;
}

Duration eventTime(const JsonReader& event) {
    if (!event.has("atMs")) event.fail("atMs", "missing: the time after the link came up, in milliseconds");
    return event.millisecondsIn("atMs", Duration::zero(), 0, kMaxEventMs);
}

std::vector<Duration> readSos(const JsonReader& script) {
    std::vector<Duration> out;
    for (const auto& event : script.objects("sos")) {
        event.rejectUnknown({"atMs"});
        out.push_back(eventTime(event));
    }
    return out;
}

std::vector<lab::VitalScript::FirmwareCommand> readFirmwareCommands(const JsonReader& script) {
    std::vector<lab::VitalScript::FirmwareCommand> out;
    for (const auto& event : script.objects("firmwareCommands")) {
        event.rejectUnknown({"atMs", "operation"});
        if (!event.has("operation")) event.fail("operation", "missing: the operation number, 0 to 255");
        out.push_back({eventTime(event), event.integerIn("operation", 0, 0, kMaxByte)});
    }
    return out;
}

std::vector<lab::VitalScript::Heartbeat> readHeartbeats(const JsonReader& script) {
    std::vector<lab::VitalScript::Heartbeat> out;
    for (const auto& event : script.objects("heartbeats")) {
        event.rejectUnknown({"atMs", "withData"});
        out.push_back({eventTime(event), event.boolean("withData", true)});
    }
    return out;
}

lab::VitalFaults readFaults(const JsonReader& faults) {
    faults.rejectUnknown({"failCodes", "loseAnswersTo", "cutAnswersTo", "cutAnswerCodes", "strayEveryMs"});
    lab::VitalFaults out;
    out.failCodes = codeList(faults, "failCodes");
    out.loseAnswersTo = codeList(faults, "loseAnswersTo");
    if (faults.has("cutAnswersTo")) {
        out.cutAnswersTo = static_cast<std::size_t>(faults.integerIn("cutAnswersTo", 0, 0, kMaxCutLength));
    }
    out.cutAnswerCodes = codeList(faults, "cutAnswerCodes");
    if (faults.has("strayEveryMs")) {
        out.strayEvery = faults.millisecondsIn("strayEveryMs", Duration::zero(), kMinIntervalMs, kMaxIntervalMs);
    }
    return out;
}

constexpr int kMaxSeed = std::numeric_limits<int>::max();
constexpr int kMax16 = 0xFFFF;
constexpr int kMaxRecordsPerKind = 100000;
constexpr int kMinECGRate = 40;
constexpr int kMaxECGRate = 200;
constexpr int kMaxBreathingRate = 60;
constexpr int kMaxECGSeconds = 600;
constexpr int kFirstRefusal = 2;
constexpr std::size_t kMaxSleepMinutes = 24 * 60;

/// A list of numbers from 0 to 255, at most `most` of them.
std::vector<std::uint8_t> byteList(const JsonReader& reader, const char* key, std::size_t most) {
    std::vector<std::uint8_t> out;
    if (!reader.has(key)) return out;
    const auto& list = reader.json()[key];
    const std::string expected = "expected a list of at most " + std::to_string(most) + " numbers from 0 to 255";
    if (!list.is_array() || list.size() > most) reader.fail(key, expected);
    for (const auto& value : list) {
        if (!value.is_number_integer() || value.get<long long>() < 0 || value.get<long long>() > kMaxByte) {
            reader.fail(key, expected);
        }
        out.push_back(static_cast<std::uint8_t>(value.get<int>()));
    }
    return out;
}

/// The records of `key`, each read by `read` after its fields are checked against `fields` and "time".
template <typename Record, typename Read>
std::vector<Record> recordList(const JsonReader& history, const char* key, std::vector<std::string> fields, Read read) {
    const auto items = history.objects(key);
    if (items.size() > static_cast<std::size_t>(kMaxRecordsPerKind)) history.fail(key, "more than 100000 records");
    fields.push_back("time");
    std::vector<Record> out;
    for (const auto& item : items) {
        item.rejectUnknown(fields);
        out.push_back(read(item, readTwoDigitYearTime(item, "time")));
    }
    return out;
}

std::vector<lab::VitalHistory::Reading> readings(const JsonReader& history, const char* key, int highest) {
    return recordList<lab::VitalHistory::Reading>(
        history, key, {"value"}, [highest](const JsonReader& item, const lab::BraceletTime& time) {
            return lab::VitalHistory::Reading{time, static_cast<std::uint32_t>(item.integerIn("value", 0, 0, highest))};
        });
}

std::uint32_t count(const JsonReader& item, const char* key, int highest) {
    return static_cast<std::uint32_t>(item.integerIn(key, 0, 0, highest));
}

std::uint8_t byteField(const JsonReader& item, const char* key) {
    return static_cast<std::uint8_t>(item.integerIn(key, 0, 0, kMaxByte));
}

lab::VitalHistory readHistoryRecords(const JsonReader& h) {
    using History = lab::VitalHistory;
    using Time = lab::BraceletTime;
    History out;
    out.totals = recordList<History::DayTotal>(
        h, "totals", {"steps", "activeMinutes", "distance", "calories", "exerciseMinutes"},
        [](const JsonReader& i, const Time& t) {
            return History::DayTotal{Time{t.year, t.month, t.day, 0, 0, 0}, count(i, "steps", kMaxSteps),
                                     count(i, "activeMinutes", kMaxSteps),  count(i, "distance", kMaxSteps),
                                     count(i, "calories", kMaxSteps),       count(i, "exerciseMinutes", kMaxSteps)};
        });
    out.steps = recordList<History::StepBlock>(
        h, "steps", {"steps", "calories", "distance", "perMinute"}, [](const JsonReader& i, const Time& t) {
            History::StepBlock b{
                t, count(i, "steps", kMax16), count(i, "calories", kMax16), count(i, "distance", kMax16), {}};
            const auto perMinute = byteList(i, "perMinute", b.perMinute.size());
            std::copy(perMinute.begin(), perMinute.end(), b.perMinute.begin());
            return b;
        });
    out.sleep = recordList<History::SleepBlock>(h, "sleep", {"minutes"}, [](const JsonReader& i, const Time& t) {
        return History::SleepBlock{t, byteList(i, "minutes", kMaxSleepMinutes)};
    });
    out.automaticHeartRates =
        recordList<History::HeartSeries>(h, "automaticHeartRate", {"samples"}, [](const JsonReader& i, const Time& t) {
            History::HeartSeries s{t, {}};
            const auto samples = byteList(i, "samples", s.samples.size());
            std::copy(samples.begin(), samples.end(), s.samples.begin());
            return s;
        });
    out.heartRates = readings(h, "heartRate", kMaxByte);
    out.bloodOxygen = readings(h, "bloodOxygen", kMaxByte);
    out.automaticBloodOxygen = readings(h, "automaticBloodOxygen", kMaxByte);
    out.temperatures = readings(h, "temperature", kMax16);
    out.automaticTemperatures = readings(h, "automaticTemperature", kMax16);
    out.hrv = recordList<History::HrvReading>(h, "hrv",
                                              {"hrv", "vascularAging", "heartRate", "fatigue", "systolic", "diastolic"},
                                              [](const JsonReader& i, const Time& t) {
                                                  return History::HrvReading{t,
                                                                             byteField(i, "hrv"),
                                                                             byteField(i, "vascularAging"),
                                                                             byteField(i, "heartRate"),
                                                                             byteField(i, "fatigue"),
                                                                             byteField(i, "systolic"),
                                                                             byteField(i, "diastolic")};
                                              });
    out.sports = recordList<History::SportSession>(
        h, "sport", {"heartRate", "steps", "calories", "distance", "activeSeconds", "exerciseSeconds", "type"},
        [](const JsonReader& i, const Time& t) {
            return History::SportSession{t,
                                         byteField(i, "heartRate"),
                                         static_cast<std::uint16_t>(count(i, "steps", kMax16)),
                                         static_cast<std::uint16_t>(count(i, "calories", kMax16)),
                                         static_cast<std::uint16_t>(count(i, "distance", kMax16)),
                                         count(i, "activeSeconds", kMaxSteps),
                                         count(i, "exerciseSeconds", kMaxSteps),
                                         byteField(i, "type")};
        });
    return out;
}

lab::VitalScript::History readHistory(const JsonReader& h) {
    h.rejectUnknown({"seed", "days", "totals", "steps", "sleep", "heartRate", "automaticHeartRate", "bloodOxygen",
                     "automaticBloodOxygen", "hrv", "sport", "temperature", "automaticTemperature"});
    lab::VitalScript::History out;
    out.seed = static_cast<std::uint64_t>(h.integerIn("seed", static_cast<int>(out.seed), 0, kMaxSeed));
    out.days = h.integerIn("days", out.days, 0, lab::VitalScript::History::kMaxDays);
    out.records = readHistoryRecords(h);
    return out;
}

lab::VitalScript::ECG readECG(const JsonReader& e) {
    e.rejectUnknown({"heartRate", "hrv", "breathingRate", "seconds", "refuse", "records"});
    lab::VitalScript::ECG out;
    out.heartRate = e.integerIn("heartRate", out.heartRate, kMinECGRate, kMaxECGRate);
    out.hrv = e.integerIn("hrv", out.hrv, 0, kMaxByte);
    out.breathingRate = e.integerIn("breathingRate", out.breathingRate, 0, kMaxBreathingRate);
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(out.duration).count();
    out.duration = std::chrono::seconds(e.integerIn("seconds", static_cast<int>(seconds), 1, kMaxECGSeconds));
    if (e.has("refuse"))
        out.refuseWith = static_cast<std::uint8_t>(e.integerIn("refuse", kFirstRefusal, kFirstRefusal, kMaxByte));
    out.storedRecords = e.integerIn("records", out.storedRecords, 0, lab::VitalScript::ECG::kMaxStoredRecords);
    return out;
}

lab::VitalScript readVitalScript(const JsonReader& script) {
    script.rejectUnknown({"clock", "battery", "macAddress", "steps", "stepsPerUpdate", "heartRate", "heartRateSpread",
                          "temperature", "temperatureSpread", "realTimeIntervalMs", "sos", "firmwareCommands",
                          "heartbeats", "notificationGapMs", "faults", "history", "ecg"});
    lab::VitalScript out;
    if (script.has("clock")) out.clock = readTwoDigitYearTime(script, "clock");
    out.battery = script.integerIn("battery", out.battery, 0, kMaxPercent);
    out.macAddress = macField(script, "macAddress", out.macAddress);
    out.steps = script.integerIn("steps", out.steps, 0, kMaxSteps);
    out.stepsPerUpdate = script.integerIn("stepsPerUpdate", out.stepsPerUpdate, 0, kMaxStepsPerUpdate);
    out.heartRate = script.integerIn("heartRate", out.heartRate, 1, kMaxByte);
    out.heartRateSpread = script.integerIn("heartRateSpread", out.heartRateSpread, 0, kMaxSpread);
    out.temperature = script.integerIn("temperature", out.temperature, 0, kMaxTemperature);
    out.temperatureSpread = script.integerIn("temperatureSpread", out.temperatureSpread, 0, kMaxSpread);
    out.realTimeInterval =
        script.millisecondsIn("realTimeIntervalMs", out.realTimeInterval, kMinIntervalMs, kMaxIntervalMs);
    out.sos = readSos(script);
    out.firmwareCommands = readFirmwareCommands(script);
    out.heartbeats = readHeartbeats(script);
    out.notificationGap = script.millisecondsIn("notificationGapMs", out.notificationGap, 0, kMaxGapMs);
    out.faults = readFaults(script.object("faults"));
    out.history = readHistory(script.object("history"));
    out.ecg = readECG(script.object("ecg"));
    return out;
}

}  // namespace

void addVitalLabClasses(std::vector<LabClass>& classes) {
    LabClass c = scriptedLabClass<lab::VirtualVitalBracelet>("HalvoraSDKBraceletVital", DeviceTypeBraceletVital,
                                                             lab::VirtualVitalBracelet::kService, &readVitalScript);
    c.defaultScript = {{"battery", 78},           {"macAddress", "C8:4A:20:25:0E:10"},
                       {"steps", 6420},           {"stepsPerUpdate", 3},
                       {"heartRate", 74},         {"heartRateSpread", 3},
                       {"temperature", 364},      {"temperatureSpread", 2},
                       {"history", {{"days", 7}}}};
    classes.push_back(std::move(c));
}

}  // namespace halvora::cli
