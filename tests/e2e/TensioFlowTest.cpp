// Whole flows through the manager with the virtual wrist blood-pressure bracelet, in virtual time: a
// measurement from its start to its dated result, the memory walk, the clock and information texts, the
// ambulatory windows the kit refuses (-20, -21) and those it sends, and the bracelet's errors as the
// application receives them. Every flow ends with the driver idle: no request in progress, the command slot
// free, no command waiting.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <type_traits>
#include <variant>

#include "halvora/Core/Calendar.hpp"
#include "halvora/Core/Format.hpp"
#include "halvora/Devices/Tensio/HalvoraSDKTensioBracelet.hpp"
#include "lab/Devices/Tensio/VirtualTensioBracelet.hpp"
#include "support/LabHarness.hpp"

namespace halvora {
namespace {

using test::LabHarness;
using Interval = HalvoraSDKTensioBraceletInterval;

constexpr const char* kBraceletId = "6F1C2D3E-0000-4000-8000-0000000000B5";

std::string number(const std::optional<std::int32_t>& value) {
    return value ? std::to_string(*value) : "-";
}

/// "124/82/72/1".
std::string values(const HalvoraSDKTensioBraceletData& data) {
    return number(data.systolic) + "/" + number(data.diastolic) + "/" + number(data.pulse) + "/" +
           number(data.irregular);
}

/// The application's tensio delegate, each callback as a short text: "pressure 40", "result 124/82/72/1 at
/// 2026-11-20 08:00:00", "text ...", "number -20", "empty record", "executed 1".
class RecordingTensio : public HalvoraTensioBraceletDelegate {
public:
    void tensioBraceletOnProgressMeasurement(std::int32_t value) override {
        events.push_back("pressure " + std::to_string(value));
    }
    void tensioBraceletOnResult(const HalvoraSDKTensioBraceletData& data) override {
        results.push_back(data);
        events.push_back("result " + values(data) + " at " +
                         (data.date ? Calendar::formatDateTime(*data.date) : std::string("-")));
    }
    void tensioBraceletInformation(const TensioBraceletInformation& information) override {
        std::visit(
            [this](const auto& value) {
                using T = std::decay_t<decltype(value)>;
                if constexpr (std::is_same_v<T, std::string>) {
                    events.push_back("text " + value);
                } else if constexpr (std::is_same_v<T, std::int32_t>) {
                    events.push_back("number " + std::to_string(value));
                } else {
                    events.push_back(value == HalvoraSDKTensioBraceletData{} ? "empty record"
                                                                             : "record " + values(value));
                }
            },
            information);
    }
    void tensioBraceletRequestExecuted(std::int32_t request) override {
        events.push_back("executed " + std::to_string(request));
    }

    bool has(const std::string& event) const { return std::find(events.begin(), events.end(), event) != events.end(); }

    std::vector<std::string> events;
    std::vector<HalvoraSDKTensioBraceletData> results;
};

lab::BraceletTime at(const char* text) {
    return *lab::BraceletTime::parse(text);
}

/// Results of 124/82/72 with an irregular heartbeat; the cuff goes 20, 40, 60, then 40 before the result.
lab::TensioScript measuringScript() {
    lab::TensioScript script;
    script.clock = at("2026-11-20 08:00");
    script.systolic = 124;
    script.diastolic = 82;
    script.pulse = 72;
    script.irregular = 1;
    script.inflateTo = 60;
    script.deflateTo = 40;
    script.pressureStep = 20;
    script.pressureInterval = std::chrono::milliseconds(500);
    script.battery = 76;
    script.hold = 3;
    script.readings = {{at("2026-11-19 07:42"), 118, 76, 64, 0},
                       {at("2026-11-19 21:15"), 141, 92, 81, 1},
                       {at("2026-11-20 07:38"), 124, 80, 62, 0}};
    return script;
}

Interval window(int startHour, bool startHalf, int endHour, bool endHalf, int period = 1) {
    return {startHour, startHalf ? 1 : 0, endHour, endHalf ? 1 : 0, period};
}

/// A lab world with the bracelet in range (zone pinned to UTC) and the recording delegate set.
struct TensioLab {
    LabHarness lab;
    std::shared_ptr<RecordingTensio> app = std::make_shared<RecordingTensio>();
    std::shared_ptr<lab::VirtualTensioBracelet> bracelet;

    explicit TensioLab(const lab::TensioScript& script = measuringScript(), bool inRange = true) {
        Calendar::setTimeZone("UTC");
        if (inRange) {
            bracelet = lab.add(lab::VirtualTensioBracelet::make(kBraceletId));
            bracelet->setScript(script);
        }
        lab.manager->setTensioBraceletDelegate(app);
    }
    ~TensioLab() { Calendar::setTimeZone(std::nullopt); }
    TensioLab(const TensioLab&) = delete;
    TensioLab& operator=(const TensioLab&) = delete;

    void connect() {
        lab.manager->connectDevice(DeviceTypeTensioBracelet, 30);
        ASSERT_TRUE(lab.runUntilEvent("status 5 -> 2", seconds(10)));
    }
    std::shared_ptr<HalvoraSDKTensioBracelet> driver() const {
        return std::dynamic_pointer_cast<HalvoraSDKTensioBracelet>(
            lab.manager->driverForKind(DeviceTypeTensioBracelet));
    }
    bool runUntil(const std::string& event, Duration limit = seconds(10)) {
        return lab.runUntil([&] { return app->has(event); }, limit);
    }
    /// Once what is under way has run (a permit given back is counted on the queue): no request in
    /// progress, the slot free (one permit), no command waiting.
    void expectIdle() {
        lab.advance(std::chrono::milliseconds(100));
        auto d = driver();
        ASSERT_TRUE(d);
        EXPECT_EQ(d->request(), TensioBraceletRequest::kNone);
        EXPECT_FALSE(d->holdsSlot());
        EXPECT_EQ(d->commandQueue().pendingCount(), 0U);
        EXPECT_EQ(d->commandQueue().permits(), 1);
    }
};

TEST(TensioFlow, MeasurementRunsFromItsAcknowledgementThroughThePressuresToTheDatedResult) {
    TensioLab w;
    w.connect();
    w.lab.manager->startMeasurementTensioBracelet();
    ASSERT_TRUE(w.runUntil("executed 1"));
    EXPECT_TRUE(w.lab.manager->isTensioBraceletMeasuring());

    ASSERT_TRUE(w.runUntil("result 124/82/72/1 at 2026-11-20 08:00:00"));
    EXPECT_EQ(w.app->events, (std::vector<std::string>{"executed 1", "pressure 20", "pressure 40", "pressure 60",
                                                       "pressure 40", "result 124/82/72/1 at 2026-11-20 08:00:00"}));
    EXPECT_FALSE(w.lab.manager->isTensioBraceletMeasuring());
    // The result ended the request at once: the next command goes without waiting for the slot.
    w.expectIdle();
    w.lab.manager->getBasicInfoTensioBracelet();
    ASSERT_TRUE(w.lab.runUntil([&] { return w.app->events.size() == 7; }, seconds(1)));
    EXPECT_EQ(w.app->events.back().rfind("text Battery level: 76", 0), 0U) << w.app->events.back();
    w.expectIdle();
}

TEST(TensioFlow, HistoryWalkGivesTheCountThenOneStoredMeasurementPerRequest) {
    TensioLab w;
    w.connect();
    // Four requests at once: they go one by one, each when the answer to the one before freed the slot.
    for (int i = 0; i < 4; ++i) w.lab.manager->getBloodPressureHistoryTensioBracelet();
    ASSERT_TRUE(w.lab.runUntil([&] { return w.app->results.size() == 3; }, seconds(10)));
    w.lab.advance(seconds(1));

    ASSERT_EQ(w.driver()->totalBloodPressureHistory(), 3);
    std::vector<std::string> walked;
    for (const auto& r : w.app->results) walked.push_back(values(r));
    EXPECT_EQ(walked, (std::vector<std::string>{"118/76/64/0", "141/92/81/1", "124/80/62/0"}));
    // The memory keeps no dates: each record is dated when it was read, here in the first virtual minute.
    for (const auto& r : w.app->results) {
        ASSERT_TRUE(r.date);
        EXPECT_EQ(Calendar::formatDateTime(*r.date).substr(0, 16), "2026-01-01 00:00");
    }
    EXPECT_EQ(w.app->events.size(), 3U);  // no acknowledgements, texts or errors in a walk
    w.expectIdle();
}

TEST(TensioFlow, ClockAndInformationArriveAsTexts) {
    TensioLab w;
    w.connect();
    // The phone's clock goes to the bracelet and is read back; the request is made early in a second, so that
    // the answer shows the same second.
    const auto intoSecond = w.lab.executor->elapsed() % seconds(1);
    w.lab.advance(seconds(1) - intoSecond + std::chrono::milliseconds(1));
    const std::tm phone = Calendar::toLocal(w.lab.executor->date());
    w.lab.manager->setSmartwatchTimeTensioBracelet();
    w.lab.manager->getSmartwatchTimeTensioBracelet();
    const std::string clock = format("text TensioBracelet time: %d-%d-%d %d:%d:%d", phone.tm_year % 100,
                                     phone.tm_mon + 1, phone.tm_mday, phone.tm_hour, phone.tm_min, phone.tm_sec);
    ASSERT_TRUE(w.runUntil(clock)) << ::testing::PrintToString(w.app->events);
    EXPECT_EQ(w.app->events, (std::vector<std::string>{"executed 9", clock}));
    EXPECT_TRUE(w.bracelet->settings().clockSetByPhone);

    // The configuration frame carries both settings; the basic information shows the switch.
    w.app->events.clear();
    w.lab.manager->setSmartwatchConfigTensioBracelet({2, true});
    w.lab.manager->getBasicInfoTensioBracelet();
    const std::string info =
        "text Battery level: 76\nABPM: 1 - ON\nUnit: 0 - mmHg\nHold: 3\nTotal saved blood pressure: 3\n";
    ASSERT_TRUE(w.runUntil(info)) << ::testing::PrintToString(w.app->events);
    EXPECT_EQ(w.app->events, (std::vector<std::string>{"executed 2", info}));
    EXPECT_EQ(w.bracelet->settings().hand, 2);
    EXPECT_TRUE(w.bracelet->settings().ambulatoryEnabled);
    w.expectIdle();
}

TEST(TensioFlow, MoreThanThreeWindowsAreRefusedWithMinus20EvenWithoutABracelet) {
    const std::vector<Interval> four = {window(6, false, 7, false), window(8, false, 9, false),
                                        window(10, false, 11, false), window(12, false, 13, false)};
    const std::vector<Interval> overlapping = {window(8, false, 12, true), window(12, false, 18, false)};
    struct Case {
        const char* name;
        std::vector<Interval> windows;
        std::vector<std::string> expected;
    };
    const std::vector<Case> cases = {
        {"four windows", four, {"number -20"}},
        {"five windows", {four[0], four[1], four[2], four[3], window(14, false, 15, false)}, {"number -20"}},
        // The overlap check is the driver's: without a bracelet nothing judges the list, nothing is said.
        {"overlapping windows", overlapping, {}},
        {"three windows", {four[0], four[1], four[2]}, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        TensioLab w(measuringScript(), false);
        w.lab.manager->setAmbulatoryBloodPressureTimeTensioBracelet(c.windows);
        w.lab.advance(seconds(1));
        EXPECT_EQ(w.app->events, c.expected);
        EXPECT_FALSE(w.driver());
    }
}

TEST(TensioFlow, WindowsTheCheckRefusesAreAnsweredWithMinus21AndNothingIsWritten) {
    struct Case {
        const char* name;
        std::vector<Interval> windows;
        std::vector<std::string> expected;
        std::vector<lab::TensioWindow> held;
    };
    const std::vector<Case> cases = {
        {"one window starts inside another",
         {window(8, false, 12, true), window(12, false, 18, false)},
         {"number -21"},
         {}},
        {"one window inside another", {window(8, false, 18, false), window(10, false, 12, false)}, {"number -21"}, {}},
        {"four windows",
         {window(6, false, 7, false), window(8, false, 9, false), window(10, false, 11, false),
          window(12, false, 13, false)},
         {"number -20"},
         {}},
        // Touching ends are not inside: both windows go, each acknowledged, in the bracelet's half hours.
        {"touching windows",
         {window(8, false, 12, false, 0), window(12, false, 22, true, 1)},
         {"executed 8", "executed 8"},
         {{8, 0, 12, 0, 30}, {12, 0, 22, 30, 60}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        TensioLab w;
        w.connect();
        const std::size_t framesBefore = w.bracelet->framesReceived().size();
        w.lab.manager->setAmbulatoryBloodPressureTimeTensioBracelet(c.windows);
        w.lab.advance(seconds(2));
        EXPECT_EQ(w.app->events, c.expected);
        EXPECT_EQ(w.bracelet->framesReceived().size() - framesBefore, c.held.size());
        EXPECT_EQ(w.bracelet->settings().windows, c.held);
        w.expectIdle();
    }
}

TEST(TensioFlow, ScheduleSentIsReadBackWindowByWindow) {
    TensioLab w;
    w.connect();
    w.lab.manager->setAmbulatoryBloodPressureTimeTensioBracelet(
        {window(8, false, 12, false, 0), window(12, false, 22, true, 1)});
    ASSERT_TRUE(w.lab.runUntil([&] { return w.app->events.size() == 2; }, seconds(2)));
    // The kit's facade has no request for the schedule: the driver is asked on its queue.
    auto driver = w.driver();
    driver->context().callbackQueue->async([driver] { driver->getAmbulatoryBloodPressureTime(); });
    w.lab.advance(seconds(1));
    EXPECT_EQ(w.app->events, (std::vector<std::string>{"executed 8", "executed 8",
                                                       "text Interval startTime 08:00\nendTime 12:00\nserialNo 1\n"
                                                       "totalTimeIntervals 2\nintervalMinutes 30",
                                                       "text Interval startTime 12:00\nendTime 22:30\nserialNo 2\n"
                                                       "totalTimeIntervals 2\nintervalMinutes 60"}));
    w.expectIdle();
}

TEST(TensioFlow, BraceletErrorsArriveAsEmptyRecordsAndEndTheRequest) {
    using Kind = lab::TensioError::Kind;
    struct Case {
        const char* name;
        lab::TensioScript script;
        std::function<void(TensioLab&)> act;
        std::vector<std::string> expected;
    };
    lab::TensioScript failing = measuringScript();
    failing.measurementError = lab::TensioError{Kind::Measurement, 3};  // movement
    lab::TensioScript deviceRefusal = measuringScript();
    deviceRefusal.faults.refusals = {{lab::TensioCommand::ReadClock, {Kind::Device, 1}}};  // battery too low
    lab::TensioScript frameRefusal = measuringScript();
    frameRefusal.faults.refusals = {{lab::TensioCommand::ClearMemory, {Kind::Frame, 3}}};
    const auto start = [](TensioLab& w) { w.lab.manager->startMeasurementTensioBracelet(); };
    const std::vector<Case> cases = {
        {"a measurement that fails at the top of the cuff",
         failing,
         start,
         {"executed 1", "pressure 20", "pressure 40", "pressure 60", "empty record"}},
        {"a measurement stopped by the phone",
         measuringScript(),
         [](TensioLab& w) {
             w.lab.manager->startMeasurementTensioBracelet();
             ASSERT_TRUE(w.runUntil("pressure 40"));
             w.lab.manager->stopMeasurementTensioBracelet();
         },
         // The stop is acknowledged, then reported as -19: a code, so an empty record.
         {"executed 1", "pressure 20", "pressure 40", "executed 10", "empty record"}},
        {"a command refused with a coded error",
         deviceRefusal,
         [](TensioLab& w) { w.lab.manager->getSmartwatchTimeTensioBracelet(); },
         {"empty record"}},
        // A frame error has no code: the kit hands over -1 instead.
        {"a command refused with an error without a code",
         frameRefusal,
         [](TensioLab& w) { w.lab.manager->removeBloodPressureHistoryTensioBracelet(); },
         {"number -1"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        TensioLab w(c.script);
        w.connect();
        c.act(w);
        w.lab.advance(seconds(20));  // long enough for any result still to come
        EXPECT_EQ(w.app->events, c.expected);
        EXPECT_TRUE(w.app->results.empty());
        EXPECT_FALSE(w.lab.manager->isTensioBraceletMeasuring());
        w.expectIdle();
    }
}

}  // namespace
}  // namespace halvora
