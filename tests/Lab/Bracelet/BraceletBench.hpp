#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "../LabBench.hpp"
#include "lab/Devices/Bracelet/VirtualBracelet.hpp"

namespace halvora::lab::test {

/// Keeps every value the bracelet notifies, in arrival order.
class NotificationLog : public PeripheralDelegate {
public:
    void peripheralDidUpdateValueForCharacteristic(const std::shared_ptr<Peripheral>&,
                                                   const std::shared_ptr<Characteristic>& characteristic,
                                                   const std::vector<std::uint8_t>& value,
                                                   const OptionalError& error) override {
        if (error || characteristic->uuid() != VirtualBracelet::kNotify) return;
        std::lock_guard lock(mutex_);
        values_.push_back(value);
    }
    /// The values received since the last take(), which forgets them.
    std::vector<std::vector<std::uint8_t>> take() {
        std::lock_guard lock(mutex_);
        return std::exchange(values_, {});
    }

private:
    std::mutex mutex_;
    std::vector<std::vector<std::uint8_t>> values_;
};

/// A virtual bracelet in range of a recorded central: connected, discovered and, unless asked otherwise,
/// notifying, on a virtual clock.
struct BraceletBench {
    static inline const std::string kIdentifier = "B5210000-0000-4000-8000-00000000B521";

    explicit BraceletBench(const BraceletScript& script = {}, std::uint64_t seed = 1, bool notifying = true)
        : lab(seed), bracelet(VirtualBracelet::make(kIdentifier)), log(std::make_shared<NotificationLog>()) {
        bracelet->setScript(script);
        lab.radio->addPeripheral(bracelet);
        auto found = lab.central->retrievePeripheralsWithIdentifiers({kIdentifier});
        EXPECT_EQ(found.size(), 1U);
        if (found.empty()) return;
        peripheral = found.front();
        peripheral->setDelegate(log);
        connect();
        if (notifying) startNotifications();
    }

    /// Connects and discovers the bracelet's service and characteristics.
    void connect() {
        lab.central->connectPeripheral(peripheral, {});
        lab.settle();
        peripheral->discoverServices(std::vector<BLEUUID>{VirtualBracelet::kService});
        lab.settle();
        write = notify = nullptr;
        for (const auto& service : peripheral->services()) {
            if (service->uuid() != VirtualBracelet::kService) continue;
            peripheral->discoverCharacteristics({}, service);
            lab.settle();
            write = service->characteristic(VirtualBracelet::kWrite);
            notify = service->characteristic(VirtualBracelet::kNotify);
        }
        EXPECT_TRUE(write && notify);
    }

    void startNotifications() {
        if (notify) peripheral->setNotifyValue(true, notify);
        lab.executor->advance(Radio::kDefaultGattLatency);
    }

    /// Writes `text` as the phone does, in writes of at most `writeSize` bytes, and lets a second pass.
    void send(const std::string& text, std::size_t writeSize = 20) {
        for (std::size_t at = 0; at < text.size(); at += writeSize) {
            const std::string part = text.substr(at, writeSize);
            peripheral->writeValue({part.begin(), part.end()}, write, WriteType::WithoutResponse);
        }
        lab.settle();
    }
    /// Sends one command line and returns what came back, as text.
    std::string ask(const std::string& command) {
        send(command + "\r\n");
        return text(log->take());
    }
    std::vector<std::vector<std::uint8_t>> received() { return log->take(); }

    static std::string text(const std::vector<std::vector<std::uint8_t>>& values) {
        std::string joined;
        for (const auto& v : values) joined.append(v.begin(), v.end());
        return joined;
    }
    static std::string text(const std::vector<std::uint8_t>& value) { return {value.begin(), value.end()}; }

    LabBench lab;
    std::shared_ptr<VirtualBracelet> bracelet;
    std::shared_ptr<NotificationLog> log;
    std::shared_ptr<Peripheral> peripheral;
    std::shared_ptr<Characteristic> write;
    std::shared_ptr<Characteristic> notify;
};

}  // namespace halvora::lab::test
