#pragma once

// An RM830 bracelet driver under test: a virtual executor with the callback queue, a preferences file of its
// own, a stand-in for the application (the RM830 delegate and the device delegate, both recording) and for
// the manager's connector (recording), a peripheral double playing the bracelet's side, and the driver bound
// to them. Answers are played straight into the driver; commands run when the executor runs. Frames are
// written and compared as hex ("01 18 07 ...").
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Devices/RM830/RecordingRM830Delegate.hpp"
#include "halvora/Core/ApplicationDelegates.hpp"
#include "halvora/Core/DeviceConnector.hpp"
#include "halvora/Core/PreferenceUtils.hpp"
#include "halvora/Devices/RM830/HalvoraSDKBraceletRM830.hpp"
#include "halvora/Manager/HalvoraDeviceDelegate.hpp"
#include "halvora/Runtime/VirtualExecutor.hpp"
#include "support/FakePeripheral.hpp"
#include "support/Hex.hpp"
#include "support/RecordingDeviceDelegate.hpp"
#include "support/TempDir.hpp"

namespace halvora::test {

/// The manager's device delegate, as far as the RM830 uses it: "6 Version :54.51.56.1".
class RecordingInformationDelegate : public HalvoraDeviceDelegate {
public:
    void deviceOnSendInformation(DeviceKind kind, const std::string& information) override {
        events.push_back(std::to_string(kind) + " " + information);
    }
    std::vector<std::string> events;
};

/// The manager's connector: each request as (kind, time-out), and whether it came on the main queue.
class RecordingConnector : public DeviceConnector {
public:
    void requestConnection(DeviceKind kind, std::int32_t timeoutSeconds) override {
        requests.emplace_back(kind, timeoutSeconds);
        onMainQueue.push_back(mainQueue && mainQueue->isCurrent());
    }
    std::shared_ptr<SerialQueue> mainQueue;
    std::vector<std::pair<DeviceKind, std::int32_t>> requests;
    std::vector<bool> onMainQueue;
};

class RM830Application : public ApplicationDelegates {
public:
    std::shared_ptr<HalvoraBraceletRM830Delegate> braceletRM830Delegate() const override { return rm830; }
    std::shared_ptr<HalvoraDeviceDelegate> deviceDelegate() const override { return information; }
    std::shared_ptr<RecordingRM830Delegate> rm830 = std::make_shared<RecordingRM830Delegate>();
    std::shared_ptr<RecordingInformationDelegate> information = std::make_shared<RecordingInformationDelegate>();
};

class RM830Rig {
public:
    using Driver = HalvoraSDKBraceletRM830;

    explicit RM830Rig(std::string name = Driver::getName()) {
        peripheral = std::make_shared<FakePeripheral>("6D1E0F2A-0000-4000-8000-000000000830", std::move(name));
        peripheral->addService(Driver::rsServiceUUID(),
                               {{Driver::readCharacteristicUUID(), CharacteristicPropertyNotify},
                                {Driver::sendCharacteristicUUID(), CharacteristicPropertyWriteWithoutResponse}});
        connector->mainQueue = executor->mainQueue();
        driver->setPeripheral(peripheral, reports);
    }

    RM830Rig(const RM830Rig&) = delete;
    RM830Rig& operator=(const RM830Rig&) = delete;

    ~RM830Rig() {
        driver->deinit();
        executor->dropPending();
    }

    /// didConnect, services, characteristics and the notification descriptor, as a bracelet answers them.
    void connect() {
        driver->didConnect();
        peripheral->playServicesDiscovered();
        peripheral->playCharacteristicsDiscovered(Driver::rsServiceUUID());
        peripheral->playDescriptorWritten(Driver::readCharacteristicUUID());
        settle();
    }

    /// Connects and answers the opening version read (with `version`'s four bytes) and time format, leaving
    /// the slot free and nothing recorded.
    void open(const std::string& version = "36 33 38 01") {
        connect();
        play("27 " + version);
        play("37 00");
        clear();
    }

    /// Plays one answer (hex) and runs what it set off.
    void play(const std::string& hexAnswer) { playBytes(bytes(hexAnswer)); }
    void playBytes(const std::vector<std::uint8_t>& value) {
        peripheral->playNotification(Driver::readCharacteristicUUID(), value);
        settle();
    }
    void settle() { executor->runUntilIdle(); }

    /// Every write since the last clear, as hex.
    std::vector<std::string> frames() const {
        std::vector<std::string> out;
        for (const auto& write : peripheral->writes) out.push_back(hex(write.value));
        return out;
    }
    /// The command codes of the writes since the last clear ("2F", "0A").
    std::vector<std::string> codes() const {
        std::vector<std::string> out;
        for (const auto& frame : frames()) out.push_back(frame.substr(0, 2));
        return out;
    }
    void clear() {
        peripheral->writes.clear();
        app->clear();
        information->events.clear();
        connector->requests.clear();
        reports->clear();
        logLines.clear();
    }

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
    std::shared_ptr<RM830Application> application = std::make_shared<RM830Application>();
    std::shared_ptr<RecordingRM830Delegate> app = application->rm830;
    std::shared_ptr<RecordingInformationDelegate> information = application->information;
    std::shared_ptr<RecordingConnector> connector = std::make_shared<RecordingConnector>();
    std::shared_ptr<RecordingDeviceDelegate> reports = std::make_shared<RecordingDeviceDelegate>();
    std::shared_ptr<FakePeripheral> peripheral;
    std::shared_ptr<Driver> driver =
        std::make_shared<Driver>(DriverContext{executor, callbackQueue, log, preferences, application, connector});
};

}  // namespace halvora::test
