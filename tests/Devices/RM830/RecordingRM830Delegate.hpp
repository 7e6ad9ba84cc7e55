#pragma once

// The RM830 bracelet's application delegate for tests: every callback becomes a short text ("steps 1000",
// "sync 2/1" (steps/sleep records), "hr 72", "hrsync 24" (readings), "finished true"); records are kept. A
// test may hook operationFinished to act from inside the callback, as an application would.
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "halvora/Devices/RM830/HalvoraBraceletRM830Delegate.hpp"

namespace halvora::test {

class RecordingRM830Delegate : public HalvoraBraceletRM830Delegate {
public:
    void braceletCurrentStepsReceived(const HalvoraSDKStepData& data) override {
        steps.push_back(data);
        events.push_back("steps " + std::to_string(data.steps));
    }
    void braceletSyncReceived(const HalvoraSDKBraceletData& data) override {
        syncs.push_back(data);
        events.push_back("sync " + std::to_string(data.stepsData.size()) + "/" + std::to_string(data.sleepData.size()));
    }
    void braceletRM830HRReceived(std::int32_t heartRate) override {
        events.push_back("hr " + std::to_string(heartRate));
    }
    void braceletRM830HRSyncReceived(const std::vector<HalvoraSDKHeartBeatData>& data) override {
        heartSyncs.push_back(data);
        events.push_back("hrsync " + std::to_string(data.size()));
    }
    void operationFinished(bool success) override {
        events.push_back(success ? "finished true" : "finished false");
        if (onFinished) onFinished(success);
    }

    void clear() {
        events.clear();
        steps.clear();
        syncs.clear();
        heartSyncs.clear();
    }

    std::function<void(bool)> onFinished;
    std::vector<std::string> events;
    std::vector<HalvoraSDKStepData> steps;
    std::vector<HalvoraSDKBraceletData> syncs;
    std::vector<std::vector<HalvoraSDKHeartBeatData>> heartSyncs;
};

}  // namespace halvora::test
