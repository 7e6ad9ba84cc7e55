#pragma once

// A measurement driver under test: a manager (virtual executor, no radio) holding a recording application
// delegate for the driver's kind, a peripheral double playing the device's side, and the driver bound to
// both. Notifications are played straight into the driver; what reaches the application is read back as
// short texts.
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "halvora/Core/PreferenceUtils.hpp"
#include "halvora/Manager/HalvoraSDKManager.hpp"
#include "halvora/Runtime/VirtualExecutor.hpp"
#include "halvora/Transport/UnavailableTransport.hpp"
#include "support/FakePeripheral.hpp"
#include "support/Hex.hpp"
#include "support/RecordingDeviceDelegate.hpp"
#include "support/RecordingMeasurementDelegate.hpp"
#include "support/TempDir.hpp"

namespace halvora::test {

template <typename Driver>
class MeasurementRig {
public:
    explicit MeasurementRig(std::optional<std::string> name = Driver::getName(), bool connect = true) {
        executor = VirtualExecutor::create();
        log = std::make_shared<Log>([this](const std::string& line) {
            std::lock_guard lock(logMutex_);
            logLines_.push_back(line);
        });
        manager = HalvoraSDKManager::create(
            ManagerEnvironment{executor, std::make_shared<UnavailableTransport>(),
                               std::make_shared<PreferenceUtils>(folder.file("preferences"), log.get()), log, "179"});
        peripheral = std::make_shared<FakePeripheral>("00000000-0000-0000-0000-0000000000C1", std::move(name));
        peripheral->addService(Driver::rsServiceUUID(),
                               {{Driver::readCharacteristicUUID(), CharacteristicPropertyNotify},
                                {Driver::sendCharacteristicUUID(), CharacteristicPropertyWriteWithoutResponse}});
        driver = std::make_shared<Driver>(DriverContext{executor, nullptr, log, nullptr, manager, {}});
        driver->setPeripheral(peripheral, reports);
        setApplicationDelegate(app);
        if (connect) connectAll();
    }

    /// Sets (or, with nothing, clears) the application delegate of the driver's kind.
    void setApplicationDelegate(const std::shared_ptr<RecordingMeasurementDelegate>& delegate) {
        switch (driver->getType()) {
            case DeviceTypeThermometer:
                manager->setThermometerDelegate(delegate);
                break;
            case DeviceTypeOximeter:
                manager->setOximeterDelegate(delegate);
                break;
            case DeviceTypeBabyThermometer:
                manager->setBabyThermometerDelegate(delegate);
                break;
            default:
                break;
        }
    }

    /// didConnect, services, characteristics and the notification descriptor, as a device answers them.
    void connectAll() {
        driver->didConnect();
        peripheral->playServicesDiscovered();
        peripheral->playCharacteristicsDiscovered(Driver::rsServiceUUID());
        peripheral->playDescriptorWritten(Driver::readCharacteristicUUID());
    }

    /// Plays one notification (hex text) and returns what reached the application.
    std::vector<std::string> play(const std::string& frame) { return playBytes(bytes(frame)); }
    std::vector<std::string> playBytes(const std::vector<std::uint8_t>& frame) {
        app->clear();
        peripheral->playNotification(Driver::readCharacteristicUUID(), frame);
        return app->events();
    }

    /// The writes the driver made, as hex texts.
    std::vector<std::string> writes() const {
        std::vector<std::string> out;
        for (const auto& w : peripheral->writes) out.push_back(hex(w.value));
        return out;
    }

    std::vector<std::string> logLines() const {
        std::lock_guard lock(logMutex_);
        return logLines_;
    }

    TempDir folder;
    std::shared_ptr<VirtualExecutor> executor;
    std::shared_ptr<Log> log;
    std::shared_ptr<HalvoraSDKManager> manager;
    std::shared_ptr<RecordingMeasurementDelegate> app = std::make_shared<RecordingMeasurementDelegate>();
    std::shared_ptr<RecordingDeviceDelegate> reports = std::make_shared<RecordingDeviceDelegate>();
    std::shared_ptr<FakePeripheral> peripheral;
    std::shared_ptr<Driver> driver;

private:
    mutable std::mutex logMutex_;
    std::vector<std::string> logLines_;
};

}  // namespace halvora::test
