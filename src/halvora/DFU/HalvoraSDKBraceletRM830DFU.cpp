#include "halvora/DFU/HalvoraSDKBraceletRM830DFU.hpp"

#include <algorithm>
#include <cctype>

#include "halvora/Core/ResourceBundle.hpp"
#include "halvora/DFU/FirmwareUpdateObserver.hpp"

namespace halvora {

namespace {

/// The bootloader's name mark, upper case.
constexpr const char* kNameMark = "DFU";
/// What a notification with an error logs (the error's text follows).
constexpr const char* kNotificationErrorFormat = "Error on BLE Notification\n Message: %s";
/// What a version read with an error logs (the error's text fills it).
constexpr const char* kVersionErrorFormat =
    "Error on BLE Notification\n Message: %s\n Please enable Service Changed Indication in your firmware, reset "
    "Bluetooth from IOS Settings and then try again";
/// The version handed to the engine when the version read failed.
constexpr int kUnreadableVersion = 0;

std::string upperCased(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return text;
}

std::string folderList(const std::vector<std::filesystem::path>& folders) {
    if (folders.empty()) return "no folder";
    std::string list;
    for (const auto& folder : folders) {
        if (!list.empty()) list += ", ";
        list += folder.string();
    }
    return list;
}

}  // namespace

bool HalvoraSDKBraceletRM830DFU::matchDevice(const std::shared_ptr<Peripheral>& peripheral) {
    if (!peripheral) return false;
    const auto name = peripheral->name();
    return name && upperCased(*name).find(kNameMark) != std::string::npos;
}

HalvoraSDKBraceletRM830DFU::HalvoraSDKBraceletRM830DFU(DriverContext context) : BLEDevice(std::move(context)) {}

HalvoraSDKBraceletRM830DFU::~HalvoraSDKBraceletRM830DFU() = default;

// ------------------------------------------------------------------------------------ the link

void HalvoraSDKBraceletRM830DFU::deinit() {
    endUpdate();
}

void HalvoraSDKBraceletRM830DFU::linkEnded() {
    endUpdate();
}

void HalvoraSDKBraceletRM830DFU::didDisconnect() {
    BLEDevice::didDisconnect();
    endUpdate();
}

void HalvoraSDKBraceletRM830DFU::endUpdate() {
    if (dfuOperations_) dfuOperations_->linkEnded();
}

void HalvoraSDKBraceletRM830DFU::writeRawData(const std::vector<std::uint8_t>& data) {
    writeInPieces(data, dfuPacketCharacteristic_);
}

// ------------------------------------------------------------------------------------ discovery

void HalvoraSDKBraceletRM830DFU::peripheralDidDiscoverServices(const std::shared_ptr<Peripheral>& peripheral,
                                                               const OptionalError& error) {
    if (error) return;
    // An empty list asks for every characteristic of the service.
    if (auto service = discoverCharacteristicsOfService(peripheral, rsServiceUUID(), {})) rs232Service_ = service;
}

void HalvoraSDKBraceletRM830DFU::peripheralDidDiscoverCharacteristicsForService(
    const std::shared_ptr<Peripheral>& peripheral, const std::shared_ptr<Service>& service,
    const OptionalError& error) {
    if (error || !peripheral || !service || service->uuid() != rsServiceUUID()) return;
    for (const auto& characteristic : service->characteristics()) {
        if (characteristic->uuid() == readCharacteristicUUID()) {
            dfuControlPointCharacteristic_ = characteristic;
        } else if (characteristic->uuid() == sendCharacteristicUUID()) {
            dfuPacketCharacteristic_ = characteristic;
        } else if (characteristic->uuid() == versionCharacteristicUUID()) {
            dfuVersionCharacteristic_ = characteristic;
        }
    }
    reportReady();
    startUpdate(peripheral);
}

void HalvoraSDKBraceletRM830DFU::peripheralDidWriteValueForDescriptor(
    const std::shared_ptr<Peripheral>& /*peripheral*/, const std::shared_ptr<Characteristic>& /*characteristic*/,
    const OptionalError& /*error*/) {
    reportReady();
}

// ------------------------------------------------------------------------------------ the update

void HalvoraSDKBraceletRM830DFU::startUpdate(const std::shared_ptr<Peripheral>& peripheral) {
    // Once per driver: a second discovery of the service does not start the update again.
    if (!dfuPacketCharacteristic_ || dfuOperations_) return;
    DFUOperations::Clock clock;
    if (auto executor = context().executor) clock = [executor] { return executor->now(); };
    std::weak_ptr<ApplicationDelegates> delegates = context().delegates;
    dfuOperations_ = std::make_unique<DFUOperations>(this, std::move(clock), [delegates] {
        auto application = delegates.lock();
        return application ? application->firmwareUpdateObserver() : nullptr;
    });
    const auto file = context().bundle().pathForResource(kFirmwareResourceName, kFirmwareResourceType);
    if (!file) {
        reportMissingImage();
        return;
    }
    dfuOperations_->onDeviceConnectedWithVersion(peripheral, dfuPacketCharacteristic_, dfuControlPointCharacteristic_,
                                                 dfuVersionCharacteristic_);
    dfuOperations_->performDFUOnFile(*file);
}

void HalvoraSDKBraceletRM830DFU::reportMissingImage() {
    const std::string text = std::string("Firmware image ") + kFirmwareResourceName + "." + kFirmwareResourceType +
                             " not found (looked in: " + folderList(context().bundle().searchFolders()) + ")";
    log().write(text);
    if (auto observer = firmwareUpdateObserver()) {
        FirmwareUpdateOutcome outcome;
        outcome.errorText = text;
        observer->firmwareUpdateFinished(outcome);
    }
}

std::shared_ptr<FirmwareUpdateObserver> HalvoraSDKBraceletRM830DFU::firmwareUpdateObserver() const {
    auto application = context().delegates.lock();
    return application ? application->firmwareUpdateObserver() : nullptr;
}

void HalvoraSDKBraceletRM830DFU::peripheralDidUpdateValueForCharacteristic(
    const std::shared_ptr<Peripheral>& /*peripheral*/, const std::shared_ptr<Characteristic>& characteristic,
    const std::vector<std::uint8_t>& value, const OptionalError& error) {
    if (isReleased()) return;
    const bool fromVersion = characteristic && characteristic->uuid() == versionCharacteristicUUID();
    if (error) {
        if (fromVersion) {
            log().writef(kVersionErrorFormat, error->description.c_str());
            if (dfuOperations_) dfuOperations_->onReadDfuVersion(kUnreadableVersion);
        } else {
            log().writef(kNotificationErrorFormat, error->description.c_str());
        }
        return;
    }
    if (!dfuOperations_) return;
    if (fromVersion) {
        // A version read that came back empty carries no version: nothing to act on.
        if (!value.empty()) dfuOperations_->onReadDfuVersion(value[0]);
        return;
    }
    dfuOperations_->processDFUResponse(value);
}

// ------------------------------------------------------------------------------------ engine reports (all empty)

void HalvoraSDKBraceletRM830DFU::onDeviceConnectedWithVersion(const std::shared_ptr<Peripheral>& /*peripheral*/) {}
void HalvoraSDKBraceletRM830DFU::onReadDFUVersion(int /*version*/) {}
void HalvoraSDKBraceletRM830DFU::onDFUStarted() {}
void HalvoraSDKBraceletRM830DFU::onTransferPercentage(int /*percentage*/) {}
void HalvoraSDKBraceletRM830DFU::onBootloaderUploadCompleted() {}
void HalvoraSDKBraceletRM830DFU::onSuccessfulFileTranferred() {}
void HalvoraSDKBraceletRM830DFU::onDFUCancelled() {}
void HalvoraSDKBraceletRM830DFU::onDeviceDisconnected(const std::shared_ptr<Peripheral>& /*peripheral*/) {}
void HalvoraSDKBraceletRM830DFU::onError(const std::string& /*message*/) {}
void HalvoraSDKBraceletRM830DFU::onDeviceConnected(const std::shared_ptr<Peripheral>& /*peripheral*/) {}
void HalvoraSDKBraceletRM830DFU::onSoftDeviceUploadStarted() {}
void HalvoraSDKBraceletRM830DFU::onBootloaderUploadStarted() {}
void HalvoraSDKBraceletRM830DFU::onSoftDeviceUploadCompleted() {}

}  // namespace halvora
