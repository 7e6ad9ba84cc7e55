#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "Devices/Vital/VitalFrameTest.hpp"
#include "Devices/Vital/VitalRig.hpp"

namespace halvora::test {
namespace {

using Driver = HalvoraSDKBraceletVital;
using std::chrono::seconds;

TEST(VitalIdentity, NameMatchingAndIdentity) {
    struct Case {
        std::optional<std::string> name;
        bool matches;
        bool correct;
    };
    const std::vector<Case> cases = {
        {"J2025E", true, true},   {"xJ2025E-2", true, false},   {"J2025", false, false},
        {"j2025e", false, false}, {std::nullopt, false, false},
    };
    for (const auto& c : cases) {
        auto peripheral = std::make_shared<FakePeripheral>("A-1", c.name);
        EXPECT_EQ(Driver::matchDevice(peripheral), c.matches) << c.name.value_or("(no name)");
        Driver driver;
        driver.setDevice(peripheral);
        EXPECT_EQ(driver.isCorrectDevice(), c.correct) << c.name.value_or("(no name)");
        EXPECT_EQ(driver.getIdentifier(), "A-1");
    }
    Driver bare;
    EXPECT_EQ(bare.getIdentifier(), "-");
    EXPECT_FALSE(bare.isCorrectDevice());
    EXPECT_EQ(bare.getType(), 10);
    EXPECT_EQ(Driver::rsServiceUUID(), BLEUUID("FFF0"));
    EXPECT_EQ(Driver::sendCharacteristicUUID(), BLEUUID("FFF6"));
    EXPECT_EQ(Driver::readCharacteristicUUID(), BLEUUID("FFF7"));
}

TEST(VitalEngine, ReadyRemembersTheBraceletTwice) {
    VitalRig rig;
    rig.open();
    EXPECT_EQ(rig.reports->events(), (std::vector<std::string>{"connected", "ready", "ready"}));
    EXPECT_EQ(rig.preferences->getBraceletUUID(), std::string(VitalRig::kIdentifier));
}

TEST(VitalEngine, ChecksumIsTheSignedSumLowByte) {
    // 0x7F + 0x80 + 0x80 + 0x80 + 0x80 = 0x27F; as signed bytes 127 - 4 * 128 = -385, low byte 0x7F.
    const std::vector<std::uint8_t> mixed = {0x7F, 0x80, 0x80, 0x80, 0x80};
    EXPECT_EQ(Driver::calculateChecksum(mixed, 5), 0x7F);
    EXPECT_EQ(Driver::calculateChecksum(mixed, 1), 0x7F);
    EXPECT_EQ(Driver::calculateChecksum(mixed, 0), 0);
    EXPECT_EQ(Driver::calculateChecksum(mixed, -3), 0);
    EXPECT_EQ(Driver::calculateChecksum(mixed, 99), 0x7F);  // never past the bytes given
    // Bytes 0..14 summing to 0x1FF carry 0xFF in byte 15 (0x0B goal FF FF 00 00 ... : 0x0B + 0xFF + 0xF5 = 0x1FF).
    VitalRig rig;
    rig.open();
    rig.driver->setStepGoal(0xF5FF);
    rig.settle();
    ASSERT_EQ(rig.frames().size(), 1U);
    EXPECT_EQ(rig.frames()[0], "0B FF F5 00 00 00 00 00 00 00 00 00 00 00 00 FF");
}

TEST(VitalEngine, LongWritesAreCutIntoTwentyBytePieces) {
    for (std::size_t length : {20U, 21U, 41U}) {
        VitalRig rig;
        rig.open();
        rig.driver->writeRawData(std::vector<std::uint8_t>(length, 0xA5));
        std::vector<std::size_t> sizes;
        for (const auto& write : rig.peripheral->writes) sizes.push_back(write.value.size());
        const std::vector<std::vector<std::size_t>> expected = {{20}, {20, 1}, {20, 20, 1}};
        EXPECT_EQ(sizes, expected[length == 20 ? 0 : length == 21 ? 1 : 2]) << length;
        for (const auto& write : rig.peripheral->writes) EXPECT_EQ(write.type, WriteType::WithoutResponse);
    }
    VitalRig withResponse(Driver::getName(), CharacteristicPropertyWrite);
    withResponse.open();
    withResponse.driver->writeRawData({1, 2});
    ASSERT_EQ(withResponse.peripheral->writes.size(), 1U);
    EXPECT_EQ(withResponse.peripheral->writes[0].type, WriteType::WithResponse);
    VitalRig notWritable(Driver::getName(), CharacteristicPropertyRead);
    notWritable.open();
    notWritable.driver->writeRawData({1, 2});
    EXPECT_TRUE(notWritable.peripheral->writes.empty());
}

TEST(VitalEngine, EveryReplyIsLogged) {
    VitalRig rig;
    rig.open();
    rig.play("4B 10 27");
    ASSERT_FALSE(rig.logLines.empty());
    EXPECT_EQ(rig.logLines[0], "HalvoraSDK: Measure BRACELET VITAL: 0x4b, 0x10, 0x27, ");
}

// One request outstanding: the permit held from request to reply, and the next request waits for it.
TEST(VitalEngine, OneRequestAtATimeAndTheWaitRunsOutAfterSixtySeconds) {
    VitalRig rig;
    rig.open();
    rig.driver->getTime();
    rig.driver->getStepGoal();
    rig.settle();
    EXPECT_EQ(rig.codes(), std::vector<std::string>{"41"});
    rig.executor->advance(seconds(59));
    rig.settle();
    EXPECT_EQ(rig.codes(), std::vector<std::string>{"41"});
    rig.executor->advance(seconds(1));
    rig.settle();
    EXPECT_EQ(rig.codes(), (std::vector<std::string>{"41", "4B"}));
    rig.play("4B 10 27 00 00");
    EXPECT_EQ(rig.app->events, std::vector<std::string>{"info 3 -1"});
    EXPECT_EQ(rig.permits(), 1);
    EXPECT_EQ(std::get<std::int32_t>(rig.app->responses[0].data), 10000);
    EXPECT_EQ(rig.app->identifiers[0], VitalRig::kIdentifier);
}

TEST(VitalEngine, RepliesNobodyAskedForHandOutNoSparePermit) {
    VitalRig rig;
    rig.open();
    rig.play("01");
    rig.play("77");
    rig.play("09 01 00 00 00 48 6A 01");
    EXPECT_EQ(rig.permits(), 1);
    rig.driver->getTime();
    rig.driver->getStepGoal();
    rig.settle();
    EXPECT_EQ(rig.codes(), std::vector<std::string>{"41"});  // the second still waits
}

TEST(VitalEngine, DeinitLetsWaitingRequestsGo) {
    VitalRig rig;
    rig.open();
    rig.driver->getTime();
    rig.driver->getStepGoal();
    rig.settle();
    rig.driver->deinit();
    rig.settle();
    EXPECT_EQ(rig.codes(), (std::vector<std::string>{"41", "4B"}));
}

}  // namespace
}  // namespace halvora::test
