#pragma once

#include <memory>
#include <string>

#include "halvora/Core/Log.hpp"
#include "halvora/Runtime/Executor.hpp"
#include "halvora/Transport/Transport.hpp"

namespace halvora {

class PreferenceUtils;
class ResourceBundle;

/// The world a manager runs in: its executor (queues and clock), its Bluetooth backend, its preferences
/// store and its log. Empty members take the process-wide defaults (the shared preferences and log).
struct ManagerEnvironment {
    /// Queues, timers and clock; empty gets a new ThreadedExecutor.
    std::shared_ptr<Executor> executor;
    /// The Bluetooth backend; empty gets an UnavailableTransport (its central reports Unsupported).
    std::shared_ptr<Transport> transport;
    /// The preferences store; empty gets PreferenceUtils::shared().
    std::shared_ptr<PreferenceUtils> preferences;
    /// The log; empty gets Log::shared().
    std::shared_ptr<Log> log;
    /// The short version text logged at start-up.
    std::string bundleVersion = "179";
    /// The kit's resources (the firmware image); empty gets ResourceBundle::shared().
    std::shared_ptr<ResourceBundle> resources = nullptr;
};

}  // namespace halvora
