// Whole history downloads and ECG measurements through the manager with the virtual Vital bracelet, in
// virtual time: scripted records of every kind arrive as exactly those records (dates, units), generated
// days arrive whole however the bracelet splits its pages, and an ECG runs from its start through live
// values and status polls to the stored waveform; a refused start streams nothing.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "halvora/Core/Calendar.hpp"
#include "halvora/Core/Format.hpp"
#include "halvora/Devices/Vital/HalvoraSDKBraceletVital.hpp"
#include "lab/Devices/Vital/VirtualVitalBracelet.hpp"
#include "support/LabHarness.hpp"

namespace halvora {
namespace {

using lab::BraceletTime;
using lab::VitalHistory;
using test::LabHarness;

constexpr const char* kBraceletId = "7A2B3C4D-0000-4000-8000-00000000A011";

// Result numbers of the Vital driver.
constexpr std::int32_t kTotals = 17;
constexpr std::int32_t kSteps = 18;
constexpr std::int32_t kSleep = 19;
constexpr std::int32_t kHeartRate = 20;
constexpr std::int32_t kAutomaticHeartRate = 21;
constexpr std::int32_t kBloodOxygen = 22;
constexpr std::int32_t kAutomaticBloodOxygen = 23;
constexpr std::int32_t kHRV = 24;
constexpr std::int32_t kSport = 25;
constexpr std::int32_t kTemperature = 26;
constexpr std::int32_t kAutomaticTemperature = 27;
constexpr std::int32_t kECGStarted = 28;
constexpr std::int32_t kECGStatus = 29;
constexpr std::int32_t kECGFinished = 30;
constexpr std::int32_t kECGLive = 31;
constexpr std::int32_t kECGWaveform = 32;

constexpr int kECGSamplesPerSecond = 512;
constexpr int kECGSamplesPerLiveFrame = 9;
constexpr int kECGFinishedStatus = 3;

/// Every result of the Vital bracelet, in arrival order.
class VitalResults : public HalvoraBraceletVITALDelegate {
public:
    void braceletVitalDeviceInformation(const std::string&, const HalvoraSDKResponse& response) override {
        std::lock_guard lock(mutex_);
        responses_.push_back(response);
    }
    void braceletVitalDeviceError(const std::string&, std::int32_t, std::int32_t command) override {
        std::lock_guard lock(mutex_);
        errorCommands_.push_back(command);
    }
    std::vector<HalvoraSDKResponse> all() const {
        std::lock_guard lock(mutex_);
        return responses_;
    }
    std::vector<HalvoraSDKResponse> of(std::int32_t command) const {
        std::vector<HalvoraSDKResponse> out;
        for (const auto& r : all()) {
            if (r.command == command) out.push_back(r);
        }
        return out;
    }
    /// The values of `command`'s results that carry a T.
    template <typename T>
    std::vector<T> values(std::int32_t command) const {
        std::vector<T> out;
        for (const auto& r : of(command)) {
            if (const T* v = std::get_if<T>(&r.data)) out.push_back(*v);
        }
        return out;
    }
    std::vector<std::int32_t> errorCommands() const {
        std::lock_guard lock(mutex_);
        return errorCommands_;
    }

private:
    mutable std::mutex mutex_;
    std::vector<HalvoraSDKResponse> responses_;
    std::vector<std::int32_t> errorCommands_;
};

/// A lab world with the Vital bracelet in range (zone pinned to UTC), its results recorded.
struct VitalWorld {
    LabHarness lab;
    std::shared_ptr<VitalResults> results = std::make_shared<VitalResults>();
    std::shared_ptr<lab::VirtualVitalBracelet> bracelet;

    explicit VitalWorld(const lab::VitalScript& script) {
        Calendar::setTimeZone("UTC");
        bracelet = lab.add(lab::VirtualVitalBracelet::make(kBraceletId));
        bracelet->setScript(script);
        lab.manager->setBraceletVITALDelegate(results);
    }
    ~VitalWorld() { Calendar::setTimeZone(std::nullopt); }
    VitalWorld(const VitalWorld&) = delete;
    VitalWorld& operator=(const VitalWorld&) = delete;

    void connect() {
        lab.manager->connectDevice(DeviceTypeBraceletVital, 30);
        ASSERT_TRUE(lab.runUntilEvent("status 10 -> 2", seconds(10)));
    }
    bool runUntilResult(std::int32_t command, Duration limit = seconds(30)) {
        return lab.runUntil([&] { return !results->of(command).empty(); }, limit);
    }
    /// The one list result of `command`, after a request that asks for it.
    template <typename Record>
    std::vector<Record> download(std::int32_t command) {
        EXPECT_TRUE(runUntilResult(command));
        const auto lists = results->values<std::vector<Record>>(command);
        EXPECT_EQ(lists.size(), 1U);
        return lists.empty() ? std::vector<Record>{} : lists.front();
    }
    /// Notifications of `code` the driver received.
    std::size_t notificationsOf(std::uint8_t code) const {
        const std::string start = std::string(HalvoraSDKBraceletVital::kReceivedDataPrefix) + format("0x%02x, ", code);
        const auto lines = lab.logLines();
        return static_cast<std::size_t>(
            std::count_if(lines.begin(), lines.end(), [&](const std::string& l) { return l.rfind(start, 0) == 0; }));
    }
    /// Once everything under way has run: no command waiting, the permit free.
    void expectIdle() {
        lab.advance(std::chrono::milliseconds(100));
        auto driver =
            std::dynamic_pointer_cast<HalvoraSDKBraceletVital>(lab.manager->driverForKind(DeviceTypeBraceletVital));
        ASSERT_TRUE(driver);
        EXPECT_EQ(driver->commandQueue().pendingCount(), 0U);
        EXPECT_EQ(driver->commandQueue().permits(), 1);
    }
};

BraceletTime at(const char* text) {
    return *BraceletTime::parse(text);
}

Date dateOf(const BraceletTime& t) {
    std::tm local{};
    local.tm_year = t.year - 1900;
    local.tm_mon = t.month - 1;
    local.tm_mday = t.day;
    local.tm_hour = t.hour;
    local.tm_min = t.minute;
    local.tm_sec = t.second;
    local.tm_isdst = -1;
    return Calendar::fromLocal(local);
}

Date dateOf(const char* text) {
    return dateOf(at(text));
}

// ------------------------------------------------------------------ scripted records of each kind

struct ScriptedCase {
    const char* name;
    void (*script)(VitalHistory&);
    bool (*request)(HalvoraSDKManager&);
    void (*check)(VitalWorld&);
};

const ScriptedCase kScriptedCases[] = {
    {"daily totals: hundredths, minutes x 60, a low zero byte reads 0",
     [](VitalHistory& h) {
         h.totals = {{at("2026-03-08 00:00"), 5000, 75, 1234, 23456, 42}, {at("2026-03-09 00:00"), 256, 3, 1, 99, 1}};
     },
     [](HalvoraSDKManager& m) { return m.getVitalTotalSteps(); },
     [](VitalWorld& w) {
         const auto days = w.download<HalvoraSDKStepSummaryData>(kTotals);
         ASSERT_EQ(days.size(), 2U);
         EXPECT_EQ(days[0].date, dateOf("2026-03-08 00:00"));
         EXPECT_EQ(days[0].totalSteps, 5000);
         EXPECT_EQ(days[0].totalActiveTime, 75);
         EXPECT_DOUBLE_EQ(days[0].totalDistance, 12.34);
         EXPECT_DOUBLE_EQ(days[0].totalCalories, 234.56);
         EXPECT_EQ(days[0].totalExerciseTime, 42 * 60);
         EXPECT_EQ(days[1].date, dateOf("2026-03-09 00:00"));
         EXPECT_EQ(days[1].totalSteps, 0);  // 00 01: the field stops at its first zero byte
         EXPECT_DOUBLE_EQ(days[1].totalDistance, 0.01);
         EXPECT_EQ(days[1].totalExerciseTime, 60);
     }},
    {"detailed steps",
     [](VitalHistory& h) {
         h.steps = {{at("2026-03-09 08:10"), 523, 1875, 41, {10, 20, 30, 40, 50, 60, 70, 80, 90, 73}}};
     },
     [](HalvoraSDKManager& m) { return m.getVitalData(4); },
     [](VitalWorld& w) {
         const auto blocks = w.download<HalvoraSDKDetailedStepData>(kSteps);
         ASSERT_EQ(blocks.size(), 1U);
         EXPECT_EQ(blocks[0].date, dateOf("2026-03-09 08:10"));
         EXPECT_EQ(blocks[0].steps, 523);
         EXPECT_DOUBLE_EQ(blocks[0].calories, 18.75);
         EXPECT_DOUBLE_EQ(blocks[0].distance, 0.41);
         EXPECT_EQ(blocks[0].stepsPerMinute, (std::vector<std::int32_t>{10, 20, 30, 40, 50, 60, 70, 80, 90, 73}));
     }},
    {"spot heart rate",
     [](VitalHistory& h) {
         h.heartRates = {{at("2026-03-09 07:15:30"), 64}, {at("2026-03-09 19:45:05"), 97}};
     },
     [](HalvoraSDKManager& m) { return m.getVitalData(0, false); },
     [](VitalWorld& w) {
         const auto beats = w.download<HalvoraSDKHeartBeatData>(kHeartRate);
         ASSERT_EQ(beats.size(), 2U);
         EXPECT_EQ(beats[0].date, dateOf("2026-03-09 07:15:30"));
         EXPECT_EQ(beats[0].heartRate, 64);
         EXPECT_EQ(beats[1].date, dateOf("2026-03-09 19:45:05"));
         EXPECT_EQ(beats[1].heartRate, 97);
     }},
    {"automatic heart rate: zero samples make no record, their 15 minutes count",
     [](VitalHistory& h) {
         VitalHistory::HeartSeries series{at("2026-03-09 08:00"), {}};
         series.samples = {70, 0, 72, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 65};
         h.automaticHeartRates = {series};
     },
     [](HalvoraSDKManager& m) { return m.getVitalData(0, true); },
     [](VitalWorld& w) {
         const auto beats = w.download<HalvoraSDKHeartBeatData>(kAutomaticHeartRate);
         ASSERT_EQ(beats.size(), 3U);
         const Date start = dateOf("2026-03-09 08:00");
         EXPECT_EQ(beats[0].date, start);
         EXPECT_EQ(beats[0].heartRate, 70);
         EXPECT_EQ(beats[1].date, start + seconds(2 * 900));
         EXPECT_EQ(beats[1].heartRate, 72);
         EXPECT_EQ(beats[2].date, start + seconds(14 * 900));
         EXPECT_EQ(beats[2].heartRate, 65);
     }},
    {"spot and automatic blood oxygen",
     [](VitalHistory& h) {
         h.bloodOxygen = {{at("2026-03-09 09:00"), 97}};
         h.automaticBloodOxygen = {{at("2026-03-09 03:00"), 94}, {at("2026-03-09 04:00"), 95}};
     },
     [](HalvoraSDKManager& m) { return m.getVitalData(2) && m.getVitalData(2, true); },
     [](VitalWorld& w) {
         const auto spot = w.download<HalvoraSDKOximeterData>(kBloodOxygen);
         ASSERT_EQ(spot.size(), 1U);
         EXPECT_EQ(spot[0].date, dateOf("2026-03-09 09:00"));
         EXPECT_EQ(spot[0].sp2, 97);
         const auto automatic = w.download<HalvoraSDKOximeterData>(kAutomaticBloodOxygen);
         ASSERT_EQ(automatic.size(), 2U);
         EXPECT_EQ(automatic[1].date, dateOf("2026-03-09 04:00"));
         EXPECT_EQ(automatic[1].sp2, 95);
     }},
    {"spot and automatic temperature in tenths",
     [](VitalHistory& h) {
         h.temperatures = {{at("2026-03-09 10:30"), 365}};
         h.automaticTemperatures = {{at("2026-03-09 02:00"), 358}, {at("2026-03-09 02:30"), 372}};
     },
     [](HalvoraSDKManager& m) { return m.getVitalData(1) && m.getVitalData(1, true); },
     [](VitalWorld& w) {
         const auto spot = w.download<HalvoraSDKThermometerData>(kTemperature);
         ASSERT_EQ(spot.size(), 1U);
         EXPECT_EQ(spot[0].date, dateOf("2026-03-09 10:30"));
         EXPECT_DOUBLE_EQ(spot[0].temperature.value_or(0), 36.5);
         EXPECT_EQ(spot[0].mode, 1);
         EXPECT_EQ(spot[0].unit, "celsius");
         const auto automatic = w.download<HalvoraSDKThermometerData>(kAutomaticTemperature);
         ASSERT_EQ(automatic.size(), 2U);
         EXPECT_EQ(automatic[0].date, dateOf("2026-03-09 02:00"));
         EXPECT_DOUBLE_EQ(automatic[0].temperature.value_or(0), 35.8);
         EXPECT_DOUBLE_EQ(automatic[1].temperature.value_or(0), 37.2);
     }},
    {"HRV with its estimates",
     [](VitalHistory& h) {
         h.hrv = {{at("2026-03-09 06:40:12"), 48, 35, 66, 21, 121, 79}};
     },
     [](HalvoraSDKManager& m) { return m.getVitalData(3); },
     [](VitalWorld& w) {
         const auto hrv = w.download<HalvoraSDKVitalHRVData>(kHRV);
         ASSERT_EQ(hrv.size(), 1U);
         EXPECT_EQ(hrv[0].date, dateOf("2026-03-09 06:40:12"));
         EXPECT_EQ(hrv[0].hrv, 48);
         EXPECT_EQ(hrv[0].vascularAging, 35);
         EXPECT_EQ(hrv[0].heartRate, 66);
         EXPECT_EQ(hrv[0].fatigue, 21);
         EXPECT_EQ(hrv[0].systolic, 121);
         EXPECT_EQ(hrv[0].diastolic, 79);
     }},
    {"sport session",
     [](VitalHistory& h) {
         h.sports = {{at("2026-03-09 17:05"), 131, 4321, 287, 3517, 1745, 1811, 4}};
     },
     [](HalvoraSDKManager& m) { return m.getVitalData(6); },
     [](VitalWorld& w) {
         const auto sports = w.download<HalvoraSDKSportData>(kSport);
         ASSERT_EQ(sports.size(), 1U);
         EXPECT_EQ(sports[0].date, dateOf("2026-03-09 17:05"));
         EXPECT_EQ(sports[0].hr, 131);
         EXPECT_EQ(sports[0].steps, 4321);
         EXPECT_EQ(sports[0].calories, 287);
         EXPECT_EQ(sports[0].distance, 3517);
         EXPECT_EQ(sports[0].activeTime, 1745);
         EXPECT_EQ(sports[0].exerciseTime, 1811);
         EXPECT_EQ(sports[0].sportType, 4);
     }},
    {"sleep cut into light and deep segments over two notifications",
     [](VitalHistory& h) {
         h.sleep = {{at("2026-03-08 23:00"), {2, 2, 1, 1, 1, 0, 2}}, {at("2026-03-09 01:00"), {1, 1, 3}}};
     },
     [](HalvoraSDKManager& m) { return m.getVitalData(5); },
     [](VitalWorld& w) {
         const auto segments = w.download<HalvoraSDKDetailedSleepData>(kSleep);
         struct Segment {
             const char* start;
             std::int32_t minutes;
             std::int32_t deepness;
         };
         // A segment after the first starts at the record's start plus the closed segment's length alone.
         const Segment expected[] = {{"2026-03-08 23:00", 2, 0},
                                     {"2026-03-08 23:02", 3, 1},
                                     {"2026-03-08 23:03", 1, 0},
                                     {"2026-03-09 01:00", 2, 1},
                                     {"2026-03-09 01:02", 1, 0}};
         ASSERT_EQ(segments.size(), std::size(expected));
         for (std::size_t i = 0; i < segments.size(); ++i) {
             SCOPED_TRACE(i);
             EXPECT_EQ(segments[i].date, dateOf(expected[i].start));
             EXPECT_EQ(segments[i].sleepDuration, expected[i].minutes);
             EXPECT_EQ(segments[i].sleepDeepness, expected[i].deepness);
             EXPECT_TRUE(segments[i].sleepPer5Minutes.empty());
         }
     }},
};

TEST(VitalHistoryFlow, ScriptedRecordsOfEachKindArriveAsExactlyThoseRecords) {
    for (const auto& c : kScriptedCases) {
        SCOPED_TRACE(c.name);
        lab::VitalScript script;
        script.clock = at("2026-03-09 22:00");
        c.script(script.history.records);
        VitalWorld w(script);
        w.connect();
        ASSERT_TRUE(c.request(*w.lab.manager));
        c.check(w);
        EXPECT_TRUE(w.results->errorCommands().empty());
        w.expectIdle();
    }
}

TEST(VitalHistoryFlow, EmptyHistoryDeliversEmptyListsAndFreesThePermit) {
    lab::VitalScript script;
    script.clock = at("2026-03-09 22:00");
    VitalWorld w(script);
    w.connect();
    ASSERT_TRUE(w.lab.manager->getVitalData(0, true));
    EXPECT_TRUE(w.download<HalvoraSDKHeartBeatData>(kAutomaticHeartRate).empty());
    ASSERT_TRUE(w.lab.manager->getVitalData(5));
    EXPECT_TRUE(w.download<HalvoraSDKDetailedSleepData>(kSleep).empty());
    w.expectIdle();
}

// ------------------------------------------------------------------ generated days, paged

/// What the driver reads from a little-endian field of `width` bytes holding `value`: the bytes before the
/// first zero byte.
std::int64_t fieldAsRead(std::uint32_t value, int width) {
    std::int64_t out = 0;
    for (int i = 0; i < width; ++i) {
        const auto b = (value >> (8 * i)) & 0xFFU;
        if (b == 0) break;
        out |= static_cast<std::int64_t>(b) << (8 * i);
    }
    return out;
}

/// One record reduced to its date and main value, to compare what arrived with what the bracelet holds.
using Key = std::pair<Date, double>;

template <typename Record, typename Project>
std::vector<Key> keysOf(const std::vector<Record>& records, Project project) {
    std::vector<Key> out;
    for (const auto& r : records) out.push_back(project(r));
    return out;
}

std::vector<Key> readingKeys(const std::vector<VitalHistory::Reading>& readings, double scale, int width) {
    std::vector<Key> out;
    for (const auto& r : readings)
        out.push_back({dateOf(r.time), static_cast<double>(fieldAsRead(r.value, width)) / scale});
    return out;
}

struct GeneratedCase {
    const char* name;
    std::uint8_t code;
    bool (*request)(HalvoraSDKManager&);
    std::vector<Key> (*expected)(const VitalHistory&);
    std::vector<Key> (*received)(VitalWorld&);
};

const GeneratedCase kGeneratedCases[] = {
    {"daily totals", 0x51, [](HalvoraSDKManager& m) { return m.getVitalTotalSteps(); },
     [](const VitalHistory& h) {
         std::vector<Key> out;
         for (const auto& d : h.totals) out.push_back({dateOf(d.date), static_cast<double>(fieldAsRead(d.steps, 4))});
         return out;
     },
     [](VitalWorld& w) {
         return keysOf(w.download<HalvoraSDKStepSummaryData>(kTotals), [](const HalvoraSDKStepSummaryData& d) {
             return Key{d.date, d.totalSteps};
         });
     }},
    {"detailed steps", 0x52, [](HalvoraSDKManager& m) { return m.getVitalData(4); },
     [](const VitalHistory& h) {
         std::vector<Key> out;
         for (const auto& b : h.steps) out.push_back({dateOf(b.start), static_cast<double>(fieldAsRead(b.steps, 2))});
         return out;
     },
     [](VitalWorld& w) {
         return keysOf(w.download<HalvoraSDKDetailedStepData>(kSteps), [](const HalvoraSDKDetailedStepData& d) {
             return Key{d.date.value_or(Date{}), d.steps};
         });
     }},
    {"automatic heart rate", 0x54, [](HalvoraSDKManager& m) { return m.getVitalData(0, true); },
     [](const VitalHistory& h) {
         std::vector<Key> out;
         for (const auto& s : h.automaticHeartRates) {
             for (std::size_t i = 0; i < s.samples.size(); ++i) {
                 if (s.samples[i] != 0) {
                     out.push_back({dateOf(s.start) + seconds(900 * static_cast<long long>(i)), s.samples[i]});
                 }
             }
         }
         return out;
     },
     [](VitalWorld& w) {
         return keysOf(w.download<HalvoraSDKHeartBeatData>(kAutomaticHeartRate), [](const HalvoraSDKHeartBeatData& d) {
             return Key{d.date.value_or(Date{}), d.heartRate};
         });
     }},
    {"spot heart rate", 0x55, [](HalvoraSDKManager& m) { return m.getVitalData(0); },
     [](const VitalHistory& h) { return readingKeys(h.heartRates, 1, 1); },
     [](VitalWorld& w) {
         return keysOf(w.download<HalvoraSDKHeartBeatData>(kHeartRate), [](const HalvoraSDKHeartBeatData& d) {
             return Key{d.date.value_or(Date{}), d.heartRate};
         });
     }},
    {"HRV", 0x56, [](HalvoraSDKManager& m) { return m.getVitalData(3); },
     [](const VitalHistory& h) {
         std::vector<Key> out;
         for (const auto& r : h.hrv) out.push_back({dateOf(r.time), r.hrv});
         return out;
     },
     [](VitalWorld& w) {
         return keysOf(w.download<HalvoraSDKVitalHRVData>(kHRV), [](const HalvoraSDKVitalHRVData& d) {
             return Key{d.date, d.hrv};
         });
     }},
    {"sport", 0x5C, [](HalvoraSDKManager& m) { return m.getVitalData(6); },
     [](const VitalHistory& h) {
         std::vector<Key> out;
         for (const auto& s : h.sports) out.push_back({dateOf(s.start), static_cast<double>(s.sportType)});
         return out;
     },
     [](VitalWorld& w) {
         return keysOf(w.download<HalvoraSDKSportData>(kSport), [](const HalvoraSDKSportData& d) {
             return Key{d.date, d.sportType};
         });
     }},
    {"spot blood oxygen", 0x60, [](HalvoraSDKManager& m) { return m.getVitalData(2); },
     [](const VitalHistory& h) { return readingKeys(h.bloodOxygen, 1, 1); },
     [](VitalWorld& w) {
         return keysOf(w.download<HalvoraSDKOximeterData>(kBloodOxygen), [](const HalvoraSDKOximeterData& d) {
             return Key{d.date, d.sp2};
         });
     }},
    {"automatic blood oxygen", 0x66, [](HalvoraSDKManager& m) { return m.getVitalData(2, true); },
     [](const VitalHistory& h) { return readingKeys(h.automaticBloodOxygen, 1, 1); },
     [](VitalWorld& w) {
         return keysOf(w.download<HalvoraSDKOximeterData>(kAutomaticBloodOxygen), [](const HalvoraSDKOximeterData& d) {
             return Key{d.date, d.sp2};
         });
     }},
    {"spot temperature", 0x62, [](HalvoraSDKManager& m) { return m.getVitalData(1); },
     [](const VitalHistory& h) { return readingKeys(h.temperatures, 10, 2); },
     [](VitalWorld& w) {
         return keysOf(w.download<HalvoraSDKThermometerData>(kTemperature), [](const HalvoraSDKThermometerData& d) {
             return Key{d.date.value_or(Date{}), d.temperature.value_or(-1)};
         });
     }},
    {"automatic temperature", 0x65, [](HalvoraSDKManager& m) { return m.getVitalData(1, true); },
     [](const VitalHistory& h) { return readingKeys(h.automaticTemperatures, 10, 2); },
     [](VitalWorld& w) {
         return keysOf(w.download<HalvoraSDKThermometerData>(kAutomaticTemperature),
                       [](const HalvoraSDKThermometerData& d) {
                           return Key{d.date.value_or(Date{}), d.temperature.value_or(-1)};
                       });
     }},
};

constexpr int kGeneratedDays = 30;
constexpr std::uint64_t kSeeds[] = {7, 20260309};

lab::VitalScript generatedHistory(std::uint64_t seed) {
    lab::VitalScript script;
    script.clock = at("2026-03-09 22:00");
    script.history.seed = seed;
    script.history.days = kGeneratedDays;
    return script;
}

TEST(VitalHistoryFlow, GeneratedDaysArriveWholeAcrossManyNotifications) {
    for (const auto seed : kSeeds) {
        for (const auto& c : kGeneratedCases) {
            SCOPED_TRACE(std::string(c.name) + ", seed " + std::to_string(seed));
            VitalWorld w(generatedHistory(seed));
            w.connect();
            const auto held = w.bracelet->history();
            const auto expected = c.expected(held);
            ASSERT_FALSE(expected.empty());
            ASSERT_TRUE(c.request(*w.lab.manager));
            const auto received = c.received(w);
            EXPECT_EQ(received, expected);
            // A month never fits one notification: the transfer was gathered across pages.
            EXPECT_GT(w.notificationsOf(c.code), 1U);
            w.expectIdle();
        }
    }
}

TEST(VitalHistoryFlow, GeneratedNightsArriveAsSegmentsCoveringEverySleptMinute) {
    for (const auto seed : kSeeds) {
        SCOPED_TRACE(seed);
        VitalWorld w(generatedHistory(seed));
        w.connect();
        std::int64_t slept = 0;
        for (const auto& block : w.bracelet->history().sleep) {
            slept += std::count_if(block.minutes.begin(), block.minutes.end(), [](std::uint8_t v) { return v != 0; });
        }
        ASSERT_GT(slept, 0);
        ASSERT_TRUE(w.lab.manager->getVitalData(5));
        const auto segments = w.download<HalvoraSDKDetailedSleepData>(kSleep);
        std::int64_t covered = 0;
        for (const auto& s : segments) {
            EXPECT_GT(s.sleepDuration, 0);
            EXPECT_TRUE(s.sleepDeepness == 0 || s.sleepDeepness == 1);
            covered += s.sleepDuration;
        }
        EXPECT_EQ(covered, slept);
        EXPECT_GT(w.notificationsOf(0x53), 2U);
        w.expectIdle();
    }
}

// ------------------------------------------------------------------ ECG

lab::VitalScript ecgScript() {
    lab::VitalScript script;
    script.clock = at("2026-03-09 10:00");
    script.ecg.heartRate = 66;
    script.ecg.hrv = 51;
    script.ecg.breathingRate = 14;
    script.ecg.duration = seconds(4);
    script.ecg.storedRecords = 0;
    return script;
}

/// The live frames' samples, in arrival order.
std::vector<double> liveSamples(const VitalResults& results) {
    std::vector<double> out;
    for (const auto& frame : results.values<HalvoraSDKVitalECGData>(kECGLive)) {
        out.insert(out.end(), frame.ecgData.begin(), frame.ecgData.end());
    }
    return out;
}

/// Polls the measurement status once a second until it reports `wanted`; the last status seen.
std::int32_t pollStatusUntil(VitalWorld& w, std::int32_t wanted) {
    std::int32_t last = -1;
    for (int poll = 0; poll < 30 && last != wanted; ++poll) {
        const auto before = w.results->of(kECGStatus).size();
        EXPECT_TRUE(w.lab.manager->getVitalECGStatus());
        if (!w.lab.runUntil([&] { return w.results->of(kECGStatus).size() > before; }, seconds(5))) break;
        last = w.results->values<HalvoraSDKVitalECGStatus>(kECGStatus).back().status;
        w.lab.advance(seconds(1));
    }
    return last;
}

TEST(VitalHistoryFlow, ECGMeasurementFromStartThroughLiveValuesAndStatusToItsStoredWaveform) {
    const auto script = ecgScript();
    VitalWorld w(script);
    w.connect();

    ASSERT_TRUE(w.lab.manager->startVitalECG());
    ASSERT_TRUE(w.runUntilResult(kECGStarted));
    const auto started = w.results->values<HalvoraSDKVitalECGStatus>(kECGStarted);
    ASSERT_EQ(started.size(), 1U);
    EXPECT_LE(started[0].status, 1);

    EXPECT_EQ(pollStatusUntil(w, kECGFinishedStatus), kECGFinishedStatus);

    // Live values: every frame's samples, filtered, for the scripted seconds (rounded up to whole frames).
    const auto samples = liveSamples(*w.results);
    const auto scripted = static_cast<std::size_t>(4 * kECGSamplesPerSecond);
    EXPECT_GE(samples.size(), scripted);
    EXPECT_LT(samples.size(), scripted + kECGSamplesPerLiveFrame);
    ASSERT_FALSE(samples.empty());
    EXPECT_TRUE(std::all_of(samples.begin(), samples.end(), [](double v) { return std::isfinite(v); }));
    // The bracelet's raw samples are all positive; the band-pass takes their level away.
    EXPECT_LT(*std::min_element(samples.begin(), samples.end()), 0.0);
    EXPECT_GT(*std::max_element(samples.begin(), samples.end()), 0.0);
    // The heart-rate status of each second, under the same number.
    const auto beats = w.results->values<HalvoraSDKVitalECGConstantsData>(kECGLive);
    ASSERT_FALSE(beats.empty());
    EXPECT_EQ(beats.back().heartRate, script.ecg.heartRate);
    EXPECT_EQ(beats.back().hrv, script.ecg.hrv);

    // The finished status: its summary first (30), then the status (29) with the same summary.
    const auto all = w.results->all();
    const auto finished = std::find_if(all.begin(), all.end(), [](const auto& r) { return r.command == kECGFinished; });
    ASSERT_NE(finished, all.end());
    ASSERT_NE(finished + 1, all.end());
    EXPECT_EQ((finished + 1)->command, kECGStatus);
    const auto& summary = std::get<HalvoraSDKVitalECGConstantsData>(finished->data);
    EXPECT_EQ(summary.heartRate, script.ecg.heartRate);
    EXPECT_EQ(summary.hrv, script.ecg.hrv);
    EXPECT_EQ(summary.breathingRate, script.ecg.breathingRate);
    const auto& status = std::get<HalvoraSDKVitalECGStatus>((finished + 1)->data);
    EXPECT_EQ(status.status, kECGFinishedStatus);
    ASSERT_TRUE(status.data);
    EXPECT_EQ(status.data->heartRate, script.ecg.heartRate);
    w.expectIdle();

    // The recording, stored, downloads whole.
    const auto stored = w.bracelet->ecgRecords();
    ASSERT_EQ(stored.size(), 1U);
    ASSERT_TRUE(w.lab.manager->getVitalECGWaveform(stored[0].number));
    ASSERT_TRUE(w.runUntilResult(kECGWaveform));
    const auto waveforms = w.results->values<HalvoraSDKVitalECGData>(kECGWaveform);
    ASSERT_EQ(waveforms.size(), 1U);
    const auto& waveform = waveforms[0];
    EXPECT_EQ(waveform.identifier, stored[0].number);
    EXPECT_EQ(waveform.ecgData.size(), stored[0].samples.size());
    EXPECT_GE(waveform.ecgData.size(), scripted);
    EXPECT_EQ(waveform.heartRate, script.ecg.heartRate);
    EXPECT_EQ(waveform.hrv, script.ecg.hrv);
    EXPECT_EQ(waveform.breathRate, script.ecg.breathingRate);
    EXPECT_EQ(waveform.date, dateOf(stored[0].date));
    EXPECT_EQ(summary.date, dateOf(stored[0].date));
    EXPECT_GT(w.notificationsOf(0x71), 2U);
    EXPECT_TRUE(w.results->errorCommands().empty());
    w.expectIdle();
}

TEST(VitalHistoryFlow, ECGStartTheBraceletRefusesStreamsNothing) {
    auto script = ecgScript();
    script.ecg.refuseWith = 2;
    VitalWorld w(script);
    w.connect();
    ASSERT_TRUE(w.lab.manager->startVitalECG());
    ASSERT_TRUE(w.runUntilResult(kECGStarted));
    const auto started = w.results->values<HalvoraSDKVitalECGStatus>(kECGStarted);
    ASSERT_EQ(started.size(), 1U);
    EXPECT_EQ(started[0].status, 2);
    EXPECT_FALSE(started[0].data);
    w.lab.advance(seconds(6));
    EXPECT_TRUE(liveSamples(*w.results).empty());
    EXPECT_EQ(w.notificationsOf(0xAA), 0U);
    EXPECT_TRUE(w.bracelet->ecgRecords().empty());
    w.expectIdle();
}

TEST(VitalHistoryFlow, ECGWaveformOfARecordTheBraceletDoesNotHoldEndsWithoutAResult) {
    VitalWorld w(ecgScript());
    w.connect();
    ASSERT_TRUE(w.lab.manager->getVitalECGWaveform(9));
    w.lab.advance(seconds(3));
    EXPECT_EQ(w.notificationsOf(0x71), 1U);  // the end page alone
    EXPECT_TRUE(w.results->of(kECGWaveform).empty());
    w.expectIdle();
}

}  // namespace
}  // namespace halvora
