#pragma once

// The bracelet's application delegate for tests: every callback becomes a short text ("steps 1000",
// "heart 72", "sync 2/0/1", "started", "finished", "activity 120", "beep", "parameter 3",
// "info Alarm set\r\n" (line ends written as \r\n), "battery 87", "progress 1/2"); records are kept.
#include <cstdint>
#include <string>
#include <vector>

#include "halvora/Devices/Bracelet/HalvoraBraceletDelegate.hpp"

namespace halvora::test {

class RecordingBraceletDelegate : public HalvoraBraceletDelegate {
public:
    void braceletCurrentStepsReceived(const HalvoraSDKStepData& data) override {
        steps.push_back(data);
        add("steps " + std::to_string(data.steps));
    }
    void braceletHeartDataReceived(const HalvoraSDKHeartBeatData& data) override {
        heartBeats.push_back(data);
        add("heart " + std::to_string(data.heartRate));
    }
    void braceletSyncReceived(const HalvoraSDKBraceletData& data) override {
        syncs.push_back(data);
        add("sync " + std::to_string(data.stepsData.size()) + "/" + std::to_string(data.sleepData.size()) + "/" +
            std::to_string(data.heartData.size()));
    }
    void braceletActivityStarted() override { add("started"); }
    void braceletActivityFinished() override { add("finished"); }
    void braceletActivityStepsReceived(std::int32_t steps) override { add("activity " + std::to_string(steps)); }
    void braceletBeepReceived() override { add("beep"); }
    void braceletParameterSet(std::int32_t code) override { add("parameter " + std::to_string(code)); }
    void braceletInfoReceived(const std::string& info) override { add("info " + visible(info)); }
    void braceletBatteryReceived(std::int32_t percent) override { add("battery " + std::to_string(percent)); }
    void braceletSyncProgress(std::int32_t package, std::int32_t totalPackages) override {
        add("progress " + std::to_string(package) + "/" + std::to_string(totalPackages));
    }

    /// Line ends written out, so that a failure message shows them.
    static std::string visible(const std::string& text) {
        std::string out;
        for (char c : text) {
            if (c == '\r') {
                out += "\\r";
            } else if (c == '\n') {
                out += "\\n";
            } else {
                out += c;
            }
        }
        return out;
    }

    void clear() {
        events.clear();
        steps.clear();
        heartBeats.clear();
        syncs.clear();
    }

    std::vector<std::string> events;
    std::vector<HalvoraSDKStepData> steps;
    std::vector<HalvoraSDKHeartBeatData> heartBeats;
    std::vector<HalvoraSDKBraceletData> syncs;

private:
    void add(std::string event) { events.push_back(std::move(event)); }
};

}  // namespace halvora::test
