#pragma once

// A pill box driver under test: a virtual executor with the callback queue, a stand-in for the manager
// (ready reports counted) and for the application (every result and error recorded as a short text), a
// peripheral double playing the box's side, and the driver bound to them. Notifications are played straight
// into the driver; requests run when the executor runs. Frames are written and compared as hex
// ("AA 55 02 ..."). The calendar is pinned to a zone for the rig's life (UTC unless told).
#include <memory>
#include <string>
#include <type_traits>
#include <variant>
#include <vector>

#include "halvora/Core/ApplicationDelegates.hpp"
#include "halvora/Core/BLEDeviceDelegate.hpp"
#include "halvora/Core/Calendar.hpp"
#include "halvora/Devices/PillReminder/HalvoraSDKPillReminder.hpp"
#include "halvora/Runtime/VirtualExecutor.hpp"
#include "support/FakePeripheral.hpp"
#include "support/Hex.hpp"

namespace halvora::test {

/// "2024-04-15 19:19:00" in the pinned zone.
inline std::string when(Date date) {
    return Calendar::formatDateTime(date);
}

/// One entry of a list as text: "2024-04-15 19:19:00 c2" or "planned 08:00 taken 08:05 s1" style, with
/// full dates.
inline std::string entryText(const HalvoraSDKPillReminderAlarmEntry& entry) {
    if (const auto* alarm = std::get_if<HalvoraSDKPillReminderAlarmData>(&entry)) {
        return when(alarm->date) + " c" + std::to_string(alarm->color) + " r" + std::to_string(alarm->request);
    }
    const auto& record = std::get<HalvoraSDKPillReminderPerformanceData>(entry);
    return when(record.date) + " taken " + when(record.dateTaken) + " s" + std::to_string(record.statusTaken) + " r" +
           std::to_string(record.request);
}

/// The application's side: "result 4 90" (a message), "date 1 2024-...", "list 9 3", "error 4 Error ...".
class RecordingPillReminderDelegate : public HalvoraPillReminderDelegate {
public:
    void pillReminderOnResult(const HalvoraSDKPillReminderResult& result) override {
        std::visit(
            [this](const auto& value) {
                using T = std::decay_t<decltype(value)>;
                const std::string request = std::to_string(value.request);
                if constexpr (std::is_same_v<T, HalvoraSDKPillReminderMessageData>) {
                    events.push_back("result " + request + " " + value.messageText);
                } else if constexpr (std::is_same_v<T, HalvoraSDKPillReminderAlarmListData>) {
                    events.push_back("list " + request + " " + std::to_string(value.alarmList.size()));
                    lists.push_back(value);
                } else {
                    events.push_back("date " + request + " " + when(value.date));
                }
            },
            result);
    }
    void pillReminderOnError(const HalvoraSDKPillReminderMessageData& error) override {
        events.push_back("error " + std::to_string(error.request) + " " + error.messageText);
    }
    std::vector<std::string> events;
    std::vector<HalvoraSDKPillReminderAlarmListData> lists;
};

class PillReminderApplication : public ApplicationDelegates {
public:
    std::shared_ptr<HalvoraPillReminderDelegate> pillReminderDelegate() const override { return pill; }
    std::shared_ptr<RecordingPillReminderDelegate> pill = std::make_shared<RecordingPillReminderDelegate>();
};

class RecordingPillReports : public BLEDeviceDelegate {
public:
    void deviceConnected(const std::shared_ptr<BLEDevice>&) override { ++connected; }
    void deviceReady(const std::shared_ptr<BLEDevice>&) override { ++ready; }
    int connected = 0;
    int ready = 0;
};

class PillReminderRig {
public:
    using Driver = HalvoraSDKPillReminder;

    /// The ACK the box sends to a setting.
    static constexpr const char* kAck = "AA 55 02 F0 F2";

    explicit PillReminderRig(const char* zone = "UTC", std::optional<std::string> name = std::string(Driver::kName))
        : peripheral(std::make_shared<FakePeripheral>("7E510000-0000-4000-8000-000000000009", std::move(name))) {
        Calendar::setTimeZone(zone);
        peripheral->addService(Driver::rsServiceUUID(),
                               {{Driver::readCharacteristicUUID(), CharacteristicPropertyNotify},
                                {BLEUUID(Driver::kReadCharacteristic4060UUIDText), CharacteristicPropertyNotify},
                                {BLEUUID(Driver::kReadCharacteristic60UUIDText), CharacteristicPropertyNotify},
                                {BLEUUID(Driver::kReadCharacteristicRealtimeUUIDText), CharacteristicPropertyNotify},
                                {Driver::sendCharacteristicUUID(), CharacteristicPropertyWriteWithoutResponse}});
        peripheral->addService(Driver::deviceInformationServiceUUID(),
                               {{Driver::hardwareRevisionStringUUID(), CharacteristicPropertyRead}});
        driver->setPeripheral(peripheral, reports);
    }
    PillReminderRig(const PillReminderRig&) = delete;
    PillReminderRig& operator=(const PillReminderRig&) = delete;
    ~PillReminderRig() {
        driver->deinit();
        executor->dropPending();
        Calendar::setTimeZone(std::nullopt);
    }

    /// didConnect, services and both services' characteristics as the box answers them; the opening
    /// exchange is left waiting for its replies.
    void connect() {
        driver->didConnect();
        peripheral->playServicesDiscovered();
        peripheral->playCharacteristicsDiscovered(Driver::deviceInformationServiceUUID());
        peripheral->playCharacteristicsDiscovered(Driver::rsServiceUUID());
        peripheral->playDescriptorWritten(Driver::readCharacteristicUUID());
        settle();
    }
    /// Connects, acknowledges the opening zone and time, then forgets what was recorded.
    void open() {
        connect();
        play(kAck);
        play(kAck);
        clear();
    }
    /// Runs a request and what it set off.
    template <typename Call>
    void run(Call call) {
        call(*driver);
        settle();
    }
    /// Plays one notification (hex) on the replies' characteristic and runs what it set off.
    void play(const std::string& hexValue, const BLEUUID& on = Driver::readCharacteristicUUID()) {
        peripheral->playNotification(on, bytes(hexValue));
        settle();
    }
    void settle() { executor->runUntilIdle(); }

    /// Every write since the last clear, as hex.
    std::vector<std::string> frames() const {
        std::vector<std::string> out;
        for (const auto& write : peripheral->writes) out.push_back(hex(write.value));
        return out;
    }
    std::vector<std::string>& events() { return app->events; }
    void clear() {
        peripheral->writes.clear();
        app->events.clear();
        app->lists.clear();
        logLines.clear();
    }
    std::int64_t permits() const { return driver->commandQueue().permits(); }
    std::size_t pending() const { return driver->commandQueue().pendingCount(); }

    std::shared_ptr<VirtualExecutor> executor = VirtualExecutor::create();
    std::shared_ptr<SerialQueue> callbackQueue = executor->makeQueue("halvora.cb");
    std::vector<std::string> logLines;
    std::shared_ptr<Log> log = std::make_shared<Log>([this](const std::string& line) { logLines.push_back(line); });
    std::shared_ptr<PillReminderApplication> application = std::make_shared<PillReminderApplication>();
    std::shared_ptr<RecordingPillReminderDelegate> app = application->pill;
    std::shared_ptr<RecordingPillReports> reports = std::make_shared<RecordingPillReports>();
    std::shared_ptr<FakePeripheral> peripheral;
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

}  // namespace halvora::test
