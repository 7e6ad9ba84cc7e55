// The RM830 bracelet in the tool's lab, and how its script reads from a lab file. Durations are in
// milliseconds; times are the bracelet's local wall-clock times, "yyyy-MM-dd HH:mm" or "yyyy-MM-dd HH:mm:ss",
// from 2000-01-01 00:00 to 2099-12-31 23:59:59 (what its two-digit BCD year holds). Command codes are numbers
// from 0 to 255 or texts like "0x2C".
//
// "script" keys (all optional):
//   "version"             the firmware version of the 0x27 answer: four numbers from -128 to 127, "54.51.56.1"
//                         (the default: current, so the kit starts no update; "54.51.55.9" is older)
//   "clock"               where the bracelet's clock stands at the start (it then runs on); absent: the lab's
//                         local time until the phone sets it
//   "steps"               today's steps at the start, 0 to 16777215 (the real-time answer)
//   "calories"            today's calories at the start, hundredths of a kilocalorie, 0 to 16777215
//   "distance"            today's distance at the start, hundredths of a kilometre, 0 to 16777215
//   "stepsPerUpdate"      steps added before each further real-time frame, 0 to 10000
//   "caloriesPerStep"     hundredths of a kilocalorie each added step adds, 0 to 1000 (each adds the wearer's
//                         stride to the distance)
//   "realTimeIntervalMs"  between two real-time step frames, 10 to 600000
//   "heartRate"           the heart rate measured, 1 to 255
//   "heartRateSpread"     each reading varies by up to this much either way (from the lab's seed), 0 to 100
//   "heartRateIntervalMs" between two real-time heart-rate frames, 10 to 600000
//   "days"                stored days: [{"daysAgo": 0 to 255 (0 = today by the bracelet's clock),
//                         "quarters": [{"at": "08:00", "steps": 0 to 65535, "calories": 0 to 65535,
//                         "distance": 0 to 65535} or {"at": "01:00", "movement": [up to 8 counts, 0 to 255]},
//                         ...]}, ...]; "at" is a quarter hour of the day ("HH:00", "HH:15", "HH:30", "HH:45");
//                         a quarter with "movement" is asleep (a sum above 31 is restless), else active;
//                         quarters not listed are active with zeros. A day listed twice: the later counts
//   "seededDays"          days 0 to n - 1 hold a plausible seeded day (activity by day, sleep by night), 0 to
//                         255; "days" take the place of seeded days with the same number
//   "seed"                the seed of the seeded days and heart-rate packets, 0 or more (default 1)
//   "heartHistory"        stored heart-rate measurements, packet 0 first: [{"start": time, "readings": [up to
//                         12 rates, 0 to 255, 10 s apart; missing ones are 0]}, ...], at most 256
//   "seededHeartPackets"  seeded measurements after "heartHistory", every 30 minutes up to the clock's time
//                         when packet 0 is asked for, 0 to 256
//   "notificationGapMs"   between two notifications of one answer (a day's 96 frames), 0 to 60000 (0: back to
//                         back)
//   "faults"              the bracelet's own protocol faults (the link faults sit beside the script):
//     "failCodes"            commands answered with their code | 0x80, changing nothing: [11, "0x2C"]
//     "loseAnswersTo"        commands whose answers are lost (the command still takes effect)
//     "loseAnswerToCommand"  the n-th command taken (from 1) goes unanswered
//     "endlessHeartHistory"  true: every heart-rate packet says more follow, past the last too
//     "strayDayFrames"       frames with another byte 1 mixed into each stored day, 0 to 1000
//     "cutAnswersTo"         answers are cut to this many bytes, 0 to 19
//     "cutAnswerCodes"       the answers (by their byte 0) "cutAnswersTo" cuts; absent or empty: all
//   "updater"             the bracelet's bootloader, which it switches into when the phone sends 0x47:
//     "dfuVersion"           the bootloader's version characteristic: up to 20 bytes, default [8, 0] (a first
//                            byte 0 makes the phone reset the bootloader)
//     "versionAfterUpdate"   the version reported after an activated update whose image carries no version
//                            header (default "54.51.56.1"), as "version"
//     "inactivityMs"         the bootloader resets by itself after this long without a write, 100 to 600000
//                            (default 30000)
//     "switchDelayMs"        from the answer to 0x47 to the bootloader appearing, 0 to 10000 (default 500)
//     "restartDelayMs"       from the bootloader leaving to the bracelet advertising again, 0 to 60000
//                            (default 1000)
//     "faults"               the bootloader's faults:
//       "refuseNewStart"       true: the new start (01 04) is answered "not supported" (the phone falls back
//                              to the old procedure)
//       "refuseOldStart"       true: the old start (01) is answered "not supported" too
//       "startStatus"          the status answering the start once the sizes arrived, 0 to 255 (1: success)
//       "receiveStatus"        the status answering the complete image, 0 to 255
//       "validateStatus"       the status answering validation of a complete image, 0 to 255
//       "crcError"             true: validation answers 5 (CRC error)
//       "loseReceipt"          the n-th packet receipt (from 1) is not sent: the phone stalls until the
//                              bootloader gives up
//       "dropLinkAfterBytes"   the link drops once this many image bytes arrived (once per switch), 0 or more
#include <algorithm>
#include <cctype>
#include <limits>

#include "JsonReader.hpp"
#include "LabCatalog.hpp"
#include "BraceletTimeField.hpp"
#include "halvora/Core/Format.hpp"
#include "lab/Devices/RM830/VirtualRM830.hpp"

namespace halvora::cli {

namespace {

constexpr int kMax24Bits = 0xFFFFFF;
constexpr int kMax16Bits = 0xFFFF;
constexpr int kMaxStepsPerUpdate = 10000;
constexpr int kMaxCaloriesPerStep = 1000;
constexpr int kMinIntervalMs = 10;
constexpr int kMaxIntervalMs = 600000;
constexpr int kMaxSpread = 100;
constexpr int kMaxGapMs = 60000;
constexpr int kMaxCutLength = 19;
constexpr int kQuarterMinutes = 15;
constexpr std::size_t kMaxDfuVersionBytes = 20;
constexpr int kMinInactivityMs = 100;
constexpr int kMaxInactivityMs = 600000;
constexpr int kMaxSwitchDelayMs = 10000;
constexpr int kMaxRestartDelayMs = 60000;
constexpr int kMaxStatus = 255;

/// A list of at most `limit` numbers from 0 to 255.
std::vector<std::uint8_t> byteList(const JsonReader& reader, const char* key, std::size_t limit) {
    std::vector<std::uint8_t> out;
    if (!reader.has(key)) return out;
    const auto& list = reader.json()[key];
    const std::string expected = format("expected a list of at most %zu numbers from 0 to 255", limit);
    if (!list.is_array() || list.size() > limit) reader.fail(key, expected);
    for (const auto& value : list) {
        if (!value.is_number_integer()) reader.fail(key, expected);
        const auto n = value.get<long long>();
        if (n < 0 || n > 255) reader.fail(key, expected);
        out.push_back(static_cast<std::uint8_t>(n));
    }
    return out;
}

/// A command code: a number from 0 to 255 or a text like "0x2C".
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
    if (n < 0 || n > 255) return std::nullopt;
    return static_cast<std::uint8_t>(n);
}

std::vector<std::uint8_t> codeList(const JsonReader& faults, const char* key) {
    std::vector<std::uint8_t> out;
    if (!faults.has(key)) return out;
    const auto& list = faults.json()[key];
    const char* expected = "expected a list of command codes like 11 or \"0x2C\"";
    if (!list.is_array()) faults.fail(key, expected);
    for (const auto& value : list) {
        const auto c = code(value);
        if (!c) faults.fail(key, expected);
        out.push_back(*c);
    }
    return out;
}

/// "HH:mm" on a quarter hour: its index, 0 (00:00) to 95 (23:45).
int quarterIndex(const JsonReader& quarter) {
    const auto text = quarter.optionalText("at");
    const char* expected = "expected a quarter hour like \"08:00\", \"08:15\", \"08:30\" or \"08:45\"";
    if (!text) quarter.fail("at", expected);
    const auto time = lab::BraceletTime::parse("2000-01-01 " + *text);
    if (!time || text->size() != 5 || time->minute % kQuarterMinutes != 0) quarter.fail("at", expected);
    return time->hour * 4 + time->minute / kQuarterMinutes;
}

lab::RM830Quarter readQuarter(const JsonReader& quarter) {
    quarter.rejectUnknown({"at", "steps", "calories", "distance", "movement"});
    const int index = quarterIndex(quarter);
    if (quarter.has("movement")) {
        for (const char* key : {"steps", "calories", "distance"}) {
            if (quarter.has(key))
                quarter.fail(key, "a quarter with \"movement\" is asleep: no steps, calories or distance");
        }
        const auto counts = byteList(quarter, "movement", lab::RM830Quarter::kMovementBytes);
        std::array<std::uint8_t, lab::RM830Quarter::kMovementBytes> movement{};
        std::copy(counts.begin(), counts.end(), movement.begin());
        return lab::RM830Quarter::sleep(index, movement);
    }
    return lab::RM830Quarter::activity(index, quarter.integerIn("steps", 0, 0, kMax16Bits),
                                       quarter.integerIn("calories", 0, 0, kMax16Bits),
                                       quarter.integerIn("distance", 0, 0, kMax16Bits));
}

std::vector<lab::RM830Day> readDays(const JsonReader& script) {
    std::vector<lab::RM830Day> days;
    for (const auto& day : script.objects("days")) {
        day.rejectUnknown({"daysAgo", "quarters"});
        if (!day.has("daysAgo")) day.fail("daysAgo", "missing: 0 for today, 1 for yesterday, ...");
        lab::RM830Day out;
        out.daysAgo = day.integerIn("daysAgo", 0, 0, lab::VirtualRM830::kMaxDaysAgo);
        for (const auto& quarter : day.objects("quarters")) out.quarters.push_back(readQuarter(quarter));
        days.push_back(std::move(out));
    }
    return days;
}

std::vector<lab::RM830HeartPacket> readHeartHistory(const JsonReader& script) {
    std::vector<lab::RM830HeartPacket> packets;
    const auto entries = script.objects("heartHistory");
    if (entries.size() > lab::VirtualRM830::kMaxHeartPackets)
        script.fail("heartHistory", format("expected at most %d packets", lab::VirtualRM830::kMaxHeartPackets));
    for (const auto& entry : entries) {
        entry.rejectUnknown({"start", "readings"});
        lab::RM830HeartPacket packet;
        packet.start = readTwoDigitYearTime(entry, "start");
        const auto readings = byteList(entry, "readings", lab::RM830HeartPacket::kReadings);
        std::copy(readings.begin(), readings.end(), packet.readings.begin());
        packets.push_back(packet);
    }
    return packets;
}

lab::RM830Faults readFaults(const JsonReader& faults) {
    faults.rejectUnknown({"failCodes", "loseAnswersTo", "loseAnswerToCommand", "endlessHeartHistory", "strayDayFrames",
                          "cutAnswersTo", "cutAnswerCodes"});
    lab::RM830Faults out;
    out.failCodes = codeList(faults, "failCodes");
    out.loseAnswersTo = codeList(faults, "loseAnswersTo");
    if (faults.has("loseAnswerToCommand")) {
        out.loseAnswerToCommand = faults.integerIn("loseAnswerToCommand", 1, 1, std::numeric_limits<int>::max());
    }
    out.endlessHeartHistory = faults.boolean("endlessHeartHistory", out.endlessHeartHistory);
    out.strayDayFrames = faults.integerIn("strayDayFrames", 0, 0, lab::VirtualRM830::kMaxStrayDayFrames);
    if (faults.has("cutAnswersTo")) {
        out.cutAnswersTo = static_cast<std::size_t>(faults.integerIn("cutAnswersTo", 0, 0, kMaxCutLength));
    }
    out.cutAnswerCodes = codeList(faults, "cutAnswerCodes");
    return out;
}

std::optional<std::uint8_t> status(const JsonReader& faults, const char* key) {
    if (!faults.has(key)) return std::nullopt;
    return static_cast<std::uint8_t>(faults.integerIn(key, 0, 0, kMaxStatus));
}

lab::RM830UpdaterFaults readUpdaterFaults(const JsonReader& faults) {
    faults.rejectUnknown({"refuseNewStart", "refuseOldStart", "startStatus", "receiveStatus", "validateStatus",
                          "crcError", "loseReceipt", "dropLinkAfterBytes"});
    lab::RM830UpdaterFaults out;
    out.refuseNewStart = faults.boolean("refuseNewStart", out.refuseNewStart);
    out.refuseOldStart = faults.boolean("refuseOldStart", out.refuseOldStart);
    out.startStatus = status(faults, "startStatus");
    out.receiveStatus = status(faults, "receiveStatus");
    out.validateStatus = status(faults, "validateStatus");
    out.crcError = faults.boolean("crcError", out.crcError);
    if (faults.has("loseReceipt")) {
        out.loseReceipt = faults.integerIn("loseReceipt", 1, 1, std::numeric_limits<int>::max());
    }
    if (faults.has("dropLinkAfterBytes")) {
        out.dropLinkAfterBytes =
            static_cast<std::size_t>(faults.integerIn("dropLinkAfterBytes", 0, 0, std::numeric_limits<int>::max()));
    }
    return out;
}

lab::RM830UpdaterScript readUpdater(const JsonReader& updater) {
    updater.rejectUnknown(
        {"dfuVersion", "versionAfterUpdate", "inactivityMs", "switchDelayMs", "restartDelayMs", "faults"});
    lab::RM830UpdaterScript out;
    if (updater.has("dfuVersion")) out.dfuVersion = byteList(updater, "dfuVersion", kMaxDfuVersionBytes);
    out.versionAfterUpdate = updater.text("versionAfterUpdate", out.versionAfterUpdate);
    if (!lab::VirtualRM830::versionBytes(out.versionAfterUpdate)) {
        updater.fail("versionAfterUpdate", "expected four numbers from -128 to 127 like \"54.51.56.1\"");
    }
    out.inactivityTime = updater.millisecondsIn("inactivityMs", out.inactivityTime, kMinInactivityMs, kMaxInactivityMs);
    out.switchDelay = updater.millisecondsIn("switchDelayMs", out.switchDelay, 0, kMaxSwitchDelayMs);
    out.restartDelay = updater.millisecondsIn("restartDelayMs", out.restartDelay, 0, kMaxRestartDelayMs);
    out.faults = readUpdaterFaults(updater.object("faults"));
    return out;
}

lab::RM830Script readRM830Script(const JsonReader& script) {
    script.rejectUnknown({"version", "clock", "steps", "calories", "distance", "stepsPerUpdate", "caloriesPerStep",
                          "realTimeIntervalMs", "heartRate", "heartRateSpread", "heartRateIntervalMs", "days",
                          "seededDays", "seed", "heartHistory", "seededHeartPackets", "notificationGapMs", "faults",
                          "updater"});
    lab::RM830Script out;
    out.version = script.text("version", out.version);
    if (!lab::VirtualRM830::versionBytes(out.version)) {
        script.fail("version", "expected four numbers from -128 to 127 like \"54.51.56.1\"");
    }
    if (script.has("clock")) out.clock = readTwoDigitYearTime(script, "clock");
    out.steps = script.integerIn("steps", out.steps, 0, kMax24Bits);
    out.calories = script.integerIn("calories", out.calories, 0, kMax24Bits);
    out.distance = script.integerIn("distance", out.distance, 0, kMax24Bits);
    out.stepsPerUpdate = script.integerIn("stepsPerUpdate", out.stepsPerUpdate, 0, kMaxStepsPerUpdate);
    out.caloriesPerStep = script.integerIn("caloriesPerStep", out.caloriesPerStep, 0, kMaxCaloriesPerStep);
    out.realTimeInterval =
        script.millisecondsIn("realTimeIntervalMs", out.realTimeInterval, kMinIntervalMs, kMaxIntervalMs);
    out.heartRate = script.integerIn("heartRate", out.heartRate, 1, 255);
    out.heartRateSpread = script.integerIn("heartRateSpread", out.heartRateSpread, 0, kMaxSpread);
    out.heartRateInterval =
        script.millisecondsIn("heartRateIntervalMs", out.heartRateInterval, kMinIntervalMs, kMaxIntervalMs);
    out.days = readDays(script);
    out.seededDays = script.integerIn("seededDays", out.seededDays, 0, lab::VirtualRM830::kMaxDaysAgo);
    out.seed = static_cast<std::uint64_t>(script.integerIn("seed", 1, 0, std::numeric_limits<int>::max()));
    out.heartHistory = readHeartHistory(script);
    out.seededHeartPackets =
        script.integerIn("seededHeartPackets", out.seededHeartPackets, 0, lab::VirtualRM830::kMaxHeartPackets);
    out.notificationGap = script.millisecondsIn("notificationGapMs", out.notificationGap, 0, kMaxGapMs);
    out.faults = readFaults(script.object("faults"));
    out.updater = readUpdater(script.object("updater"));
    return out;
}

/// A quarter of sleep: calm (movement summing to 12) or restless (summing to 40).
nlohmann::json sleepQuarter(const std::string& at, bool restless) {
    const nlohmann::json calm = {2, 1, 0, 3, 1, 2, 0, 3};
    const nlohmann::json moving = {6, 4, 7, 3, 5, 6, 4, 5};
    return {{"at", at}, {"movement", restless ? moving : calm}};
}

/// The night's quarters from `firstHour` to `lastHour` inclusive, every fifth one restless.
void addNight(nlohmann::json& quarters, int firstHour, int lastHour) {
    for (int hour = firstHour; hour <= lastHour; ++hour) {
        for (int minute = 0; minute < 60; minute += kQuarterMinutes) {
            const bool restless = (hour * 4 + minute / kQuarterMinutes) % 5 == 0;
            quarters.push_back(sleepQuarter(format("%02d:%02d", hour, minute), restless));
        }
    }
}

/// Yesterday with a walk to work, lunch and an evening walk between two nights of sleep, and this morning's
/// sleep and first steps: the default lab's stored days.
nlohmann::json defaultDays() {
    struct Walk {
        const char* at;
        int steps;
    };
    const Walk walks[] = {{"07:30", 420},  {"08:00", 1310}, {"08:15", 890}, {"12:30", 640},
                          {"17:45", 1150}, {"18:00", 980},  {"20:15", 310}};
    nlohmann::json yesterday = nlohmann::json::array();
    addNight(yesterday, 0, 6);
    for (const auto& walk : walks) {
        yesterday.push_back(
            {{"at", walk.at}, {"steps", walk.steps}, {"calories", walk.steps * 4}, {"distance", walk.steps * 7 / 100}});
    }
    addNight(yesterday, 23, 23);
    nlohmann::json today = nlohmann::json::array();
    addNight(today, 0, 6);
    today.push_back({{"at", "07:15"}, {"steps", 260}, {"calories", 1040}, {"distance", 18}});
    return nlohmann::json::array({{{"daysAgo", 1}, {"quarters", yesterday}}, {{"daysAgo", 0}, {"quarters", today}}});
}

/// Three measurements on 20 November 2026.
nlohmann::json defaultHeartHistory() {
    return nlohmann::json::array({
        {{"start", "2026-11-20 07:30"}, {"readings", {64, 65, 65, 66, 64, 63, 65, 66, 67, 66, 65, 64}}},
        {{"start", "2026-11-20 12:00"}, {"readings", {78, 80, 81, 79, 77, 78, 80, 82, 81, 79, 78, 77}}},
        {{"start", "2026-11-20 18:15"}, {"readings", {92, 95, 97, 96, 94, 91, 89, 88, 86, 85, 84, 82}}},
    });
}

}  // namespace

void addRM830LabClasses(std::vector<LabClass>& classes) {
    LabClass c = scriptedLabClass<lab::VirtualRM830>("HalvoraSDKBraceletRM830", DeviceTypeBraceletRM830, lab::VirtualRM830::kService, &readRM830Script);
    c.defaultScript = {{"version", "54.51.56.1"}, {"steps", 5230},         {"calories", 20920},
                       {"distance", 366},         {"days", defaultDays()}, {"heartHistory", defaultHeartHistory()}};
    classes.push_back(std::move(c));
}

}  // namespace halvora::cli
