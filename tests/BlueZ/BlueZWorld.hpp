#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "BlueZ/LogRecorder.hpp"
#include "BlueZ/PrivateBus.hpp"
#include "halvora/Core/PreferenceUtils.hpp"
#include "halvora/Manager/HalvoraSDKManager.hpp"
#include "halvora/Runtime/ThreadedExecutor.hpp"
#include "halvora/Transport/BlueZ/BlueZTransport.hpp"
#include "support/RecordingApplication.hpp"

namespace halvora::test {

/// One blood-pressure monitor of the first generation that measures 128/84/66 in fast steps.
extern const char* const kOneMonitorLab;
/// Its lab identifier.
extern const char* const kMonitorLabIdentifier;

/// A whole world in real time: a private bus with the bluetoothd double playing a lab file, a BlueZ
/// transport on that bus, and a manager on a threaded executor with a recording application as its
/// delegates. The central is created, and has reported its state, when the constructor returns.
class BlueZWorld {
public:
    explicit BlueZWorld(const std::vector<std::string>& doubleArguments = {}, const std::string& lab = kOneMonitorLab);
    ~BlueZWorld();

    bool waitFor(const std::function<bool()>& done, Duration limit = seconds(15)) const;
    bool waitForEvent(const std::string& event, Duration limit = seconds(15)) const;
    /// Whether a log line contains `text`.
    bool logged(const std::string& text) const;
    std::vector<std::string> logLines() const;
    /// Starts the double again with the same lab and arguments.
    bool restartDouble();

    PrivateBus bus;
    std::string labFile;
    std::vector<std::string> doubleArguments;
    bool doubleStarted = false;
    LogRecorder logs;
    std::shared_ptr<ThreadedExecutor> executor;
    std::shared_ptr<Log> log;
    std::shared_ptr<BlueZTransport> transport;
    std::shared_ptr<PreferenceUtils> preferences;
    std::shared_ptr<HalvoraSDKManager> manager;
    std::shared_ptr<RecordingApplication> app;
};

/// Transport options for tests: the private bus, quick reconnection.
BlueZOptions testOptions(const PrivateBus& bus);

}  // namespace halvora::test
