#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>

#include "halvora/Runtime/Task.hpp"
#include "halvora/Runtime/TimerHandle.hpp"
#include "halvora/Transport/BLEUUID.hpp"
#include "lab/LinkModel.hpp"

namespace halvora::lab {

class SimulatedPeripheral;
class VirtualPeripheral;

/// One connection between a virtual device and a central's view of it. The device holds its current link;
/// the central's peripheral holds the link it is connected over. A request carries the link it was made on,
/// so work left over from an earlier connection is recognised and dropped. Which characteristics the
/// central switched notifications on for is kept per link: a new connection starts with none. Under a
/// LinkModel the link also keeps which connection event the phone's writes are booked in.
class LabLink {
public:
    /// A new link between `device` and the central-side `peripheral`, held by the central with
    /// `restoreIdentifier` (if any), come up at `start`. No characteristic notifies yet.
    LabLink(std::weak_ptr<VirtualPeripheral> device, std::weak_ptr<SimulatedPeripheral> peripheral,
            std::optional<std::string> restoreIdentifier, MonotonicTime start);

    /// The virtual device at this end (empty once it is gone).
    std::shared_ptr<VirtualPeripheral> device() const;
    /// The central-side peripheral at the other end (empty once nothing holds it).
    std::shared_ptr<SimulatedPeripheral> peripheral() const;
    /// The restore identifier of the central that holds the link, if it has one.
    std::optional<std::string> restoreIdentifier() const;
    /// Whether the central at the other end still exists. A link whose central is gone is held by the
    /// system: a later central may take it over.
    bool hasLiveCentral() const;
    /// Hands the link to another central's peripheral (state restoration, system-held links).
    void rebind(std::weak_ptr<SimulatedPeripheral> peripheral, std::optional<std::string> restoreIdentifier);

    /// True when the central switched notifications on for `characteristic` over this link.
    bool isNotifying(const BLEUUID& characteristic) const;
    /// Records the central switching notifications on or off for `characteristic`.
    void setNotifying(const BLEUUID& characteristic, bool enabled);

    /// When the link came up (connection event 0 of a LinkModel).
    MonotonicTime start() const { return start_; }
    /// Books a write the phone makes at `now` into the first connection event of `model` strictly after
    /// `now` that still has room, after every write booked before; returns that event's time.
    MonotonicTime bookWrite(const LinkModel& model, MonotonicTime now);

    /// The timer that ends the link by itself (LabFaults::disconnectAfter); cancelled when the link ends.
    void setEndTimer(std::shared_ptr<TimerHandle> timer);
    /// Invalidates the end timer, if any; harmless when there is none.
    void cancelEndTimer();

private:
    const std::weak_ptr<VirtualPeripheral> device_;
    const MonotonicTime start_;
    mutable std::mutex mutex_;
    std::weak_ptr<SimulatedPeripheral> peripheral_;
    std::optional<std::string> restoreIdentifier_;
    std::set<BLEUUID> notifying_;
    std::shared_ptr<TimerHandle> endTimer_;
    std::int64_t writeEvent_ = 0;  // the connection event the last write was booked in
    int writesInEvent_ = 0;        // how many writes it carries
};

}  // namespace halvora::lab
