#include "support/SinkApplication.hpp"

#include <string>
#include <vector>

#include "halvora/Devices/Bracelet/HalvoraBraceletDelegate.hpp"
#include "halvora/Devices/Measurement/HalvoraBabyThermometerDelegate.hpp"
#include "halvora/Devices/Measurement/HalvoraHeartDelegate.hpp"
#include "halvora/Devices/Measurement/HalvoraOximeterDelegate.hpp"
#include "halvora/Devices/Measurement/HalvoraThermometerDelegate.hpp"
#include "halvora/Devices/Measurement/HalvoraWeightScaleDelegate.hpp"
#include "halvora/Devices/RM830/HalvoraBraceletRM830Delegate.hpp"
#include "halvora/Manager/HalvoraDeviceDelegate.hpp"
#include "halvora/Manager/HalvoraSDKManagerDelegate.hpp"

namespace halvora::fuzz {
namespace {

// Reading every text a record can describe itself with walks all of its fields.
volatile std::size_t gSeen = 0;
void look(const std::string& text) {
    gSeen = gSeen + text.size();
}

struct Sinks : HalvoraSDKManagerDelegate,
               HalvoraDeviceDelegate,
               HalvoraOximeterDelegate,
               HalvoraThermometerDelegate,
               HalvoraBabyThermometerDelegate,
               HalvoraWeightScaleDelegate,
               HalvoraBraceletDelegate {
    void heartDeviceOnResult(const HalvoraSDKHeartData& data) override { look(data.print()); }
    void deviceOnSendInformation(DeviceKind, const std::string& information) override { look(information); }
    void oximeterDeviceOnResult(const HalvoraSDKOximeterData& data) override { look(data.description()); }
    void oximeterDeviceOnProgressMeasurement(const HalvoraSDKOximeterData& data) override { look(data.description()); }
    void thermometerOnResult(const HalvoraSDKThermometerData& data) override { look(data.description()); }
    void weightscaleOnMeasurementResult(const HalvoraSDKWeightScaleData& data) override { look(data.description()); }
    void weightscaleOnResult(const HalvoraSDKWeightScaleData& data) override { look(data.description()); }
    void braceletHeartDataReceived(const HalvoraSDKHeartBeatData& data) override { look(data.description()); }
    void braceletInfoReceived(const std::string& info) override { look(info); }
    void braceletSyncReceived(const HalvoraSDKBraceletData& data) override {
        for (const auto& sleep : data.sleepData) look(sleep.description());
        for (const auto& heart : data.heartData) look(heart.description());
        for (const auto& steps : data.stepsData) look(steps.print());
    }
};

// The RM830 bracelet's callbacks share names with the text-command bracelet's: a receiver of its own.
struct RM830Sink : HalvoraBraceletRM830Delegate {
    void braceletSyncReceived(const HalvoraSDKBraceletData& data) override {
        for (const auto& sleep : data.sleepData) look(sleep.description());
        for (const auto& steps : data.stepsData) look(steps.print());
    }
    void braceletRM830HRSyncReceived(const std::vector<HalvoraSDKHeartBeatData>& data) override {
        for (const auto& heart : data) look(heart.description());
    }
};

// The heart delegate has the general delegate's heart callbacks under the same names: a receiver of its own.
struct HeartSink : HalvoraHeartDelegate {
    void heartDeviceOnResult(const HalvoraSDKHeartData& data) override { look(data.print()); }
};

struct Receivers {
    std::shared_ptr<Sinks> sinks = std::make_shared<Sinks>();
    std::shared_ptr<HeartSink> heart = std::make_shared<HeartSink>();
    std::shared_ptr<RM830Sink> rm830 = std::make_shared<RM830Sink>();
};

}  // namespace

std::shared_ptr<void> installSinkDelegates(HalvoraSDKManager& manager) {
    auto receivers = std::make_shared<Receivers>();
    const auto& s = receivers->sinks;
    manager.setDelegate(std::shared_ptr<HalvoraSDKManagerDelegate>(s, s.get()));
    manager.setDeviceDelegate(std::shared_ptr<HalvoraDeviceDelegate>(s, s.get()));
    manager.setHeartDelegate(receivers->heart);
    manager.setBraceletRM830Delegate(receivers->rm830);
    manager.setOximeterDelegate(std::shared_ptr<HalvoraOximeterDelegate>(s, s.get()));
    manager.setThermometerDelegate(std::shared_ptr<HalvoraThermometerDelegate>(s, s.get()));
    manager.setBabyThermometerDelegate(std::shared_ptr<HalvoraBabyThermometerDelegate>(s, s.get()));
    manager.setWeightscaleDelegate(std::shared_ptr<HalvoraWeightScaleDelegate>(s, s.get()));
    manager.setBraceletDelegate(std::shared_ptr<HalvoraBraceletDelegate>(s, s.get()));
    return receivers;
}

}  // namespace halvora::fuzz
