#include "lab/SimulatedCentral.hpp"

#include <algorithm>

#include "halvora/Core/Log.hpp"
#include "lab/LabErrors.hpp"
#include "lab/LabLink.hpp"
#include "lab/Radio.hpp"
#include "lab/RestorationStore.hpp"
#include "lab/SimulatedPeripheral.hpp"
#include "lab/VirtualPeripheral.hpp"

namespace halvora::lab {

std::shared_ptr<SimulatedCentral> SimulatedCentral::create(const std::shared_ptr<Radio>& radio,
                                                           std::weak_ptr<CentralDelegate> delegate,
                                                           std::shared_ptr<SerialQueue> queue, CentralOptions options,
                                                           std::shared_ptr<RestorationStore> restoration) {
    if (!queue) queue = radio->executor()->mainQueue();
    if (!restoration) restoration = std::make_shared<RestorationStore>();
    std::shared_ptr<SimulatedCentral> central(
        new SimulatedCentral(radio, std::move(delegate), std::move(queue), std::move(options), std::move(restoration)));
    radio->attachCentral(central);
    std::weak_ptr<SimulatedCentral> weak = central;
    radio->runOnLab(Duration::zero(), [weak] {
        if (auto self = weak.lock()) self->start();
    });
    return central;
}

SimulatedCentral::SimulatedCentral(std::shared_ptr<Radio> radio, std::weak_ptr<CentralDelegate> delegate,
                                   std::shared_ptr<SerialQueue> queue, CentralOptions options,
                                   std::shared_ptr<RestorationStore> restoration)
    : radio_(std::move(radio)),
      pipeline_(std::make_shared<EventPipeline>(radio_->executor(), std::move(queue))),
      restoreIdentifier_(std::move(options.restoreIdentifier)),
      restoration_(std::move(restoration)),
      delegate_(std::move(delegate)) {}

// Links of a central with a restore identifier stay up: the system keeps them for the next central made
// with that identifier. Any other central's links end with it.
SimulatedCentral::~SimulatedCentral() {
    if (!restoreIdentifier_) {
        for (const auto& [identifier, peripheral] : peripherals_) {
            auto link = peripheral->link();
            if (!link) continue;
            radio_->runOnLab(Duration::zero(), [link] {
                if (auto device = link->device()) {
                    device->closeLink(link, std::nullopt, VirtualPeripheral::LinkEndNotice::Silent);
                }
            });
        }
    }
    radio_->refreshAdvertising();
}

CentralState SimulatedCentral::state() const {
    std::lock_guard lock(mutex_);
    return state_;
}

void SimulatedCentral::setDelegate(std::weak_ptr<CentralDelegate> delegate) {
    std::lock_guard lock(mutex_);
    delegate_ = std::move(delegate);
}

std::shared_ptr<CentralDelegate> SimulatedCentral::delegate() const {
    std::lock_guard lock(mutex_);
    return delegate_.lock();
}

// ---------------------------------------------------------------- events

void SimulatedCentral::postEvent(Duration delay, Task event) {
    pipeline_->post(delay, std::move(event));
}

void SimulatedCentral::postDelegateEvent(Duration delay,
                                         std::function<void(SimulatedCentral&, CentralDelegate&)> event) {
    std::weak_ptr<SimulatedCentral> weak = weak_from_this();
    pipeline_->post(delay, [weak, event = std::move(event)] {
        auto self = weak.lock();
        auto delegate = self ? self->delegate() : nullptr;
        if (delegate) event(*self, *delegate);
    });
}

void SimulatedCentral::postStateUpdate() {
    postDelegateEvent(Duration::zero(), [](SimulatedCentral& self, CentralDelegate& delegate) {
        delegate.centralManagerDidUpdateState(self);
    });
}

// ---------------------------------------------------------------- start, restoration and power (lab queue)

void SimulatedCentral::start() {
    auto restored = restorePeripherals();
    {
        std::lock_guard lock(mutex_);
        state_ = radio_->isPoweredOn() ? CentralState::PoweredOn : CentralState::PoweredOff;
    }
    if (!restored.empty()) {
        postDelegateEvent(Duration::zero(), [restored](SimulatedCentral& self, CentralDelegate& delegate) {
            delegate.centralManagerWillRestoreState(self, restored);
        });
    }
    postStateUpdate();
}

std::vector<std::shared_ptr<Peripheral>> SimulatedCentral::restorePeripherals() {
    std::vector<std::shared_ptr<Peripheral>> restored;
    if (!restoreIdentifier_) return restored;
    for (const auto& identifier : restoration_->peripherals(*restoreIdentifier_)) {
        auto device = radio_->peripheral(identifier);
        if (!device) continue;
        auto peripheral = peripheralFor(*device);
        takeOverRestoredLink(*device, peripheral);
        restored.push_back(peripheral);
    }
    return restored;
}

void SimulatedCentral::takeOverRestoredLink(const VirtualPeripheral& device,
                                            const std::shared_ptr<SimulatedPeripheral>& peripheral) {
    auto link = device.currentLink();
    if (!link || link->restoreIdentifier() != restoreIdentifier_) return;
    auto previous = link->peripheral();
    if (previous == peripheral) return;
    if (previous) previous->linkDown(link, std::nullopt, false, Duration::zero());
    link->rebind(peripheral, restoreIdentifier_);
    peripheral->adoptLink(link);
}

void SimulatedCentral::applyPower(bool poweredOn) {
    const CentralState next = poweredOn ? CentralState::PoweredOn : CentralState::PoweredOff;
    {
        std::lock_guard lock(mutex_);
        // A central that has not reported yet reports the radio's state when it starts.
        if (state_ == CentralState::Unknown || state_ == next) return;
        state_ = next;
        if (!poweredOn) {
            scanning_ = false;
            ++scanGeneration_;
            reportedThisScan_.clear();
        }
    }
    if (!poweredOn) {
        for (const auto& peripheral : peripheralList()) peripheral->abandonAttempt();
    }
    postStateUpdate();
}

// ---------------------------------------------------------------- scanning

void SimulatedCentral::scanForPeripheralsWithServices(const std::vector<BLEUUID>& services, ScanOptions options) {
    {
        std::lock_guard lock(mutex_);
        if (state_ != CentralState::PoweredOn) {
            Log::shared().write("Lab: scan ignored: the central is not powered on");
            return;
        }
        scanning_ = true;
        ++scanGeneration_;
        scanServices_ = services;
        allowDuplicates_ = options.allowDuplicates;
        reportedThisScan_.clear();
    }
    radio_->refreshAdvertising();
}

void SimulatedCentral::stopScan() {
    {
        std::lock_guard lock(mutex_);
        if (!scanning_) return;
        scanning_ = false;
        ++scanGeneration_;
        reportedThisScan_.clear();
    }
    radio_->refreshAdvertising();
}

bool SimulatedCentral::isScanning() const {
    std::lock_guard lock(mutex_);
    return scanning_;
}

bool SimulatedCentral::scanAccepts(const std::string& identifier, const AdvertisementData& data, std::uint64_t& scan) {
    std::lock_guard lock(mutex_);
    if (!scanning_) return false;
    if (!scanServices_.empty()) {
        const bool wanted = std::any_of(data.serviceUUIDs.begin(), data.serviceUUIDs.end(), [&](const BLEUUID& uuid) {
            return std::find(scanServices_.begin(), scanServices_.end(), uuid) != scanServices_.end();
        });
        if (!wanted) return false;
    }
    if (!allowDuplicates_ && !reportedThisScan_.insert(identifier).second) return false;
    scan = scanGeneration_;
    return true;
}

bool SimulatedCentral::isCurrentScan(std::uint64_t scan) const {
    std::lock_guard lock(mutex_);
    return scanning_ && scanGeneration_ == scan;
}

void SimulatedCentral::receiveAdvertisement(const std::shared_ptr<VirtualPeripheral>& device,
                                            const AdvertisementData& data, int rssi) {
    std::uint64_t scan = 0;
    if (!scanAccepts(device->identifier(), data, scan)) return;
    auto peripheral = peripheralFor(*device);
    // An advertisement still on its way when the scan stops is not reported.
    postDelegateEvent(Duration::zero(),
                      [peripheral, data, rssi, scan](SimulatedCentral& self, CentralDelegate& delegate) {
                          if (self.isCurrentScan(scan))
                              delegate.centralManagerDidDiscoverPeripheral(self, peripheral, data, rssi);
                      });
}

// ---------------------------------------------------------------- connections

void SimulatedCentral::connectPeripheral(const std::shared_ptr<Peripheral>& peripheral, ConnectOptions /*options*/) {
    auto own = this->own(peripheral);
    if (!own) {
        if (!peripheral) {
            Log::shared().write("Lab: connect request without a peripheral ignored");
            return;
        }
        postDelegateEvent(Duration::zero(), [peripheral](SimulatedCentral& self, CentralDelegate& delegate) {
            delegate.centralManagerDidFailToConnectPeripheral(
                self, peripheral,
                labError(BLEErrorInvalidParameters, "The peripheral does not belong to this central."));
        });
        return;
    }
    if (restoreIdentifier_) restoration_->remember(*restoreIdentifier_, own->identifier());
    own->requestConnect();
}

void SimulatedCentral::cancelPeripheralConnection(const std::shared_ptr<Peripheral>& peripheral) {
    auto own = this->own(peripheral);
    if (!own) {
        Log::shared().write("Lab: cancel request for a peripheral of another central ignored");
        return;
    }
    if (restoreIdentifier_) restoration_->forget(*restoreIdentifier_, own->identifier());
    own->requestCancel();
}

std::vector<std::shared_ptr<Peripheral>> SimulatedCentral::retrievePeripheralsWithIdentifiers(
    const std::vector<std::string>& identifiers) {
    std::vector<std::shared_ptr<Peripheral>> found;
    for (const auto& identifier : identifiers) {
        auto device = radio_->peripheral(identifier);
        if (!device) continue;
        std::shared_ptr<Peripheral> peripheral = peripheralFor(*device);
        if (std::find(found.begin(), found.end(), peripheral) == found.end()) found.push_back(std::move(peripheral));
    }
    return found;
}

std::vector<std::shared_ptr<Peripheral>> SimulatedCentral::retrieveConnectedPeripheralsWithServices(
    const std::vector<BLEUUID>& services) {
    std::vector<std::shared_ptr<Peripheral>> found;
    for (const auto& device : radio_->peripherals()) {
        if (device->isConnected() && device->gattTable().hasAnyService(services))
            found.push_back(peripheralFor(*device));
    }
    return found;
}

// ---------------------------------------------------------------- peripherals

std::shared_ptr<SimulatedPeripheral> SimulatedCentral::peripheralFor(const VirtualPeripheral& device) {
    std::lock_guard lock(mutex_);
    auto& slot = peripherals_[device.identifier()];
    if (!slot)
        slot = std::make_shared<SimulatedPeripheral>(weak_from_this(), radio_, device.identifier(), device.name());
    return slot;
}

std::shared_ptr<SimulatedPeripheral> SimulatedCentral::own(const std::shared_ptr<Peripheral>& peripheral) const {
    if (!peripheral) return nullptr;
    std::lock_guard lock(mutex_);
    auto it = peripherals_.find(peripheral->identifier());
    if (it == peripherals_.end() || it->second != peripheral) return nullptr;
    return it->second;
}

std::vector<std::shared_ptr<SimulatedPeripheral>> SimulatedCentral::peripheralList() const {
    std::lock_guard lock(mutex_);
    std::vector<std::shared_ptr<SimulatedPeripheral>> list;
    for (const auto& [identifier, peripheral] : peripherals_) list.push_back(peripheral);
    return list;
}

}  // namespace halvora::lab
