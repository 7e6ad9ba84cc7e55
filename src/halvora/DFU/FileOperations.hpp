#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "halvora/DFU/FileOperationsDelegate.hpp"
#include "halvora/Transport/Characteristic.hpp"
#include "halvora/Transport/Peripheral.hpp"

namespace halvora {

/// Loads a firmware file (Intel HEX), keeps its image and writes it to the bootloader's packet
/// characteristic in 20-byte packets, in bursts of up to 10 written without response, reporting to its
/// FileOperationsDelegate.
///
/// Packet arithmetic: `numberOfPackets` = size / 20 rounded up; `bytesInLastPacket` = size mod 20, or 20
/// when that is 0; `writingPacketNumber` is the next packet to write, from 0.
///
/// A file with text that holds no image (see IntelHex2BinConverter) gives an empty image: it is reported
/// opened with size 0 and no message; `conversionProblem()` says why. Such an image has no packet, and a
/// burst then writes nothing (see writeNextPacket).
///
/// Threads: not thread-safe; the update engine uses it on the callback queue ("halvora.cb"). The delegate is
/// not owned and must outlive this object; the peripheral is held weakly.
class FileOperations {
public:
    /// Bytes per packet.
    static constexpr std::size_t kPacketSize = 20;
    /// Packets per burst (matches the bootloader's receipt interval that the engine asks for).
    static constexpr std::size_t kPacketsPerBurst = 10;
    /// The error reported for a missing or empty file.
    static constexpr const char* kOpenErrorMessage = "Error on openning file\n Message: file is empty or not exist";

    /// Reports to `fileDelegate` and writes to `bleCharacteristic` of `blePeripheral`.
    FileOperations(FileOperationsDelegate* fileDelegate, const std::shared_ptr<Peripheral>& blePeripheral,
                   std::shared_ptr<Characteristic> bleCharacteristic);

    /// Replaces the peripheral and the packet characteristic (a reconnected bootloader).
    void setBLEParameters(const std::shared_ptr<Peripheral>& blePeripheral,
                          std::shared_ptr<Characteristic> bleCharacteristic);
    /// Reads the file: when it has bytes, runs processFileData and reports onFileOpened with binFileSize;
    /// otherwise reports onError with kOpenErrorMessage.
    void openFile(const std::filesystem::path& fileURL);
    /// Reads the file again, converts it and stores the image and its packet arithmetic; the next packet is 0.
    void processFileData(const std::filesystem::path& fileURL);
    /// Writes the next burst: up to 10 packets, each without response. A packet whose number is above
    /// numberOfPackets - 2 is the last: its bytesInLastPacket bytes are written, the packet number advances,
    /// onAllPacketsTranferred is reported and the burst stops. Any other packet: 20 bytes, then
    /// onTransferPercentage with the integer part of (packet number x 20 / binFileSize x 100), then the number
    /// advances. Never reads outside the image: of the bytes a packet should hold, only those the image has
    /// are written, and a packet with none is not written (an empty image, or a call after the last packet).
    void writeNextPacket();

    /// The delegate.
    FileOperationsDelegate* fileDelegate() const { return fileDelegate_; }
    /// The peripheral, or nothing once it is gone.
    std::shared_ptr<Peripheral> bluetoothPeripheral() const { return bluetoothPeripheral_.lock(); }
    /// The packet characteristic.
    const std::shared_ptr<Characteristic>& dfuPacketCharacteristic() const { return dfuPacketCharacteristic_; }
    /// The image.
    const std::vector<std::uint8_t>& binFileData() const { return binFileData_; }
    /// The image's size in bytes.
    std::size_t binFileSize() const { return binFileSize_; }
    /// Packets in the image.
    std::size_t numberOfPackets() const { return numberOfPackets_; }
    /// Bytes in the last packet (20 for an empty image, which has none).
    std::size_t bytesInLastPacket() const { return bytesInLastPacket_; }
    /// The next packet to write.
    std::size_t writingPacketNumber() const { return writingPacketNumber_; }
    /// Image bytes written so far (never more than binFileSize).
    std::size_t bytesSent() const { return bytesSent_; }
    /// Why the last file processed has no image, in one line (see HexImageSummary::reason); empty when it has
    /// one.
    const std::string& conversionProblem() const { return conversionProblem_; }

private:
    void writePacket(std::size_t packet, std::size_t length);

    FileOperationsDelegate* fileDelegate_;
    std::weak_ptr<Peripheral> bluetoothPeripheral_;
    std::shared_ptr<Characteristic> dfuPacketCharacteristic_;
    std::vector<std::uint8_t> binFileData_;
    std::size_t binFileSize_ = 0;
    std::size_t numberOfPackets_ = 0;
    std::size_t bytesInLastPacket_ = 0;
    std::size_t writingPacketNumber_ = 0;
    std::size_t bytesSent_ = 0;
    std::string conversionProblem_;
};

}  // namespace halvora
