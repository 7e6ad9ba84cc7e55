// A device leaving the air by its own doing (VirtualPeripheral::setPresent()), apart from its scripted faults.
#include <gtest/gtest.h>

#include "LabBench.hpp"

namespace halvora::lab::test {
namespace {

/// Scans for a second and returns how often the echo device was heard.
std::size_t heard(LabBench& bench) {
    bench.recorder->clear();
    bench.central->scanForPeripheralsWithServices({}, ScanOptions{true});
    bench.settle();
    bench.central->stopScan();
    bench.settle();
    const auto count = bench.recorder->count("discover Echo LE");
    bench.recorder->clear();
    return count;
}

TEST(LinkPresence, AbsentDeviceDropsItsLinkStopsAdvertisingAndRefusesConnections) {
    LabBench bench;
    auto peripheral = bench.echo();
    bench.connectReady(peripheral);
    LabFaults faults;
    faults.replyDelay = std::chrono::milliseconds(7);
    bench.device->setFaults(faults);

    bench.device->setPresent(false);
    bench.settle();
    EXPECT_FALSE(bench.device->isPresent());
    EXPECT_EQ(bench.recorder->lines(), Lines{"disconnect Echo error 5"});
    EXPECT_EQ(heard(bench), 0U);
    bench.central->connectPeripheral(peripheral, {});
    bench.settle();
    EXPECT_EQ(bench.recorder->lines(), Lines{"fail Echo error 4"});
    // The scripted faults are the script's: leaving the air does not touch them.
    EXPECT_EQ(bench.device->faults().replyDelay, std::chrono::milliseconds(7));
    EXPECT_TRUE(bench.device->faults().inRange);

    bench.device->setPresent(true);
    EXPECT_GT(heard(bench), 0U);
    bench.central->connectPeripheral(peripheral, {});
    bench.settle();
    EXPECT_EQ(bench.recorder->lines(), Lines{"connect Echo"});

    // Present but scripted out of range: still away.
    bench.central->cancelPeripheralConnection(peripheral);
    bench.settle();
    faults.inRange = false;
    bench.device->setFaults(faults);
    bench.device->setPresent(false);
    bench.device->setPresent(true);
    EXPECT_EQ(heard(bench), 0U);
}

}  // namespace
}  // namespace halvora::lab::test
