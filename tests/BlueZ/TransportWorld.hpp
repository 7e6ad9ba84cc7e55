#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "BlueZ/BlueZWorld.hpp"
#include "BlueZ/LogRecorder.hpp"
#include "BlueZ/PrivateBus.hpp"
#include "BlueZ/TransportRecorder.hpp"
#include "halvora/Runtime/ThreadedExecutor.hpp"
#include "halvora/Transport/BlueZ/BlueZTransport.hpp"

namespace halvora::test {

/// The local name of the monitor of kOneMonitorLab.
inline constexpr const char* kMonitorName = "Bluetooth BP";

/// Polls `done` every 5 ms until it holds or `limit` passes.
bool waitUntil(const std::function<bool()>& done, Duration limit = seconds(15));

/// A central of the BlueZ transport with a recording delegate, over a private bus with (or without) the
/// double.
struct TransportWorld {
    /// `adjust` changes the transport's options before it is made.
    explicit TransportWorld(const std::vector<std::string>& doubleArguments, const std::string& lab = kOneMonitorLab,
                            bool withDouble = true, const std::function<void(BlueZOptions&)>& adjust = {});
    ~TransportWorld();

    void start(BlueZOptions options);
    /// Scans until the monitor called `name` is heard, connects it and discovers the service `service`.
    std::shared_ptr<Peripheral> connectAndDiscover(const BLEUUID& service, const std::string& name = kMonitorName);
    std::shared_ptr<Characteristic> characteristic(const std::shared_ptr<Peripheral>& peripheral, const BLEUUID& uuid);
    std::size_t logLinesContaining(const std::string& text) const { return logs.count(text); }

    PrivateBus bus;
    bool started = false;
    std::shared_ptr<ThreadedExecutor> executor = ThreadedExecutor::create();
    LogRecorder logs;
    std::shared_ptr<Log> log = logs.log();
    std::shared_ptr<TransportRecorder> recorder = std::make_shared<TransportRecorder>();
    std::shared_ptr<BlueZTransport> transport;
    std::shared_ptr<Central> central;
};

}  // namespace halvora::test
