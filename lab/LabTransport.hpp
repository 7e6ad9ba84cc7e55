#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "halvora/Transport/Transport.hpp"

namespace halvora::lab {

class Radio;
class RestorationStore;

/// The transport over the lab's radio ("lab"). Its centrals are SimulatedCentral objects. Like the system,
/// it remembers per restore identifier the peripherals that centrals made with it connected or asked to
/// connect, and hands them to the next central made with that identifier (will-restore event). Links of a
/// central with a restore identifier outlive it, as the system keeps them for a relaunched application;
/// links of any other central end with it.
class LabTransport : public Transport {
public:
    /// A transport whose centrals hear the devices on `radio`, with an empty restoration memory.
    explicit LabTransport(std::shared_ptr<Radio> radio);

    std::string name() const override { return "lab"; }
    /// A null queue means the executor's main queue.
    std::shared_ptr<Central> makeCentral(std::weak_ptr<CentralDelegate> delegate, std::shared_ptr<SerialQueue> queue,
                                         CentralOptions options) override;
    void makePeripheralManager(const std::string& restoreIdentifier) override;

    /// The radio the centrals listen on.
    const std::shared_ptr<Radio>& radio() const { return radio_; }
    /// The restore identifiers of the peripheral managers made so far, in order.
    std::vector<std::string> peripheralManagerIdentifiers() const;
    /// The peripherals remembered for `restoreIdentifier`.
    std::vector<std::string> rememberedPeripherals(const std::string& restoreIdentifier) const;

private:
    const std::shared_ptr<Radio> radio_;
    const std::shared_ptr<RestorationStore> restoration_;
    mutable std::mutex mutex_;
    std::vector<std::string> peripheralManagers_;
};

}  // namespace halvora::lab
