#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "halvora/Transport/Central.hpp"
#include "halvora/Transport/CentralDelegate.hpp"
#include "halvora/Transport/Peripheral.hpp"
#include "halvora/Transport/PeripheralDelegate.hpp"

namespace halvora::lab::test {

/// Records every central and peripheral event as one line of a trace, in arrival order, e.g.
/// "connect Echo", "value FFF1 0102", "disconnect Echo error 5". Thread-safe; waitFor() serves tests on
/// real threads.
class EventRecorder : public CentralDelegate, public PeripheralDelegate {
public:
    std::vector<std::string> lines() const {
        std::lock_guard lock(mutex_);
        return lines_;
    }
    std::size_t count(const std::string& prefix) const {
        std::lock_guard lock(mutex_);
        return static_cast<std::size_t>(std::count_if(lines_.begin(), lines_.end(), [&](const std::string& line) {
            return line.compare(0, prefix.size(), prefix) == 0;
        }));
    }
    void clear() {
        std::lock_guard lock(mutex_);
        lines_.clear();
    }
    std::vector<int> rssis() const {
        std::lock_guard lock(mutex_);
        return rssis_;
    }
    /// The latest peripheral discovered under this identifier.
    std::shared_ptr<Peripheral> discovered(const std::string& identifier) const {
        std::lock_guard lock(mutex_);
        auto it = discovered_.find(identifier);
        return it == discovered_.end() ? nullptr : it->second;
    }
    std::vector<std::shared_ptr<Peripheral>> restored() const {
        std::lock_guard lock(mutex_);
        return restored_;
    }
    /// Waits on a real clock until `count` lines are recorded.
    bool waitForLines(std::size_t count, std::chrono::milliseconds limit = std::chrono::seconds(10)) const {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, limit, [&] { return lines_.size() >= count; });
    }

    // ---- central events
    void centralManagerDidUpdateState(Central& central) override {
        add(std::string("state ") + (central.state() == CentralState::PoweredOn ? "PoweredOn" : "PoweredOff"));
    }
    void centralManagerDidDiscoverPeripheral(Central&, const std::shared_ptr<Peripheral>& peripheral,
                                             const AdvertisementData& data, int rssi) override {
        {
            std::lock_guard lock(mutex_);
            discovered_[peripheral->identifier()] = peripheral;
            rssis_.push_back(rssi);
        }
        add("discover " + data.localName.value_or("?"));
    }
    void centralManagerDidConnectPeripheral(Central&, const std::shared_ptr<Peripheral>& peripheral) override {
        add("connect " + label(peripheral));
    }
    void centralManagerDidFailToConnectPeripheral(Central&, const std::shared_ptr<Peripheral>& peripheral,
                                                  const OptionalError& error) override {
        add("fail " + label(peripheral) + errorText(error));
    }
    void centralManagerDidDisconnectPeripheral(Central&, const std::shared_ptr<Peripheral>& peripheral,
                                               const OptionalError& error) override {
        add("disconnect " + label(peripheral) + errorText(error));
    }
    void centralManagerWillRestoreState(Central&,
                                        const std::vector<std::shared_ptr<Peripheral>>& peripherals) override {
        std::string line = "restore";
        for (const auto& p : peripherals) line += " " + label(p);
        {
            std::lock_guard lock(mutex_);
            restored_ = peripherals;
        }
        add(line);
    }

    // ---- peripheral events
    void peripheralDidDiscoverServices(const std::shared_ptr<Peripheral>& peripheral,
                                       const OptionalError& error) override {
        std::string line = "services";
        if (!error) {
            for (const auto& s : peripheral->services()) line += " " + s->uuid().toString();
        }
        add(line + errorText(error));
    }
    void peripheralDidDiscoverCharacteristicsForService(const std::shared_ptr<Peripheral>&,
                                                        const std::shared_ptr<Service>& service,
                                                        const OptionalError& error) override {
        std::string line = "characteristics";
        if (!error) {
            for (const auto& c : service->characteristics()) line += " " + c->uuid().toString();
        }
        add(line + errorText(error));
    }
    void peripheralDidWriteValueForDescriptor(const std::shared_ptr<Peripheral>&,
                                              const std::shared_ptr<Characteristic>& characteristic,
                                              const OptionalError& error) override {
        add("descriptor " + characteristic->uuid().toString() + errorText(error));
    }
    void peripheralDidUpdateValueForCharacteristic(const std::shared_ptr<Peripheral>&,
                                                   const std::shared_ptr<Characteristic>& characteristic,
                                                   const std::vector<std::uint8_t>& value,
                                                   const OptionalError& error) override {
        std::string line = "value " + characteristic->uuid().toString();
        if (!value.empty()) line += " " + hex(value);
        add(line + errorText(error));
    }
    void peripheralDidWriteValueForCharacteristic(const std::shared_ptr<Peripheral>&,
                                                  const std::shared_ptr<Characteristic>& characteristic,
                                                  const OptionalError& error) override {
        add("written " + characteristic->uuid().toString() + errorText(error));
    }

    static std::string hex(const std::vector<std::uint8_t>& bytes) {
        static const char* digits = "0123456789ABCDEF";
        std::string text;
        for (auto b : bytes) {
            text += digits[b >> 4];
            text += digits[b & 0x0F];
        }
        return text;
    }

private:
    static std::string label(const std::shared_ptr<Peripheral>& peripheral) {
        return peripheral->name().value_or(peripheral->identifier());
    }
    static std::string errorText(const OptionalError& error) {
        return error ? " error " + std::to_string(error->code) : std::string();
    }
    void add(std::string line) {
        {
            std::lock_guard lock(mutex_);
            lines_.push_back(std::move(line));
        }
        changed_.notify_all();
    }

    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    std::vector<std::string> lines_;
    std::vector<int> rssis_;
    std::map<std::string, std::shared_ptr<Peripheral>> discovered_;
    std::vector<std::shared_ptr<Peripheral>> restored_;
};

}  // namespace halvora::lab::test
