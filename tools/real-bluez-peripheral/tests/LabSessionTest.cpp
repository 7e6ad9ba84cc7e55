// The bridge's lab side: what bluetoothd asks of a characteristic reaches the lab device, and the
// device's answers and notifications come back for the right requests and characteristics.
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <vector>

#include "LabSession.hpp"
#include "lab/LabFaults.hpp"
#include "lab/VirtualPeripheral.hpp"

namespace halvora::realbluez {
namespace {

using namespace std::chrono_literals;
using Bytes = std::vector<std::uint8_t>;

const BLEUUID kService("FFF0");
const BLEUUID kEcho("FFF1");
const AttributeKey kEchoKey{kService, kEcho};
constexpr auto kPatience = 5s;

/// A device with one characteristic that answers reads with a fixed value and echoes every write as a
/// notification.
class EchoDevice : public lab::VirtualPeripheral {
public:
    EchoDevice() : VirtualPeripheral(config()) {
        addCharacteristic(kService, kEcho,
                          CharacteristicPropertyRead | CharacteristicPropertyWrite | CharacteristicPropertyNotify);
        setReadValue(kEcho, {1, 2, 3});
    }

protected:
    void onWrite(const BLEUUID& characteristic, const Bytes& value, WriteType /*type*/) override {
        notify(characteristic, value);
    }

private:
    static lab::VirtualPeripheralConfig config() {
        lab::VirtualPeripheralConfig c;
        c.identifier = "5A1E0000-0000-4000-8000-000000000001";
        c.name = "Echo";
        return c;
    }
};

/// What the session reported, with waits for it (its callbacks run on the lab's threads).
class Recorder {
public:
    LabSession::Listener listener() {
        LabSession::Listener l;
        l.ready = [this] { update([this] { ++readyCount_; }); };
        l.linkLost = [this](const std::string&) { update([this] { ++lostCount_; }); };
        l.notified = [this](const AttributeKey& key, const Bytes& value) {
            update([this, key, value] { notifications_.emplace_back(key, value); });
        };
        return l;
    }
    template <typename Predicate>
    bool waitFor(Predicate predicate) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, kPatience, predicate);
    }
    bool waitForReady(int count) {
        return waitFor([this, count] { return readyCount_ >= count; });
    }
    bool waitForNotifications(std::size_t count) {
        return waitFor([this, count] { return notifications_.size() >= count; });
    }
    /// The links lost so far; for waitFor()'s predicates, which run under the lock.
    int lostCountLocked() const { return lostCount_; }
    std::vector<std::pair<AttributeKey, Bytes>> notifications() {
        std::lock_guard lock(mutex_);
        return notifications_;
    }
    /// Runs `change` under the lock and wakes the waiters.
    template <typename Change>
    void update(Change change) {
        {
            std::lock_guard lock(mutex_);
            change();
        }
        changed_.notify_all();
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    int readyCount_ = 0;
    int lostCount_ = 0;
    std::vector<std::pair<AttributeKey, Bytes>> notifications_;
};

/// The answer of one request, once it came.
struct Answer {
    std::optional<Bytes> value;
    OptionalError error;
    bool arrived = false;
};

class LabSessionTest : public ::testing::Test {
protected:
    void SetUp() override {
        device_ = std::make_shared<EchoDevice>();
        session_ = std::make_shared<LabSession>(device_, 1, recorder_.listener());
        session_->start(session_);
        ASSERT_TRUE(recorder_.waitForReady(1));
    }
    void TearDown() override { session_->stop(); }

    Answer read(const AttributeKey& key) {
        auto answer = std::make_shared<Answer>();
        session_->read(key, [this, answer](const Bytes& value, const OptionalError& error) {
            recorder_.update([&] { *answer = Answer{value, error, true}; });
        });
        recorder_.waitFor([answer] { return answer->arrived; });
        return *answer;
    }
    Answer await(const std::function<void(LabSession::Done)>& request) {
        auto answer = std::make_shared<Answer>();
        request([this, answer](const OptionalError& error) {
            recorder_.update([&] { *answer = Answer{std::nullopt, error, true}; });
        });
        recorder_.waitFor([answer] { return answer->arrived; });
        return *answer;
    }

    Recorder recorder_;
    std::shared_ptr<EchoDevice> device_;
    std::shared_ptr<LabSession> session_;
};

TEST_F(LabSessionTest, ReadAnswersWithTheDevicesValue) {
    const auto answer = read(kEchoKey);
    ASSERT_TRUE(answer.arrived);
    EXPECT_FALSE(answer.error);
    EXPECT_EQ(answer.value, (Bytes{1, 2, 3}));
    EXPECT_TRUE(recorder_.notifications().empty()) << "a read's answer is no notification";
}

TEST_F(LabSessionTest, NotificationsFlowOnlyOnceSwitchedOn) {
    auto write = [this](Bytes value) {
        return await(
            [this, value](LabSession::Done done) { session_->write(kEchoKey, value, WriteType::WithResponse, done); });
    };
    ASSERT_FALSE(write({7}).error);
    ASSERT_FALSE(await([this](LabSession::Done done) { session_->setNotify(kEchoKey, true, done); }).error);
    ASSERT_FALSE(write({8, 9}).error);
    ASSERT_TRUE(recorder_.waitForNotifications(1));
    const auto notifications = recorder_.notifications();
    ASSERT_EQ(notifications.size(), 1u) << "the write before the switch notified nobody";
    EXPECT_EQ(notifications[0].first, kEchoKey);
    EXPECT_EQ(notifications[0].second, (Bytes{8, 9}));
}

TEST_F(LabSessionTest, RequestsForACharacteristicTheDeviceLacksFail) {
    const AttributeKey unknown{kService, BLEUUID("AAAA")};
    const std::vector<std::pair<const char*, std::function<void(LabSession::Done)>>> requests = {
        {"write", [&](LabSession::Done done) { session_->write(unknown, {1}, WriteType::WithResponse, done); }},
        {"write without response",
         [&](LabSession::Done done) { session_->write(unknown, {1}, WriteType::WithoutResponse, done); }},
        {"notify switch", [&](LabSession::Done done) { session_->setNotify(unknown, true, done); }},
    };
    for (const auto& [name, request] : requests) {
        const auto answer = await(request);
        ASSERT_TRUE(answer.arrived) << name;
        ASSERT_TRUE(answer.error) << name;
        EXPECT_EQ(answer.error->code, BLEErrorNotConnected) << name;
    }
    const auto answer = read(unknown);
    ASSERT_TRUE(answer.error);
    EXPECT_EQ(answer.error->code, BLEErrorNotConnected);
}

TEST_F(LabSessionTest, ALostLinkFailsWaitingRequestsAndComesBack) {
    lab::LabFaults slow;
    slow.replyDelay = 300ms;
    device_->setFaults(slow);
    auto answer = std::make_shared<Answer>();
    session_->read(kEchoKey, [this, answer](const Bytes& value, const OptionalError& error) {
        recorder_.update([&] { *answer = Answer{value, error, true}; });
    });
    device_->dropLink();
    ASSERT_TRUE(recorder_.waitFor([answer] { return answer->arrived; }));
    ASSERT_TRUE(answer->error) << "the read was waiting when the link went";
    EXPECT_EQ(answer->error->code, BLEErrorNotConnected);
    EXPECT_TRUE(recorder_.waitFor([this] { return recorder_.lostCountLocked() == 1; }));

    device_->setFaults({});
    ASSERT_TRUE(recorder_.waitForReady(2)) << "the session links up again";
    EXPECT_EQ(read(kEchoKey).value, (Bytes{1, 2, 3}));
}

}  // namespace
}  // namespace halvora::realbluez
