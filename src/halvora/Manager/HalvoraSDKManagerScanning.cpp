// Scanning and recognition: the scan for all devices, the connect scan and the 4-second detection timers.
#include <algorithm>
#include <utility>

#include "halvora/Manager/HalvoraSDKManager.hpp"
#include "halvora/Manager/RecognitionTable.hpp"
#include "halvora/Manager/internal/PeripheralText.hpp"

namespace halvora {

namespace {

constexpr std::int32_t kScanForAllDevices = 1;
constexpr std::int32_t kConnectScan = 0;

}  // namespace

void HalvoraSDKManager::scanAllDevices() {
    std::weak_ptr<HalvoraSDKManager> weak = weak_from_this();
    mainQueue_->async([weak] {
        auto self = weak.lock();
        if (!self) return;
        self->stopScan();
        if (auto central = self->central()) central->scanForPeripheralsWithServices({}, ScanOptions{true});
        self->startDetectionTimer(kScanForAllDevices);
    });
}

void HalvoraSDKManager::stopScanForDevices() { stopScan(); }

void HalvoraSDKManager::stopScan() {
    std::shared_ptr<Central> central;
    std::shared_ptr<TimerHandle> scanningTimer;
    std::shared_ptr<TimerHandle> connectingTimer;
    {
        std::lock_guard lock(mutex_);
        if (bluetoothPoweredOn_) central = cm_;
        isScanning_ = false;
        scanningTimer = std::move(detectionTimerForScanning_);
        connectingTimer = std::move(detectionTimerForConnecting_);
    }
    if (central) central->stopScan();
    if (scanningTimer) scanningTimer->invalidate();
    if (connectingTimer) connectingTimer->invalidate();
}

void HalvoraSDKManager::startDetectionTimer(std::int32_t mode) {
    std::weak_ptr<HalvoraSDKManager> weak = weak_from_this();
    auto start = [weak, mode] {
        auto self = weak.lock();
        if (!self) return;
        auto timer = self->mainQueue_->scheduleRepeating(seconds(kDetectionInterval), [weak, mode] {
            auto manager = weak.lock();
            if (!manager) return;
            if (mode == kScanForAllDevices) {
                manager->checkScannedDevices();
            } else {
                manager->checkDetectedDevicesAndTimeouts();
            }
        });
        std::shared_ptr<TimerHandle> previous;
        {
            std::lock_guard lock(self->mutex_);
            self->scanningType_ = mode;
            auto& slot = mode == kScanForAllDevices ? self->detectionTimerForScanning_ : self->detectionTimerForConnecting_;
            previous = std::exchange(slot, timer);
        }
        if (previous) previous->invalidate();
    };
    if (mainQueue_->isCurrent()) {
        start();
    } else {
        mainQueue_->async(start);
    }
}

void HalvoraSDKManager::checkScannedDevices() {
    auto receiver = devicesScanDelegate();
    if (!receiver) return;
    receiver->allDevicesDetected(scannedDevices());
}

void HalvoraSDKManager::checkDetectedDevicesAndTimeouts() {
    chooseCandidates();
    expireTimedOutRequests();
}

void HalvoraSDKManager::chooseCandidates() {
    std::map<DeviceKind, std::vector<Candidate>> detected;
    std::map<DeviceKind, std::string> wanted;
    {
        std::lock_guard lock(mutex_);
        detected = detectedDevicesByType_;
        wanted = uuidByType_;
    }
    for (const auto& [kind, candidates] : detected) {
        const Candidate* chosen = nullptr;
        auto wantedIdentifier = wanted.find(kind);
        if (wantedIdentifier != wanted.end()) {
            for (const auto& candidate : candidates) {
                if (candidate.peripheral->identifier() == wantedIdentifier->second) chosen = &candidate;
            }
        } else {
            // The strongest wins; on a tie the one heard first stays.
            for (const auto& candidate : candidates) {
                if (!chosen || candidate.rssi > chosen->rssi) chosen = &candidate;
            }
        }
        if (chosen) connectPeripheralToDevice(chosen->peripheral);
    }
}

void HalvoraSDKManager::expireTimedOutRequests() {
    const MonotonicTime now = environment_.executor->now();
    std::vector<DeviceKind> expired;
    {
        std::lock_guard lock(mutex_);
        for (const auto& [kind, deadline] : connectingTimeout_) {
            if (deadline < now) expired.push_back(kind);
        }
    }
    for (DeviceKind kind : expired) {
        removePendingRequest(kind);
        disconnectDevice(kind);
    }
}

void HalvoraSDKManager::centralManagerDidDiscoverPeripheral(Central& /*central*/,
                                                            const std::shared_ptr<Peripheral>& peripheral,
                                                            const AdvertisementData& advertisementData, int rssi) {
    if (!peripheral) return;
    log().writef("Local name: %s vs %s", internal::textOrNull(advertisementData.localName).c_str(),
                 internal::textOrNull(peripheral->name()).c_str());
    std::int32_t mode;
    {
        std::lock_guard lock(mutex_);
        hshAdvertisementData_.try_emplace(peripheral->identifier(), advertisementData);
        mode = scanningType_;
    }
    if (mode != kConnectScan) {
        checkScannedPeripheral(peripheral, rssi, advertisementData);
    } else {
        checkPeripheral(peripheral, rssi, advertisementData);
    }
}

void HalvoraSDKManager::checkScannedPeripheral(const std::shared_ptr<Peripheral>& peripheral, int rssi,
                                               const AdvertisementData& advertisementData) {
    std::weak_ptr<HalvoraSDKManager> weak = weak_from_this();
    connectionQueue_->async([weak, peripheral, rssi, advertisementData] {
        auto self = weak.lock();
        if (!self || !peripheral->name()) return;
        const DriverClass* driverClass = RecognitionTable::recognise(peripheral, &advertisementData);
        if (!driverClass) return;
        self->scannedPeripheral(peripheral, driverClass->kind, rssi);
    });
}

void HalvoraSDKManager::scannedPeripheral(const std::shared_ptr<Peripheral>& peripheral, DeviceKind kind, int rssi) {
    HalvoraSDKDevice device = HalvoraSDKDevice::init(peripheral->identifier(), rssi);
    device.type = kind;
    std::lock_guard lock(mutex_);
    auto list = scannedDevices_.find(kind);
    if (list == scannedDevices_.end()) {
        // The first advertisement of a kind only opens its list; the device enters with its next one.
        scannedDevices_.emplace(kind, std::vector<HalvoraSDKDevice>{});
        return;
    }
    auto known = std::find_if(list->second.begin(), list->second.end(), [&](const HalvoraSDKDevice& d) {
        return d.deviceIdentifier == device.deviceIdentifier;
    });
    if (known != list->second.end()) {
        known->RSSI = rssi;
    } else {
        list->second.push_back(std::move(device));
    }
}

void HalvoraSDKManager::checkPeripheral(const std::shared_ptr<Peripheral>& peripheral, int rssi,
                                        const AdvertisementData& advertisementData) {
    bool nothingPending;
    {
        std::lock_guard lock(mutex_);
        nothingPending = detectedDevicesByType_.empty();
    }
    if (nothingPending) {
        stopScan();
        return;
    }
    const DriverClass* driverClass = RecognitionTable::recognise(peripheral, &advertisementData);
    if (!driverClass) return;
    detectedPeripheral(peripheral, driverClass->kind, rssi);
    std::lock_guard lock(mutex_);
    hshPeripherals_[peripheral->identifier()] = peripheral;
}

void HalvoraSDKManager::detectedPeripheral(const std::shared_ptr<Peripheral>& peripheral, DeviceKind kind, int rssi) {
    std::lock_guard lock(mutex_);
    auto list = detectedDevicesByType_.find(kind);
    if (list == detectedDevicesByType_.end()) return;
    const std::string identifier = peripheral->identifier();
    for (auto& candidate : list->second) {
        if (candidate.peripheral->identifier() == identifier) {
            candidate.rssi = rssi;
            return;
        }
    }
    list->second.push_back(Candidate{peripheral, static_cast<double>(rssi)});
}

void HalvoraSDKManager::startConnectScan() {
    stopScan();
    std::shared_ptr<Central> central;
    {
        std::lock_guard lock(mutex_);
        isScanning_ = true;
        central = cm_;
    }
    if (central) {
        central->setDelegate(weak_from_this());
        central->scanForPeripheralsWithServices({}, ScanOptions{true});
    }
    startDetectionTimer(kConnectScan);
}

}  // namespace halvora
