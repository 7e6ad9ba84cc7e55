#include "halvora/DFU/FileOperations.hpp"

#include <algorithm>
#include <system_error>

#include "halvora/DFU/IntelHex2BinConverter.hpp"
#include "halvora/DFU/internal/FileBytes.hpp"
#include "halvora/DFU/internal/FirmwarePackets.hpp"

namespace halvora {

namespace {

constexpr const char* kMissingFileProblem = "the file is empty or missing";

bool hasBytes(const std::filesystem::path& file) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(file, error)) return false;
    const auto size = std::filesystem::file_size(file, error);
    return !error && size > 0;
}

}  // namespace

FileOperations::FileOperations(FileOperationsDelegate* fileDelegate, const std::shared_ptr<Peripheral>& blePeripheral,
                               std::shared_ptr<Characteristic> bleCharacteristic)
    : fileDelegate_(fileDelegate),
      bluetoothPeripheral_(blePeripheral),
      dfuPacketCharacteristic_(std::move(bleCharacteristic)) {}

void FileOperations::setBLEParameters(const std::shared_ptr<Peripheral>& blePeripheral,
                                      std::shared_ptr<Characteristic> bleCharacteristic) {
    bluetoothPeripheral_ = blePeripheral;
    dfuPacketCharacteristic_ = std::move(bleCharacteristic);
}

void FileOperations::openFile(const std::filesystem::path& fileURL) {
    if (!hasBytes(fileURL)) {
        if (fileDelegate_) fileDelegate_->onError(kOpenErrorMessage);
        return;
    }
    processFileData(fileURL);
    if (fileDelegate_) fileDelegate_->onFileOpened(binFileSize_);
}

void FileOperations::processFileData(const std::filesystem::path& fileURL) {
    const std::vector<std::uint8_t> text = FileBytes::read(fileURL);
    auto image = IntelHex2BinConverter::convert(text);
    binFileData_ = image ? std::move(*image) : std::vector<std::uint8_t>{};
    if (!binFileData_.empty()) {
        conversionProblem_.clear();
    } else if (text.empty()) {
        conversionProblem_ = kMissingFileProblem;
    } else {
        conversionProblem_ = IntelHex2BinConverter::inspect(text).reason;
    }
    binFileSize_ = binFileData_.size();
    numberOfPackets_ = FirmwarePackets::packetCount(binFileSize_);
    bytesInLastPacket_ = FirmwarePackets::bytesInLastPacket(binFileSize_);
    writingPacketNumber_ = 0;
    bytesSent_ = 0;
}

void FileOperations::writeNextPacket() {
    for (std::size_t i = 0; i < kPacketsPerBurst; ++i) {
        const std::size_t packet = writingPacketNumber_;
        // packet > numberOfPackets - 2, without going below zero: the last packet (or one past it).
        if (packet + 2 > numberOfPackets_) {
            writePacket(packet, bytesInLastPacket_);
            ++writingPacketNumber_;
            if (fileDelegate_) fileDelegate_->onAllPacketsTranferred();
            return;
        }
        writePacket(packet, kPacketSize);
        const double share = static_cast<double>(packet * kPacketSize) / static_cast<double>(binFileSize_) * 100.0;
        if (fileDelegate_) fileDelegate_->onTransferPercentage(static_cast<int>(share));
        ++writingPacketNumber_;
    }
}

void FileOperations::writePacket(std::size_t packet, std::size_t length) {
    // The arithmetic above asks for 20 bytes from an empty image (bytesInLastPacket is 20 when the size is a
    // multiple of 20, 0 included), and for a packet past the last when a burst is asked for again: only the
    // bytes the image holds are written, and nothing when it holds none.
    const std::size_t offset = packet * kPacketSize;
    if (offset >= binFileData_.size()) return;
    const std::size_t count = std::min(length, binFileData_.size() - offset);
    auto peripheral = bluetoothPeripheral_.lock();
    if (!peripheral || !dfuPacketCharacteristic_) return;
    const auto first = binFileData_.begin() + static_cast<std::ptrdiff_t>(offset);
    peripheral->writeValue(std::vector<std::uint8_t>(first, first + static_cast<std::ptrdiff_t>(count)),
                           dfuPacketCharacteristic_, WriteType::WithoutResponse);
    bytesSent_ = offset + count;
}

}  // namespace halvora
