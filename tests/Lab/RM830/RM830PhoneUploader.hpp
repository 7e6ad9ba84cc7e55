#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "halvora/Runtime/Executor.hpp"
#include "halvora/Transport/Peripheral.hpp"
#include "halvora/Transport/PeripheralDelegate.hpp"
#include "lab/Devices/RM830/VirtualRM830Bootloader.hpp"

namespace halvora::lab::test {

/// Plays the phone's side of a firmware update with hand-written bytes, paced as the kit's engine paces
/// it: 01 04 and the sizes; on 10 01 01 the receipt interval (08 NN 00), 03 and the first burst; on every
/// receipt (11) the next burst of `burst` 20-byte packets, written at once; on 10 03 01 the validation
/// (04); on 10 04 01 the activation (05) when asked for. Records when each receipt arrived. Runs on the
/// central's queue; its results may be read from any thread.
class RM830PhoneUploader : public PeripheralDelegate {
public:
    using Bytes = std::vector<std::uint8_t>;

    RM830PhoneUploader(std::shared_ptr<Executor> executor, Bytes image, int burst, bool activate)
        : executor_(std::move(executor)), image_(std::move(image)), burst_(burst), activate_(activate) {}

    /// Starts the update over `peripheral`, whose control point notifies already.
    void start(const std::shared_ptr<Peripheral>& peripheral, const std::shared_ptr<Characteristic>& controlPoint,
               const std::shared_ptr<Characteristic>& packet) {
        peripheral_ = peripheral;
        controlPoint_ = controlPoint;
        packet_ = packet;
        write({0x01, 0x04});
        Bytes sizes(12, 0);
        for (int i = 0; i < 4; ++i) sizes[8 + i] = static_cast<std::uint8_t>(image_.size() >> (8 * i));
        peripheral_->writeValue(sizes, packet_, WriteType::WithoutResponse);
    }

    void peripheralDidUpdateValueForCharacteristic(const std::shared_ptr<Peripheral>&,
                                                   const std::shared_ptr<Characteristic>& characteristic,
                                                   const std::vector<std::uint8_t>& value,
                                                   const OptionalError& error) override {
        if (error || characteristic->uuid() != VirtualRM830Bootloader::kControlPoint || value.empty()) return;
        if (value[0] == 0x11) {
            {
                std::lock_guard lock(mutex_);
                receipts_.push_back(executor_->now());
            }
            if (nextPacket_ < packetCount()) writeBurst();
            return;
        }
        if (value.size() < 3 || value[0] != 0x10) return;
        const bool success = value[2] == 0x01;
        if (value[1] == 0x01 && success) {
            write({0x08, static_cast<std::uint8_t>(burst_), 0x00});
            write({0x03});
            writeBurst();
        } else if (value[1] == 0x03 && success) {
            write({0x04});
        } else if (value[1] == 0x04 && success) {
            {
                std::lock_guard lock(mutex_);
                validated_ = true;
            }
            if (activate_) write({0x05});
        }
    }

    /// Arrival times of the receipts.
    std::vector<MonotonicTime> receipts() const {
        std::lock_guard lock(mutex_);
        return receipts_;
    }
    /// Whether 10 04 01 arrived.
    bool validated() const {
        std::lock_guard lock(mutex_);
        return validated_;
    }

private:
    std::size_t packetCount() const { return (image_.size() + 19) / 20; }
    void write(const Bytes& value) { peripheral_->writeValue(value, controlPoint_, WriteType::WithResponse); }
    void writeBurst() {
        for (int i = 0; i < burst_ && nextPacket_ < packetCount(); ++i, ++nextPacket_) {
            const std::size_t from = nextPacket_ * 20;
            const std::size_t to = std::min(image_.size(), from + 20);
            peripheral_->writeValue(Bytes(image_.begin() + static_cast<std::ptrdiff_t>(from),
                                          image_.begin() + static_cast<std::ptrdiff_t>(to)),
                                    packet_, WriteType::WithoutResponse);
        }
    }

    const std::shared_ptr<Executor> executor_;
    const Bytes image_;
    const int burst_;
    const bool activate_;
    std::shared_ptr<Peripheral> peripheral_;
    std::shared_ptr<Characteristic> controlPoint_;
    std::shared_ptr<Characteristic> packet_;
    std::size_t nextPacket_ = 0;  // the central's queue only
    mutable std::mutex mutex_;
    std::vector<MonotonicTime> receipts_;
    bool validated_ = false;
};

}  // namespace halvora::lab::test
