#pragma once

// A text-command bracelet driver under test: a virtual executor with the callback queue, a preferences file
// of its own, a stand-in for the application's delegates that hands out a recording bracelet delegate, a
// peripheral double playing the bracelet's side, and the driver bound to them. Notifications are played
// straight into the driver; commands run when the executor runs.
#include <memory>
#include <string>
#include <vector>

#include "Devices/Bracelet/RecordingBraceletDelegate.hpp"
#include "halvora/Core/ApplicationDelegates.hpp"
#include "halvora/Core/PreferenceUtils.hpp"
#include "halvora/Devices/Bracelet/HalvoraSDKBracelet.hpp"
#include "halvora/Runtime/VirtualExecutor.hpp"
#include "support/FakePeripheral.hpp"
#include "support/RecordingDeviceDelegate.hpp"
#include "support/TempDir.hpp"

namespace halvora::test {

/// The application as the driver sees it: only the bracelet's delegate, which a test may take away.
class BraceletApplication : public ApplicationDelegates {
public:
    std::shared_ptr<HalvoraBraceletDelegate> braceletDelegate() const override { return bracelet; }
    std::shared_ptr<RecordingBraceletDelegate> bracelet = std::make_shared<RecordingBraceletDelegate>();
};

class BraceletRig {
public:
    using Driver = HalvoraSDKBracelet;

    explicit BraceletRig(std::uint8_t writeProperties = CharacteristicPropertyWriteWithoutResponse) {
        peripheral->addService(Driver::rsServiceUUID(),
                               {{Driver::readCharacteristicUUID(), CharacteristicPropertyNotify},
                                {Driver::sendCharacteristicUUID(), writeProperties}});
        driver->setPeripheral(peripheral, reports);
    }

    BraceletRig(const BraceletRig&) = delete;
    BraceletRig& operator=(const BraceletRig&) = delete;

    ~BraceletRig() {
        driver->deinit();
        executor->dropPending();
    }

    /// didConnect, services, characteristics and the notification descriptor, as a bracelet answers them.
    void connect() {
        driver->didConnect();
        peripheral->playServicesDiscovered();
        peripheral->playCharacteristicsDiscovered(Driver::rsServiceUUID());
        peripheral->playDescriptorWritten(Driver::readCharacteristicUUID());
    }

    /// Connects and answers the two opening commands, leaving the slot free and nothing written.
    void open() {
        connect();
        executor->advance(Driver::kOpeningDelay);
        play("BT+IOS:OK\r\n");
        play("AT+UNITS:OK\r\n");
        peripheral->writes.clear();
        app->clear();
        reports->clear();
    }

    /// Plays one notification (text) and runs what it set off.
    void play(const std::string& text) { playBytes(std::vector<std::uint8_t>(text.begin(), text.end())); }
    void playBytes(const std::vector<std::uint8_t>& value) {
        peripheral->playNotification(Driver::readCharacteristicUUID(), value);
        settle();
    }
    void settle() { executor->runUntilIdle(); }

    /// Everything written since the last clear, as one text.
    std::string written() const {
        std::string text;
        for (const auto& write : peripheral->writes) text.append(write.value.begin(), write.value.end());
        return text;
    }
    /// Everything written, cut after each "\r\n" (a last piece without one stands alone).
    std::vector<std::string> commands() const {
        std::vector<std::string> out;
        const std::string text = written();
        std::size_t start = 0;
        for (std::size_t end = text.find("\r\n"); end != std::string::npos; end = text.find("\r\n", start)) {
            out.push_back(text.substr(start, end + 2 - start));
            start = end + 2;
        }
        if (start < text.size()) out.push_back(text.substr(start));
        return out;
    }
    void clearWrites() { peripheral->writes.clear(); }

    /// Free permits of the command slot (0 while a command waits for its answer).
    std::int64_t permits() const { return driver->commandQueue().permits(); }
    std::size_t pendingCommands() const { return driver->commandQueue().pendingCount(); }

    TempDir folder;
    std::shared_ptr<VirtualExecutor> executor = VirtualExecutor::create();
    std::shared_ptr<SerialQueue> callbackQueue = executor->makeQueue("halvora.cb");
    std::vector<std::string> logLines;
    std::shared_ptr<Log> log = std::make_shared<Log>([this](const std::string& line) { logLines.push_back(line); });
    std::shared_ptr<PreferenceUtils> preferences =
        std::make_shared<PreferenceUtils>(folder.file("preferences"), log.get());
    std::shared_ptr<BraceletApplication> application = std::make_shared<BraceletApplication>();
    std::shared_ptr<RecordingBraceletDelegate> app = application->bracelet;
    std::shared_ptr<RecordingDeviceDelegate> reports = std::make_shared<RecordingDeviceDelegate>();
    std::shared_ptr<FakePeripheral> peripheral =
        std::make_shared<FakePeripheral>("6D1E0F2A-0000-4000-8000-0000000000B1", Driver::getName());
    std::shared_ptr<Driver> driver =
        std::make_shared<Driver>(DriverContext{executor, callbackQueue, log, preferences, application, {}});
};

}  // namespace halvora::test
