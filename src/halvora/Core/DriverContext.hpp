#pragma once

#include <memory>

#include "halvora/Core/ApplicationDelegates.hpp"
#include "halvora/Core/DeviceConnector.hpp"
#include "halvora/Core/Log.hpp"
#include "halvora/Runtime/Executor.hpp"
#include "halvora/Runtime/SerialQueue.hpp"

namespace halvora {

class PreferenceUtils;
class ResourceBundle;

/// What a driver needs from the world around it, handed over by the manager that creates it: the executor
/// (clock, timers, queues), the callback queue on which its peripheral's events arrive ("halvora.cb"), the
/// log, the preferences store and the application's delegates (the manager, through which a driver reaches
/// the delegate of its kind at the moment of delivery). Every member may be empty in a bare driver made for a
/// test; the accessors fall back to the process-wide log and preferences.
struct DriverContext {
    /// The clock, timers and queues; empty in a bare driver.
    std::shared_ptr<Executor> executor;
    /// The serial queue on which the peripheral's events arrive and the driver's state lives.
    std::shared_ptr<SerialQueue> callbackQueue;
    /// Where the driver's log lines go; empty: the process-wide log.
    std::shared_ptr<Log> log;
    /// The persisted preferences; empty: the process-wide store.
    std::shared_ptr<PreferenceUtils> preferences;
    /// The application's delegates (the manager), held weakly; empty: nothing is delivered.
    std::weak_ptr<ApplicationDelegates> delegates;
    /// The manager, for a driver that asks for another kind to be connected; empty: such requests are dropped.
    std::weak_ptr<DeviceConnector> connector;
    /// The kit's resource folder (the firmware image); empty: the process-wide bundle.
    std::shared_ptr<ResourceBundle> resources = nullptr;

    /// The log lines go to: the context's log, else the process-wide one.
    Log& logger() const { return log ? *log : Log::shared(); }
    /// The resources come from: the context's bundle, else the process-wide one.
    ResourceBundle& bundle() const;
};

}  // namespace halvora
