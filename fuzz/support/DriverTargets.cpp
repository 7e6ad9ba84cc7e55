#include <cstdio>
#include <cstdlib>

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
#include "halvora/Devices/RM830/HalvoraSDKBraceletRM830.hpp"
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
