#pragma once

// The update engine under test: a peripheral double playing the bootloader (its update service with control
// point, packet and version characteristics) that keeps every request in order as text, a recording
// delegate, a recording observer, a virtual clock and a folder for firmware files. Control-point writes read
// "CP 01 04"; packet writes "PK 00 00 ..." (sizes), or "PK 20B" once 03 was written (image packets, whose
// bytes are kept); "notify CP" and "read VER" are the other requests.
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "DFU/HexRecords.hpp"
#include "halvora/DFU/DFUOperations.hpp"
#include "halvora/DFU/FirmwareUpdateObserver.hpp"
#include "halvora/DFU/HalvoraSDKBraceletRM830DFU.hpp"
#include "halvora/Runtime/VirtualExecutor.hpp"
#include "support/FakePeripheral.hpp"
#include "support/Hex.hpp"
#include "support/TempDir.hpp"

namespace halvora::test {

using Driver = HalvoraSDKBraceletRM830DFU;

/// A FakePeripheral that also keeps its requests in one ordered list, as text.
class BootloaderPeripheral : public FakePeripheral {
public:
    explicit BootloaderPeripheral(std::string name = "DfuTarg", bool withPacket = true)
        : FakePeripheral("0DF00000-0000-4000-8000-000000000008", std::move(name)) {
        std::vector<std::pair<BLEUUID, std::uint8_t>> characteristics = {
            {Driver::readCharacteristicUUID(), CharacteristicPropertyWrite | CharacteristicPropertyNotify},
            {Driver::versionCharacteristicUUID(), CharacteristicPropertyRead}};
        if (withPacket)
            characteristics.push_back({Driver::sendCharacteristicUUID(), CharacteristicPropertyWriteWithoutResponse});
        addService(Driver::rsServiceUUID(), characteristics);
    }
    void writeValue(const std::vector<std::uint8_t>& value, const std::shared_ptr<Characteristic>& c,
                    WriteType type) override {
        FakePeripheral::writeValue(value, c, type);
        const bool controlPoint = c->uuid() == Driver::readCharacteristicUUID();
        if (controlPoint != (type == WriteType::WithResponse)) requests.push_back("wrong write type");
        if (controlPoint && value == std::vector<std::uint8_t>{0x03}) receiving = true;
        if (!controlPoint && receiving) {
            requests.push_back("PK " + std::to_string(value.size()) + "B");
            image.insert(image.end(), value.begin(), value.end());
        } else {
            requests.push_back((controlPoint ? "CP " : "PK ") + hex(value));
        }
    }
    void setNotifyValue(bool enabled, const std::shared_ptr<Characteristic>& c) override {
        FakePeripheral::setNotifyValue(enabled, c);
        requests.push_back(c->uuid() == Driver::readCharacteristicUUID() ? "notify CP" : "notify ?");
    }
    void readValue(const std::shared_ptr<Characteristic>& c) override {
        FakePeripheral::readValue(c);
        requests.push_back(c->uuid() == Driver::versionCharacteristicUUID() ? "read VER" : "read ?");
    }
    /// The requests since the last call.
    std::vector<std::string> take() { return std::exchange(requests, {}); }

    std::vector<std::string> requests;
    std::vector<std::uint8_t> image;  ///< the image packets' bytes, in order
    bool receiving = false;           ///< 03 was written: packets are image data
};

/// The engine's reports as text: "version 8", "started", "percent 48", "success", "cancelled",
/// "disconnected", "error <message>".
class RecordingDFUDelegate : public DFUOperationsDelegate {
public:
    void onReadDFUVersion(int version) override { events.push_back("version " + std::to_string(version)); }
    void onDFUStarted() override { events.push_back("started"); }
    void onTransferPercentage(int percentage) override { percentages.push_back(percentage); }
    void onSuccessfulFileTranferred() override { events.push_back("success"); }
    void onDFUCancelled() override { events.push_back("cancelled"); }
    void onDeviceDisconnected(const std::shared_ptr<Peripheral>&) override { events.push_back("disconnected"); }
    void onError(const std::string& message) override { events.push_back("error " + message); }
    std::vector<std::string> events;
    std::vector<int> percentages;
};

/// The observer's reports as text: "Uploading 200/495 40%", "ok 7s", "failed <text>".
class RecordingObserver : public FirmwareUpdateObserver {
public:
    void firmwareUpdateProgress(const FirmwareUpdateProgress& p) override {
        static const char* const names[] = {"Preparing", "Uploading", "Validating", "Activating"};
        events.push_back(std::string(names[static_cast<int>(p.phase)]) + " " + std::to_string(p.bytesSent) + "/" +
                         std::to_string(p.totalBytes) + " " + std::to_string(p.percent) + "%");
    }
    void firmwareUpdateFinished(const FirmwareUpdateOutcome& o) override {
        events.push_back(o.succeeded ? "ok " + std::to_string(o.uploadTimeInSeconds) + "s" : "failed " + o.errorText);
    }
    std::vector<std::string> events;
};

/// An engine on a bootloader, with `imageSize` bytes of image in a HEX file.
class EngineRig {
public:
    explicit EngineRig(std::size_t imageSize = 255, bool withObserver = true) : image(pattern(imageSize, 7)) {
        writeFile(imageText(image));
        engine = std::make_unique<DFUOperations>(
            &delegate, [e = executor] { return e->now(); },
            [this, withObserver] { return withObserver ? observer : nullptr; });
        engine->onDeviceConnectedWithVersion(peripheral, peripheral->characteristic(Driver::sendCharacteristicUUID()),
                                             peripheral->characteristic(Driver::readCharacteristicUUID()),
                                             peripheral->characteristic(Driver::versionCharacteristicUUID()));
    }
    void writeFile(const std::string& text) { std::ofstream(file, std::ios::binary) << text; }
    /// performDFUOnFile, returning the requests it made.
    std::vector<std::string> start() {
        engine->performDFUOnFile(file);
        return peripheral->take();
    }
    /// A control-point notification, returning the requests it set off.
    std::vector<std::string> play(const std::string& notification) {
        engine->processDFUResponse(bytes(notification));
        return peripheral->take();
    }

    TempDir folder;
    std::filesystem::path file = folder.file("image.hex");
    std::vector<std::uint8_t> image;
    std::shared_ptr<VirtualExecutor> executor = VirtualExecutor::create();
    std::shared_ptr<BootloaderPeripheral> peripheral = std::make_shared<BootloaderPeripheral>();
    RecordingDFUDelegate delegate;
    std::shared_ptr<RecordingObserver> observer = std::make_shared<RecordingObserver>();
    std::unique_ptr<DFUOperations> engine;
};

/// `n` image packets of 20 bytes, as the rig writes them.
inline std::vector<std::string> packets(std::size_t n, std::vector<std::string> then = {}) {
    std::vector<std::string> out(n, "PK 20B");
    out.insert(out.end(), then.begin(), then.end());
    return out;
}

}  // namespace halvora::test
