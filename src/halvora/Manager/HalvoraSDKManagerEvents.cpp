// Central events and driver reports.
#include <type_traits>

#include "halvora/Devices/Measurement/BloodPressureMonitor.hpp"
#include "halvora/Devices/Tensio/HalvoraSDKTensioBracelet.hpp"
#include "halvora/Manager/HalvoraSDKManager.hpp"
#include "halvora/Manager/internal/PeripheralText.hpp"

namespace halvora {

namespace {

constexpr std::int32_t kLinkConnected = 2;
constexpr std::int32_t kLinkDown = 0;
/// What the application is handed for a report that is not a number where one was expected.
constexpr std::int32_t kNotANumberError = -1;

std::string errorText(const OptionalError& error) {
    return error ? error->description : "(null)";
}

}  // namespace

// ---------------------------------------------------------------------------------------------- central events

void HalvoraSDKManager::centralManagerDidConnectPeripheral(Central& /*central*/,
                                                           const std::shared_ptr<Peripheral>& peripheral) {
    log().writef("HalvoraSDK: Did connect peripheral %s", internal::textOrNull(peripheral->name()).c_str());
    std::shared_ptr<BLEDevice> driver;
    {
        std::lock_guard lock(mutex_);
        for (const auto& [kind, registered] : deviceByType_) {
            if (registered->device() == peripheral) {
                driver = registered;
                break;
            }
        }
    }
    if (!driver) return;
    driver->setState(kLinkConnected);
    driver->didConnect();
}

void HalvoraSDKManager::centralManagerDidFailToConnectPeripheral(Central& /*central*/,
                                                                 const std::shared_ptr<Peripheral>& peripheral,
                                                                 const OptionalError& error) {
    // The request stays pending until its time-out.
    log().writef("HalvoraSDK: Did fail to connect peripheral %s error: %s",
                 internal::textOrNull(peripheral->name()).c_str(), errorText(error).c_str());
}

void HalvoraSDKManager::centralManagerDidDisconnectPeripheral(Central& /*central*/,
                                                              const std::shared_ptr<Peripheral>& peripheral,
                                                              const OptionalError& /*error*/) {
    log().writef("HalvoraSDK: Did disconnect peripheral %s", internal::textOrNull(peripheral->name()).c_str());
    std::vector<DeviceKind> lost;
    std::vector<std::shared_ptr<BLEDevice>> drivers;
    {
        std::lock_guard lock(mutex_);
        for (auto it = deviceByType_.begin(); it != deviceByType_.end();) {
            if (it->second->device() == peripheral) {
                lost.push_back(it->first);
                drivers.push_back(it->second);
                it = deviceByType_.erase(it);
            } else {
                ++it;
            }
        }
    }
    // Central events arrive on the callback queue, where the drivers' state lives.
    for (const auto& driver : drivers) driver->linkEnded();
    for (DeviceKind kind : lost) sendStatus(kind, ConnectionStatusDisconnected);
}

void HalvoraSDKManager::centralManagerDidUpdateState(Central& central) {
    const CentralState state = central.state();
    bool previous;
    {
        std::lock_guard lock(mutex_);
        previous = bluetoothPoweredOn_;
    }
    if (state == CentralState::PoweredOff) {
        log().write("HalvoraSDK: Device BLE PoweredOff");
        handlePoweredOff();
    } else if (state == CentralState::PoweredOn) {
        log().write("HalvoraSDK: Device BLE PoweredOn");
    }
    bool poweredOn;
    {
        std::lock_guard lock(mutex_);
        if (state == CentralState::PoweredOn) bluetoothPoweredOn_ = true;
        centralManagerReady_ = true;
        poweredOn = bluetoothPoweredOn_;
    }
    if (auto receiver = delegate(); receiver && previous != poweredOn) receiver->bluetoothPoweredOn(poweredOn);
}

void HalvoraSDKManager::handlePoweredOff() {
    std::map<DeviceKind, std::shared_ptr<BLEDevice>> drivers;
    {
        std::lock_guard lock(mutex_);
        bluetoothPoweredOn_ = false;
        drivers = deviceByType_;
    }
    for (const auto& [kind, driver] : drivers) {
        driver->setState(kLinkDown);
        if (auto receiver = driver->delegate()) receiver->deviceDisconnected(driver);
        driver->didDisconnect();
    }
    {
        std::lock_guard lock(mutex_);
        detectedDevicesByType_.clear();
        deviceByType_.clear();
        connectingTimeout_.clear();
        uuidByType_.clear();
    }
    stopScan();
}

void HalvoraSDKManager::centralManagerWillRestoreState(Central& /*central*/,
                                                       const std::vector<std::shared_ptr<Peripheral>>& peripherals) {
    std::lock_guard lock(mutex_);
    for (const auto& peripheral : peripherals) {
        if (peripheral) hshPeripherals_[peripheral->identifier()] = peripheral;
    }
}

// ---------------------------------------------------------------------------------------------- driver reports

void HalvoraSDKManager::deviceConnected(const std::shared_ptr<BLEDevice>& device) {
    const DeviceKind kind = device->getType();
    registerDriver(kind, device);
    sendStatus(kind, ConnectionStatusConnected);
}

void HalvoraSDKManager::deviceReady(const std::shared_ptr<BLEDevice>& device) {
    if (!log().isSilent()) {
        log().writef("HalvoraSDK:  deviceReady: %s", internal::describePeripheral(device->device()).c_str());
    }
    std::weak_ptr<HalvoraSDKManager> weak = weak_from_this();
    mainQueue_->asyncAfter(seconds(kReadyDelay), [weak, device] {
        if (auto self = weak.lock()) self->markReady(device);
    });
}

void HalvoraSDKManager::markReady(const std::shared_ptr<BLEDevice>& device) {
    const DeviceKind kind = device->getType();
    // The link may have dropped during the ready delay: the disconnection has already been reported and the
    // driver let go, so a late ready would bring a lost device back as connected.
    const auto peripheral = device->device();
    if (!peripheral || peripheral->state() != PeripheralState::Connected) {
        log().writef("HalvoraSDK:  link lost before ready: %d", kind);
        return;
    }
    registerDriver(kind, device);
    sendStatus(kind, ConnectionStatusReady);
    // The connect request for the kind is fulfilled.
    removePendingRequest(kind);
}

void HalvoraSDKManager::deviceDisconnected(const std::shared_ptr<BLEDevice>& device) {
    const DeviceKind kind = device->getType();
    auto peripheral = device->device();
    if (auto cm = central(); cm && peripheral) cm->cancelPeripheralConnection(peripheral);
    {
        std::lock_guard lock(mutex_);
        deviceByType_.erase(kind);
    }
    sendStatus(kind, ConnectionStatusDisconnected);
}

void HalvoraSDKManager::deviceOnDataReceived(const std::shared_ptr<BLEDevice>& device, const DeviceData& data) {
    if (std::dynamic_pointer_cast<HalvoraSDKTensioBracelet>(device)) {
        dispatchTensioData(data);
        return;
    }
    if (!std::dynamic_pointer_cast<BloodPressureMonitor>(device)) return;
    auto general = delegate();
    auto heart = heartDelegate();
    std::visit(
        [&](const auto& value) {
            using T = std::decay_t<decltype(value)>;
            if constexpr (std::is_same_v<T, std::int32_t>) {
                if (general) general->heartDeviceOnProgressMeasurement(value);
                if (heart) heart->heartDeviceOnProgressMeasurement(value);
            } else if constexpr (std::is_same_v<T, HalvoraSDKHeartData>) {
                if (general) general->heartDeviceOnResult(value);
                if (heart) heart->heartDeviceOnResult(value);
            }
        },
        data);
}

void HalvoraSDKManager::dispatchTensioData(const DeviceData& data) {
    auto receiver = tensioBraceletDelegate();
    if (!receiver) return;
    std::visit(
        [&](const auto& value) {
            using T = std::decay_t<decltype(value)>;
            if constexpr (std::is_same_v<T, std::int32_t>) {
                receiver->tensioBraceletOnProgressMeasurement(value);
            } else if constexpr (std::is_same_v<T, HalvoraSDKTensioBraceletData>) {
                receiver->tensioBraceletOnResult(value);
            } else if constexpr (std::is_same_v<T, std::string>) {
                receiver->tensioBraceletInformation(value);
            } else {
                // A blood-pressure monitor's record: this driver never reports one.
                receiver->tensioBraceletInformation(kNotANumberError);
            }
        },
        data);
}

void HalvoraSDKManager::deviceOnErrorReceived(const std::shared_ptr<BLEDevice>& device, const DeviceError& error) {
    if (device->getType() == DeviceTypeTensioBracelet) {
        // Kept as the bracelet's applications know it: a numbered error arrives as an empty record, anything
        // else as the number -1.
        if (auto receiver = tensioBraceletDelegate()) {
            if (std::holds_alternative<std::int32_t>(error)) {
                receiver->tensioBraceletInformation(HalvoraSDKTensioBraceletData{});
            } else {
                receiver->tensioBraceletInformation(kNotANumberError);
            }
        }
        return;
    }
    if (device->getType() != DeviceTypeHeart) return;
    // A fresh record for each receiver; an error that is not a number becomes -1.
    const std::int32_t code = std::holds_alternative<std::int32_t>(error) ? std::get<std::int32_t>(error) : -1;
    auto makeRecord = [code] {
        HalvoraSDKHeartData record;
        record.errorCode = code;
        return record;
    };
    if (auto general = delegate()) general->heartDeviceOnResult(makeRecord());
    if (auto heart = heartDelegate()) heart->heartDeviceOnResult(makeRecord());
}

void HalvoraSDKManager::deviceOnBatteryLevelReceived(const std::shared_ptr<BLEDevice>& device, std::int32_t level) {
    if (auto receiver = deviceDelegate()) receiver->deviceOnBatteryLevelReceived(device->getType(), level);
}

}  // namespace halvora
