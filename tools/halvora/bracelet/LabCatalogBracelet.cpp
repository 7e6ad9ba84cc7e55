// The text-command bracelet in the tool's lab, and how its script reads from a lab file. Durations are in
// milliseconds; times are the bracelet's local wall-clock times, "yyyy-MM-dd HH:mm" or "yyyy-MM-dd HH:mm:ss",
// from 2010-01-01 00:00 to 2044-01-10 13:36:28 (what its 30-bit clock holds).
//
// "script" keys (all optional):
//   "version"           text of the "AT+VER:" answer (printable, at most 64 characters)
//   "battery"           per cent, 0 to 100, the "AT+BAT:" answer
//   "steps"             today's steps, the "AT+PACE:" answer, 0 to 99999999
//   "heartRate"         the measured heart rate, 0 to 255
//   "heartDelayMs"      from "AT+HEART=1" to the rate, 0 to 600000
//   "heartFails"        true: the measurement ends "AT+HEART:ERR"
//   "bondRefused"       true: "AT+BOND" is answered "AT+BOND:ERR"
//   "itemsPerPackage"   items in one history package, 1 to 1000 (default 30)
//   "notificationGapMs" between two notifications of one answer, 0 to 60000 (0: back to back)
//   "events"            notifications sent on their own: [{"atMs": 1500, "text": "NT+RUN:1"}, ...], timed from
//                       notifications on; "\r\n" is added to the text (printable, at most 200 characters)
//   "history"           stored records not yet synced: [{"type": "steps"|"sleep"|"heart",
//                       "at": "2026-11-20 08:00", "value": 0 to 65535, "flag": 0 to 3}, ...]; "flag" defaults
//                       to 1 for sleep (0 and 3 carry no sleep record), 0 otherwise; sleep value 11 is deep
//   "seededHistory"     {"days": 1 to 366, "end": time, "seed": 0 or more}: a plausible history of that many
//                       days up to "end" (steps each waking hour, sleep every 10 minutes of the night, a heart
//                       rate every 30 minutes), the same for the same seed; added to "history"
//   "largeHistory"      {"items": 1 to 1000000, "end": time}: that many records, one every 10 minutes up to
//                       "end", cycling steps, sleep and heart rate; added to "history"
//   "faults"            the bracelet's own protocol faults (the link faults sit beside the script):
//     "loseAnswersTo"       commands whose answers are lost: ["AT+PACE", "AT+DATA"]
//     "loseAnswerToCommand" the n-th command received (from 1) goes unanswered
//     "cutPackage"          this package (from 1) is sent short of "cutPackageBytes" bytes (default 6)
//     "cutPackageBytes"     0 to 100000
//     "sixFieldHeader"      true: package headers leave out their last field
//     "trailingBytes"       bytes (0xFF) after each package's items, counted in its total length, 0 to 1000
//     "hostile"             "none", "oversized-header" (headers announce "oversizedLength" bytes),
//                           "endless-header" (a header line that never ends) or "random-binary" (every
//                           notification's bytes random, above 127, from the lab's seed)
//     "oversizedLength"     what an oversized header announces, 0 or more (default 10485760)
//     "hostileBytes"        how many bytes a hostile stream sends at most, 1 to 16777216 (default 262144)
#include <algorithm>
#include <limits>

#include "JsonReader.hpp"
#include "LabCatalog.hpp"
#include "halvora/Core/Format.hpp"
#include "lab/Devices/Bracelet/VirtualBracelet.hpp"

namespace halvora::cli {

namespace {

constexpr int kMaxItemsPerPackage = 1000;
constexpr int kMaxSeededDays = 366;
constexpr int kMaxLargeItems = 1000000;
constexpr std::size_t kMaxVersionLength = 64;
constexpr std::size_t kMaxEventLength = 200;
constexpr int kMaxHostileBytes = 16 * 1024 * 1024;

/// A short text of printable ASCII: it goes out inside one answer line.
std::string printable(const JsonReader& script, const char* key, const std::string& fallback, std::size_t limit) {
    std::string text = script.text(key, fallback);
    const bool ok = std::all_of(text.begin(), text.end(), [](char c) { return c >= 0x20 && c < 0x7F; });
    if (!ok || text.size() > limit) {
        script.fail(key, format("expected printable text of at most %zu characters", limit));
    }
    return text;
}

lab::BraceletTime timeField(const JsonReader& reader, const char* key) {
    const auto text = reader.optionalText(key);
    if (!text) reader.fail(key, "missing: a time like \"2026-11-20 08:00\"");
    const auto time = lab::BraceletTime::parse(*text);
    if (!time) reader.fail(key, "expected a time like \"2026-11-20 08:00\" or \"2026-11-20 08:00:30\"");
    if (!time->fitsDeviceCount()) reader.fail(key, "expected a time from 2010-01-01 00:00 to 2044-01-10 13:36:28");
    return *time;
}

lab::BraceletRecord readRecord(const JsonReader& record) {
    record.rejectUnknown({"type", "at", "value", "flag"});
    const auto typeName = record.optionalText("type");
    const auto type = typeName ? lab::BraceletRecord::typeFromName(*typeName) : std::nullopt;
    if (!type) record.fail("type", "expected \"steps\", \"sleep\" or \"heart\"");
    lab::BraceletRecord out;
    out.type = *type;
    out.at = timeField(record, "at");
    if (!record.has("value")) record.fail("value", "missing: a number from 0 to 65535");
    out.value = record.integerIn("value", 0, 0, 0xFFFF);
    const int defaultFlag = out.type == lab::BraceletRecordType::Sleep ? lab::BraceletRecord::kSleepFlag : 0;
    out.flag = record.integerIn("flag", defaultFlag, 0, 3);
    return out;
}

std::vector<lab::BraceletEvent> readEvents(const JsonReader& script) {
    std::vector<lab::BraceletEvent> events;
    for (const auto& event : script.objects("events")) {
        event.rejectUnknown({"atMs", "text"});
        if (!event.has("text")) event.fail("text", "missing: the line to send, like \"NT+RUN:1\"");
        events.push_back(
            {event.millisecondsIn("atMs", Duration::zero(), 0, 86400000), printable(event, "text", "", kMaxEventLength)});
    }
    return events;
}

std::vector<lab::BraceletRecord> readHistory(const JsonReader& script) {
    std::vector<lab::BraceletRecord> history;
    for (const auto& record : script.objects("history")) history.push_back(readRecord(record));
    if (script.has("seededHistory")) {
        const JsonReader seeded = script.object("seededHistory");
        seeded.rejectUnknown({"days", "end", "seed"});
        const int days = seeded.integerIn("days", 3, 1, kMaxSeededDays);
        const auto end = timeField(seeded, "end");
        const auto seed = static_cast<std::uint64_t>(seeded.integerIn("seed", 1, 0, std::numeric_limits<int>::max()));
        const auto records = lab::BraceletHistory::seeded(days, end, seed);
        history.insert(history.end(), records.begin(), records.end());
    }
    if (script.has("largeHistory")) {
        const JsonReader large = script.object("largeHistory");
        large.rejectUnknown({"items", "end"});
        if (!large.has("items")) large.fail("items", "missing: how many records");
        const int items = large.integerIn("items", 1, 1, kMaxLargeItems);
        const auto records = lab::BraceletHistory::large(static_cast<std::size_t>(items), timeField(large, "end"));
        history.insert(history.end(), records.begin(), records.end());
    }
    return history;
}

lab::BraceletFaults::Hostile readHostile(const JsonReader& faults) {
    const std::string mode = faults.text("hostile", "none");
    if (mode == "none") return lab::BraceletFaults::Hostile::None;
    if (mode == "oversized-header") return lab::BraceletFaults::Hostile::OversizedHeader;
    if (mode == "endless-header") return lab::BraceletFaults::Hostile::EndlessHeader;
    if (mode == "random-binary") return lab::BraceletFaults::Hostile::RandomBinary;
    faults.fail("hostile", "expected none, oversized-header, endless-header or random-binary");
}

lab::BraceletFaults readFaults(const JsonReader& faults) {
    faults.rejectUnknown({"loseAnswersTo", "loseAnswerToCommand", "cutPackage", "cutPackageBytes", "sixFieldHeader",
                          "trailingBytes", "hostile", "oversizedLength", "hostileBytes"});
    lab::BraceletFaults out;
    if (faults.has("loseAnswersTo")) {
        const auto& list = faults.json()["loseAnswersTo"];
        if (!list.is_array()) faults.fail("loseAnswersTo", "expected a list of commands like \"AT+PACE\"");
        for (const auto& command : list) {
            if (!command.is_string()) faults.fail("loseAnswersTo", "expected a list of commands like \"AT+PACE\"");
            out.loseAnswersTo.push_back(command.get<std::string>());
        }
    }
    if (faults.has("loseAnswerToCommand")) {
        out.loseAnswerToCommand = faults.integerIn("loseAnswerToCommand", 1, 1, std::numeric_limits<int>::max());
    }
    if (faults.has("cutPackage")) out.cutPackage = faults.integerIn("cutPackage", 1, 1, std::numeric_limits<int>::max());
    out.cutPackageBytes =
        static_cast<std::size_t>(faults.integerIn("cutPackageBytes", static_cast<int>(out.cutPackageBytes), 0, 100000));
    out.sixFieldHeader = faults.boolean("sixFieldHeader", out.sixFieldHeader);
    out.trailingBytes = static_cast<std::size_t>(faults.integerIn("trailingBytes", 0, 0, 1000));
    out.hostile = readHostile(faults);
    out.oversizedLength =
        faults.integerIn("oversizedLength", static_cast<int>(out.oversizedLength), 0, std::numeric_limits<int>::max());
    out.hostileBytes = static_cast<std::size_t>(
        faults.integerIn("hostileBytes", static_cast<int>(out.hostileBytes), 1, kMaxHostileBytes));
    return out;
}

lab::BraceletScript readBraceletScript(const JsonReader& script) {
    script.rejectUnknown({"version", "battery", "steps", "heartRate", "heartDelayMs", "heartFails", "bondRefused",
                          "itemsPerPackage", "notificationGapMs", "events", "history", "seededHistory", "largeHistory",
                          "faults"});
    lab::BraceletScript out;
    out.version = printable(script, "version", out.version, kMaxVersionLength);
    out.battery = script.integerIn("battery", out.battery, 0, 100);
    out.steps = script.integerIn("steps", out.steps, 0, 99999999);
    out.heartRate = script.integerIn("heartRate", out.heartRate, 0, 255);
    out.heartDelay = script.millisecondsIn("heartDelayMs", out.heartDelay, 0, 600000);
    out.heartFails = script.boolean("heartFails", out.heartFails);
    out.bondRefused = script.boolean("bondRefused", out.bondRefused);
    out.itemsPerPackage = static_cast<std::size_t>(
        script.integerIn("itemsPerPackage", static_cast<int>(out.itemsPerPackage), 1, kMaxItemsPerPackage));
    out.notificationGap = script.millisecondsIn("notificationGapMs", out.notificationGap, 0, 60000);
    out.events = readEvents(script);
    out.history = readHistory(script);
    out.faults = readFaults(script.object("faults"));
    return out;
}

/// Three days of a few readings each (18 to 20 November 2026): the default lab's history.
nlohmann::json defaultHistory() {
    struct Reading {
        const char* type;
        const char* time;
        int value;
    };
    const Reading day[] = {
        {"sleep", "01:00", 11}, {"sleep", "01:10", 11},  {"sleep", "01:20", 12}, {"steps", "08:00", 1840},
        {"heart", "09:00", 71}, {"steps", "12:00", 960}, {"heart", "15:00", 78}, {"steps", "18:00", 1525},
    };
    const int extraSteps[] = {0, 212, -135};  // the days differ a little
    nlohmann::json history = nlohmann::json::array();
    for (int d = 0; d < 3; ++d) {
        for (const auto& reading : day) {
            const int value = std::string(reading.type) == "steps" ? reading.value + extraSteps[d] : reading.value;
            history.push_back(
                {{"type", reading.type}, {"at", format("2026-11-%02d %s", 18 + d, reading.time)}, {"value", value}});
        }
    }
    return history;
}

}  // namespace

void addBraceletLabClasses(std::vector<LabClass>& classes) {
    LabClass c = scriptedLabClass<lab::VirtualBracelet>("HalvoraSDKBracelet", DeviceTypeBracelet, lab::VirtualBracelet::kScanService, &readBraceletScript);
    c.defaultScript = {{"steps", 5230}, {"battery", 82}, {"heartRate", 74}, {"history", defaultHistory()}};
    classes.push_back(std::move(c));
}

}  // namespace halvora::cli
