#include "halvora/DFU/DFUOperationsDetails.hpp"

#include <algorithm>

#include "halvora/Core/ByteUtils.hpp"
#include "halvora/DFU/FileOperations.hpp"
#include "halvora/DFU/internal/DFUOpcodes.hpp"
#include "halvora/DFU/internal/FileBytes.hpp"

namespace halvora {

namespace {

std::uint8_t lowByte(std::uint16_t value) {
    return static_cast<std::uint8_t>(value & 0xFF);
}

std::uint8_t highByte(std::uint16_t value) {
    return static_cast<std::uint8_t>(value >> 8);
}

}  // namespace

void DFUOperationsDetails::setPeripheralAndCharacteristics(const std::shared_ptr<Peripheral>& peripheral,
                                                           std::shared_ptr<Characteristic> packetCharacteristic,
                                                           std::shared_ptr<Characteristic> controlPointCharacteristic,
                                                           std::shared_ptr<Characteristic> versionCharacteristic) {
    peripheral_ = peripheral;
    packet_ = std::move(packetCharacteristic);
    controlPoint_ = std::move(controlPointCharacteristic);
    version_ = std::move(versionCharacteristic);
}

void DFUOperationsDetails::startDFU() {
    writeControlPoint({DFUOpcodes::kStartDFU, DFUOpcodes::kImageTypeApplication});
}

void DFUOperationsDetails::startOldDFU() {
    writeControlPoint({DFUOpcodes::kStartDFU});
}

void DFUOperationsDetails::writeFileSize(std::uint32_t size) {
    writeSizes(0, 0, size);
}

void DFUOperationsDetails::writeFilesSizes(std::uint32_t softDeviceSize, std::uint32_t bootloaderSize) {
    writeSizes(softDeviceSize, bootloaderSize, 0);
}

void DFUOperationsDetails::writeFileSizeForOldDFU(std::uint32_t size) {
    writePacket(ByteUtils::intToBytesLittleIndian(size));
}

void DFUOperationsDetails::sendInitPacket(const std::filesystem::path& fileURL) {
    writeControlPoint({DFUOpcodes::kInitDFUParameters, DFUOpcodes::kInitPacketStart});
    const std::vector<std::uint8_t> data = FileBytes::read(fileURL);
    for (std::size_t offset = 0; offset < data.size(); offset += FileOperations::kPacketSize) {
        const std::size_t count = std::min(FileOperations::kPacketSize, data.size() - offset);
        const auto first = data.begin() + static_cast<std::ptrdiff_t>(offset);
        writePacket(std::vector<std::uint8_t>(first, first + static_cast<std::ptrdiff_t>(count)));
    }
    writeControlPoint({DFUOpcodes::kInitDFUParameters, DFUOpcodes::kInitPacketEnd});
}

void DFUOperationsDetails::enablePacketNotification() {
    writeControlPoint(
        {DFUOpcodes::kPacketReceiptNotificationRequest, lowByte(kPacketsPerReceipt), highByte(kPacketsPerReceipt)});
}

void DFUOperationsDetails::receiveFirmwareImage() {
    writeControlPoint({DFUOpcodes::kReceiveFirmwareImage});
}

void DFUOperationsDetails::validateFirmware() {
    writeControlPoint({DFUOpcodes::kValidateFirmware});
}

void DFUOperationsDetails::activateAndReset() {
    writeControlPoint({DFUOpcodes::kActivateAndReset});
}

void DFUOperationsDetails::resetSystem() {
    writeControlPoint({DFUOpcodes::kResetSystem});
}

void DFUOperationsDetails::enableNotification() {
    auto peripheral = peripheral_.lock();
    if (peripheral && controlPoint_) peripheral->setNotifyValue(true, controlPoint_);
}

void DFUOperationsDetails::resetAppToDFUMode() {
    enableNotification();
    startDFU();
}

void DFUOperationsDetails::getDfuVersion() {
    auto peripheral = peripheral_.lock();
    if (peripheral && version_) peripheral->readValue(version_);
}

void DFUOperationsDetails::writeControlPoint(const std::vector<std::uint8_t>& request) {
    auto peripheral = peripheral_.lock();
    if (peripheral && controlPoint_) peripheral->writeValue(request, controlPoint_, WriteType::WithResponse);
}

void DFUOperationsDetails::writePacket(const std::vector<std::uint8_t>& data) {
    auto peripheral = peripheral_.lock();
    if (peripheral && packet_) peripheral->writeValue(data, packet_, WriteType::WithoutResponse);
}

void DFUOperationsDetails::writeSizes(std::uint32_t softDevice, std::uint32_t bootloader, std::uint32_t application) {
    std::vector<std::uint8_t> sizes;
    for (std::uint32_t size : {softDevice, bootloader, application}) {
        const auto bytes = ByteUtils::intToBytesLittleIndian(size);
        sizes.insert(sizes.end(), bytes.begin(), bytes.end());
    }
    writePacket(sizes);
}

}  // namespace halvora
