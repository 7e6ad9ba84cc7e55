#include "halvora/Core/BLEDevice.hpp"

#include <algorithm>
#include <thread>

namespace halvora {

std::int8_t BLEDevice::hexaToInt(std::int32_t value) {
    const auto v = static_cast<std::int8_t>(value % 100);
    return static_cast<std::int8_t>((v / 16) * 10 + (v % 16));
}

std::int8_t BLEDevice::intToHexa(std::int32_t value) {
    const auto v = static_cast<std::int8_t>(value % 100);
    return static_cast<std::int8_t>(v + (v / 10) * 6);
}

std::shared_ptr<Peripheral> BLEDevice::device() const {
    std::lock_guard lock(mutex_);
    return device_;
}

void BLEDevice::setDevice(std::shared_ptr<Peripheral> peripheral) {
    std::lock_guard lock(mutex_);
    device_ = std::move(peripheral);
}

std::shared_ptr<BLEDeviceDelegate> BLEDevice::delegate() const {
    std::lock_guard lock(mutex_);
    return delegate_.lock();
}

void BLEDevice::setDelegate(std::weak_ptr<BLEDeviceDelegate> delegate) {
    std::lock_guard lock(mutex_);
    delegate_ = std::move(delegate);
}

void BLEDevice::setPeripheral(const std::shared_ptr<Peripheral>& peripheral,
                              std::weak_ptr<BLEDeviceDelegate> delegate) {
    setDevice(peripheral);
    if (peripheral) peripheral->setDelegate(std::static_pointer_cast<PeripheralDelegate>(shared_from_this()));
    setDelegate(std::move(delegate));
}

void BLEDevice::didConnect() {
    reportConnected();
    if (auto peripheral = device()) peripheral->discoverServices(std::nullopt);
}

void BLEDevice::didDisconnect() {
    auto peripheral = device();
    if (!peripheral) return;
    reportDisconnected();
    peripheral->setDelegate({});
    setDevice(nullptr);
}

void BLEDevice::reportConnected() {
    if (auto d = delegate()) d->deviceConnected(shared_from_this());
}

void BLEDevice::reportReady() {
    if (auto d = delegate()) d->deviceReady(shared_from_this());
}

void BLEDevice::reportDisconnected() {
    if (auto d = delegate()) d->deviceDisconnected(shared_from_this());
}

void BLEDevice::reportData(const DeviceData& data) {
    if (auto d = delegate()) d->deviceOnDataReceived(shared_from_this(), data);
}

void BLEDevice::reportError(const DeviceError& error) {
    if (auto d = delegate()) d->deviceOnErrorReceived(shared_from_this(), error);
}

void BLEDevice::reportBatteryLevel(std::int32_t level) {
    if (auto d = delegate()) d->deviceOnBatteryLevelReceived(shared_from_this(), level);
}

void BLEDevice::writeInPieces(const std::vector<std::uint8_t>& data,
                              const std::shared_ptr<Characteristic>& characteristic) {
    auto peripheral = device();
    if (!peripheral || !characteristic) return;
    for (std::size_t offset = 0; offset < data.size(); offset += kMaxWritePiece) {
        const std::size_t length = std::min(kMaxWritePiece, data.size() - offset);
        const std::vector<std::uint8_t> piece(data.begin() + static_cast<std::ptrdiff_t>(offset),
                                              data.begin() + static_cast<std::ptrdiff_t>(offset + length));
        if (characteristic->hasProperty(CharacteristicPropertyWriteWithoutResponse)) {
            peripheral->writeValue(piece, characteristic, WriteType::WithoutResponse);
        } else if (characteristic->hasProperty(CharacteristicPropertyWrite)) {
            peripheral->writeValue(piece, characteristic, WriteType::WithResponse);
        }
        std::this_thread::yield();
    }
}

std::shared_ptr<Service> BLEDevice::discoverCharacteristicsOfService(const std::shared_ptr<Peripheral>& peripheral,
                                                                     const BLEUUID& serviceUUID,
                                                                     const std::vector<BLEUUID>& characteristicUUIDs) {
    std::shared_ptr<Service> found;
    if (!peripheral) return found;
    for (const auto& service : peripheral->services()) {
        if (service->uuid() != serviceUUID) continue;
        found = service;
        peripheral->discoverCharacteristics(characteristicUUIDs, service);
    }
    return found;
}

}  // namespace halvora
