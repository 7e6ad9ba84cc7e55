// The wrist blood-pressure bracelet "BPW1" in the tool's lab, and how its script reads from a lab file.
// Durations are in milliseconds; times are the bracelet's local wall-clock times, "yyyy-MM-dd HH:mm" or
// "yyyy-MM-dd HH:mm:ss", from 2000-01-01 00:00 to 2099-12-31 23:59:59 (what its two-digit year holds).
// Pressures are in the unit the bracelet shows (it does not convert them).
//
// Commands are named: "startMeasurement" (00 00), "stopMeasurement" (00 01), "readMemory" (01 00),
// "clearMemory" (02 00), "readClock" (03 00), "readSchedule" (03 01), "readBasicInfo" (04 00),
// "repeatMeasurement" (06 00), "resetDefaults" (13 AA), "setClock" (0x20), "setScheduleWindow" (0x21),
// "setConfiguration" (0x22).
// An error frame is {"kind": "measurement" (0x50), "frame" (0x51) or "device" (0x52), "code": its sub-code,
// 0 to 255}.
//
// "script" keys (all optional):
//   "clock"              where the bracelet's clock stands at the start (it then runs on); absent: the lab's
//                        local time until the phone sets it
//   "readings"           stored measurements, oldest first: [{"date": time, "systolic": 0 to 65535,
//                        "diastolic": 0 to 255, "pulse": 0 to 255, "irregular": 0 to 255 (default 0)}, ...],
//                        at most 255 (the memory's count is one byte)
//   "seededReadings"     plausible seeded measurements stored before "readings", about twelve hours apart, the
//                        newest a little before the clock's time, 0 to 255 (with "readings", the newest 255
//                        are kept)
//   "seed"               the seed of the seeded measurements, 0 or more (default 1)
//   "systolic"           the result of every measurement the phone starts, 0 to 65535
//   "diastolic"          its diastolic pressure, 0 to 255
//   "pulse"              its pulse, beats per minute, 0 to 255
//   "irregular"          its irregular heartbeat flag byte, 0 to 255
//   "measurementError"   measurements fail with this error frame at the top of the inflation: an error frame
//                        as above
//   "inflateTo"          the cuff's top pressure, 1 to 299
//   "deflateTo"          the last cuff pressure before the result, 1 to "inflateTo"
//   "pressureStep"       pressure added or let out between two cuff pressure frames, 1 to 299
//   "pressureIntervalMs" between two cuff pressure frames (and before the first and the result), 10 to 60000
//   "battery"            battery level of the basic information, percent, 0 to 100
//   "unit"               the unit shown: "mmHg" (default) or "kPa"
//   "hold"               the hold setting of the basic information, 0 to 15
//   "faults"             the bracelet's own protocol faults (the link faults, such as split notifications, sit
//                        beside the script):
//     "refuse"              commands answered with an error frame alone, changing nothing:
//                           [{"command": name, "kind": ..., "code": ...}, ...]
//     "loseAnswersTo"       commands whose answers are lost (the command still takes effect): [name, ...]
//     "loseAnswerToCommand" the n-th command taken (from 1) goes unanswered
//     "strayEveryMs"        while connected, a frame nobody asked for every this long, 10 to 600000
#include <algorithm>
#include <array>
#include <limits>
#include <utility>

#include "BraceletTimeField.hpp"
#include "JsonReader.hpp"
#include "LabCatalog.hpp"
#include "halvora/Core/Format.hpp"
#include "lab/Devices/Tensio/VirtualTensioBracelet.hpp"

namespace halvora::cli {

namespace {

constexpr int kMaxByte = 255;
constexpr int kMaxTwoBytes = 0xFFFF;
constexpr int kMaxBattery = 100;
constexpr int kMaxHold = 15;
constexpr int kMinIntervalMs = 10;
constexpr int kMaxPressureIntervalMs = 60000;
constexpr int kMaxStrayIntervalMs = 600000;

const std::array<std::pair<const char*, lab::TensioCommand>, 12> kCommandNames = {{
    {"startMeasurement", lab::TensioCommand::StartMeasurement},
    {"stopMeasurement", lab::TensioCommand::StopMeasurement},
    {"readMemory", lab::TensioCommand::ReadMemory},
    {"clearMemory", lab::TensioCommand::ClearMemory},
    {"readClock", lab::TensioCommand::ReadClock},
    {"readSchedule", lab::TensioCommand::ReadSchedule},
    {"readBasicInfo", lab::TensioCommand::ReadBasicInfo},
    {"repeatMeasurement", lab::TensioCommand::RepeatMeasurement},
    {"resetDefaults", lab::TensioCommand::ResetDefaults},
    {"setClock", lab::TensioCommand::SetClock},
    {"setScheduleWindow", lab::TensioCommand::SetScheduleWindow},
    {"setConfiguration", lab::TensioCommand::SetConfiguration},
}};

const std::array<std::pair<const char*, lab::TensioError::Kind>, 3> kErrorKinds = {{
    {"measurement", lab::TensioError::Kind::Measurement},
    {"frame", lab::TensioError::Kind::Frame},
    {"device", lab::TensioError::Kind::Device},
}};

lab::TensioCommand commandField(const JsonReader& reader, const char* key) {
    if (!reader.has(key)) reader.fail(key, "missing: a command name like \"readClock\"");
    return reader.named(key, reader.json()[key], kCommandNames);
}

std::vector<lab::TensioCommand> commandList(const JsonReader& faults, const char* key) {
    return faults.namedList(key, kCommandNames, "readClock");
}

/// {"kind": "measurement" | "frame" | "device", "code": 0 to 255}, read from an object that may hold other
/// keys (`known`).
lab::TensioError errorFields(const JsonReader& error, std::vector<std::string> known) {
    known.insert(known.end(), {"kind", "code"});
    error.rejectUnknown(known);
    if (!error.has("kind")) error.fail("kind", "missing: \"measurement\", \"frame\" or \"device\"");
    if (!error.has("code")) error.fail("code", "missing: the sub-code, 0 to 255");
    lab::TensioError out;
    out.kind = error.named("kind", error.json()["kind"], kErrorKinds);
    out.code = static_cast<std::uint8_t>(error.integerIn("code", 0, 0, kMaxByte));
    return out;
}

std::vector<lab::TensioReading> readReadings(const JsonReader& script) {
    std::vector<lab::TensioReading> readings;
    const auto entries = script.objects("readings");
    if (entries.size() > lab::VirtualTensioBracelet::kMaxStoredReadings) {
        script.fail("readings",
                    format("expected at most %zu measurements", lab::VirtualTensioBracelet::kMaxStoredReadings));
    }
    for (const auto& entry : entries) {
        entry.rejectUnknown({"date", "systolic", "diastolic", "pulse", "irregular"});
        for (const char* key : {"systolic", "diastolic", "pulse"}) {
            if (!entry.has(key)) entry.fail(key, "missing");
        }
        lab::TensioReading reading;
        reading.date = readTwoDigitYearTime(entry, "date");
        reading.systolic = entry.integerIn("systolic", 0, 0, kMaxTwoBytes);
        reading.diastolic = entry.integerIn("diastolic", 0, 0, kMaxByte);
        reading.pulse = entry.integerIn("pulse", 0, 0, kMaxByte);
        reading.irregular = entry.integerIn("irregular", 0, 0, kMaxByte);
        readings.push_back(reading);
    }
    return readings;
}

lab::TensioFaults readFaults(const JsonReader& faults) {
    faults.rejectUnknown({"refuse", "loseAnswersTo", "loseAnswerToCommand", "strayEveryMs"});
    lab::TensioFaults out;
    for (const auto& refusal : faults.objects("refuse")) {
        out.refusals.push_back({commandField(refusal, "command"), errorFields(refusal, {"command"})});
    }
    out.loseAnswersTo = commandList(faults, "loseAnswersTo");
    if (faults.has("loseAnswerToCommand")) {
        out.loseAnswerToCommand = faults.integerIn("loseAnswerToCommand", 1, 1, std::numeric_limits<int>::max());
    }
    if (faults.has("strayEveryMs")) {
        out.strayEvery = faults.millisecondsIn("strayEveryMs", {}, kMinIntervalMs, kMaxStrayIntervalMs);
    }
    return out;
}

lab::TensioScript::Unit unitField(const JsonReader& script) {
    const std::string unit = script.text("unit", "mmHg");
    if (unit == "mmHg") return lab::TensioScript::Unit::MmHg;
    if (unit == "kPa") return lab::TensioScript::Unit::KPa;
    script.fail("unit", "expected \"mmHg\" or \"kPa\"");
}

lab::TensioScript readTensioScript(const JsonReader& script) {
    script.rejectUnknown({"clock", "readings", "seededReadings", "seed", "systolic", "diastolic", "pulse", "irregular",
                          "measurementError", "inflateTo", "deflateTo", "pressureStep", "pressureIntervalMs", "battery",
                          "unit", "hold", "faults"});
    lab::TensioScript out;
    if (script.has("clock")) out.clock = readTwoDigitYearTime(script, "clock");
    out.readings = readReadings(script);
    out.seededReadings = script.integerIn("seededReadings", out.seededReadings, 0,
                                          static_cast<int>(lab::VirtualTensioBracelet::kMaxStoredReadings));
    out.seed = static_cast<std::uint64_t>(script.integerIn("seed", 1, 0, std::numeric_limits<int>::max()));
    out.systolic = script.integerIn("systolic", out.systolic, 0, kMaxTwoBytes);
    out.diastolic = script.integerIn("diastolic", out.diastolic, 0, kMaxByte);
    out.pulse = script.integerIn("pulse", out.pulse, 0, kMaxByte);
    out.irregular = script.integerIn("irregular", out.irregular, 0, kMaxByte);
    if (script.has("measurementError")) out.measurementError = errorFields(script.object("measurementError"), {});
    const int top = lab::TensioScript::kMaxCuffPressure;
    out.inflateTo = script.integerIn("inflateTo", out.inflateTo, 1, top);
    out.deflateTo = script.integerIn("deflateTo", std::min(out.deflateTo, out.inflateTo), 1, out.inflateTo);
    out.pressureStep = script.integerIn("pressureStep", out.pressureStep, 1, top);
    out.pressureInterval =
        script.millisecondsIn("pressureIntervalMs", out.pressureInterval, kMinIntervalMs, kMaxPressureIntervalMs);
    out.battery = script.integerIn("battery", out.battery, 0, kMaxBattery);
    out.unit = unitField(script);
    out.hold = script.integerIn("hold", out.hold, 0, kMaxHold);
    out.faults = readFaults(script.object("faults"));
    return out;
}

/// Three measurements of 19 and 20 November 2026, one with an irregular heartbeat.
nlohmann::json defaultReadings() {
    return nlohmann::json::array({
        {{"date", "2026-11-19 07:42"}, {"systolic", 128}, {"diastolic", 83}, {"pulse", 64}},
        {{"date", "2026-11-19 21:15"}, {"systolic", 136}, {"diastolic", 88}, {"pulse", 71}, {"irregular", 1}},
        {{"date", "2026-11-20 07:38"}, {"systolic", 124}, {"diastolic", 80}, {"pulse", 62}},
    });
}

}  // namespace

void addTensioLabClasses(std::vector<LabClass>& classes) {
    LabClass c = scriptedLabClass<lab::VirtualTensioBracelet>("HalvoraSDKTensioBracelet", DeviceTypeTensioBracelet,
                                                              lab::VirtualTensioBracelet::kService, &readTensioScript);
    c.defaultScript = {
        {"readings", defaultReadings()}, {"systolic", 121}, {"diastolic", 79}, {"pulse", 67}, {"battery", 76}};
    classes.push_back(std::move(c));
}

}  // namespace halvora::cli
