#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "halvora/Core/PreferenceUtils.hpp"
#include "halvora/Manager/HalvoraSDKManager.hpp"
#include "halvora/Runtime/VirtualExecutor.hpp"
#include "lab/LabTransport.hpp"
#include "lab/Radio.hpp"
#include "support/RecordingApplication.hpp"
#include "support/TempDir.hpp"

namespace halvora::test {

/// A whole world for end-to-end tests, in virtual time: a virtual executor, the lab's radio and transport,
/// a manager with its own preferences file and a log that records its lines, and a recording application
/// set as the manager's general, device, heart and scan delegate. The central is created (without
/// restoration) and has reported its state by the time the constructor returns.
class LabHarness {
public:
    explicit LabHarness(std::uint64_t seed = 1, bool createCentral = true);
    ~LabHarness();

    /// Puts a virtual device in range and returns it.
    template <typename Device>
    std::shared_ptr<Device> add(std::shared_ptr<Device> device) {
        radio->addPeripheral(device);
        executor->runUntilIdle();
        return device;
    }

    /// Runs until `done` holds or `limit` of virtual time passes; returns whether it holds.
    bool runUntil(const std::function<bool()>& done, Duration limit = seconds(120));
    /// Runs until the application saw `event` (see RecordingApplication), within `limit`.
    bool runUntilEvent(const std::string& event, Duration limit = seconds(120));
    void advance(Duration duration) { executor->advance(duration); }
    /// Virtual milliseconds since the harness started.
    long long nowMs() const;

    std::vector<std::string> logLines() const;
    bool logged(const std::string& line) const;

    std::shared_ptr<VirtualExecutor> executor;
    std::shared_ptr<lab::Radio> radio;
    std::shared_ptr<lab::LabTransport> transport;
    TempDir folder;
    std::shared_ptr<PreferenceUtils> preferences;
    std::shared_ptr<Log> log;
    std::shared_ptr<HalvoraSDKManager> manager;
    std::shared_ptr<RecordingApplication> app;

private:
    mutable std::mutex logMutex_;
    std::vector<std::string> logLines_;
};

}  // namespace halvora::test
