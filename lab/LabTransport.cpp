#include "lab/LabTransport.hpp"

#include "lab/Radio.hpp"
#include "lab/RestorationStore.hpp"
#include "lab/SimulatedCentral.hpp"

namespace halvora::lab {

LabTransport::LabTransport(std::shared_ptr<Radio> radio)
    : radio_(std::move(radio)), restoration_(std::make_shared<RestorationStore>()) {}

std::shared_ptr<Central> LabTransport::makeCentral(std::weak_ptr<CentralDelegate> delegate,
                                                   std::shared_ptr<SerialQueue> queue, CentralOptions options) {
    return SimulatedCentral::create(radio_, std::move(delegate), std::move(queue), std::move(options), restoration_);
}

void LabTransport::makePeripheralManager(const std::string& restoreIdentifier) {
    std::lock_guard lock(mutex_);
    peripheralManagers_.push_back(restoreIdentifier);
}

std::vector<std::string> LabTransport::peripheralManagerIdentifiers() const {
    std::lock_guard lock(mutex_);
    return peripheralManagers_;
}

std::vector<std::string> LabTransport::rememberedPeripherals(const std::string& restoreIdentifier) const {
    return restoration_->peripherals(restoreIdentifier);
}

}  // namespace halvora::lab
