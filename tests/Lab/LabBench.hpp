#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "EchoDevice.hpp"
#include "EventRecorder.hpp"
#include "halvora/Runtime/VirtualExecutor.hpp"
#include "lab/LabTransport.hpp"
#include "lab/Radio.hpp"

namespace halvora::lab::test {

/// A virtual executor, a radio with one echo device in range and a central whose events are recorded.
struct LabBench {
    struct Gatt {
        std::shared_ptr<Characteristic> notify;
        std::shared_ptr<Characteristic> echo;
        std::shared_ptr<Characteristic> info;
    };

    explicit LabBench(std::uint64_t seed = 1)
        : executor(VirtualExecutor::create()),
          radio(std::make_shared<Radio>(executor, seed)),
          transport(radio),
          device(std::make_shared<EchoDevice>()),
          recorder(std::make_shared<EventRecorder>()),
          queue(executor->makeQueue("halvora.cb")) {
        radio->addPeripheral(device);
        central = makeCentral(recorder);
        settle();
        recorder->clear();
    }

    std::shared_ptr<Central> makeCentral(const std::shared_ptr<EventRecorder>& delegate,
                                         std::optional<std::string> restoreIdentifier = std::nullopt) {
        return transport.makeCentral(delegate, queue, CentralOptions{std::move(restoreIdentifier)});
    }

    /// Lets a virtual second pass: enough for every latency of the lab.
    void settle() { executor->advance(std::chrono::seconds(1)); }

    /// The echo device as `on` sees it, with `delegate` receiving its events.
    std::shared_ptr<Peripheral> echo(const std::shared_ptr<Central>& on,
                                     const std::shared_ptr<EventRecorder>& delegate) const {
        auto found = on->retrievePeripheralsWithIdentifiers({EchoDevice::kIdentifier});
        if (found.size() != 1) return nullptr;
        found.front()->setDelegate(delegate);
        return found.front();
    }
    std::shared_ptr<Peripheral> echo() const { return echo(central, recorder); }

    /// Discovers the echo service and its characteristics over an established link.
    static Gatt discover(const std::shared_ptr<Peripheral>& peripheral, VirtualExecutor& executor) {
        peripheral->discoverServices(std::nullopt);
        executor.advance(std::chrono::seconds(1));
        Gatt gatt;
        auto services = peripheral->services();
        if (services.empty()) return gatt;
        peripheral->discoverCharacteristics({}, services.front());
        executor.advance(std::chrono::seconds(1));
        gatt.notify = services.front()->characteristic(EchoDevice::kNotify);
        gatt.echo = services.front()->characteristic(EchoDevice::kEcho);
        gatt.info = services.front()->characteristic(EchoDevice::kInfo);
        return gatt;
    }

    /// Connects `peripheral`, discovers it and switches notifications on; the recorder is then cleared.
    Gatt connectReady(const std::shared_ptr<Peripheral>& peripheral) {
        central->connectPeripheral(peripheral, {});
        settle();
        Gatt gatt = discover(peripheral, *executor);
        EXPECT_TRUE(gatt.notify && gatt.echo && gatt.info);
        if (gatt.notify) peripheral->setNotifyValue(true, gatt.notify);
        settle();
        recorder->clear();
        return gatt;
    }

    std::shared_ptr<VirtualExecutor> executor;
    std::shared_ptr<Radio> radio;
    LabTransport transport;
    std::shared_ptr<EchoDevice> device;
    std::shared_ptr<EventRecorder> recorder;
    std::shared_ptr<SerialQueue> queue;
    std::shared_ptr<Central> central;
};

using Lines = std::vector<std::string>;

}  // namespace halvora::lab::test
