#include "halvora/DFU/DFUOperations.hpp"

#include <algorithm>
#include <chrono>
#include <limits>

#include "halvora/DFU/internal/DFUOpcodes.hpp"
#include "halvora/DFU/internal/DFUProcessState.hpp"
#include "halvora/DFU/internal/DFUProgressReporter.hpp"
#include "halvora/DFU/internal/DFUResponseTexts.hpp"

namespace halvora {

namespace {

/// Bytes a response must have to be dispatched: code, requested opcode, status.
constexpr std::size_t kResponseLength = 3;

DFUProcessState& shared() {
    return DFUProcessState::shared();
}

}  // namespace

// ------------------------------------------------------------------------------------ life

DFUOperations::DFUOperations(DFUOperationsDelegate* dfuDelegate, Clock clock, ObserverSource observer)
    : dfuDelegate_(dfuDelegate),
      clock_(std::move(clock)),
      reporter_(std::make_unique<DFUProgressReporter>(std::move(observer))),
      engineNumber_(shared().newEngineNumber()) {
    shared().setOneFileForSDAndBL(false);
}

DFUOperations::~DFUOperations() {
    shared().releaseSlot(engineNumber_);
}

std::string DFUOperations::responseErrorMessage(int status) {
    if (status < 0 || status > std::numeric_limits<std::uint8_t>::max()) return DFUResponseTexts::statusText(0);
    return DFUResponseTexts::statusText(static_cast<std::uint8_t>(status));
}

bool DFUOperations::isUpdateRunning() const {
    return shared().holdsSlot(engineNumber_);
}

void DFUOperations::onDeviceConnectedWithVersion(const std::shared_ptr<Peripheral>& peripheral,
                                                 std::shared_ptr<Characteristic> packetCharacteristic,
                                                 std::shared_ptr<Characteristic> controlPointCharacteristic,
                                                 std::shared_ptr<Characteristic> versionCharacteristic) {
    bluetoothPeripheral_ = peripheral;
    linkUp_ = true;
    dfuPacketCharacteristic_ = std::move(packetCharacteristic);
    dfuControlPointCharacteristic_ = std::move(controlPointCharacteristic);
    dfuVersionCharacteristic_ = std::move(versionCharacteristic);
    dfuRequests_.setPeripheralAndCharacteristics(peripheral, dfuPacketCharacteristic_, dfuControlPointCharacteristic_,
                                                 dfuVersionCharacteristic_);
    shared().setVersionCharacteristicExist(dfuVersionCharacteristic_ != nullptr);
    if (dfuDelegate_) dfuDelegate_->onDeviceConnectedWithVersion(peripheral);
}

// ------------------------------------------------------------------------------------ starting

void DFUOperations::performDFUOnFile(const std::filesystem::path& fileURL) {
    if (!claimSlot()) {
        refuse();
        return;
    }
    reporter_->begin();
    shared().setPerformedOldDFU(false);
    firmwareFile_ = fileURL;
    prepareFile();
    shared().setStartingSecondFile(false);
    initParameters();
    fileRequests_->openFile(fileURL);
    dfuRequests_.enableNotification();
    dfuRequests_.startDFU();
    dfuRequests_.writeFileSize(sizeField());
    if (shared().isVersionCharacteristicExist()) dfuRequests_.getDfuVersion();
}

void DFUOperations::performOldDFUOnFile(const std::optional<std::filesystem::path>& fileURL) {
    if (!fileURL) return;
    const bool fallBack = isUpdateRunning();  // this engine's update going on with the old procedure
    if (!claimSlot()) {
        refuse();
        return;
    }
    if (!fallBack) reporter_->begin();
    shared().setPerformedOldDFU(true);
    prepareFile();
    initParameters();
    fileRequests_->openFile(*fileURL);
    dfuRequests_.enableNotification();
    dfuRequests_.startOldDFU();
    dfuRequests_.writeFileSizeForOldDFU(sizeField());
}

bool DFUOperations::claimSlot() {
    return shared().claimSlot(engineNumber_);
}

void DFUOperations::refuse() {
    if (dfuDelegate_) dfuDelegate_->onError(kAnotherUpdateRunningMessage);
    reporter_->begin();
    reporter_->failed(kAnotherUpdateRunningMessage);
}

void DFUOperations::prepareFile() {
    fileRequests_ = std::make_unique<FileOperations>(this, bluetoothPeripheral_.lock(), dfuPacketCharacteristic_);
}

void DFUOperations::initParameters() {
    shared().setStartTime(now());
    binFileSize_ = 0;
}

std::uint32_t DFUOperations::sizeField() const {
    return static_cast<std::uint32_t>(std::min<std::uint64_t>(binFileSize_, std::numeric_limits<std::uint32_t>::max()));
}

// ------------------------------------------------------------------------------------ other requests

void DFUOperations::cancelDFU() {
    dfuRequests_.resetSystem();
    if (dfuDelegate_) dfuDelegate_->onDFUCancelled();
    endUpdate();
    reporter_->failed(kCancelledMessage);
}

void DFUOperations::setAppToBootloaderMode() {
    dfuRequests_.resetAppToDFUMode();
}

void DFUOperations::onReadDfuVersion(int version) {
    if (version != 0) {
        if (dfuDelegate_) dfuDelegate_->onReadDFUVersion(version);
        return;
    }
    dfuRequests_.resetSystem();
    endUpdate();
    reporter_->failed(kVersionZeroMessage);
}

void DFUOperations::linkEnded() {
    if (linkUp_ && dfuDelegate_) dfuDelegate_->onDeviceDisconnected(bluetoothPeripheral_.lock());
    linkUp_ = false;
    endUpdate();
    reporter_->failed(kLinkLostMessage);
}

void DFUOperations::endUpdate() {
    shared().releaseSlot(engineNumber_);
}

MonotonicTime DFUOperations::now() const {
    return clock_ ? clock_() : MonotonicTime{};
}

// ------------------------------------------------------------------------------------ the bootloader's notifications

void DFUOperations::processDFUResponse(std::span<const std::uint8_t> data) {
    if (data.empty()) return;
    dfuResponse_ = DFUResponse::from(data);
    if (dfuResponse_.responseCode == DFUOpcodes::kResponseCode) {
        if (data.size() >= kResponseLength) handleResponse();
    } else if (dfuResponse_.responseCode == DFUOpcodes::kPacketReceiptNotification) {
        if (fileRequests_ && fileRequests_->writingPacketNumber() < fileRequests_->numberOfPackets()) writeBurst();
    }
}

void DFUOperations::handleResponse() {
    const std::uint8_t status = dfuResponse_.responseStatus;
    const bool success = status == DFUOpcodes::kStatusSuccess;
    switch (dfuResponse_.requestedCode) {
        case DFUOpcodes::kStartDFU:
            handleStartResponse(status);
            break;
        case DFUOpcodes::kInitDFUParameters:
            if (success) {
                startSendingFile();
            } else {
                fail(DFUOpcodes::kInitDFUParameters, status);
            }
            break;
        case DFUOpcodes::kReceiveFirmwareImage:
            if (success) {
                dfuRequests_.validateFirmware();
            } else {
                fail(DFUOpcodes::kReceiveFirmwareImage, status);
            }
            break;
        case DFUOpcodes::kValidateFirmware:
            handleValidateResponse(status);
            break;
        default:  // requests the engine does not answer (05 and up)
            break;
    }
}

void DFUOperations::handleStartResponse(std::uint8_t status) {
    if (status == DFUOpcodes::kStatusSuccess) {
        startSendingFile();
    } else if (status == DFUOpcodes::kStatusNotSupported && !shared().isPerformedOldDFU()) {
        performOldDFUOnFile(firmwareFile_);
    } else {
        fail(DFUOpcodes::kStartDFU, status);
    }
}

void DFUOperations::handleValidateResponse(std::uint8_t status) {
    if (status != DFUOpcodes::kStatusSuccess) {
        fail(DFUOpcodes::kValidateFirmware, status);
        return;
    }
    dfuRequests_.activateAndReset();
    reporter_->activating();
    calculateDFUTime();
    if (dfuDelegate_) dfuDelegate_->onSuccessfulFileTranferred();
    endUpdate();
    reporter_->succeeded(uploadTimeInSeconds_);
}

void DFUOperations::fail(std::uint8_t opcode, std::uint8_t status) {
    const std::string message = DFUResponseTexts::errorMessage(opcode, status);
    if (dfuDelegate_) dfuDelegate_->onError(message);
    dfuRequests_.resetSystem();
    endUpdate();
    reporter_->failed(message);
}

void DFUOperations::startSendingFile() {
    dfuRequests_.enablePacketNotification();
    dfuRequests_.receiveFirmwareImage();
    writeBurst();
    if (dfuDelegate_) dfuDelegate_->onDFUStarted();
}

void DFUOperations::writeBurst() {
    if (!fileRequests_) return;
    fileRequests_->writeNextPacket();
    reporter_->uploading(fileRequests_->bytesSent());
}

void DFUOperations::calculateDFUTime() {
    shared().setFinishTime(now());
    const auto elapsed = shared().finishTime() - shared().startTime();
    uploadTimeInSeconds_ = std::chrono::duration_cast<std::chrono::seconds>(elapsed).count();
}

// ------------------------------------------------------------------------------------ FileOperationsDelegate

void DFUOperations::onFileOpened(std::size_t fileSize) {
    binFileSize_ += fileSize;
    if (fileSize == 0 && fileRequests_) {
        reporter_->failed(kEmptyImageMessage + fileRequests_->conversionProblem());
        return;
    }
    reporter_->preparing(binFileSize_);
}

void DFUOperations::onTransferPercentage(int percentage) {
    if (dfuDelegate_) dfuDelegate_->onTransferPercentage(percentage);
}

void DFUOperations::onAllPacketsTranferred() {
    if (shared().isStartingSecondFile() && dfuDelegate_) dfuDelegate_->onBootloaderUploadCompleted();
    reporter_->validating();
}

void DFUOperations::onError(const std::string& message) {
    if (dfuDelegate_) dfuDelegate_->onError(message);
    reporter_->failed(message);
}

}  // namespace halvora
