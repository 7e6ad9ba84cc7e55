#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <vector>

#include "halvora/Transport/Characteristic.hpp"
#include "halvora/Transport/Peripheral.hpp"

namespace halvora {

/// Writes the individual requests of the bootloader's update procedure. Requests go to the control point
/// with response; sizes and init-packet data go to the packet characteristic without response. Sizes are
/// 32-bit little-endian.
///
/// | request                      | bytes                                                         |
/// |------------------------------|---------------------------------------------------------------|
/// | startDFU                     | 01 04 (start, image type application)                         |
/// | startOldDFU                  | 01                                                            |
/// | writeFileSize(size)          | packet: 0, 0, size (soft device, bootloader, application)     |
/// | writeFilesSizes(sd, bl)      | packet: sd, bl, 0                                             |
/// | writeFileSizeForOldDFU(size) | packet: size                                                  |
/// | sendInitPacket(file)         | 02 00; the file on the packet characteristic; 02 01           |
/// | enablePacketNotification     | 08 0A 00 (a receipt after every 10 packets)                   |
/// | receiveFirmwareImage         | 03                                                            |
/// | validateFirmware             | 04                                                            |
/// | activateAndReset             | 05                                                            |
/// | resetSystem                  | 06                                                            |
/// | enableNotification           | notifications on for the control point                        |
/// | resetAppToDFUMode            | notifications on for the control point, then 01 04            |
/// | getDfuVersion                | reads the version characteristic                              |
///
/// A request whose peripheral or characteristic is missing is not written. Not thread-safe: used by the
/// engine on its callback queue ("halvora.cb"). The peripheral is held weakly.
class DFUOperationsDetails {
public:
    /// Receipt interval asked for with enablePacketNotification, in packets.
    static constexpr std::uint16_t kPacketsPerReceipt = 10;

    /// Writes to `peripheral` from now on, through its packet, control-point and version characteristics
    /// (any may be missing).
    void setPeripheralAndCharacteristics(const std::shared_ptr<Peripheral>& peripheral,
                                         std::shared_ptr<Characteristic> packetCharacteristic,
                                         std::shared_ptr<Characteristic> controlPointCharacteristic,
                                         std::shared_ptr<Characteristic> versionCharacteristic);

    /// 01 04.
    void startDFU();
    /// 01.
    void startOldDFU();
    /// Packet: 0, 0, `size`.
    void writeFileSize(std::uint32_t size);
    /// Packet: `softDeviceSize`, `bootloaderSize`, 0.
    void writeFilesSizes(std::uint32_t softDeviceSize, std::uint32_t bootloaderSize);
    /// Packet: `size`.
    void writeFileSizeForOldDFU(std::uint32_t size);
    /// 02 00, the file's bytes on the packet characteristic in 20-byte writes, 02 01 (a missing file sends
    /// no data between the two).
    void sendInitPacket(const std::filesystem::path& fileURL);
    /// 08 0A 00.
    void enablePacketNotification();
    /// 03.
    void receiveFirmwareImage();
    /// 04.
    void validateFirmware();
    /// 05.
    void activateAndReset();
    /// 06.
    void resetSystem();
    /// Notifications on for the control point.
    void enableNotification();
    /// Notifications on for the control point, then 01 04.
    void resetAppToDFUMode();
    /// Reads the version characteristic (the value arrives as a notification of it).
    void getDfuVersion();

    /// The peripheral, or nothing once it is gone.
    std::shared_ptr<Peripheral> bluetoothPeripheral() const { return peripheral_.lock(); }
    /// The packet characteristic.
    const std::shared_ptr<Characteristic>& dfuPacketCharacteristic() const { return packet_; }
    /// The control point.
    const std::shared_ptr<Characteristic>& dfuControlPointCharacteristic() const { return controlPoint_; }
    /// The version characteristic.
    const std::shared_ptr<Characteristic>& dfuVersionCharacteristic() const { return version_; }

private:
    void writeControlPoint(const std::vector<std::uint8_t>& request);
    void writePacket(const std::vector<std::uint8_t>& data);
    void writeSizes(std::uint32_t softDevice, std::uint32_t bootloader, std::uint32_t application);

    std::weak_ptr<Peripheral> peripheral_;
    std::shared_ptr<Characteristic> packet_;
    std::shared_ptr<Characteristic> controlPoint_;
    std::shared_ptr<Characteristic> version_;
};

}  // namespace halvora
