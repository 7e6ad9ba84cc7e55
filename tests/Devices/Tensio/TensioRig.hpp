#pragma once

// A wrist blood-pressure bracelet driver under test: a virtual executor with the callback queue, a stand-in
// for the manager (every report recorded as a short text) and for the application (its tensio delegate
// recording the acknowledged requests), a peripheral double playing the bracelet's side, and the driver bound
// to them. Notifications are played straight into the driver; commands run when the executor runs. Frames
// are written and compared as hex ("5A 00 02 ...").
#include <memory>
#include <string>
#include <type_traits>
#include <variant>
#include <vector>

#include "halvora/Core/ApplicationDelegates.hpp"
#include "halvora/Core/BLEDeviceDelegate.hpp"
#include "halvora/Core/Calendar.hpp"
#include "halvora/Devices/Tensio/HalvoraSDKTensioBracelet.hpp"
#include "halvora/Runtime/VirtualExecutor.hpp"
#include "support/FakePeripheral.hpp"
#include "support/Hex.hpp"

namespace halvora::test {

/// "120/80/72/0 at 2019-01-22 10:05:00" ("at -" without a date).
inline std::string readingText(const HalvoraSDKTensioBraceletData& data) {
    auto number = [](const std::optional<std::int32_t>& v) { return v ? std::to_string(*v) : std::string("-"); };
    return number(data.systolic) + "/" + number(data.diastolic) + "/" + number(data.pulse) + "/" +
           number(data.irregular) + " at " + (data.date ? Calendar::formatDateTime(*data.date) : std::string("-"));
}

/// The manager's side: "connected", "ready", "pressure 80", "reading ...", "text ...", "error -19",
/// "error absent".
class RecordingTensioReports : public BLEDeviceDelegate {
public:
    void deviceConnected(const std::shared_ptr<BLEDevice>&) override { events.push_back("connected"); }
    void deviceReady(const std::shared_ptr<BLEDevice>&) override { events.push_back("ready"); }
    void deviceOnDataReceived(const std::shared_ptr<BLEDevice>&, const DeviceData& data) override {
        std::visit(
            [this](const auto& value) {
                using T = std::decay_t<decltype(value)>;
                if constexpr (std::is_same_v<T, std::int32_t>) {
                    events.push_back("pressure " + std::to_string(value));
                } else if constexpr (std::is_same_v<T, HalvoraSDKTensioBraceletData>) {
                    events.push_back("reading " + readingText(value));
                } else if constexpr (std::is_same_v<T, std::string>) {
                    events.push_back("text " + value);
                } else {
                    events.push_back("other data");
                }
            },
            data);
    }
    void deviceOnErrorReceived(const std::shared_ptr<BLEDevice>&, const DeviceError& error) override {
        if (const auto* code = std::get_if<std::int32_t>(&error)) {
            events.push_back("error " + std::to_string(*code));
        } else {
            events.push_back(std::holds_alternative<std::monostate>(error) ? "error absent" : "error text");
        }
    }
    std::vector<std::string> events;
};

class RecordingTensioDelegate : public HalvoraTensioBraceletDelegate {
public:
    void tensioBraceletRequestExecuted(std::int32_t request) override { executed.push_back(request); }
    std::vector<std::int32_t> executed;
};

class TensioApplication : public ApplicationDelegates {
public:
    std::shared_ptr<HalvoraTensioBraceletDelegate> tensioBraceletDelegate() const override { return tensio; }
    std::shared_ptr<RecordingTensioDelegate> tensio = std::make_shared<RecordingTensioDelegate>();
};

class TensioRig {
public:
    using Driver = HalvoraSDKTensioBracelet;

    explicit TensioRig(Date start = VirtualExecutor::defaultStartDate()) : executor(VirtualExecutor::create(start)) {
        peripheral->addService(Driver::rsServiceUUID(),
                               {{Driver::readCharacteristicUUID(), CharacteristicPropertyNotify},
                                {Driver::sendCharacteristicUUID(), CharacteristicPropertyWriteWithoutResponse}});
        driver->setPeripheral(peripheral, reports);
    }
    TensioRig(const TensioRig&) = delete;
    TensioRig& operator=(const TensioRig&) = delete;
    ~TensioRig() {
        driver->deinit();
        executor->dropPending();
    }

    /// didConnect, services, characteristics and the notification descriptor, as the bracelet answers them;
    /// then nothing recorded.
    void connect() {
        driver->didConnect();
        peripheral->playServicesDiscovered();
        peripheral->playCharacteristicsDiscovered(Driver::rsServiceUUID());
        peripheral->playDescriptorWritten(Driver::readCharacteristicUUID());
        settle();
    }
    /// Connects, then forgets what was recorded.
    void open() {
        connect();
        clear();
    }
    /// Runs a command (queued or not) and what it set off.
    template <typename Call>
    void run(Call call) {
        call(*driver);
        settle();
    }
    /// Plays one notification (hex) and runs what it set off.
    void play(const std::string& hexValue) {
        peripheral->playNotification(Driver::readCharacteristicUUID(), bytes(hexValue));
        settle();
    }
    void settle() { executor->runUntilIdle(); }

    /// Every write since the last clear, as hex.
    std::vector<std::string> frames() const {
        std::vector<std::string> out;
        for (const auto& write : peripheral->writes) out.push_back(hex(write.value));
        return out;
    }
    void clear() {
        peripheral->writes.clear();
        reports->events.clear();
        app->executed.clear();
        logLines.clear();
    }
    std::int64_t permits() const { return driver->commandQueue().permits(); }

    std::shared_ptr<VirtualExecutor> executor;
    std::shared_ptr<SerialQueue> callbackQueue = executor->makeQueue("halvora.cb");
    std::vector<std::string> logLines;
    std::shared_ptr<Log> log = std::make_shared<Log>([this](const std::string& line) { logLines.push_back(line); });
    std::shared_ptr<TensioApplication> application = std::make_shared<TensioApplication>();
    std::shared_ptr<RecordingTensioDelegate> app = application->tensio;
    std::shared_ptr<RecordingTensioReports> reports = std::make_shared<RecordingTensioReports>();
    std::shared_ptr<FakePeripheral> peripheral =
        std::make_shared<FakePeripheral>("7E510000-0000-4000-8000-000000000005", std::string(Driver::kName));
    std::shared_ptr<Driver> driver = std::make_shared<Driver>(context());

private:
    DriverContext context() {
        DriverContext context;
        context.executor = executor;
        context.callbackQueue = callbackQueue;
        context.log = log;
        context.delegates = application;
        return context;
    }
};

// Frames the bracelet sends, used by several tests.
inline constexpr const char* kAck = "5A 00 02 40 00 42";
/// 2019-01-22 10:05, 120/80, pulse 72, not irregular.
inline constexpr const char* kResult = "5A 00 0A 13 01 16 0A 05 00 78 50 48 00 00";

}  // namespace halvora::test
