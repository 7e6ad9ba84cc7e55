#include "lab/VirtualPeripheral.hpp"

#include <algorithm>

#include "halvora/Core/Log.hpp"
#include "lab/LabErrors.hpp"
#include "lab/LabLink.hpp"
#include "lab/Radio.hpp"
#include "lab/SimulatedCentral.hpp"
#include "lab/SimulatedPeripheral.hpp"
#include "lab/internal/HostileStream.hpp"
#include "lab/internal/UpperCase.hpp"

namespace halvora::lab {

namespace {

/// The handle of a timer that was never scheduled.
class InertTimerHandle : public TimerHandle {
public:
    void invalidate() override {}
    bool isValid() const override { return false; }
};

double unitInterval(std::mt19937_64& random) {
    return static_cast<double>(random() >> 11) * 0x1.0p-53;
}

VirtualPeripheralConfig normalized(VirtualPeripheralConfig config) {
    config.identifier = upperCase(config.identifier);
    return config;
}

}  // namespace

VirtualPeripheral::VirtualPeripheral(VirtualPeripheralConfig config)
    : config_(normalized(std::move(config))), rssi_(config_.rssi), hostile_(std::make_unique<HostileStream>()) {}

VirtualPeripheral::~VirtualPeripheral() {
    if (advertising_) advertising_->invalidate();
    if (unsolicited_) unsolicited_->invalidate();
}

// ---------------------------------------------------------------- identity and advertising

int VirtualPeripheral::rssi() const {
    std::lock_guard lock(mutex_);
    return rssi_;
}

void VirtualPeripheral::setRssi(int rssi) {
    std::lock_guard lock(mutex_);
    rssi_ = rssi;
}

AdvertisementData VirtualPeripheral::advertisementData() const {
    AdvertisementData data;
    data.localName = config_.localName;
    data.manufacturerData = config_.manufacturerData;
    data.serviceUUIDs = config_.advertisedServices;
    data.serviceData = config_.serviceData;
    data.txPowerLevel = config_.txPowerLevel;
    data.isConnectable = config_.connectable;
    return data;
}

// ---------------------------------------------------------------- GATT table and faults

void VirtualPeripheral::addService(const BLEUUID& service) {
    std::lock_guard lock(mutex_);
    gatt_.addService(service);
}

void VirtualPeripheral::addCharacteristic(const BLEUUID& service, const BLEUUID& characteristic,
                                          std::uint8_t properties) {
    std::lock_guard lock(mutex_);
    gatt_.addCharacteristic(service, characteristic, properties);
}

GattTable VirtualPeripheral::gattTable() const {
    std::lock_guard lock(mutex_);
    return gatt_;
}

void VirtualPeripheral::setReadValue(const BLEUUID& characteristic, std::vector<std::uint8_t> value) {
    std::lock_guard lock(mutex_);
    readValues_[characteristic] = std::move(value);
}

std::vector<std::uint8_t> VirtualPeripheral::onRead(const BLEUUID& characteristic) {
    std::lock_guard lock(mutex_);
    auto it = readValues_.find(characteristic);
    return it == readValues_.end() ? std::vector<std::uint8_t>{} : it->second;
}

void VirtualPeripheral::setFaults(const LabFaults& faults) {
    bool rangeChanged = false;
    bool unsolicitedChanged = false;
    {
        std::lock_guard lock(mutex_);
        rangeChanged = faults_.inRange != faults.inRange;
        unsolicitedChanged = faults_.hostile.unsolicitedEvery != faults.hostile.unsolicitedEvery;
        faults_ = faults;
    }
    if (rangeChanged) {
        if (auto radio = this->radio()) radio->refreshAdvertising();
    }
    // Without a link there is nothing to do: the next link starts the unsolicited notifications itself.
    if (unsolicitedChanged && isConnected()) {
        std::weak_ptr<VirtualPeripheral> weak = weak_from_this();
        const bool posted = runOnLabIfNeeded([weak] {
            if (auto self = weak.lock()) self->restartUnsolicited();
        });
        if (!posted) restartUnsolicited();
    }
}

LabFaults VirtualPeripheral::faults() const {
    std::lock_guard lock(mutex_);
    return faults_;
}

// ---------------------------------------------------------------- presence on the air

void VirtualPeripheral::setPresent(bool present) {
    if (present_.exchange(present) == present) return;
    auto radio = this->radio();
    if (!radio) return;
    if (!present) dropLink();
    radio->refreshAdvertising();
}

// ---------------------------------------------------------------- actions

void VirtualPeripheral::notify(const BLEUUID& characteristic, const std::vector<std::uint8_t>& value) {
    std::weak_ptr<VirtualPeripheral> weak = weak_from_this();
    const bool posted = runOnLabIfNeeded([weak, characteristic, value] {
        if (auto self = weak.lock()) self->sendNotification(characteristic, value);
    });
    if (!posted) sendNotification(characteristic, value);
}

std::shared_ptr<TimerHandle> VirtualPeripheral::schedule(Duration delay, std::function<void()> work) {
    auto radio = this->radio();
    if (!radio) {
        Log::shared().writef("Lab: device %s has no radio; timer not scheduled", identifier().c_str());
        return std::make_shared<InertTimerHandle>();
    }
    std::weak_ptr<VirtualPeripheral> weak = weak_from_this();
    return radio->labQueue()->asyncAfter(delay, [weak, work = std::move(work)] {
        if (auto self = weak.lock()) work();
    });
}

void VirtualPeripheral::dropLink() {
    std::weak_ptr<VirtualPeripheral> weak = weak_from_this();
    const bool posted = runOnLabIfNeeded([weak] {
        if (auto self = weak.lock()) self->dropLink();
    });
    if (!posted) closeLink(currentLink(), linkLostError(), LinkEndNotice::Event);
}

bool VirtualPeripheral::isNotifying(const BLEUUID& characteristic) const {
    auto link = currentLink();
    return link && link->isNotifying(characteristic);
}

std::shared_ptr<Radio> VirtualPeripheral::radio() const {
    std::lock_guard lock(mutex_);
    return radio_.lock();
}

std::mt19937_64& VirtualPeripheral::random() {
    auto radio = this->radio();
    return radio ? radio->random() : ownRandom_;
}

MonotonicTime VirtualPeripheral::now() const {
    auto radio = this->radio();
    return radio ? radio->now() : MonotonicTime{};
}

Date VirtualPeripheral::date() const {
    auto radio = this->radio();
    return radio ? radio->executor()->date() : Date{};
}

/// Returns true when `work` was posted to the lab queue (or dropped for want of a radio), false when the
/// caller is on the lab queue and should do the work itself.
bool VirtualPeripheral::runOnLabIfNeeded(Task work) {
    auto radio = this->radio();
    if (!radio) {
        Log::shared().writef("Lab: device %s has no radio; action dropped", identifier().c_str());
        return true;
    }
    if (radio->labQueue()->isCurrent()) return false;
    radio->runOnLab(Duration::zero(), std::move(work));
    return true;
}

// ---------------------------------------------------------------- link side (lab queue)

void VirtualPeripheral::attach(const std::shared_ptr<Radio>& radio) {
    std::lock_guard lock(mutex_);
    radio_ = radio;
}

std::shared_ptr<LabLink> VirtualPeripheral::currentLink() const {
    std::lock_guard lock(mutex_);
    return link_;
}

VirtualPeripheral::LinkAcceptance VirtualPeripheral::acceptLink(
    const std::shared_ptr<SimulatedPeripheral>& peripheral) {
    const LabFaults faults = this->faults();
    if (!faults.inRange || !isPresent()) {
        return {nullptr, labError(BLEErrorConnectionTimeout, "The device is out of range."), false};
    }
    if (!config_.connectable) {
        return {nullptr, labError(BLEErrorConnectionFailed, "The device does not accept connections."), false};
    }
    if (faults.failConnect) return {nullptr, labError(BLEErrorConnectionFailed, "The connection failed."), false};

    auto central = peripheral->central();
    auto restoreIdentifier = central ? central->restoreIdentifier() : std::nullopt;
    if (auto link = currentLink()) {
        auto holder = link->peripheral();
        if (holder != peripheral && link->hasLiveCentral()) {
            return {nullptr, labError(BLEErrorConnectionFailed, "The device is connected to another central."), false};
        }
        // The system held this link for a central that went away: the new central takes it over.
        if (holder && holder != peripheral) holder->linkDown(link, std::nullopt, false, Duration::zero());
        link->rebind(peripheral, restoreIdentifier);
        return {link, std::nullopt, true};
    }
    auto link = std::make_shared<LabLink>(weak_from_this(), peripheral, restoreIdentifier, now());
    {
        std::lock_guard lock(mutex_);
        link_ = link;
    }
    connected_ = true;
    if (auto radio = this->radio()) radio->applyAdvertising();
    return {link, std::nullopt, false};
}

void VirtualPeripheral::linkEstablished(const std::shared_ptr<LabLink>& link) {
    onConnected();
    restartUnsolicited();
    const auto after = faults().disconnectAfter;
    if (!after) return;
    std::weak_ptr<LabLink> weakLink = link;
    link->setEndTimer(schedule(*after, [this, weakLink] {
        if (auto current = weakLink.lock()) closeLink(current, linkLostError(), LinkEndNotice::Event);
    }));
}

void VirtualPeripheral::closeLink(const std::shared_ptr<LabLink>& link, OptionalError reason, LinkEndNotice notice) {
    if (!link) return;
    {
        std::lock_guard lock(mutex_);
        if (link_ != link) return;
        link_.reset();
    }
    connected_ = false;
    link->cancelEndTimer();
    stopUnsolicited();
    // A notification held back for reordering belongs to this link: it never reaches the next one.
    if (hostile_->endLink()) {
        Log::shared().writef("Lab: notification held back by %s dropped with the link", identifier().c_str());
    }
    // The device side ends first, so the central never learns of the end before the device does.
    onDisconnected();
    if (auto peripheral = link->peripheral()) {
        peripheral->linkDown(link, std::move(reason), notice == LinkEndNotice::Event, faults().replyDelay);
    }
    if (auto radio = this->radio()) radio->applyAdvertising();
}

void VirtualPeripheral::updateAdvertising(bool anyoneScanning) {
    const bool wanted = anyoneScanning && faults().inRange && isPresent() && !isConnected();
    if (wanted == (advertising_ != nullptr)) return;
    if (!wanted) {
        advertising_->invalidate();
        advertising_.reset();
        return;
    }
    auto radio = this->radio();
    if (!radio) return;
    std::weak_ptr<VirtualPeripheral> weak = weak_from_this();
    advertising_ = radio->labQueue()->scheduleRepeating(config_.advertisingInterval, [weak] {
        if (auto self = weak.lock()) self->advertiseOnce();
    });
}

void VirtualPeripheral::advertiseOnce() {
    auto radio = this->radio();
    if (!radio) return;
    radio->broadcast(shared_from_this(), advertisementData(), advertisedRssi());
}

int VirtualPeripheral::advertisedRssi() {
    const int base = rssi();
    const int jitter = config_.rssiJitter;
    if (jitter <= 0) return base;
    const auto span = 2 * static_cast<std::uint64_t>(jitter) + 1;
    return base - jitter + static_cast<int>(random()() % span);
}

void VirtualPeripheral::sendNotification(const BLEUUID& characteristic, const std::vector<std::uint8_t>& value) {
    auto link = currentLink();
    if (!link || !link->isNotifying(characteristic)) return;
    const LabFaults faults = this->faults();
    auto outcome = hostile_->mangle({characteristic, value}, faults.hostile, random());
    for (const auto& notification : outcome.notifications) {
        transmit(link, notification.characteristic, notification.value, faults);
    }
    if (outcome.dropLink) dropLinkSoon(link);
}

void VirtualPeripheral::transmit(const std::shared_ptr<LabLink>& link, const BLEUUID& characteristic,
                                 const std::vector<std::uint8_t>& value, const LabFaults& faults) {
    // A notification held back may come out after its characteristic was switched off.
    if (!link->isNotifying(characteristic)) return;
    auto peripheral = link->peripheral();
    if (!peripheral) return;
    if (faults.dropNotificationProbability > 0.0 && unitInterval(random()) < faults.dropNotificationProbability) {
        Log::shared().writef("Lab: notification of %s on %s lost", identifier().c_str(),
                             characteristic.toString().c_str());
        return;
    }
    const auto parts = notificationParts(value, faults);
    const int copies = faults.duplicateNotifications ? 2 : 1;
    auto radio = this->radio();
    const Duration delay = faults.replyDelay + (radio ? radio->deliveryDelay(*link) : Duration::zero());
    for (int copy = 0; copy < copies; ++copy) {
        for (const auto& part : parts) peripheral->deliverNotification(link, characteristic, part, delay);
    }
}

void VirtualPeripheral::dropLinkSoon(const std::shared_ptr<LabLink>& link) {
    Log::shared().writef("Lab: hostile device %s drops the link", identifier().c_str());
    std::weak_ptr<LabLink> weakLink = link;
    schedule(Duration::zero(), [this, weakLink] {
        if (auto current = weakLink.lock()) closeLink(current, linkLostError(), LinkEndNotice::Event);
    });
}

void VirtualPeripheral::restartUnsolicited() {
    stopUnsolicited();
    auto link = currentLink();
    auto radio = this->radio();
    const HostileMode mode = faults().hostile;
    if (!link || !radio || !mode.sendsUnsolicited()) return;
    std::weak_ptr<VirtualPeripheral> weak = weak_from_this();
    std::weak_ptr<LabLink> weakLink = link;
    unsolicited_ = radio->labQueue()->scheduleRepeating(*mode.unsolicitedEvery, [weak, weakLink] {
        auto self = weak.lock();
        auto current = weakLink.lock();
        if (self && current) self->sendUnsolicited(current);
    });
}

void VirtualPeripheral::stopUnsolicited() {
    if (!unsolicited_) return;
    unsolicited_->invalidate();
    unsolicited_.reset();
}

void VirtualPeripheral::sendUnsolicited(const std::shared_ptr<LabLink>& link) {
    if (currentLink() != link) return;
    const LabFaults faults = this->faults();
    const auto garbage = hostile_->unsolicited(switchedOnCharacteristics(*link), faults.hostile, random());
    for (const auto& notification : garbage) transmit(link, notification.characteristic, notification.value, faults);
}

std::vector<BLEUUID> VirtualPeripheral::switchedOnCharacteristics(const LabLink& link) const {
    constexpr std::uint8_t notifying = CharacteristicPropertyNotify | CharacteristicPropertyIndicate;
    std::vector<BLEUUID> switchedOn;
    const GattTable table = gattTable();
    for (const auto& service : table.services()) {
        for (const auto& characteristic : service.characteristics) {
            const bool listed =
                std::find(switchedOn.begin(), switchedOn.end(), characteristic.uuid) != switchedOn.end();
            if ((characteristic.properties & notifying) != 0 && !listed && link.isNotifying(characteristic.uuid)) {
                switchedOn.push_back(characteristic.uuid);
            }
        }
    }
    return switchedOn;
}

std::vector<std::vector<std::uint8_t>> VirtualPeripheral::notificationParts(const std::vector<std::uint8_t>& value,
                                                                            const LabFaults& faults) {
    const auto at = faults.splitNotificationsAt;
    if (!at || *at == 0 || value.size() <= *at) return {value};
    const auto cut = value.begin() + static_cast<std::ptrdiff_t>(*at);
    return {std::vector<std::uint8_t>(value.begin(), cut), std::vector<std::uint8_t>(cut, value.end())};
}

}  // namespace halvora::lab
