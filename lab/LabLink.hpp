#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>

#include "halvora/Runtime/TimerHandle.hpp"
#include "halvora/Transport/BLEUUID.hpp"

namespace halvora::lab {

class SimulatedPeripheral;
class VirtualPeripheral;

/// One connection between a virtual device and a central's view of it. The device holds its current link;
/// the central's peripheral holds the link it is connected over. A request carries the link it was made on,
/// so work left over from an earlier connection is recognised and dropped. Which characteristics the
/// central switched notifications on for is kept per link: a new connection starts with none.
class LabLink {
public:
    LabLink(std::weak_ptr<VirtualPeripheral> device, std::weak_ptr<SimulatedPeripheral> peripheral,
            std::optional<std::string> restoreIdentifier);

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

    bool isNotifying(const BLEUUID& characteristic) const;
    void setNotifying(const BLEUUID& characteristic, bool enabled);

    /// The timer that ends the link by itself (LabFaults::disconnectAfter); cancelled when the link ends.
    void setEndTimer(std::shared_ptr<TimerHandle> timer);
    void cancelEndTimer();

private:
    const std::weak_ptr<VirtualPeripheral> device_;
    mutable std::mutex mutex_;
    std::weak_ptr<SimulatedPeripheral> peripheral_;
    std::optional<std::string> restoreIdentifier_;
    std::set<BLEUUID> notifying_;
    std::shared_ptr<TimerHandle> endTimer_;
};

}  // namespace halvora::lab
