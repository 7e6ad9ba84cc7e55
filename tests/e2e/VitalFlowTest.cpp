// Whole flows through the manager with the virtual Vital bracelet, in virtual time: the two-step parameter
// exchange, the battery through the bracelets' battery request, the alarm list at and over its limit, the
// schedule of an unknown quantity, a command the bracelet refuses, the clock, and which history request each
// history kind and ECG request sends. Each flow ends with no
// command waiting in the driver's queue.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <mutex>
#include <optional>

#include "halvora/Core/Calendar.hpp"
#include "halvora/Devices/Vital/HalvoraSDKBraceletVital.hpp"
#include "lab/Devices/Vital/VirtualVitalBracelet.hpp"
#include "support/LabHarness.hpp"

namespace halvora {
namespace {

using test::LabHarness;

constexpr const char* kBraceletId = "7A2B3C4D-0000-4000-8000-00000000A010";

/// Keeps every result and error of the Vital bracelet.
class RecordingVital : public HalvoraBraceletVITALDelegate {
public:
    void braceletVitalDeviceInformation(const std::string&, const HalvoraSDKResponse& response) override {
        std::lock_guard lock(mutex_);
        responses_.push_back(response);
    }
    void braceletVitalDeviceError(const std::string&, std::int32_t error, std::int32_t command) override {
        std::lock_guard lock(mutex_);
        errors_.emplace_back(error, command);
    }
    std::optional<HalvoraSDKResponse> response(std::int32_t command) const {
        std::lock_guard lock(mutex_);
        for (const auto& r : responses_) {
            if (r.command == command) return r;
        }
        return std::nullopt;
    }
    /// The value of the first result of `command`, when it came and carries a T.
    template <typename T>
    std::optional<T> value(std::int32_t command) const {
        const auto r = response(command);
        const T* v = r ? std::get_if<T>(&r->data) : nullptr;
        return v ? std::optional<T>(*v) : std::nullopt;
    }
    std::vector<std::pair<std::int32_t, std::int32_t>> errors() const {
        std::lock_guard lock(mutex_);
        return errors_;
    }

private:
    mutable std::mutex mutex_;
    std::vector<HalvoraSDKResponse> responses_;
    std::vector<std::pair<std::int32_t, std::int32_t>> errors_;
};

/// A lab world with the Vital bracelet in range (zone pinned to UTC) and the recording delegate set.
struct VitalLab {
    LabHarness lab;
    std::shared_ptr<RecordingVital> app = std::make_shared<RecordingVital>();
    std::shared_ptr<lab::VirtualVitalBracelet> bracelet;

    explicit VitalLab(const lab::VitalScript& script = {}) {
        Calendar::setTimeZone("UTC");
        bracelet = lab.add(lab::VirtualVitalBracelet::make(kBraceletId));
        bracelet->setScript(script);
        lab.manager->setBraceletVITALDelegate(app);
    }
    ~VitalLab() { Calendar::setTimeZone(std::nullopt); }
    VitalLab(const VitalLab&) = delete;
    VitalLab& operator=(const VitalLab&) = delete;

    void connect() {
        lab.manager->connectDevice(DeviceTypeBraceletVital, 30);
        ASSERT_TRUE(lab.runUntilEvent("status 10 -> 2", seconds(10)));
    }
    std::shared_ptr<HalvoraSDKBraceletVital> driver() const {
        return std::dynamic_pointer_cast<HalvoraSDKBraceletVital>(lab.manager->driverForKind(DeviceTypeBraceletVital));
    }
    bool runUntilResult(std::int32_t command) {
        return lab.runUntil([&] { return app->response(command).has_value(); }, seconds(10));
    }
    bool runUntilError(std::int32_t error, std::int32_t command) {
        const std::pair<std::int32_t, std::int32_t> wanted{error, command};
        return lab.runUntil(
            [&] {
                const auto errors = app->errors();
                return std::find(errors.begin(), errors.end(), wanted) != errors.end();
            },
            seconds(10));
    }
    /// Once what is under way has run: no command waiting, the permit free.
    void expectIdle() {
        lab.advance(std::chrono::milliseconds(100));
        auto d = driver();
        ASSERT_TRUE(d);
        EXPECT_EQ(d->commandQueue().pendingCount(), 0U);
        EXPECT_EQ(d->commandQueue().permits(), 1);
    }
};

HalvoraSDKVitalParams someParameters() {
    HalvoraSDKVitalParams p;
    p.distanceUnitKm = true;
    p.hourDisplay24h = false;
    p.wristSenseEnabled = true;
    p.temperatureUnitCelsius = true;
    p.nightMode = true;
    p.ANCSEnabled = true;
    HalvoraSDKVitalNotification n;
    n.call = true;
    n.whatsapp = true;
    n.telegram = true;
    p.notifications = n;
    p.basicHeartRateSetting = 72;  // below 128: the base is read back without its marker bit
    p.screenBrightness = 12;
    p.dialInterface = 3;
    p.language = 1;
    p.secondFrameSetting = false;
    return p;
}

std::vector<HalvoraSDKVitalAlarm> alarms(std::size_t count) {
    std::vector<HalvoraSDKVitalAlarm> out(count);
    for (std::size_t i = 0; i < count; ++i) {
        out[i].hour = 6 + static_cast<std::int32_t>(i);
        out[i].minute = 30;
        out[i].monday = true;
    }
    return out;
}

TEST(VitalFlow, ParametersSetThroughBothStepsReadBackEqual) {
    VitalLab w;
    w.connect();
    const auto sent = someParameters();
    ASSERT_TRUE(w.lab.manager->setVitalParameters(sent));
    ASSERT_TRUE(w.runUntilResult(10));
    ASSERT_TRUE(w.lab.manager->getVitalParameters());
    ASSERT_TRUE(w.runUntilResult(11));
    const auto read = w.app->value<HalvoraSDKVitalParams>(11);
    ASSERT_TRUE(read);
    EXPECT_EQ(*read, sent);
    EXPECT_TRUE(w.app->errors().empty());
    w.expectIdle();
}

TEST(VitalFlow, ParameterArgumentErrorsArriveBeforeAnythingIsWritten) {
    struct Case {
        const char* name;
        void (*spoil)(HalvoraSDKVitalParams&);
        std::int32_t error;
    };
    const Case cases[] = {
        {"no notifications", [](HalvoraSDKVitalParams& p) { p.notifications.reset(); }, 0},
        {"base 39", [](HalvoraSDKVitalParams& p) { p.basicHeartRateSetting = 39; }, 3},
        {"brightness 16", [](HalvoraSDKVitalParams& p) { p.screenBrightness = 16; }, 4},
        {"dial 10", [](HalvoraSDKVitalParams& p) { p.dialInterface = 10; }, 5},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        VitalLab w;
        w.connect();
        auto p = someParameters();
        c.spoil(p);
        const auto framesBefore = w.bracelet->framesReceived().size();
        EXPECT_TRUE(w.lab.manager->setVitalParameters(p));
        ASSERT_TRUE(w.runUntilError(c.error, 10));
        EXPECT_EQ(w.bracelet->framesReceived().size(), framesBefore);
        EXPECT_FALSE(w.app->response(10).has_value());
        w.expectIdle();
    }
}

TEST(VitalFlow, BatteryRequestOfTheBraceletsReachesTheVitalBracelet) {
    lab::VitalScript script;
    script.battery = 42;
    VitalLab w(script);
    w.connect();
    w.lab.manager->getBraceletBattery();
    ASSERT_TRUE(w.runUntilResult(14));
    const auto levels = w.app->value<std::map<std::string, std::int32_t>>(14);
    ASSERT_TRUE(levels);
    EXPECT_EQ(levels->at("batteryLevel"), 42);
    w.expectIdle();
}

TEST(VitalFlow, TenAlarmsAreForwardedElevenRefusedWithoutWriting) {
    VitalLab w;
    w.connect();
    ASSERT_TRUE(w.lab.manager->setVitalAlarms(alarms(10)));
    ASSERT_TRUE(w.runUntilResult(34));
    ASSERT_EQ(w.bracelet->alarms().size(), 10U);

    const auto framesBefore = w.bracelet->framesReceived().size();
    EXPECT_FALSE(w.lab.manager->setVitalAlarms(alarms(11)));
    ASSERT_TRUE(w.runUntilError(1, 34));
    w.lab.advance(seconds(1));
    EXPECT_EQ(w.bracelet->framesReceived().size(), framesBefore);
    EXPECT_EQ(w.bracelet->alarms().size(), 10U);
    w.expectIdle();
}

TEST(VitalFlow, ScheduleOfAnUnknownQuantityIsNotForwarded) {
    VitalLab w;
    w.connect();
    HalvoraSDKVitalPeriod period;
    period.type = 3;
    period.workingMode = 1;
    period.startHour = 8;
    period.endHour = 20;
    const auto framesBefore = w.bracelet->framesReceived().size();
    EXPECT_FALSE(w.lab.manager->setVitalPeriodicConfiguration(period));
    w.lab.advance(seconds(1));
    EXPECT_EQ(w.bracelet->framesReceived().size(), framesBefore);
    EXPECT_TRUE(w.app->errors().empty());
    w.expectIdle();
}

TEST(VitalFlow, CommandTheBraceletRefusesArrivesAsErrorZeroForItsCommand) {
    struct Case {
        std::uint8_t code;
        std::int32_t command;
        void (*call)(HalvoraSDKManager&);
    };
    const Case cases[] = {
        {0x41, 1, [](HalvoraSDKManager& m) { m.getBraceletTime(); }},
        {0x0B, 4, [](HalvoraSDKManager& m) { m.setVitalStepsGoal(9000); }},
        {0x22, 8, [](HalvoraSDKManager& m) { m.getVitalMACAddress(); }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.command);
        lab::VitalScript script;
        script.faults.failCodes = {c.code};
        VitalLab w(script);
        w.connect();
        c.call(*w.lab.manager);
        ASSERT_TRUE(w.runUntilError(0, c.command));
        EXPECT_FALSE(w.app->response(c.command).has_value());
        w.expectIdle();
    }
}

TEST(VitalFlow, ClockSetThenReadBack) {
    VitalLab w;
    w.connect();
    std::tm local{};
    local.tm_year = 2026 - 1900;
    local.tm_mon = 2;
    local.tm_mday = 10;
    local.tm_hour = 12;
    local.tm_min = 34;
    local.tm_sec = 56;
    local.tm_isdst = -1;
    const Date set = Calendar::fromLocal(local);
    ASSERT_TRUE(w.lab.manager->setBraceletTime(set));
    ASSERT_TRUE(w.runUntilResult(0));
    ASSERT_TRUE(w.lab.manager->getBraceletTime());
    ASSERT_TRUE(w.runUntilResult(1));
    const auto read = w.app->value<Date>(1);
    ASSERT_TRUE(read);
    // The bracelet's clock runs on from the time set; the exchange takes well under a second.
    EXPECT_GE(*read, set);
    EXPECT_LT(*read - set, seconds(2));
    w.expectIdle();
}

/// The frames the bracelet received after the first `before`.
std::vector<std::vector<std::uint8_t>> framesSince(const lab::VirtualVitalBracelet& bracelet, std::size_t before) {
    const auto frames = bracelet.framesReceived();
    return {frames.begin() + static_cast<std::ptrdiff_t>(std::min(before, frames.size())), frames.end()};
}

TEST(VitalFlow, EachHistoryKindAndECGRequestSendsItsFrame) {
    struct Case {
        const char* name;
        bool (*call)(HalvoraSDKManager&);
        std::uint8_t code;          // 0: refused, nothing sent
        std::uint8_t argument = 0;  // byte 1: the public history requests ask from the first record on
    };
    const Case cases[] = {
        {"heart rate", [](HalvoraSDKManager& m) { return m.getVitalData(0); }, 0x55},
        {"automatic heart rate", [](HalvoraSDKManager& m) { return m.getVitalData(0, true); }, 0x54},
        {"temperature", [](HalvoraSDKManager& m) { return m.getVitalData(1, false); }, 0x62},
        {"automatic temperature", [](HalvoraSDKManager& m) { return m.getVitalData(1, true); }, 0x65},
        {"blood oxygen", [](HalvoraSDKManager& m) { return m.getVitalData(2); }, 0x60},
        {"automatic blood oxygen", [](HalvoraSDKManager& m) { return m.getVitalData(2, true); }, 0x66},
        {"hrv", [](HalvoraSDKManager& m) { return m.getVitalData(3); }, 0x56},
        {"hrv periodically", [](HalvoraSDKManager& m) { return m.getVitalData(3, true); }, 0x56},
        {"steps", [](HalvoraSDKManager& m) { return m.getVitalData(4); }, 0x52},
        {"sleep", [](HalvoraSDKManager& m) { return m.getVitalData(5, true); }, 0x53},
        {"sport", [](HalvoraSDKManager& m) { return m.getVitalData(6); }, 0x5C},
        {"daily totals", [](HalvoraSDKManager& m) { return m.getVitalTotalSteps(); }, 0x51},
        {"ECG start", [](HalvoraSDKManager& m) { return m.startVitalECG(); }, 0x99},
        {"ECG status", [](HalvoraSDKManager& m) { return m.getVitalECGStatus(); }, 0x9C},
        {"ECG waveform", [](HalvoraSDKManager& m) { return m.getVitalECGWaveform(); }, 0x71},
        {"ECG waveform 5", [](HalvoraSDKManager& m) { return m.getVitalECGWaveform(5); }, 0x71, 5},
        {"kind 7", [](HalvoraSDKManager& m) { return m.getVitalData(7); }, 0},
        {"kind 7 periodically", [](HalvoraSDKManager& m) { return m.getVitalData(7, true); }, 0},
        {"kind -1", [](HalvoraSDKManager& m) { return m.getVitalData(-1, true); }, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        VitalLab w;
        w.connect();
        const auto before = w.bracelet->framesReceived().size();
        EXPECT_EQ(c.call(*w.lab.manager), c.code != 0);
        w.lab.advance(seconds(1));
        const auto sent = framesSince(*w.bracelet, before);
        if (c.code == 0) {
            EXPECT_TRUE(sent.empty());
            continue;
        }
        ASSERT_EQ(sent.size(), 1U);
        ASSERT_GE(sent[0].size(), 2U);
        EXPECT_EQ(sent[0][0], c.code);
        EXPECT_EQ(sent[0][1], c.argument);
    }
}

TEST(VitalFlow, HistoryWithoutAVitalBraceletIsNotForwarded) {
    VitalLab w;
    EXPECT_FALSE(w.lab.manager->getVitalData(0));
    EXPECT_FALSE(w.lab.manager->getVitalData(2, true));
    EXPECT_FALSE(w.lab.manager->getVitalTotalSteps());
}

TEST(VitalFlow, CurrentStepsOfTheBraceletsAlsoAskTheVitalBraceletForItsTotals) {
    VitalLab w;
    w.connect();
    const auto before = w.bracelet->framesReceived().size();
    w.lab.manager->getBraceletCurrentSteps();
    w.lab.advance(seconds(1));
    const auto sent = framesSince(*w.bracelet, before);
    ASSERT_EQ(sent.size(), 1U);
    EXPECT_EQ(sent[0].front(), 0x51);
}

TEST(VitalFlow, AutomaticHeartRateArrivesThroughTheManagerWithoutItsZeroSamples) {
    lab::VitalScript script;
    lab::VitalHistory::HeartSeries series;
    series.start = *lab::BraceletTime::parse("2026-03-09 08:00");
    series.samples = {70, 0, 72};
    script.history.records.automaticHeartRates = {series};
    VitalLab w(script);
    w.connect();
    ASSERT_TRUE(w.lab.manager->getVitalData(0, true));
    ASSERT_TRUE(w.runUntilResult(21));
    const auto records = w.app->value<std::vector<HalvoraSDKHeartBeatData>>(21);
    ASSERT_TRUE(records);
    ASSERT_EQ(records->size(), 2U);
    std::tm start{};
    start.tm_year = 2026 - 1900;
    start.tm_mon = 2;
    start.tm_mday = 9;
    start.tm_hour = 8;
    start.tm_isdst = -1;
    EXPECT_EQ((*records)[0].heartRate, 70);
    EXPECT_EQ((*records)[0].date, Calendar::fromLocal(start));
    EXPECT_EQ((*records)[1].heartRate, 72);
    EXPECT_EQ((*records)[1].date, Calendar::fromLocal(start) + seconds(1800));
    w.expectIdle();
}

}  // namespace
}  // namespace halvora
