#include <gtest/gtest.h>

#include <future>
#include <thread>

#include "Devices/Bracelet/RecordingBraceletDelegate.hpp"
#include "halvora/Core/ApplicationDelegates.hpp"
#include "halvora/Core/PreferenceUtils.hpp"
#include "halvora/Devices/Bracelet/HalvoraSDKBracelet.hpp"
#include "halvora/Runtime/ThreadedExecutor.hpp"
#include "support/FakePeripheral.hpp"
#include "support/TempDir.hpp"

namespace halvora::test {
namespace {

class Application : public ApplicationDelegates {
public:
    std::shared_ptr<HalvoraBraceletDelegate> braceletDelegate() const override { return bracelet; }
    std::shared_ptr<RecordingBraceletDelegate> bracelet = std::make_shared<RecordingBraceletDelegate>();
};

/// Runs `work` on the queue and returns its result to the calling thread.
template <typename Work>
auto onQueue(SerialQueue& queue, Work work) {
    std::promise<decltype(work())> result;
    queue.async([&] { result.set_value(work()); });
    return result.get_future().get();
}

// The driver lives on the callback queue of real threads; the application reads the activity flag from its
// own thread meanwhile.
TEST(BraceletThreaded, DriverOnTheCallbackQueueWhileTheApplicationReadsItsState) {
    TempDir folder;
    auto executor = ThreadedExecutor::create();
    auto queue = executor->makeQueue("halvora.cb");
    auto log = Log::makeSilent();
    auto application = std::make_shared<Application>();
    auto peripheral = std::make_shared<FakePeripheral>("6D1E0F2A-0000-4000-8000-0000000000B3", "RM-610HR");
    peripheral->addService(HalvoraSDKBracelet::rsServiceUUID(),
                           {{HalvoraSDKBracelet::readCharacteristicUUID(), CharacteristicPropertyNotify},
                            {HalvoraSDKBracelet::sendCharacteristicUUID(), CharacteristicPropertyWrite}});
    auto driver = std::make_shared<HalvoraSDKBracelet>(DriverContext{
        executor, queue, log, std::make_shared<PreferenceUtils>(folder.file("preferences"), log.get()), application, {}});
    auto play = [&](const std::string& text) {
        peripheral->playNotification(HalvoraSDKBracelet::readCharacteristicUUID(), {text.begin(), text.end()});
    };
    auto written = [&] {
        std::string text;
        for (const auto& write : peripheral->writes) text.append(write.value.begin(), write.value.end());
        return text;
    };

    queue->async([&] {
        driver->setPeripheral(peripheral, {});
        driver->didConnect();
        peripheral->playServicesDiscovered();
        peripheral->playCharacteristicsDiscovered(HalvoraSDKBracelet::rsServiceUUID());
        play("NT+TOPACE:5\r\n");
    });
    while (!driver->isRunning()) std::this_thread::yield();
    while (onQueue(*queue, written).empty()) std::this_thread::sleep_for(std::chrono::milliseconds(5));
    queue->async([&] {
        play("BT+IOS:OK\r\n");
        play("AT+UNITS:OK\r\n");
        driver->getCurrentSteps();
        play("AT+RUN:0\r\n");
    });
    while (onQueue(*queue, written) != "BT+IOS=1\r\nAT+UNITS=1\r\nAT+PACE\r\n") {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_FALSE(driver->isRunning());
    EXPECT_EQ(onQueue(*queue, [&] { return application->bracelet->events; }), std::vector<std::string>{"activity 5"});
    onQueue(*queue, [&] {
        driver->deinit();
        return 0;
    });
    executor->shutdown();
}

}  // namespace
}  // namespace halvora::test
