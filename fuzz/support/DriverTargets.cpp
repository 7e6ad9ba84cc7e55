#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <variant>

#include "DFU/HexRecords.hpp"
#include "halvora/Core/Calendar.hpp"
#include "halvora/Core/ResourceBundle.hpp"
#include "halvora/DFU/FirmwareUpdateObserver.hpp"
#include "halvora/DFU/HalvoraSDKBraceletRM830DFU.hpp"
#include "halvora/DFU/internal/DFUProcessState.hpp"
#include "halvora/Devices/Bracelet/HalvoraSDKBracelet.hpp"
#include "halvora/Devices/Measurement/HalvoraSDKBabyThermometer.hpp"
#include "halvora/Devices/Measurement/HalvoraSDKHeartDevice.hpp"
#include "halvora/Devices/Measurement/HalvoraSDKHeartDeviceV2.hpp"
#include "halvora/Devices/Measurement/HalvoraSDKHeartDeviceV3.hpp"
#include "halvora/Devices/Measurement/HalvoraSDKOximeter.hpp"
#include "halvora/Devices/Measurement/HalvoraSDKThermometer.hpp"
#include "halvora/Devices/Measurement/HalvoraSDKThermometerV2.hpp"
#include "halvora/Devices/Measurement/HalvoraSDKThermometerV3.hpp"
#include "halvora/Devices/Measurement/HalvoraSDKWeightScale.hpp"
#include "halvora/Devices/PillReminder/HalvoraSDKPillReminder.hpp"
#include "halvora/Devices/RM830/HalvoraSDKBraceletRM830.hpp"
#include "halvora/Devices/Tensio/HalvoraSDKTensioBracelet.hpp"
#include "halvora/Devices/Vital/HalvoraSDKBraceletVital.hpp"
#include "halvora/Manager/HalvoraSDKManager.hpp"
#include "halvora/Transport/BLEError.hpp"
#include "support/DriverFuzzer.hpp"
#include "support/DriverTarget.hpp"
#include "support/FuzzInput.hpp"

namespace halvora::fuzz {
namespace {

constexpr std::uint8_t kNotify = CharacteristicPropertyNotify;
constexpr std::uint8_t kWriteNoResponse = CharacteristicPropertyWriteWithoutResponse;
constexpr std::uint8_t kWrite = CharacteristicPropertyWrite;
constexpr std::uint8_t kRead = CharacteristicPropertyRead;

template <typename Driver>
std::function<std::shared_ptr<BLEDevice>(DriverContext)> maker() {
    return [](DriverContext context) -> std::shared_ptr<BLEDevice> {
        return std::make_shared<Driver>(std::move(context));
    };
}

/// A command of a driver class, on the driver it is given.
template <typename Driver>
FuzzCommand command(std::function<void(Driver&, FuzzInput&)> body) {
    return [body](BLEDevice& device, FuzzInput& input) { body(static_cast<Driver&>(device), input); };
}

/// The read/notify and write characteristics of a one-service device, and the device information service.
template <typename Driver>
std::vector<ServiceSpec> oneService(bool withDeviceInformation) {
    std::vector<ServiceSpec> services{
        {Driver::rsServiceUUID(),
         {{Driver::readCharacteristicUUID(), kNotify}, {Driver::sendCharacteristicUUID(), kWriteNoResponse}}}};
    if (withDeviceInformation) services.push_back({BLEUUID("180A"), {{BLEUUID("2A27"), kRead}}});
    return services;
}

Date dateFrom(FuzzInput& input) {
    return Date(std::chrono::seconds(static_cast<std::uint32_t>(input.integer())));
}

std::vector<FuzzCommand> braceletCommands() {
    using B = HalvoraSDKBracelet;
    return {
        command<B>([](B& b, FuzzInput&) { b.synchronizeHistoryData(); }),
        command<B>([](B& b, FuzzInput& in) { b.synchronizeData(in.flag()); }),
        command<B>([](B& b, FuzzInput& in) { b.requestData(in.byte()); }),
        command<B>([](B& b, FuzzInput&) { b.getCurrentSteps(); }),
        command<B>([](B& b, FuzzInput&) { b.getHeartBeat(); }),
        command<B>([](B& b, FuzzInput& in) { b.configureDate(dateFrom(in)); }),
        command<B>([](B& b, FuzzInput& in) { b.configureUserHeight(in.integer()); }),
        command<B>([](B& b, FuzzInput& in) { b.configureStepTarget(in.integer()); }),
        command<B>([](B& b, FuzzInput& in) { b.sendStartOrFinishExercise(in.byte()); }),
        command<B>([](B& b, FuzzInput& in) { b.sendStartOrFinishAutoSteps(in.byte()); }),
        command<B>([](B& b, FuzzInput& in) {
            b.configureACNS({in.byte(), in.byte(), in.byte()});
        }),
        command<B>([](B& b, FuzzInput& in) {
            HalvoraSDKBraceletAlarm alarm;
            alarm.secondaryAlarm = in.flag();
            alarm.monday = in.flag();
            alarm.hour = in.byte();
            alarm.minute = in.byte();
            b.configureAlarm(alarm);
        }),
        command<B>([](B& b, FuzzInput& in) {
            HalvoraSDKBraceletSedentaryAlarm alarm;
            alarm.startHour = in.byte();
            alarm.endHour = in.byte();
            alarm.interval = in.integer();
            b.configureBraceletSedentaryAlarm(alarm);
        }),
        command<B>([](B& b, FuzzInput& in) { b.sendText(in.text()); }),
        command<B>([](B& b, FuzzInput& in) { b.sendCustomInstruction(in.text()); }),
    };
}

std::vector<FuzzCommand> rm830Commands() {
    using R = HalvoraSDKBraceletRM830;
    return {
        command<R>([](R& r, FuzzInput& in) { r.synchronizeDateTime(dateFrom(in)); }),
        command<R>([](R& r, FuzzInput& in) {
            r.synchronizePersonalInformation(in.integer(), in.integer(), in.byte(), dateFrom(in), in.flag());
        }),
        command<R>([](R& r, FuzzInput& in) { r.synchronizeTargets(in.integer()); }),
        command<R>([](R& r, FuzzInput& in) { r.synchronizeDataDaysAgo(in.byte()); }),
        command<R>([](R& r, FuzzInput&) { r.startRealTime(); }),
        command<R>([](R& r, FuzzInput& in) { r.stopRealtime(in.byte() & 1); }),
        command<R>([](R& r, FuzzInput&) { r.getFirmwareVersion(); }),
        command<R>([](R& r, FuzzInput&) { r.updateFirmware(); }),
        command<R>([](R& r, FuzzInput&) { r.getHeartRateBasicValue(); }),
        command<R>([](R& r, FuzzInput& in) { r.getHeartRateValue(in.byte()); }),
        command<R>([](R& r, FuzzInput& in) { r.setRealtimeHREnabled(in.flag()); }),
        command<R>([](R& r, FuzzInput& in) { r.setMonitoringHREnabled(in.flag()); }),
        command<R>([](R& r, FuzzInput& in) {
            HalvoraSDKRM830TimeRange range;
            range.startHour = in.byte();
            range.startMinute = in.byte();
            range.endHour = in.byte();
            range.endMinute = in.byte();
            range.monday = in.flag();
            r.setMonitoringHRAuto(in.flag(), range);
        }),
        command<R>([](R& r, FuzzInput&) { r.getDatesWithInfo(); }),
        command<R>([](R& r, FuzzInput&) { r.readDateTime(); }),
    };
}

HalvoraSDKPeriod periodFrom(FuzzInput& in) {
    HalvoraSDKPeriod period;
    period.startHour = in.byte();
    period.startMinute = in.byte();
    period.endHour = in.byte();
    period.endMinute = in.byte();
    period.monday = in.flag();
    period.sunday = in.flag();
    return period;
}

std::vector<FuzzCommand> vitalCommands() {
    using V = HalvoraSDKBraceletVital;
    return {
        command<V>([](V& v, FuzzInput& in) { v.setTime(dateFrom(in)); }),
        command<V>([](V& v, FuzzInput&) { v.getTime(); }),
        command<V>([](V& v, FuzzInput& in) { v.setStepGoal(static_cast<std::uint32_t>(in.integer())); }),
        command<V>([](V& v, FuzzInput&) { v.getStepGoal(); }),
        command<V>([](V& v, FuzzInput&) { v.getMACAddress(); }),
        command<V>([](V& v, FuzzInput& in) {
            HalvoraSDKUser user;
            user.sex = in.byte();
            user.age = in.byte();
            user.height = in.word();
            user.weight = in.word();
            user.extra = in.byte();
            v.setUserInformation(user);
        }),
        command<V>([](V& v, FuzzInput&) { v.getUserInformation(); }),
        command<V>([](V& v, FuzzInput& in) {
            HalvoraSDKVitalParams p;
            p.distanceUnitKm = in.flag();
            p.wristSenseEnabled = in.flag();
            if (in.flag()) p.notifications = HalvoraSDKVitalNotification::fromBytes(in.byte(), in.byte());
            p.basicHeartRateSetting = in.word();
            p.screenBrightness = in.byte();
            p.dialInterface = in.byte();
            p.language = in.byte();
            v.setDeviceParameters(p);
        }),
        command<V>([](V& v, FuzzInput&) { v.getDeviceParameters(); }),
        command<V>([](V& v, FuzzInput&) { v.getDeviceBattery(); }),
        command<V>([](V& v, FuzzInput& in) {
            HalvoraSDKVitalActivityPeriod period;
            static_cast<HalvoraSDKPeriod&>(period) = periodFrom(in);
            period.exerciseReminderPeriod = in.word();
            period.minimumNumberSteps = in.word();
            period.motionEnabled = in.flag();
            v.setActivityPeriod(period);
        }),
        command<V>([](V& v, FuzzInput&) { v.getActivityPeriod(); }),
        command<V>([](V& v, FuzzInput& in) {
            HalvoraSDKVitalPeriod period;
            static_cast<HalvoraSDKPeriod&>(period) = periodFrom(in);
            period.workingMode = in.byte() % 3;
            period.intervalTime = in.integer();
            period.type = in.byte() % 3;
            v.setAutomaticDetection(period);
        }),
        command<V>([](V& v, FuzzInput& in) { v.getAutomaticDetection(in.byte() % 3); }),
        command<V>([](V& v, FuzzInput& in) { v.setHealthMeasurementControl(in.byte(), in.flag()); }),
        command<V>([](V& v, FuzzInput& in) { v.setRealtimeStepCounting(in.flag(), in.flag()); }),
        command<V>([](V& v, FuzzInput& in) { v.sportModeControlEnable(in.byte(), in.byte(), in.byte(), in.word()); }),
        command<V>([](V& v, FuzzInput& in) {
            v.sendSportHeartbeatWithDistance(static_cast<std::uint32_t>(in.integer()), in.word(), in.byte());
        }),
        command<V>([](V& v, FuzzInput& in) { v.showQRCode(in.flag()); }),
        command<V>([](V& v, FuzzInput& in) {
            HalvoraSDKVitalWeather weather;
            weather.temperature = static_cast<std::int8_t>(in.byte());
            weather.airQuality = in.word();
            weather.location = in.text();
            v.setWeather(weather);
        }),
        command<V>([](V& v, FuzzInput& in) {
            std::vector<HalvoraSDKVitalAlarm> alarms(in.byte() % 12);
            for (auto& alarm : alarms) {
                alarm.hour = in.byte();
                alarm.minute = in.byte();
                alarm.monday = in.flag();
            }
            v.setAlarms(alarms);
        }),
        // The history requests (byte 1 of each from the input) and the ECG: start, status, a waveform whose
        // record number may lie outside 0 to 255.
        command<V>([](V& v, FuzzInput& in) { v.getTotalStepCount(in.byte()); }),
        command<V>([](V& v, FuzzInput&) { v.getDaySteps(); }),
        command<V>([](V& v, FuzzInput& in) { v.getDetailedStepData(in.byte()); }),
        command<V>([](V& v, FuzzInput& in) { v.getDetailedSleepData(in.byte()); }),
        command<V>([](V& v, FuzzInput& in) {
            const std::int32_t first = in.byte();
            v.getAutomaticHeartRateData(first, in.flag() ? std::optional<std::int32_t>(in.word()) : std::nullopt);
        }),
        command<V>([](V& v, FuzzInput& in) { v.getHeartRateData(in.byte()); }),
        command<V>([](V& v, FuzzInput& in) { v.getHRVData(in.byte()); }),
        command<V>([](V& v, FuzzInput& in) { v.getSportData(in.byte()); }),
        command<V>([](V& v, FuzzInput& in) { v.getBloodOxygenData(in.byte()); }),
        command<V>([](V& v, FuzzInput& in) { v.getTemperatureData(in.byte()); }),
        command<V>([](V& v, FuzzInput& in) { v.getAutomaticTemperatureData(in.byte()); }),
        command<V>([](V& v, FuzzInput& in) { v.getAutomaticBloodOxygenData(in.byte()); }),
        command<V>([](V& v, FuzzInput&) { v.getECGStartDataUploading(); }),
        command<V>([](V& v, FuzzInput&) { v.getECGMeasurementStatus(); }),
        command<V>([](V& v, FuzzInput& in) { v.getECGWaveform(static_cast<std::int16_t>(in.word())); }),
    };
}

/// Stops the fuzzer where a driver breaks a promise its header makes: a finding, as a sanitizer's report is.
void expect(bool promiseKept) {
    if (!promiseKept) __builtin_trap();
}

/// The harness's manager, which a driver's context names as the application's delegates (nothing for a
/// driver made elsewhere).
std::shared_ptr<HalvoraSDKManager> managerOf(const DriverContext& context) {
    return std::dynamic_pointer_cast<HalvoraSDKManager>(context.delegates.lock());
}

// ------------------------------------------------------------------ the RM830 in update mode

/// Bytes of the image the fuzzed updater sends: 17 packets (the last one 10 bytes), two bursts, one receipt.
constexpr std::size_t kUpdaterImageBytes = 330;

/// Where the fuzzed updater finds its firmware image: a small one, written once to the harness's scratch
/// folder, so that an input runs a whole upload in little time.
std::shared_ptr<ResourceBundle> updaterBundle() {
    using U = HalvoraSDKBraceletRM830DFU;
    static const std::shared_ptr<ResourceBundle> bundle = [] {
        const auto file = std::filesystem::path(scratchFolder()) /
                          (std::string(U::kFirmwareResourceName) + "." + U::kFirmwareResourceType);
        {
            std::ofstream out(file, std::ios::binary | std::ios::trunc);
            out << test::imageText(test::pattern(kUpdaterImageBytes));
        }
        auto made = std::make_shared<ResourceBundle>();
        made->setResourcePath(U::kFirmwareResourceName, U::kFirmwareResourceType, file);
        return made;
    }();
    return bundle;
}

/// The application's update observer, checking what it hears: bytes sent never past the image's size, an
/// outcome's error text on one line and present exactly when the update failed. An update is open from its
/// first progress report to its outcome.
class UpdateWatch : public FirmwareUpdateObserver {
public:
    void firmwareUpdateProgress(const FirmwareUpdateProgress& progress) override {
        expect(progress.bytesSent <= progress.totalBytes);
        expect(progress.percent >= 0 && progress.percent <= 100);
        open_ = true;
    }
    void firmwareUpdateFinished(const FirmwareUpdateOutcome& outcome) override {
        expect(outcome.bytesSent <= outcome.totalBytes);
        expect(outcome.succeeded == outcome.errorText.empty());
        expect(outcome.errorText.find_first_of("\r\n") == std::string::npos);
        open_ = false;
    }
    /// An update reported progress and has no outcome yet.
    bool open() const { return open_; }

private:
    bool open_ = false;
};

/// The updater, watched: whatever the bootloader sent, once torn down it has given its update an outcome and
/// the process's update slot back.
class WatchedUpdater : public HalvoraSDKBraceletRM830DFU {
public:
    WatchedUpdater(DriverContext context, std::shared_ptr<UpdateWatch> watch)
        : HalvoraSDKBraceletRM830DFU(std::move(context)), watch_(std::move(watch)) {}

    /// A watched updater reading the small image, its watch set as the manager's update observer.
    static std::shared_ptr<BLEDevice> make(DriverContext context) {
        auto watch = std::make_shared<UpdateWatch>();
        if (auto manager = managerOf(context)) manager->setFirmwareUpdateObserver(watch);
        context.resources = updaterBundle();
        return std::make_shared<WatchedUpdater>(std::move(context), std::move(watch));
    }

    void deinit() override {
        HalvoraSDKBraceletRM830DFU::deinit();
        expect(!watch_->open());
        expect(!DFUProcessState::shared().slotTaken());
    }

private:
    std::shared_ptr<UpdateWatch> watch_;
};

/// The updater's one command, and the events of the link that a notification cannot carry.
std::vector<FuzzCommand> updaterCommands() {
    using U = HalvoraSDKBraceletRM830DFU;
    return {
        command<U>([](U& u, FuzzInput& in) { u.writeRawData(in.bytes(in.byte())); }),
        // The central reports the link gone (the manager's call before it lets the driver go).
        command<U>([](U& u, FuzzInput&) { u.linkEnded(); }),
        // A version read or a control-point notification that comes with an error.
        command<U>([](U& u, FuzzInput& in) {
            const auto characteristic = in.flag() ? u.dfuVersionCharacteristic() : u.dfuControlPointCharacteristic();
            u.peripheralDidUpdateValueForCharacteristic(u.device(), characteristic, in.bytes(in.byte()),
                                                        BLEError{BLEErrorUnknown, "fuzzed error"});
        }),
    };
}

// ------------------------------------------------------------------ the wrist blood-pressure bracelet

/// Windows of one fuzzed schedule: two past the 15 that a frame's count nibble holds.
constexpr std::uint8_t kMaxScheduleWindows = 17;

/// Reads everything the wrist bracelet's delegate is handed (so that a reading or a text built from garbage is
/// walked end to end under the sanitizers) and keeps nothing.
class TensioSink : public HalvoraTensioBraceletDelegate {
public:
    void tensioBraceletOnProgressMeasurement(std::int32_t value) override { look(value); }
    void tensioBraceletOnResult(const HalvoraSDKTensioBraceletData& data) override { look(data); }
    void tensioBraceletInformation(const TensioBraceletInformation& information) override {
        std::visit([this](const auto& value) { look(value); }, information);
    }
    void tensioBraceletRequestExecuted(std::int32_t request) override { look(request); }

private:
    void look(std::int32_t value) { seen_ = seen_ + static_cast<std::uint32_t>(value); }
    void look(const std::string& text) { seen_ = seen_ + text.size(); }
    void look(const HalvoraSDKTensioBraceletData& data) {
        for (const auto& field : {data.systolic, data.diastolic, data.pulse, data.irregular}) {
            if (field) look(*field);
        }
        if (data.date) look(Calendar::formatDateTime(*data.date));
    }

    volatile std::size_t seen_ = 0;
};

/// The wrist bracelet with the promises of its header checked after every notification: the frame being put
/// together stays within kMaxFrameLength, and the command slot never counts more than one free permit. Torn
/// down, it holds no part of a frame.
class CheckedTensio : public HalvoraSDKTensioBracelet {
public:
    using HalvoraSDKTensioBracelet::HalvoraSDKTensioBracelet;

    /// A checked driver, with a reading sink set as the manager's wrist bracelet delegate.
    static std::shared_ptr<BLEDevice> make(DriverContext context) {
        static const auto sink = std::make_shared<TensioSink>();
        if (auto manager = managerOf(context)) manager->setTensioBraceletDelegate(sink);
        return std::make_shared<CheckedTensio>(std::move(context));
    }

    void peripheralDidUpdateValueForCharacteristic(const std::shared_ptr<Peripheral>& peripheral,
                                                   const std::shared_ptr<Characteristic>& characteristic,
                                                   const std::vector<std::uint8_t>& value,
                                                   const OptionalError& error) override {
        HalvoraSDKTensioBracelet::peripheralDidUpdateValueForCharacteristic(peripheral, characteristic, value, error);
        expect(pendingFrameBytes() <= kMaxFrameLength);
        expect(commandQueue().permits() <= 1);
    }

    void deinit() override {
        HalvoraSDKTensioBracelet::deinit();
        expect(pendingFrameBytes() == 0);
    }
};

HalvoraSDKTensioBraceletInterval windowFrom(FuzzInput& in) {
    HalvoraSDKTensioBraceletInterval window;
    window.startHour = static_cast<std::int8_t>(in.byte());
    window.startMinuteInterval = in.byte();
    window.endHour = static_cast<std::int8_t>(in.byte());
    window.endMinuteInterval = in.byte();
    window.ambulatoriInterval = in.integer();
    return window;
}

std::vector<FuzzCommand> tensioCommands() {
    using T = HalvoraSDKTensioBracelet;
    return {
        command<T>([](T& t, FuzzInput&) { t.startMeasurement(); }),
        command<T>([](T& t, FuzzInput&) { t.stopMeasurement(); }),
        command<T>([](T& t, FuzzInput&) { t.returnMeasurement(); }),
        command<T>([](T& t, FuzzInput&) { t.getBloodPressureHistory(); }),
        command<T>([](T& t, FuzzInput&) { t.removeBloodPressureHistory(); }),
        command<T>([](T& t, FuzzInput&) { t.getSmartwatchTime(); }),
        command<T>([](T& t, FuzzInput&) { t.setSmartwatchTime(); }),
        command<T>([](T& t, FuzzInput&) { t.getBasicInfo(); }),
        command<T>([](T& t, FuzzInput&) { t.resetDefaults(); }),
        command<T>([](T& t, FuzzInput& in) {
            HalvoraSDKTensioBraceletConfig config;
            config.hand = in.integer();
            config.ambulatoryEnabled = in.flag();
            t.setConfig(config);
        }),
        command<T>([](T& t, FuzzInput& in) {
            std::vector<HalvoraSDKTensioBraceletInterval> windows(in.byte() % (kMaxScheduleWindows + 1));
            for (auto& window : windows) window = windowFrom(in);
            (void)T::checkIntervalCorrect(windows);  // the manager's check; the driver sends whatever it is given
            t.setAmbulatoryBloodPressureTime(windows);
        }),
        command<T>([](T& t, FuzzInput&) { t.getAmbulatoryBloodPressureTime(); }),
    };
}

// ------------------------------------------------------------------ the pill box

/// The pill box's reports, each looked at (dates, colours, statuses, texts), so that a report made of bytes
/// the driver did not check shows up under the sanitizers.
class PillSink : public HalvoraPillReminderDelegate {
public:
    void pillReminderOnResult(const HalvoraSDKPillReminderResult& result) override {
        std::visit([this](const auto& record) { look(record); }, result);
    }
    void pillReminderOnError(const HalvoraSDKPillReminderMessageData& error) override { look(error); }

private:
    void look(const HalvoraSDKPillReminderData& data) {
        seen_ +=
            static_cast<std::uint64_t>(data.request) + static_cast<std::uint64_t>(data.date.time_since_epoch().count());
    }
    void look(const HalvoraSDKPillReminderMessageData& message) {
        look(static_cast<const HalvoraSDKPillReminderData&>(message));
        seen_ += message.messageText.size();
    }
    void look(const HalvoraSDKPillReminderAlarmData& alarm) {
        look(static_cast<const HalvoraSDKPillReminderData&>(alarm));
        seen_ += static_cast<std::uint64_t>(alarm.color);
    }
    void look(const HalvoraSDKPillReminderPerformanceData& dose) {
        look(static_cast<const HalvoraSDKPillReminderAlarmData&>(dose));
        seen_ += static_cast<std::uint64_t>(dose.dateTaken.time_since_epoch().count()) +
                 static_cast<std::uint64_t>(dose.statusTaken);
    }
    void look(const HalvoraSDKPillReminderAlarmListData& list) {
        look(static_cast<const HalvoraSDKPillReminderData&>(list));
        for (const auto& entry : list.alarmList) std::visit([this](const auto& e) { look(e); }, entry);
    }

    std::uint64_t seen_ = 0;
};

/// The pill box with the promises of its header checked after every notification: the schedule and history
/// reassemblies and the lists being gathered stay within their caps. Torn down, it holds none of them.
class CheckedPillReminder : public HalvoraSDKPillReminder {
public:
    using HalvoraSDKPillReminder::HalvoraSDKPillReminder;

    /// A checked driver, with a report sink set as the manager's pill reminder delegate.
    static std::shared_ptr<BLEDevice> make(DriverContext context) {
        static const auto sink = std::make_shared<PillSink>();
        if (auto manager = managerOf(context)) manager->setPillReminderDelegate(sink);
        return std::make_shared<CheckedPillReminder>(std::move(context));
    }

    void peripheralDidUpdateValueForCharacteristic(const std::shared_ptr<Peripheral>& peripheral,
                                                   const std::shared_ptr<Characteristic>& characteristic,
                                                   const std::vector<std::uint8_t>& value,
                                                   const OptionalError& error) override {
        HalvoraSDKPillReminder::peripheralDidUpdateValueForCharacteristic(peripheral, characteristic, value, error);
        expect(pendingScheduleBytes() <= kMaxScheduleReplyLength);
        expect(pendingHistoryBytes() <= kMaxHistoryReplyLength);
        expect(pendingAlarms() <= kMaxAlarms);
        expect(pendingRecords() <= kMaxRecords);
    }

    void deinit() override {
        HalvoraSDKPillReminder::deinit();
        expect(pendingScheduleBytes() == 0 && pendingHistoryBytes() == 0);
        expect(pendingAlarms() == 0 && pendingRecords() == 0);
    }
};

/// The most alarms a fuzzed schedule holds: past the ten of a day, to reach the kit's refusal.
constexpr std::uint8_t kMaxFuzzedAlarms = 24;

/// A schedule from the input: a count, then per alarm its date (seconds since 1970, four bytes) and a
/// colour byte taken modulo 8 (so that 0, 6 and 7 come up).
std::vector<HalvoraSDKPillReminderAlarmData> alarmsFrom(FuzzInput& in) {
    std::vector<HalvoraSDKPillReminderAlarmData> alarms(in.byte() % (kMaxFuzzedAlarms + 1));
    for (auto& alarm : alarms) {
        alarm.date = dateFrom(in);
        alarm.color = in.byte() % 8;
    }
    return alarms;
}

std::vector<FuzzCommand> pillReminderCommands() {
    using P = HalvoraSDKPillReminder;
    return {
        command<P>([](P& p, FuzzInput&) { p.setDeviceTime(); }),
        command<P>([](P& p, FuzzInput&) { p.getDeviceTime(); }),
        command<P>([](P& p, FuzzInput& in) {
            // Signed bytes reach both sides of the kit's checks; a flag also tries whole 32-bit values.
            if (in.flag()) {
                p.setDeviceTimeZone(in.integer(), in.integer());
            } else {
                p.setDeviceTimeZone(static_cast<std::int8_t>(in.byte()), static_cast<std::int8_t>(in.byte()));
            }
        }),
        command<P>([](P& p, FuzzInput&) { p.getDeviceTimeZone(); }),
        command<P>([](P& p, FuzzInput&) { p.getBatteryLevel(); }),
        command<P>([](P& p, FuzzInput&) { p.getLatestSynchronizationTime(); }),
        command<P>([](P& p, FuzzInput& in) { p.setSuccessfulSynchronizationStatus(in.flag()); }),
        command<P>([](P& p, FuzzInput&) { p.clearSchedulePerformanceHistory(); }),
        command<P>([](P& p, FuzzInput& in) { p.setAlarmsSchedule(alarmsFrom(in)); }),
        command<P>([](P& p, FuzzInput&) { p.getAlarmSchedule(); }),
        command<P>([](P& p, FuzzInput&) { p.getSchedulePerformanceHistory(); }),
        command<P>([](P& p, FuzzInput& in) { p.setAlarmDuration(in.integer()); }),
        command<P>([](P& p, FuzzInput& in) { p.setAlarmConfirmationTime(in.integer()); }),
        command<P>([](P& p, FuzzInput&) { p.clearAlarmSchedule(); }),
    };
}

std::vector<DriverTarget> makeTargets() {
    using Heart = HalvoraSDKHeartDevice;
    using HeartV3 = HalvoraSDKHeartDeviceV3;
    using ThermometerV2 = HalvoraSDKThermometerV2;
    using Scale = HalvoraSDKWeightScale;
    using Baby = HalvoraSDKBabyThermometer;
    std::vector<DriverTarget> targets;
    targets.push_back({"measurement_heart_device",
                       Heart::getName(),
                       oneService<Heart>(true),
                       maker<Heart>(),
                       {command<Heart>([](Heart& d, FuzzInput&) { d.startMeasurement(); })},
                       "HalvoraSDKHeartDevice"});
    targets.push_back({"measurement_heart_device_v2",
                       HalvoraSDKHeartDeviceV2::getName(),
                       oneService<HalvoraSDKHeartDeviceV2>(true),
                       maker<HalvoraSDKHeartDeviceV2>(),
                       {},
                       "HalvoraSDKHeartDeviceV2"});
    targets.push_back({"measurement_heart_device_v3",
                       HeartV3::getName(),
                       oneService<HeartV3>(true),
                       maker<HeartV3>(),
                       {command<HeartV3>([](HeartV3& d, FuzzInput&) { d.startMeasurement(); }),
                        command<HeartV3>([](HeartV3& d, FuzzInput&) { d.getBatteryLevel(); })},
                       "HalvoraSDKHeartDeviceV3"});
    targets.push_back(
        {"measurement_thermometer",
         "Bluetooth BP Thermometer",
         oneService<HalvoraSDKThermometer>(false),
         maker<HalvoraSDKThermometer>(),
         {command<HalvoraSDKThermometer>([](HalvoraSDKThermometer& d, FuzzInput&) { d.startMeasurement(); })},
         "HalvoraSDKThermometer"});
    targets.push_back({"measurement_thermometer_v2",
                       ThermometerV2::getName(),
                       oneService<ThermometerV2>(false),
                       maker<ThermometerV2>(),
                       {command<ThermometerV2>([](ThermometerV2& d, FuzzInput& in) { d.sendCommand(in.integer()); })},
                       "HalvoraSDKThermometerV2"});
    targets.push_back({"measurement_thermometer_v3",
                       HalvoraSDKThermometerV3::getName(),
                       oneService<HalvoraSDKThermometerV3>(false),
                       maker<HalvoraSDKThermometerV3>(),
                       {},
                       "HalvoraSDKThermometerV3"});
    targets.push_back({"measurement_oximeter",
                       HalvoraSDKOximeter::getName(),
                       {{HalvoraSDKOximeter::rsServiceUUID(),
                         {{HalvoraSDKOximeter::readCharacteristicUUID(), kNotify | kWriteNoResponse}}},
                        {BLEUUID("180A"), {{BLEUUID("2A27"), kRead}}}},
                       maker<HalvoraSDKOximeter>(),
                       {},
                       "HalvoraSDKOximeter"});
    targets.push_back(
        {"measurement_weight_scale",
         Scale::getName(),
         {{Scale::rsServiceUUID(),
           {{Scale::readCharacteristicUUID(), kNotify}, {Scale::sendCharacteristicUUID(), kWriteNoResponse}}},
          {BLEUUID("181B"), {{Scale::bodyCharacteristicUUID(), kNotify}}}},
         maker<Scale>(),
         {command<Scale>([](Scale& d, FuzzInput&) { d.startMeasurement(); })},
         "HalvoraSDKWeightScale"});
    targets.push_back({"measurement_baby_thermometer",
                       Baby::getName(),
                       oneService<Baby>(false),
                       maker<Baby>(),
                       {command<Baby>([](Baby& d, FuzzInput&) { d.startMeasurement(); })},
                       "HalvoraSDKBabyThermometer"});
    targets.push_back({"bracelet_notifications",
                       HalvoraSDKBracelet::getName(),
                       {{HalvoraSDKBracelet::rsServiceUUID(),
                         {{HalvoraSDKBracelet::readCharacteristicUUID(), kNotify},
                          {HalvoraSDKBracelet::sendCharacteristicUUID(), kWrite}}}},
                       maker<HalvoraSDKBracelet>(),
                       braceletCommands(),
                       "HalvoraSDKBracelet"});
    targets.push_back({"rm830_notifications",
                       HalvoraSDKBraceletRM830::getThirdName(),
                       {{HalvoraSDKBraceletRM830::rsServiceUUID(),
                         {{HalvoraSDKBraceletRM830::readCharacteristicUUID(), kNotify},
                          {HalvoraSDKBraceletRM830::sendCharacteristicUUID(), kWriteNoResponse | kWrite}}}},
                       maker<HalvoraSDKBraceletRM830>(),
                       rm830Commands(),
                       "HalvoraSDKBraceletRM830"});
    using Updater = HalvoraSDKBraceletRM830DFU;
    targets.push_back({"dfu_notifications",
                       Updater::getName(),
                       {{Updater::rsServiceUUID(),
                         {{Updater::readCharacteristicUUID(), kNotify | kWrite},
                          {Updater::sendCharacteristicUUID(), kWriteNoResponse},
                          {Updater::versionCharacteristicUUID(), kRead}}}},
                       &WatchedUpdater::make,
                       updaterCommands(),
                       "HalvoraSDKBraceletRM830DFU"});
    targets.push_back({"vital_notifications",
                       HalvoraSDKBraceletVital::getName(),
                       {{HalvoraSDKBraceletVital::rsServiceUUID(),
                         {{HalvoraSDKBraceletVital::readCharacteristicUUID(), kNotify},
                          {HalvoraSDKBraceletVital::sendCharacteristicUUID(), kWriteNoResponse | kWrite}}}},
                       maker<HalvoraSDKBraceletVital>(),
                       vitalCommands(),
                       "HalvoraSDKBraceletVital"});
    using Tensio = HalvoraSDKTensioBracelet;
    targets.push_back({"tensio_notifications",
                       Tensio::getName(),
                       {{Tensio::rsServiceUUID(),
                         {{Tensio::readCharacteristicUUID(), kNotify},
                          {Tensio::sendCharacteristicUUID(), kWrite | kWriteNoResponse}}}},
                       &CheckedTensio::make,
                       tensioCommands(),
                       "HalvoraSDKTensioBracelet"});
    using Pill = HalvoraSDKPillReminder;
    // The box often advertises with an empty GAP name: the harness's peripheral has none either.
    targets.push_back({"pillreminder_notifications",
                       "",
                       {{Pill::rsServiceUUID(),
                         {{Pill::readCharacteristicUUID(), kNotify},
                          {BLEUUID(Pill::kReadCharacteristic4060UUIDText), kNotify},
                          {BLEUUID(Pill::kReadCharacteristic60UUIDText), kNotify},
                          {BLEUUID(Pill::kReadCharacteristicRealtimeUUIDText), kNotify},
                          {Pill::sendCharacteristicUUID(), kWrite | kWriteNoResponse}}},
                        {Pill::deviceInformationServiceUUID(), {{Pill::hardwareRevisionStringUUID(), kRead}}}},
                       &CheckedPillReminder::make,
                       pillReminderCommands(),
                       "HalvoraSDKPillReminder"});
    return targets;
}

}  // namespace

const std::vector<DriverTarget>& driverTargets() {
    static const std::vector<DriverTarget> targets = makeTargets();
    return targets;
}

const DriverTarget& driverTarget(const std::string& name) {
    for (const auto& target : driverTargets()) {
        if (target.name == name) return target;
    }
    std::fprintf(stderr, "no fuzz target named %s\n", name.c_str());
    std::abort();
}

std::vector<BLEUUID> characteristicOrder(const DriverTarget& target) {
    std::vector<BLEUUID> order;
    for (const auto& service : target.services) {
        for (const auto& c : service.characteristics) order.push_back(c.uuid);
    }
    return order;
}

}  // namespace halvora::fuzz
