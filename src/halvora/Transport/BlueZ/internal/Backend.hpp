#pragma once

#include <sdbus-c++/TypeTraits.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "halvora/Core/Log.hpp"
#include "halvora/Transport/BLEUUID.hpp"
#include "halvora/Transport/BlueZ/BlueZOptions.hpp"
#include "halvora/Transport/BlueZ/internal/BusLoop.hpp"
#include "halvora/Transport/BlueZ/internal/DBusFailure.hpp"
#include "halvora/Transport/BlueZ/internal/ObjectMirror.hpp"
#include "halvora/Transport/BlueZ/internal/SharedHolds.hpp"
#include "halvora/Transport/TransportTypes.hpp"

namespace sdbus {
class IConnection;
class IProxy;
class Message;
class MethodCall;
class MethodReply;
}  // namespace sdbus

namespace halvora::bluez {

class BlueZCentral;

/// The bus side of the BlueZ transport: the one connection and its thread (BusLoop), the object mirror
/// and the calls to bluetoothd. It follows the bus (matches first, then GetNameOwner and GetManagedObjects;
/// again whenever bluetoothd comes back), works out the Bluetooth state, runs discovery for the centrals
/// that scan and hands every relevant change to the centrals, which turn them into events.
///
/// Every bus message (signal or reply) is handled in a task of the loop, in arrival order, never inside
/// sd-bus's own dispatch. Members marked "loop" run on the loop thread only.
///
/// The transport alone owns the backend; centrals and peripherals hold it weakly, so that it is never
/// destroyed on its own loop thread (which holds centrals and peripherals while it works).
class Backend : public std::enable_shared_from_this<Backend> {
public:
    /// An entry of the device directory that other threads read (retrieve by identifier or by services).
    struct DeviceEntry {
        std::string identifier;
        std::string path;
        std::optional<std::string> name;
        bool connected = false;
        /// Advertised service UUIDs and those of the device's GATT services.
        std::vector<BLEUUID> services;
    };
    /// Writes a call's arguments.
    using Arguments = std::function<void(sdbus::MethodCall& call)>;
    /// Reads an answer, inside the bus's dispatch: messages belong to their connection and are never kept.
    /// It may throw sdbus::Error (a malformed answer, which then counts as a failure).
    using Decoder = std::function<void(sdbus::MethodReply& reply)>;
    /// Runs in a later task of the loop with the outcome: nothing, or why the call failed.
    using Done = std::function<void(const std::optional<DBusFailure>& failure)>;

    static std::shared_ptr<Backend> create(BlueZOptions options, std::shared_ptr<Log> log);
    ~Backend();
    Backend(const Backend&) = delete;
    Backend& operator=(const Backend&) = delete;

    // ---- any thread
    const BlueZOptions& options() const { return options_; }
    Log& log() const { return *log_; }
    const std::shared_ptr<Log>& logger() const { return log_; }
    void post(Task task);
    /// Registers a central; it receives its first state report as soon as the state is known.
    void attach(const std::shared_ptr<BlueZCentral>& central);
    /// Waits until the state is known; returns why BlueZ cannot be used, or nothing.
    std::optional<std::string> probe(Duration limit) const;
    std::vector<DeviceEntry> devicesWithIdentifiers(const std::vector<std::string>& identifiers) const;
    std::vector<DeviceEntry> connectedDevicesWithServices(const std::vector<BLEUUID>& services) const;

    // ---- loop
    const ObjectMirror& mirror() const { return mirror_; }
    CentralState state() const { return state_; }
    std::string identifierOf(const ObjectMirror::Device& device) const;
    /// Calls a method of bluetoothd with a deadline; `decoder` reads the answer, `done` runs in a later task.
    void call(const std::string& path, const std::string& interface, const std::string& method,
              const Arguments& arguments, Duration timeout, Done done, Decoder decoder = {});
    /// Runs `task` in the loop after `delay`.
    void after(Duration delay, Task task);
    /// Starts or stops discovery so that it runs exactly while a central scans (or waits for a device).
    void updateDiscovery();
    /// The same after a new scan request: a refused start is tried again.
    void requestDiscovery();
    /// Links and notify sessions are bluetoothd's, one per device and per characteristic for this whole
    /// connection, and shared by the peripherals of every central of the transport: each peripheral holds
    /// what it uses, and what nobody holds any more can end. Held links are closed when the transport goes.
    void holdLink(const std::string& path, std::uint64_t holder);
    /// Whether nobody holds the link any more (the caller then disconnects the device).
    bool releaseLink(const std::string& path, std::uint64_t holder);
    void holdNotifySession(const std::string& path, std::uint64_t holder);
    bool notifySessionHeld(const std::string& path) const;
    /// Whether nobody holds the session any more (the caller then stops it).
    bool releaseNotifySession(const std::string& path, std::uint64_t holder);
    /// A central went away: what its peripherals held is released, and the sessions and links nobody else
    /// uses end (StopNotify, Disconnect), without telling anyone.
    void releaseQuietly(const std::vector<std::uint64_t>& holders);

private:
    enum class Availability { Unknown, NoBus, NoBluez, NoAdapter, Ready };
    struct ProxyEntry {
        std::unique_ptr<sdbus::IProxy> proxy;
        int pending = 0;
    };

    Backend(BlueZOptions options, std::shared_ptr<Log> log);
    void start();

    // bus life (loop)
    std::unique_ptr<sdbus::IConnection> openConnection() const;
    void busOpened(sdbus::IConnection& connection);
    void busOpenFailed(const std::string& reason);
    void busClosing(const std::string& reason);
    /// Reads a signal inside the bus's dispatch and gives the task that handles it.
    using SignalDecoder = std::function<Task(sdbus::Message& message)>;
    void addMatch(sdbus::IConnection& connection, const std::string& rule, SignalDecoder decoder);
    void callOn(const std::string& destination, const std::string& path, const std::string& interface,
                const std::string& method, const Arguments& arguments, Duration timeout, Done done, Decoder decoder);
    sdbus::IProxy& proxyFor(const std::string& destination, const std::string& path);
    void pruneProxies();

    // following bluetoothd (loop)
    void askForOwner();
    void synchronise();
    void applySnapshot(const ManagedObjects& objects);
    void bluezGone(Availability availability, const std::string& reason);
    void onNameOwnerChanged(const std::string& name, const std::string& newOwner);
    void onInterfacesAdded(const std::string& path, const InterfaceMap& interfaces);
    void onInterfacesRemoved(const std::string& path, const std::vector<std::string>& interfaces);
    void onPropertiesChanged(const std::string& path, const std::string& interface, const PropertyMap& changed,
                             const std::vector<std::string>& invalidated);
    void deviceChanged(const std::string& path, const ObjectMirror::DeviceChange& change);
    void devicesGone(const std::vector<std::string>& paths);
    void characteristicValue(const std::string& path, const PropertyMap& changed);
    void gattChangedBelow(const std::string& path);

    // state (loop)
    void setAvailability(Availability availability, const std::string& reason);
    void refreshPower();
    void reportState(const std::shared_ptr<BlueZCentral>& central);
    std::vector<std::shared_ptr<BlueZCentral>> liveCentrals();
    void refreshDirectory();
    void refreshDirectoryEntry(const std::string& devicePath);
    std::optional<std::string> deviceOfPath(const std::string& path) const;
    void dropped(const std::string& path, const std::string& property, const std::string& why);
    /// Logs a line about malformed input once (repeats of the same line are not logged).
    void logOnce(const std::string& line);
    void startDiscovery();
    void stopDiscovery();
    /// While a central scans with duplicates, restarts discovery after the restart interval.
    void scheduleDiscoveryRestart();
    void restartDiscovery(std::uint64_t generation);
    void sayGoodbye();

    const BlueZOptions options_;
    const std::shared_ptr<Log> log_;
    const std::string adapterPath_;
    std::unique_ptr<BusLoop> loop_;

    // Loop only.
    ObjectMirror mirror_;
    std::vector<std::weak_ptr<BlueZCentral>> centrals_;
    std::vector<sdbus::Slot> slots_;  // match rules, dropped before the connection
    std::map<std::pair<std::string, std::string>, ProxyEntry> proxies_;
    Availability availability_ = Availability::Unknown;
    CentralState state_ = CentralState::Unknown;
    bool synced_ = false;
    std::uint64_t syncGeneration_ = 0;
    bool discoveryActive_ = false;
    bool discoveryBusy_ = false;
    bool discoveryRefused_ = false;
    std::uint64_t discoveryGeneration_ = 0;  // counts starts, so that an old restart timer does nothing
    std::set<std::string> loggedOnce_;
    SharedHolds links_;
    SharedHolds notifySessions_;
    std::atomic<bool> stopping_{false};

    // Read by other threads.
    mutable std::mutex mutex_;
    mutable std::condition_variable known_;
    bool stateKnown_ = false;
    std::optional<std::string> unusableReason_;
    std::map<std::string, DeviceEntry> directory_;  // by identifier
};

}  // namespace halvora::bluez
