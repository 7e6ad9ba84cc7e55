#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "halvora/Transport/TransportTypes.hpp"
#include "lab/VirtualPeripheral.hpp"

namespace halvora::lab::test {

/// A small device for the lab's own tests: what is written to the echo characteristic comes back as a
/// notification on the notify characteristic; the info characteristic answers reads with a fixed value.
class EchoDevice : public VirtualPeripheral {
public:
    static inline const BLEUUID kService{"FFF0"};
    static inline const BLEUUID kNotify{"FFF1"};
    static inline const BLEUUID kEcho{"FFF2"};
    static inline const BLEUUID kInfo{"FFF3"};
    static inline const std::string kIdentifier = "6E400001-B5A3-F393-E0A9-E50E24DCCA9E";

    static VirtualPeripheralConfig defaultConfig() {
        VirtualPeripheralConfig config;
        config.identifier = kIdentifier;
        config.name = "Echo";
        config.localName = "Echo LE";
        return config;
    }

    explicit EchoDevice(VirtualPeripheralConfig config = defaultConfig()) : VirtualPeripheral(std::move(config)) {
        addCharacteristic(kService, kNotify, CharacteristicPropertyNotify);
        addCharacteristic(kService, kEcho, CharacteristicPropertyWrite | CharacteristicPropertyWriteWithoutResponse);
        addCharacteristic(kService, kInfo, CharacteristicPropertyRead);
        setReadValue(kInfo, {0xCA, 0xFE});
    }

    int connections() const {
        std::lock_guard lock(mutex_);
        return connections_;
    }
    int disconnections() const {
        std::lock_guard lock(mutex_);
        return disconnections_;
    }
    std::vector<std::vector<std::uint8_t>> writes() const {
        std::lock_guard lock(mutex_);
        return writes_;
    }

protected:
    void onConnected() override {
        std::lock_guard lock(mutex_);
        ++connections_;
    }
    void onDisconnected() override {
        std::lock_guard lock(mutex_);
        ++disconnections_;
    }
    void onWrite(const BLEUUID& characteristic, const std::vector<std::uint8_t>& value, WriteType) override {
        {
            std::lock_guard lock(mutex_);
            writes_.push_back(value);
        }
        if (characteristic == kEcho) notify(kNotify, value);
    }

private:
    mutable std::mutex mutex_;
    int connections_ = 0;
    int disconnections_ = 0;
    std::vector<std::vector<std::uint8_t>> writes_;
};

}  // namespace halvora::lab::test
