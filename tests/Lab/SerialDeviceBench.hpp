#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "LabBench.hpp"

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

}  // namespace halvora::lab::test
