#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "EventRecorder.hpp"
#include "LabBench.hpp"
#include "halvora/Runtime/ThreadedExecutor.hpp"
#include "lab/LabTransport.hpp"

namespace halvora::lab::test {

/// Keeps every value a device notifies on one characteristic, in arrival order.
class NotificationLog : public PeripheralDelegate {
public:
    explicit NotificationLog(BLEUUID characteristic) : characteristic_(std::move(characteristic)) {}

    void peripheralDidUpdateValueForCharacteristic(const std::shared_ptr<Peripheral>&,
                                                   const std::shared_ptr<Characteristic>& characteristic,
                                                   const std::vector<std::uint8_t>& value,
                                                   const OptionalError& error) override {
        if (error || characteristic->uuid() != characteristic_) return;
        std::lock_guard lock(mutex_);
        values_.push_back(value);
    }
    /// The values received since the last take(), which forgets them.
    std::vector<std::vector<std::uint8_t>> take() {
        std::lock_guard lock(mutex_);
        return std::exchange(values_, {});
    }

private:
    const BLEUUID characteristic_;
    std::mutex mutex_;
    std::vector<std::vector<std::uint8_t>> values_;
};

/// A virtual device with one protocol service (Device::kService with its Device::kWrite and Device::kNotify
/// characteristics) in range of a recorded central, connected and discovered, on a virtual clock: the bench
/// the device-side tests of the serial-protocol devices share.
template <typename Device>
struct SerialDeviceBench {
    SerialDeviceBench(std::shared_ptr<Device> device, const std::string& identifier, std::uint64_t seed)
        : lab(seed), device(std::move(device)), log(std::make_shared<NotificationLog>(Device::kNotify)) {
        lab.radio->addPeripheral(this->device);
        auto found = lab.central->retrievePeripheralsWithIdentifiers({identifier});
        EXPECT_EQ(found.size(), 1U);
        if (found.empty()) return;
        peripheral = found.front();
        peripheral->setDelegate(log);
        connect();
    }

    /// Connects and discovers the device's service and characteristics.
    void connect() {
        lab.central->connectPeripheral(peripheral, {});
        lab.settle();
        peripheral->discoverServices(std::vector<BLEUUID>{Device::kService});
        lab.settle();
        write = notify = nullptr;
        for (const auto& service : peripheral->services()) {
            if (service->uuid() != Device::kService) continue;
            peripheral->discoverCharacteristics({}, service);
            lab.settle();
            write = service->characteristic(Device::kWrite);
            notify = service->characteristic(Device::kNotify);
        }
        EXPECT_TRUE(write && notify);
    }
    /// Switches notifications on, as the phone does once it has found the characteristics.
    void startNotifications() {
        if (notify) peripheral->setNotifyValue(true, notify);
        lab.executor->advance(Radio::kDefaultGattLatency);
    }

    LabBench lab;
    std::shared_ptr<Device> device;
    std::shared_ptr<NotificationLog> log;
    std::shared_ptr<Peripheral> peripheral;
    std::shared_ptr<Characteristic> write;
    std::shared_ptr<Characteristic> notify;
};

/// Waits on the real clock, up to 10 s, for `done`.
inline bool waitRealTime(const std::function<bool()>& done) {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!done()) {
        if (std::chrono::steady_clock::now() > limit) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

/// A serial-protocol device reached over the lab's transport on real threads: connected, discovered and
/// notifying (each step waited for through the recorder, which receives the central's and the peripheral's
/// events).
template <typename Device>
struct ThreadedSerialLink {
    ThreadedSerialLink(LabTransport& transport, const std::shared_ptr<ThreadedExecutor>& executor,
                       const std::string& identifier) {
        central = transport.makeCentral(recorder, executor->makeQueue("halvora.cb"), {});
        EXPECT_TRUE(recorder->waitForLines(1));
        peripheral = central->retrievePeripheralsWithIdentifiers({identifier}).front();
        peripheral->setDelegate(recorder);
        central->connectPeripheral(peripheral, {});
        EXPECT_TRUE(recorder->waitForLines(2));
        peripheral->discoverServices(std::vector<BLEUUID>{Device::kService});
        EXPECT_TRUE(recorder->waitForLines(3));
        service = peripheral->services().front();
        peripheral->discoverCharacteristics({}, service);
        EXPECT_TRUE(recorder->waitForLines(4));
        peripheral->setNotifyValue(true, service->characteristic(Device::kNotify));
        EXPECT_TRUE(recorder->waitForLines(5));
    }

    std::shared_ptr<EventRecorder> recorder = std::make_shared<EventRecorder>();
    std::shared_ptr<Central> central;
    std::shared_ptr<Peripheral> peripheral;
    std::shared_ptr<Service> service;
};

}  // namespace halvora::lab::test
