#pragma once

// A Vital bracelet driver under test: a virtual executor with the callback queue, a preferences file of its
// own, a recording stand-in for the application's Vital delegate, a peripheral double playing the bracelet's
// side and the driver bound to them. Replies are played straight into the driver; requests run when the
// executor runs. Frames are written and compared as hex ("01 24 03 ...").
#include <memory>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "halvora/Core/ApplicationDelegates.hpp"
#include "halvora/Core/PreferenceUtils.hpp"
#include "halvora/Devices/Vital/HalvoraSDKBraceletVital.hpp"
#include "halvora/Runtime/VirtualExecutor.hpp"
#include "support/FakePeripheral.hpp"
#include "support/Hex.hpp"
#include "support/RecordingDeviceDelegate.hpp"
#include "support/TempDir.hpp"

namespace halvora::test {

/// Every callback as one line: "info 3 -1", "error 4 10", "sos", "operation 7"; results kept whole.
class RecordingVitalDelegate : public HalvoraBraceletVITALDelegate {
public:
    void braceletVitalDeviceInformation(const std::string& identifier, const HalvoraSDKResponse& response) override {
        events.push_back("info " + std::to_string(response.command) + " " + std::to_string(response.type));
        responses.push_back(response);
        identifiers.push_back(identifier);
    }
    void braceletVitalDeviceError(const std::string& identifier, std::int32_t error, std::int32_t command) override {
        events.push_back("error " + std::to_string(error) + " " + std::to_string(command));
        identifiers.push_back(identifier);
    }
    void braceletVitalSOS(const std::string& identifier) override {
        events.push_back("sos");
        identifiers.push_back(identifier);
    }
    void braceletVitalDeviceOperation(const std::string& identifier, std::int32_t operation) override {
        events.push_back("operation " + std::to_string(operation));
        identifiers.push_back(identifier);
    }
    void clear() {
        events.clear();
        responses.clear();
        identifiers.clear();
    }
    std::vector<std::string> events;
    std::vector<HalvoraSDKResponse> responses;
    std::vector<std::string> identifiers;
};

class VitalApplication : public ApplicationDelegates {
public:
    std::shared_ptr<HalvoraBraceletVITALDelegate> braceletVITALDelegate() const override { return vital; }
    std::shared_ptr<RecordingVitalDelegate> vital = std::make_shared<RecordingVitalDelegate>();
};

class VitalRig {
public:
    using Driver = HalvoraSDKBraceletVital;
    static constexpr const char* kIdentifier = "6D1E0F2A-0000-4000-8000-000000002025";

    explicit VitalRig(std::string name = Driver::getName(),
                      std::uint8_t sendProperties = CharacteristicPropertyWriteWithoutResponse) {
        peripheral = std::make_shared<FakePeripheral>(kIdentifier, std::move(name));
        peripheral->addService(Driver::rsServiceUUID(),
                               {{Driver::readCharacteristicUUID(), CharacteristicPropertyNotify},
                                {Driver::sendCharacteristicUUID(), sendProperties}});
        driver->setPeripheral(peripheral, reports);
    }

    VitalRig(const VitalRig&) = delete;
    VitalRig& operator=(const VitalRig&) = delete;

    ~VitalRig() {
        driver->deinit();
        executor->dropPending();
    }

    /// didConnect, services, characteristics and the notification descriptor; nothing recorded after.
    void open() {
        driver->didConnect();
        peripheral->playServicesDiscovered();
        peripheral->playCharacteristicsDiscovered(Driver::rsServiceUUID());
        peripheral->playDescriptorWritten(Driver::readCharacteristicUUID());
        settle();
        clear();
    }

    /// Plays one reply (hex) and runs what it set off.
    void play(const std::string& hexReply) { playBytes(bytes(hexReply)); }
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
    /// All writes since the last clear, joined into one hex text.
    std::string joined() const {
        std::vector<std::uint8_t> all;
        for (const auto& write : peripheral->writes) all.insert(all.end(), write.value.begin(), write.value.end());
        return hex(all);
    }
    std::vector<std::string> codes() const {
        std::vector<std::string> out;
        for (const auto& frame : frames()) out.push_back(frame.substr(0, 2));
        return out;
    }
    void clear() {
        peripheral->writes.clear();
        app->clear();
        logLines.clear();
    }

    std::int64_t permits() const { return driver->commandQueue().permits(); }
    std::size_t pendingCommands() const { return driver->commandQueue().pendingCount(); }

    TempDir folder;
    std::shared_ptr<VirtualExecutor> executor = VirtualExecutor::create();
    std::shared_ptr<SerialQueue> callbackQueue = executor->makeQueue("halvora.cb");
    std::vector<std::string> logLines;
    std::shared_ptr<Log> log = std::make_shared<Log>([this](const std::string& line) { logLines.push_back(line); });
    std::shared_ptr<PreferenceUtils> preferences =
        std::make_shared<PreferenceUtils>(folder.file("preferences"), log.get());
    std::shared_ptr<VitalApplication> application = std::make_shared<VitalApplication>();
    std::shared_ptr<RecordingVitalDelegate> app = application->vital;
    std::shared_ptr<RecordingDeviceDelegate> reports = std::make_shared<RecordingDeviceDelegate>();
    std::shared_ptr<FakePeripheral> peripheral;
    std::shared_ptr<Driver> driver =
        std::make_shared<Driver>(DriverContext{executor, callbackQueue, log, preferences, application, {}});
};

}  // namespace halvora::test
