#include <gtest/gtest.h>

#include "LabBench.hpp"

namespace halvora::lab::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

const std::string kValueA = "value FFF1 0102030405";
const std::string kValueB = "value FFF1 0A0B";
const std::string kDisconnect = "disconnect Echo error 5";
constexpr std::size_t kMaxLength = 12;

/// The hex bytes of a "value FFF1 ..." line (empty for an empty value).
std::string payload(const std::string& line) {
    const std::string prefix = "value FFF1";
    if (line.compare(0, prefix.size(), prefix) != 0) return "<not a FFF1 value: " + line + ">";
    return line.size() > prefix.size() ? line.substr(prefix.size() + 1) : std::string();
}

void setHostile(VirtualPeripheral& device, const HostileMode& hostile) {
    LabFaults faults;
    faults.hostile = hostile;
    device.setFaults(faults);
}

/// Echoes kValueA then kValueB through a device in `hostile` mode; what the central heard.
Lines echoTwo(const HostileMode& hostile) {
    LabBench bench;
    auto peripheral = bench.echo();
    auto gatt = bench.connectReady(peripheral);
    setHostile(*bench.device, hostile);
    peripheral->writeValue({1, 2, 3, 4, 5}, gatt.echo, WriteType::WithoutResponse);
    peripheral->writeValue({0x0A, 0x0B}, gatt.echo, WriteType::WithoutResponse);
    bench.settle();
    return bench.recorder->lines();
}

/// Each line is a strict prefix (`longer` false) or a strict extension of at most kMaxLength bytes
/// (`longer` true) of what was echoed.
void expectCutOrGrown(const Lines& lines, bool longer) {
    ASSERT_EQ(lines.size(), 2U);
    const Lines originals = {payload(kValueA), payload(kValueB)};
    for (std::size_t i = 0; i < 2; ++i) {
        const std::string got = payload(lines[i]);
        const std::string& part = longer ? originals[i] : got;
        const std::string& whole = longer ? got : originals[i];
        EXPECT_TRUE(part.size() < whole.size() && whole.compare(0, part.size(), part) == 0) << lines[i];
        EXPECT_LE(got.size(), 2 * kMaxLength) << lines[i];
    }
}

TEST(HostileModeTest, EachManglingAlwaysHappensAtOneAndNeverAtZero) {
    struct KindCase {
        const char* what;
        double HostileMode::*chance;
        std::function<void(const Lines&)> checkAtOne;
    };
    const std::vector<KindCase> cases = {
        {"random", &HostileMode::random,
         [](const Lines& lines) {
             ASSERT_EQ(lines.size(), 2U);
             EXPECT_NE(lines, (Lines{kValueA, kValueB}));
             for (const auto& line : lines) EXPECT_TRUE(!payload(line).empty() && payload(line).size() <= 24) << line;
         }},
        {"cut short", &HostileMode::cutShort, [](const Lines& lines) { expectCutOrGrown(lines, false); }},
        {"oversized", &HostileMode::oversized, [](const Lines& lines) { expectCutOrGrown(lines, true); }},
        {"duplicate", &HostileMode::duplicate,
         [](const Lines& lines) {
             EXPECT_EQ(lines, (Lines{kValueA, kValueA, kValueB, kValueB}));
         }},
        {"reorder", &HostileMode::reorder,
         [](const Lines& lines) {
             EXPECT_EQ(lines, (Lines{kValueB, kValueA}));
         }},
        {"flood of three", &HostileMode::flood,
         [](const Lines& lines) {
             ASSERT_EQ(lines.size(), 8U);
             EXPECT_EQ(lines[0], kValueA);
             EXPECT_EQ(lines[4], kValueB);
         }},
        {"drop", &HostileMode::drop, [](const Lines& lines) { EXPECT_TRUE(lines.empty()); }},
        // The link goes right after the first echo: the second, sent before it went, is lost.
        {"disconnect", &HostileMode::disconnect,
         [](const Lines& lines) {
             EXPECT_EQ(lines, (Lines{kValueA, kDisconnect}));
         }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        HostileMode hostile;
        hostile.maxLength = kMaxLength;
        hostile.floodCount = 3;
        EXPECT_EQ(echoTwo(hostile), (Lines{kValueA, kValueB})) << "at probability 0";
        hostile.*c.chance = 1.0;
        c.checkAtOne(echoTwo(hostile));
    }
}

TEST(HostileModeTest, AFloodIsCappedAndZeroChancesDrawNothing) {
    HostileMode flood;
    flood.flood = 1.0;
    flood.floodCount = HostileMode::kFloodCountCap + 5;
    EXPECT_EQ(echoTwo(flood).size(), 2 * (1 + HostileMode::kFloodCountCap));

    // A mode at zero chances, whatever its lengths, leaves the seeded loss of the other faults as it was.
    constexpr std::uint64_t seed = 5;
    LabBench bench(seed);
    auto peripheral = bench.echo();
    auto gatt = bench.connectReady(peripheral);
    LabFaults faults;
    faults.dropNotificationProbability = 0.5;
    faults.hostile.maxLength = 300;
    faults.hostile.floodCount = 3;
    bench.device->setFaults(faults);
    auto reference = std::make_shared<Radio>(bench.executor, seed);
    Lines expected;
    for (std::uint8_t i = 0; i < 30; ++i) {
        peripheral->writeValue({i}, gatt.echo, WriteType::WithoutResponse);
        if (reference->randomUnit() >= 0.5) expected.push_back("value FFF1 " + EventRecorder::hex({i}));
    }
    bench.settle();
    EXPECT_EQ(bench.recorder->lines(), expected);
}

/// Forty echoes, four seconds of a device with every hostility but the link drop.
Lines hostileRun(std::uint64_t seed) {
    HostileMode hostile = HostileMode::all();
    hostile.random = hostile.cutShort = hostile.oversized = hostile.duplicate = 0.2;
    hostile.reorder = hostile.flood = hostile.drop = 0.2;
    hostile.disconnect = 0.0;
    hostile.floodCount = 2;
    hostile.unsolicitedEvery = milliseconds(300);
    LabBench bench(seed);
    auto peripheral = bench.echo();
    auto gatt = bench.connectReady(peripheral);
    setHostile(*bench.device, hostile);
    for (std::uint8_t i = 0; i < 40; ++i) {
        peripheral->writeValue({i, i, i, i}, gatt.echo, WriteType::WithoutResponse);
        bench.executor->advance(milliseconds(100));
    }
    return bench.recorder->lines();
}

TEST(HostileModeTest, TheSeedDecidesTheWholeStream) {
    const Lines first = hostileRun(7);
    EXPECT_GT(first.size(), 40U);
    EXPECT_EQ(hostileRun(7), first);
    EXPECT_NE(hostileRun(8), first);
}

TEST(HostileModeTest, NothingCrossesALinkEnd) {
    LabBench bench;
    auto peripheral = bench.echo();
    auto gatt = bench.connectReady(peripheral);
    HostileMode hostile;
    hostile.reorder = 1.0;
    setHostile(*bench.device, hostile);
    peripheral->writeValue({0xAA}, gatt.echo, WriteType::WithoutResponse);  // held back for the next one
    bench.settle();
    bench.central->cancelPeripheralConnection(peripheral);
    bench.settle();

    // A hostile drop in the middle of a burst: what the device sends after it goes with the link.
    bench.connectReady(peripheral);
    hostile = {};
    hostile.disconnect = 1.0;
    setHostile(*bench.device, hostile);
    for (std::uint8_t i = 1; i <= 3; ++i) bench.device->notify(EchoDevice::kNotify, {i});
    bench.settle();
    EXPECT_EQ(bench.recorder->lines(), (Lines{"value FFF1 01", kDisconnect}));

    gatt = bench.connectReady(peripheral);
    setHostile(*bench.device, {});
    peripheral->writeValue({0xBB}, gatt.echo, WriteType::WithoutResponse);
    bench.settle();
    EXPECT_EQ(bench.recorder->lines(), Lines{"value FFF1 BB"});
}

/// An echo device with a second notifying characteristic, which the bench never switches on.
class TwoChannelDevice : public EchoDevice {
public:
    TwoChannelDevice() { addCharacteristic(kService, BLEUUID("FFF4"), CharacteristicPropertyNotify); }
};

TEST(HostileModeTest, UnsolicitedGarbageGoesOnlyToSwitchedOnCharacteristics) {
    LabBench bench;
    bench.radio->removePeripheral(EchoDevice::kIdentifier);
    auto device = std::make_shared<TwoChannelDevice>();
    bench.radio->addPeripheral(device);
    HostileMode hostile;
    hostile.unsolicitedEvery = milliseconds(100);
    hostile.maxLength = 6;
    setHostile(*device, hostile);  // before the link: the link starts the garbage itself
    auto peripheral = bench.echo();
    auto oneSecond = [&] {
        bench.recorder->clear();
        bench.executor->advance(seconds(1));
        return bench.recorder->lines();
    };

    bench.connectReady(peripheral);  // FFF1 only
    const Lines lines = oneSecond();
    ASSERT_EQ(lines.size(), 10U);
    for (const auto& line : lines) EXPECT_TRUE(!payload(line).empty() && payload(line).size() <= 12) << line;
    device->dropLink();
    bench.settle();
    EXPECT_TRUE(oneSecond().empty());
    bench.connectReady(peripheral);
    EXPECT_EQ(oneSecond().size(), 10U);
    device->setFaults({});
    EXPECT_TRUE(oneSecond().empty());
}

}  // namespace
}  // namespace halvora::lab::test
