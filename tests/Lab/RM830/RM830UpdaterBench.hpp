#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "RM830Bench.hpp"
#include "lab/Devices/RM830/VirtualRM830Bootloader.hpp"

namespace halvora::lab::test {

/// A virtual RM830 (RM830Bench) that the phone can switch into its bootloader, and the bootloader as the
/// phone sees it once connected, discovered and notifying on the control point. Virtual clock.
struct RM830UpdaterBench {
    using Bootloader = VirtualRM830Bootloader;

    explicit RM830UpdaterBench(const RM830Script& script = {}) : rm830(script) {}

    /// Sends 0x47 and lets the switch delay pass: the bracelet is then off the air, its bootloader on.
    void switchToUpdater() {
        rm830.ask(RM830Bench::command(0x47));
        rm830.lab.executor->advance(rm830.bracelet->script().updater.switchDelay);
    }
    /// Connects the bootloader, discovers its characteristics and switches the control point's
    /// notifications on; forgets the events so far.
    void connect() {
        auto found = rm830.lab.central->retrievePeripheralsWithIdentifiers({bootloader->identifier()});
        ASSERT_EQ(found.size(), 1U);
        peripheral = found.front();
        peripheral->setDelegate(log);
        rm830.lab.central->connectPeripheral(peripheral, {});
        rm830.lab.settle();
        peripheral->discoverServices(std::vector<BLEUUID>{Bootloader::kService});
        rm830.lab.settle();
        ASSERT_EQ(peripheral->services().size(), 1U);
        auto service = peripheral->services().front();
        peripheral->discoverCharacteristics({}, service);
        rm830.lab.settle();
        controlPoint = service->characteristic(Bootloader::kControlPoint);
        packet = service->characteristic(Bootloader::kPacket);
        ASSERT_TRUE(controlPoint && packet);
        peripheral->setNotifyValue(true, controlPoint);
        rm830.lab.settle();
        log->take();
        rm830.lab.recorder->clear();
    }
    /// Both: the bootloader on the air and connected.
    void switchAndConnect() {
        switchToUpdater();
        connect();
    }

    /// Writes a request to the control point (with response) and returns what came back within a round trip.
    Frames request(const Bytes& value) {
        peripheral->writeValue(value, controlPoint, WriteType::WithResponse);
        return afterRoundTrip();
    }
    Frames request(const std::string& hexValue) { return request(halvora::test::bytes(hexValue)); }
    /// Writes one packet (without response) and returns what came back within a round trip.
    Frames sendPacket(const Bytes& value) {
        peripheral->writeValue(value, packet, WriteType::WithoutResponse);
        return afterRoundTrip();
    }
    Frames afterRoundTrip() {
        rm830.lab.executor->advance(RM830Bench::kRoundTrip);
        return log->take();
    }

    /// The new procedure's sizes packet for an application of `size` bytes.
    static Bytes sizes(std::uint32_t size) {
        Bytes out(12, 0);
        for (int i = 0; i < 4; ++i) out[8 + i] = static_cast<std::uint8_t>(size >> (8 * i));
        return out;
    }
    /// An image of `size` bytes: with a header ("J055" and the four version bytes) when `version` is given,
    /// then a counting pattern.
    static Bytes image(std::size_t size, std::optional<std::array<std::uint8_t, 4>> version = std::nullopt) {
        Bytes out(size);
        for (std::size_t i = 0; i < size; ++i) out[i] = static_cast<std::uint8_t>(i * 7 + 3);
        if (version) {
            const Bytes header{'J', '0', '5', '5', (*version)[0], (*version)[1], (*version)[2], (*version)[3]};
            for (std::size_t i = 0; i < header.size() && i < size; ++i) out[i] = header[i];
        }
        return out;
    }
    /// Packet n (20 bytes, the last one shorter) of `image`.
    static Bytes packetOf(const Bytes& image, std::size_t n) {
        const std::size_t from = std::min(image.size(), n * 20);
        const std::size_t to = std::min(image.size(), from + 20);
        return {image.begin() + static_cast<std::ptrdiff_t>(from), image.begin() + static_cast<std::ptrdiff_t>(to)};
    }

    RM830Bench rm830;
    std::shared_ptr<Bootloader> bootloader = rm830.bracelet->bootloader();
    std::shared_ptr<NotificationLog> log = std::make_shared<NotificationLog>(Bootloader::kControlPoint);
    std::shared_ptr<Peripheral> peripheral;
    std::shared_ptr<Characteristic> controlPoint;
    std::shared_ptr<Characteristic> packet;
};

}  // namespace halvora::lab::test
