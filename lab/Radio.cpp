#include "lab/Radio.hpp"

#include <algorithm>

#include "halvora/Core/Log.hpp"
#include "lab/LabErrors.hpp"
#include "lab/LabLink.hpp"
#include "lab/SimulatedCentral.hpp"
#include "lab/VirtualPeripheral.hpp"
#include "lab/internal/UpperCase.hpp"

namespace halvora::lab {

Radio::Radio(std::shared_ptr<Executor> executor, std::uint64_t seed)
    : executor_(std::move(executor)), labQueue_(executor_->makeQueue("halvora.lab")), random_(seed) {}

Radio::~Radio() = default;

double Radio::randomUnit() {
    // 53 random bits make a double in [0, 1) the same way on every platform.
    return static_cast<double>(random_() >> 11) * 0x1.0p-53;
}

void Radio::addPeripheral(const std::shared_ptr<VirtualPeripheral>& peripheral) {
    if (!peripheral) return;
    auto current = peripheral->radio();
    if (current && current.get() != this) {
        Log::shared().writef("Lab: device %s belongs to another radio", peripheral->identifier().c_str());
        return;
    }
    {
        std::lock_guard lock(mutex_);
        const bool present = std::any_of(peripherals_.begin(), peripherals_.end(),
                                         [&](const auto& p) { return p->identifier() == peripheral->identifier(); });
        if (present) {
            Log::shared().writef("Lab: a device %s is already in range", peripheral->identifier().c_str());
            return;
        }
        peripherals_.push_back(peripheral);
    }
    peripheral->attach(shared_from_this());
    refreshAdvertising();
}

void Radio::removePeripheral(const std::string& identifier) {
    std::shared_ptr<VirtualPeripheral> device;
    {
        std::lock_guard lock(mutex_);
        const std::string wanted = upperCase(identifier);
        auto it = std::find_if(peripherals_.begin(), peripherals_.end(),
                               [&](const auto& p) { return p->identifier() == wanted; });
        if (it == peripherals_.end()) return;
        device = *it;
        peripherals_.erase(it);
    }
    runOnLab(Duration::zero(), [device] {
        device->closeLink(device->currentLink(), linkLostError(), VirtualPeripheral::LinkEndNotice::Event);
        device->updateAdvertising(false);
    });
}

std::vector<std::shared_ptr<VirtualPeripheral>> Radio::peripherals() const {
    std::lock_guard lock(mutex_);
    return peripherals_;
}

std::shared_ptr<VirtualPeripheral> Radio::peripheral(const std::string& identifier) const {
    const std::string wanted = upperCase(identifier);
    std::lock_guard lock(mutex_);
    for (const auto& p : peripherals_) {
        if (p->identifier() == wanted) return p;
    }
    return nullptr;
}

void Radio::setPoweredOn(bool poweredOn) {
    if (poweredOn_.exchange(poweredOn) == poweredOn) return;
    std::weak_ptr<Radio> weak = weak_from_this();
    runOnLab(Duration::zero(), [weak, poweredOn] {
        if (auto self = weak.lock()) self->applyPower(poweredOn);
    });
}

void Radio::applyPower(bool poweredOn) {
    if (!poweredOn) dropEveryLink();
    for (const auto& central : centrals()) central->applyPower(poweredOn);
    applyAdvertising();
}

void Radio::dropEveryLink() {
    for (const auto& device : peripherals()) {
        device->closeLink(device->currentLink(), std::nullopt, VirtualPeripheral::LinkEndNotice::Silent);
    }
}

void Radio::setConnectLatency(Duration latency) {
    std::lock_guard lock(mutex_);
    connectLatency_ = latency;
}

Duration Radio::connectLatency() const {
    std::lock_guard lock(mutex_);
    return connectLatency_;
}

void Radio::setGattLatency(Duration latency) {
    std::lock_guard lock(mutex_);
    gattLatency_ = latency;
}

Duration Radio::gattLatency() const {
    std::lock_guard lock(mutex_);
    return gattLatency_;
}

void Radio::setLinkModel(std::optional<LinkModel> model) {
    std::lock_guard lock(mutex_);
    linkModel_ = model ? std::optional<LinkModel>(model->normalized()) : std::nullopt;
}

std::optional<LinkModel> Radio::linkModel() const {
    std::lock_guard lock(mutex_);
    return linkModel_;
}

Duration Radio::bookWrite(LabLink& link) {
    const auto model = linkModel();
    if (!model) return gattLatency();
    const MonotonicTime now = this->now();
    return link.bookWrite(*model, now) - now;
}

Duration Radio::deliveryDelay(const LabLink& link) const {
    const auto model = linkModel();
    if (!model) return Duration::zero();
    const MonotonicTime now = this->now();
    return model->deliveryTime(link.start(), now) - now;
}

void Radio::attachCentral(const std::shared_ptr<SimulatedCentral>& central) {
    std::lock_guard lock(mutex_);
    centrals_.erase(std::remove_if(centrals_.begin(), centrals_.end(), [](const auto& c) { return c.expired(); }),
                    centrals_.end());
    centrals_.push_back(central);
}

std::vector<std::shared_ptr<SimulatedCentral>> Radio::centrals() const {
    std::lock_guard lock(mutex_);
    std::vector<std::shared_ptr<SimulatedCentral>> live;
    for (const auto& weak : centrals_) {
        if (auto central = weak.lock()) live.push_back(std::move(central));
    }
    return live;
}

void Radio::runOnLab(Duration delay, Task work) {
    if (delay > Duration::zero()) {
        labQueue_->asyncAfter(delay, std::move(work));
    } else {
        labQueue_->async(std::move(work));
    }
}

void Radio::refreshAdvertising() {
    std::weak_ptr<Radio> weak = weak_from_this();
    runOnLab(Duration::zero(), [weak] {
        if (auto self = weak.lock()) self->applyAdvertising();
    });
}

void Radio::applyAdvertising() {
    const bool scanning = isPoweredOn() && anyCentralScanning();
    for (const auto& device : peripherals()) device->updateAdvertising(scanning);
}

bool Radio::anyCentralScanning() const {
    const auto list = centrals();
    return std::any_of(list.begin(), list.end(), [](const auto& c) { return c->isScanning(); });
}

void Radio::broadcast(const std::shared_ptr<VirtualPeripheral>& device, const AdvertisementData& data, int rssi) {
    for (const auto& central : centrals()) central->receiveAdvertisement(device, data, rssi);
}

}  // namespace halvora::lab
