// The radio's link model: when the phone's writes reach the device, and when what the device sends reaches
// the phone, on the connection events of the link.
#include <gtest/gtest.h>

#include <mutex>

#include "LabBench.hpp"

namespace halvora::lab::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;

/// The echo device, noting when its link came up and when each write reached it.
class TimedEcho : public EchoDevice {
public:
    static inline const std::string kIdentifier = "6E400001-B5A3-F393-E0A9-E50E24DCCA9F";

    TimedEcho() : EchoDevice(config()) {}

    MonotonicTime linkStart() const {
        std::lock_guard lock(mutex_);
        return start_;
    }
    std::vector<MonotonicTime> writeTimes() const {
        std::lock_guard lock(mutex_);
        return writes_;
    }

protected:
    void onConnected() override {
        {
            std::lock_guard lock(mutex_);
            start_ = now();
        }
        EchoDevice::onConnected();
    }
    void onWrite(const BLEUUID& characteristic, const std::vector<std::uint8_t>& value, WriteType type) override {
        {
            std::lock_guard lock(mutex_);
            writes_.push_back(now());
        }
        EchoDevice::onWrite(characteristic, value, type);
    }

private:
    static VirtualPeripheralConfig config() {
        VirtualPeripheralConfig c = defaultConfig();
        c.identifier = kIdentifier;
        c.name = "TimedEcho";
        return c;
    }

    mutable std::mutex mutex_;
    MonotonicTime start_{};
    std::vector<MonotonicTime> writes_;
};

/// What reached the phone, and when: "written" for a write's response, "value XX" for a notification.
class TimedLog : public PeripheralDelegate {
public:
    explicit TimedLog(std::shared_ptr<Executor> executor) : executor_(std::move(executor)) {}

    void peripheralDidUpdateValueForCharacteristic(const std::shared_ptr<Peripheral>&,
                                                   const std::shared_ptr<Characteristic>&,
                                                   const std::vector<std::uint8_t>& value,
                                                   const OptionalError&) override {
        events.emplace_back("value " + EventRecorder::hex(value), executor_->now());
    }
    void peripheralDidWriteValueForCharacteristic(const std::shared_ptr<Peripheral>&,
                                                  const std::shared_ptr<Characteristic>&,
                                                  const OptionalError&) override {
        events.emplace_back("written", executor_->now());
    }

    std::vector<std::pair<std::string, MonotonicTime>> events;

private:
    std::shared_ptr<Executor> executor_;
};

/// A timed echo device in the lab, connected, discovered and notifying, with the radio under `model`.
/// Times are taken from an anchor: a connection event of every model used here (12 s after the link came
/// up, a multiple of 7.5 ms and 30 ms), later than the set-up.
struct TimedBench {
    explicit TimedBench(std::optional<LinkModel> model) {
        lab.radio->setLinkModel(model);
        lab.radio->addPeripheral(device);
        peripheral = lab.central->retrievePeripheralsWithIdentifiers({TimedEcho::kIdentifier}).front();
        peripheral->setDelegate(log);
        lab.central->connectPeripheral(peripheral, {});
        lab.settle();
        gatt = LabBench::discover(peripheral, *lab.executor);
        peripheral->setNotifyValue(true, gatt.notify);
        lab.settle();
        anchor = device->linkStart() + std::chrono::seconds(12);
        EXPECT_LT(lab.executor->now(), anchor);
        log->events.clear();
    }
    void advanceTo(Duration sinceAnchor) {
        const MonotonicTime at = anchor + sinceAnchor;
        ASSERT_GE(at, lab.executor->now());
        lab.executor->advance(at - lab.executor->now());
    }
    /// Write times, from the anchor.
    std::vector<Duration> arrivals() const {
        std::vector<Duration> out;
        for (const auto& t : device->writeTimes()) out.push_back(t - anchor);
        return out;
    }

    LabBench lab;
    std::shared_ptr<TimedEcho> device = std::make_shared<TimedEcho>();
    std::shared_ptr<TimedLog> log = std::make_shared<TimedLog>(lab.executor);
    std::shared_ptr<Peripheral> peripheral;
    LabBench::Gatt gatt;
    MonotonicTime anchor{};
};

LinkModel model(Duration interval, int perEvent, Duration latency = Duration::zero()) {
    LinkModel m;
    m.connectionInterval = interval;
    m.packetsPerEvent = perEvent;
    m.notificationLatency = latency;
    return m;
}

TEST(LinkModel, WritesTravelInTheFirstConnectionEventWithRoom) {
    constexpr auto ms = [](double v) {
        return std::chrono::duration_cast<Duration>(std::chrono::duration<double, std::milli>(v));
    };
    struct Case {
        const char* what;
        std::optional<LinkModel> model;
        Duration writtenAt;  // from the anchor
        int writes;
        std::vector<Duration> arrivals;
    };
    const std::vector<Case> cases = {
        {"no model: the GATT latency", std::nullopt, ms(10), 2, {ms(15), ms(15)}},
        {"four per event, in order",
         model(ms(30), 4),
         ms(10),
         9,
         {ms(30), ms(30), ms(30), ms(30), ms(60), ms(60), ms(60), ms(60), ms(90)}},
        {"made at an event's time: the next event", model(ms(30), 4), ms(30), 1, {ms(60)}},
        {"made just before an event's time: that event", model(ms(30), 4), ms(30) - nanoseconds(1), 1, {ms(30)}},
        {"7.5 ms, one per event", model(ms(7.5), 1), ms(0), 3, {ms(7.5), ms(15), ms(22.5)}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        TimedBench bench(c.model);
        const auto before = bench.device->writeTimes().size();
        bench.advanceTo(c.writtenAt);
        for (int i = 0; i < c.writes; ++i) {
            const auto type = i % 2 == 0 ? WriteType::WithoutResponse : WriteType::WithResponse;  // both count
            bench.peripheral->writeValue({static_cast<std::uint8_t>(i)}, bench.gatt.echo, type);
        }
        bench.lab.settle();
        auto arrivals = bench.arrivals();
        arrivals.erase(arrivals.begin(), arrivals.begin() + static_cast<std::ptrdiff_t>(before));
        EXPECT_EQ(arrivals, c.arrivals);
    }
}

TEST(LinkModel, DeviceTrafficTravelsInTheNextEventAndArrivesAfterTheLatency) {
    constexpr auto ms = [](int v) { return Duration(milliseconds(v)); };
    TimedBench bench(model(ms(30), 4, ms(5)));
    // A write with response at 10 ms reaches the echo device in the event at 30 ms; its response and the
    // echo travel in the event at 60 ms and arrive 5 ms later.
    bench.advanceTo(ms(10));
    bench.peripheral->writeValue({0x01}, bench.gatt.echo, WriteType::WithResponse);
    // The device notifies by itself: at 61 ms (next event 90), exactly at 120 ms (next event 150).
    bench.advanceTo(ms(61));
    bench.device->notify(EchoDevice::kNotify, {0x02});
    bench.advanceTo(ms(120));
    bench.device->notify(EchoDevice::kNotify, {0x03});
    bench.lab.settle();

    const std::vector<std::pair<std::string, Duration>> expected = {
        {"written", ms(65)}, {"value 01", ms(65)}, {"value 02", ms(95)}, {"value 03", ms(155)}};
    std::vector<std::pair<std::string, Duration>> got;
    for (const auto& [event, at] : bench.log->events) got.emplace_back(event, at - bench.anchor);
    EXPECT_EQ(got, expected);
}

}  // namespace
}  // namespace halvora::lab::test
