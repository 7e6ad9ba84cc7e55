// Connection lifecycle: connect requests, binding of chosen peripherals, connect by identifier, the
// remembered bracelet, disconnection and status.
#include "halvora/Core/PreferenceUtils.hpp"
#include "halvora/Manager/HalvoraSDKManager.hpp"
#include "halvora/Manager/RecognitionTable.hpp"
#include "halvora/Manager/internal/PeripheralText.hpp"

namespace halvora {

namespace {

constexpr double kBluetoothRetryInterval = 1.0;
constexpr std::int32_t kConnectByUUIDTimeout = 60;
constexpr std::size_t kUUIDTextLength = 36;

/// Kinds for which a peripheral the system already holds connected (by service) is taken over.
bool takesSystemConnectedPeripherals(DeviceKind kind) {
    return kind == DeviceTypeBraceletVital || kind == DeviceTypeBraceletRM830 || kind == DeviceTypeBracelet;
}

/// Kinds for which a known peripheral that is still connected is reused (all but the update-mode bracelet).
bool reusesKnownPeripherals(DeviceKind kind) {
    return kind >= DeviceTypeHeart && kind <= kHighestDeviceKind && kind != DeviceTypeBraceletRM830DFU;
}

bool isWellFormedUUID(const std::string& text) {
    return text.size() == kUUIDTextLength && BLEUUID::parse(text).has_value();
}

}  // namespace

void HalvoraSDKManager::connectDevice(DeviceKind kind) {
    connectDevice(kind, 0);
}

void HalvoraSDKManager::requestConnection(DeviceKind kind, std::int32_t timeoutSeconds) {
    connectDevice(kind, timeoutSeconds);
}

void HalvoraSDKManager::connectDevice(DeviceKind kind, std::int32_t timeoutSeconds) {
    bool ready;
    {
        std::lock_guard lock(mutex_);
        connectingToDeviceType_ = kind;
        ready = centralManagerReady_ && bluetoothPoweredOn_;
    }
    std::weak_ptr<HalvoraSDKManager> weak = weak_from_this();
    if (ready) {
        connectionQueue_->async([weak, kind, timeoutSeconds] {
            if (auto self = weak.lock()) self->connectRequestBody(kind, timeoutSeconds);
        });
    } else {
        // Bluetooth is not ready yet: ask again in a second, for as long as it takes.
        connectionQueue_->asyncAfter(seconds(kBluetoothRetryInterval), [weak, kind, timeoutSeconds] {
            if (auto self = weak.lock()) self->connectDevice(kind, timeoutSeconds);
        });
    }
}

void HalvoraSDKManager::connectRequestBody(DeviceKind kind, std::int32_t timeoutSeconds) {
    log().writef("HalvoraSDK:  Trying to connect device: %d", kind);
    if (driverForKind(kind)) {
        log().writef("HalvoraSDK:  Device already connected: %d", kind);
        sendStatus(kind, ConnectionStatusReady);
        return;
    }
    if (reuseKnownConnectedPeripheral(kind)) return;
    if (reuseSystemConnectedPeripheral(kind)) return;

    bool startScan = false;
    {
        std::lock_guard connectLock(connectLock_);
        {
            std::lock_guard lock(mutex_);
            startScan = detectedDevicesByType_.empty() && !isScanning_;
            if (detectedDevicesByType_.count(kind) == 0) {
                // A repeated request for a pending kind keeps its first deadline.
                detectedDevicesByType_.emplace(kind, std::vector<Candidate>{});
                connectingTimeout_[kind] = environment_.executor->now() + seconds(timeoutSeconds);
            }
        }
        if (startScan) startConnectScan();
    }
    sendStatus(kind, ConnectionStatusSearching);
}

bool HalvoraSDKManager::reuseKnownConnectedPeripheral(DeviceKind kind) {
    if (!reusesKnownPeripherals(kind)) return false;
    std::map<std::string, std::shared_ptr<Peripheral>> known;
    std::map<std::string, AdvertisementData> advertisements;
    {
        std::lock_guard lock(mutex_);
        known = hshPeripherals_;
        advertisements = hshAdvertisementData_;
    }
    for (const auto& [identifier, peripheral] : known) {
        const AdvertisementData* advertisement = nullptr;
        auto stored = advertisements.find(identifier);
        if (stored != advertisements.end()) advertisement = &stored->second;
        const DriverClass* driverClass = RecognitionTable::recogniseAsKind(peripheral, kind, advertisement);
        if (!driverClass || peripheral->state() != PeripheralState::Connected) continue;
        bindAndConnect(*driverClass, peripheral, kind);
        return true;
    }
    return false;
}

bool HalvoraSDKManager::reuseSystemConnectedPeripheral(DeviceKind kind) {
    if (!takesSystemConnectedPeripherals(kind)) return false;
    const DriverClass* driverClass = RecognitionTable::firstOfKind(kind);
    auto cm = central();
    if (!driverClass || !cm) return false;
    for (const auto& peripheral : cm->retrieveConnectedPeripheralsWithServices({driverClass->serviceUUID})) {
        if (!driverClass->matches(peripheral, nullptr)) continue;
        bindAndConnect(*driverClass, peripheral, kind);
        return true;
    }
    return false;
}

std::shared_ptr<BLEDevice> HalvoraSDKManager::makeDriver(const DriverClass& driverClass,
                                                         const std::shared_ptr<Peripheral>& peripheral) {
    auto driver = driverClass.create(driverContext());
    driver->setPeripheral(peripheral, std::weak_ptr<BLEDeviceDelegate>(shared_from_this()));
    return driver;
}

void HalvoraSDKManager::connectWithoutAlerts(const std::shared_ptr<Peripheral>& peripheral) {
    if (auto cm = central()) cm->connectPeripheral(peripheral, ConnectOptions{false, false, false});
}

void HalvoraSDKManager::bindAndConnect(const DriverClass& driverClass, const std::shared_ptr<Peripheral>& peripheral,
                                       DeviceKind kind) {
    auto driver = makeDriver(driverClass, peripheral);
    registerDriver(kind, driver);
    connectWithoutAlerts(peripheral);
}

std::shared_ptr<BLEDevice> HalvoraSDKManager::connectPeripheralToDevice(const std::shared_ptr<Peripheral>& peripheral) {
    if (!peripheral) return nullptr;
    std::lock_guard bindLock(bindLock_);
    const DriverClass* driverClass = RecognitionTable::recognise(peripheral, nullptr);
    if (!driverClass && connectingToDeviceType() == DeviceTypePillReminder) {
        std::optional<AdvertisementData> advertisement;
        {
            std::lock_guard lock(mutex_);
            auto stored = hshAdvertisementData_.find(peripheral->identifier());
            if (stored != hshAdvertisementData_.end()) advertisement = stored->second;
        }
        if (advertisement) {
            driverClass = RecognitionTable::recogniseAsKind(peripheral, DeviceTypePillReminder, &*advertisement);
        }
    }
    if (!driverClass) return nullptr;

    // The new driver becomes the peripheral's event receiver even when another driver stays registered.
    auto driver = makeDriver(*driverClass, peripheral);
    if (!log().isSilent()) {
        log().writef("HalvoraSDK:  connecting Peripheral: %s", internal::describePeripheral(peripheral).c_str());
    }
    auto cm = central();
    if (cm) cm->setDelegate(weak_from_this());
    bool connect = false;
    {
        std::lock_guard lock(mutex_);
        if (deviceByType_.count(driverClass->kind) == 0) {
            deviceByType_[driverClass->kind] = driver;
            connect = true;
        }
    }
    if (connect) connectWithoutAlerts(peripheral);
    return driver;
}

void HalvoraSDKManager::connectByUUID(const std::optional<std::string>& identifier, DeviceKind kind) {
    bool ready;
    {
        std::lock_guard lock(mutex_);
        connectingToDeviceType_ = kind;
        ready = centralManagerReady_;
    }
    if (!identifier) return;
    std::weak_ptr<HalvoraSDKManager> weak = weak_from_this();
    const std::string wanted = *identifier;
    if (ready) {
        connectionQueue_->async([weak, wanted, kind] {
            if (auto self = weak.lock()) self->connectByUUIDBody(wanted, kind);
        });
    } else {
        // Waits for the central's first state report (not for power-on).
        connectionQueue_->asyncAfter(seconds(kBluetoothRetryInterval), [weak, wanted, kind] {
            if (auto self = weak.lock()) self->connectByUUID(wanted, kind);
        });
    }
}

void HalvoraSDKManager::connectByUUIDBody(const std::string& identifier, DeviceKind kind) {
    std::shared_ptr<Peripheral> known;
    std::vector<std::shared_ptr<Central>> centrals;
    {
        std::lock_guard lock(mutex_);
        auto found = hshPeripherals_.find(identifier);
        if (found != hshPeripherals_.end()) known = found->second;
        if (centrals_) centrals = *centrals_;
    }
    if (known) {
        connectPeripheralToDevice(known);
        return;
    }
    if (isWellFormedUUID(identifier)) {
        for (const auto& central : centrals) {
            auto peripherals = central->retrievePeripheralsWithIdentifiers({identifier});
            if (peripherals.empty()) continue;
            const auto& peripheral = peripherals.front();
            if (peripheral->state() != PeripheralState::Disconnected) central->cancelPeripheralConnection(peripheral);
            connectPeripheralToDevice(peripheral);
            return;
        }
    }
    {
        std::lock_guard lock(mutex_);
        uuidByType_[kind] = identifier;
    }
    connectDevice(kind, kConnectByUUIDTimeout);
}

void HalvoraSDKManager::checkBracelet() {
    const auto identifier = preferences().getBraceletUUID();
    if (!identifier || driverForKind(DeviceTypeBracelet)) return;
    std::weak_ptr<HalvoraSDKManager> weak = weak_from_this();
    connectionQueue_->async([weak, wanted = *identifier] {
        if (auto self = weak.lock()) self->checkBraceletBody(wanted);
    });
}

void HalvoraSDKManager::checkBraceletBody(const std::string& identifier) {
    const DriverClass* bracelet = RecognitionTable::firstOfKind(DeviceTypeBracelet);
    auto cm = central();
    if (!bracelet || !cm) return;
    auto peripherals = cm->retrievePeripheralsWithIdentifiers({identifier});
    if (peripherals.empty()) peripherals = cm->retrieveConnectedPeripheralsWithServices({bracelet->serviceUUID});
    for (const auto& peripheral : peripherals) {
        if (!bracelet->matches(peripheral, nullptr)) continue;
        bindAndConnect(*bracelet, peripheral, DeviceTypeBracelet);
        return;
    }
}

void HalvoraSDKManager::disconnectDevice() {
    disconnectDevice(DeviceTypeHeart);
}

void HalvoraSDKManager::disconnectDevice(DeviceKind kind) {
    std::shared_ptr<BLEDevice> driver;
    {
        std::lock_guard connectLock(connectLock_);
        removePendingRequest(kind);
        driver = driverForKind(kind);
        if (driver) {
            auto cm = central();
            auto peripheral = driver->device();
            if (cm && peripheral) cm->cancelPeripheralConnection(peripheral);
            // Nothing the device still sends reaches the application once it is told of the disconnection.
            driver->release();
            // Protocol state belongs to the callback queue; the driver lets it go there.
            bleQueue_->async([driver] { driver->deinit(); });
        }
    }
    if (driver && kind == DeviceTypeHeart) sendHeartStatus(ConnectionStatusDisconnected);
    // Forgetting the remembered bracelet keeps a later checkBracelet() from bringing it back.
    if (kind == DeviceTypeBracelet || kind == DeviceTypeBraceletRM830) preferences().setBraceletUUID(std::nullopt);
    if (auto receiver = deviceDelegate()) receiver->deviceOnConnectionChanged(kind, ConnectionStatusDisconnected);
}

bool HalvoraSDKManager::isDeviceConnected() const {
    return isDeviceConnected(DeviceTypeHeart);
}

bool HalvoraSDKManager::isDeviceConnected(DeviceKind kind) const {
    auto driver = driverForKind(kind);
    return driver && driver->state() == 2;
}

std::int32_t HalvoraSDKManager::getDeviceStatus(DeviceKind kind) const {
    std::lock_guard lock(mutex_);
    auto driver = deviceByType_.find(kind);
    if (driver != deviceByType_.end()) {
        return driver->second->state() == 2 ? ConnectionStatusReady : ConnectionStatusConnected;
    }
    return detectedDevicesByType_.count(kind) ? ConnectionStatusSearching : ConnectionStatusDisconnected;
}

}  // namespace halvora
