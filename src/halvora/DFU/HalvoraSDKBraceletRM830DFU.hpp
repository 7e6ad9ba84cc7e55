#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "halvora/Core/BLEDevice.hpp"
#include "halvora/DFU/DFUOperations.hpp"
#include "halvora/DFU/DFUOperationsDelegate.hpp"

namespace halvora {

class FirmwareUpdateObserver;

/// The RM830 bracelet in firmware-update mode (device kind 8): its bootloader, advertising as "DfuTarg",
/// which the RM830 driver switches the bracelet to when its firmware is older than the kit's. The driver
/// loads the kit's firmware image and runs the update engine (DFUOperations) on it; the update runs silently:
/// every DFUOperationsDelegate callback is empty here, so the application learns of it only through the
/// connection events the manager reports (and, when it set one, through its FirmwareUpdateObserver).
///
/// Connection: `didConnect` reports deviceConnected and discovers all services; the update service
/// (00001530-...) is asked for all its characteristics; the control point (00001531-..., write with
/// response and notify), packet (00001532-..., write without response) and version (00001534-..., read)
/// characteristics found are kept and deviceReady is reported (and again when a notification descriptor
/// write completes). Then, once per driver and only when a packet characteristic was found: the engine is
/// made with this driver as its delegate, the resource "J055_07_V638_20190122" of type "hex" is looked up in
/// the context's bundle, and when it exists the engine is given the peripheral and characteristics and runs
/// `performDFUOnFile` on it. Without a packet characteristic or without the file nothing more is written
/// and the bootloader stays connected and idle; a missing file is reported to the observer as a failure
/// ("Firmware image J055_07_V638_20190122.hex not found (looked in: <folders>)") and logged.
///
/// Notifications: a value of the version characteristic gives the engine its first byte (`onReadDfuVersion`;
/// an empty value is ignored); any other value goes to the engine's `processDFUResponse`. An event with an
/// error is logged as "Error on BLE Notification\n Message: <error>" and goes nowhere else; for the version
/// characteristic the longer text asking to enable the Service Changed indication is logged and the engine
/// gets version 0 (which resets the bootloader).
///
/// The end of the link (`linkEnded`, `didDisconnect`, `deinit`) tells the engine: an update still running ends
/// (the observer hears that the link was lost, unless the update already reported its outcome; after the
/// bootloader activates the new image it drops the link, which is expected) and the process's update slot is
/// given back.
///
/// Threads: everything the driver holds is touched on its callback queue ("halvora.cb"), where its
/// peripheral's events arrive; `deinit` must be called there too. Times come from the context's executor.
/// Drivers must be owned by a std::shared_ptr.
class HalvoraSDKBraceletRM830DFU : public BLEDevice, public DFUOperationsDelegate {
public:
    /// The update service.
    static constexpr const char* kServiceUUIDText = "00001530-1212-EFDE-1523-785FEABCD123";
    /// The control point: requests written with response, responses notified.
    static constexpr const char* kControlPointUUIDText = "00001531-1212-EFDE-1523-785FEABCD123";
    /// The packet characteristic: sizes and image written without response.
    static constexpr const char* kPacketUUIDText = "00001532-1212-EFDE-1523-785FEABCD123";
    /// The version characteristic (read).
    static constexpr const char* kVersionUUIDText = "00001534-1212-EFDE-1523-785FEABCD123";
    /// The firmware image's resource name.
    static constexpr const char* kFirmwareResourceName = "J055_07_V638_20190122";
    /// The firmware image's resource type.
    static constexpr const char* kFirmwareResourceType = "hex";

    /// "DfuTarg".
    static std::string getName() { return "DfuTarg"; }
    /// The update service.
    static BLEUUID rsServiceUUID() { return BLEUUID(kServiceUUIDText); }
    /// The control point.
    static BLEUUID readCharacteristicUUID() { return BLEUUID(kControlPointUUIDText); }
    /// The packet characteristic.
    static BLEUUID sendCharacteristicUUID() { return BLEUUID(kPacketUUIDText); }
    /// The version characteristic.
    static BLEUUID versionCharacteristicUUID() { return BLEUUID(kVersionUUIDText); }
    /// True when the peripheral has a name whose upper-case form contains "DFU".
    static bool matchDevice(const std::shared_ptr<Peripheral>& peripheral);

    /// A driver using the context's executor (clock), log, bundle and delegates (the update observer).
    explicit HalvoraSDKBraceletRM830DFU(DriverContext context = {});
    ~HalvoraSDKBraceletRM830DFU() override;

    DeviceKind getType() const override { return DeviceTypeBraceletRM830DFU; }
    std::string className() const override { return "HalvoraSDKBraceletRM830DFU"; }
    /// Ends an update still running (see the class comment).
    void deinit() override;
    /// Ends an update still running (see the class comment).
    void linkEnded() override;
    /// Bluetooth went off: reports deviceDisconnected, lets the peripheral go and ends an update still running.
    void didDisconnect() override;

    /// Writes bytes to the packet characteristic in 20-byte pieces (nothing before it is discovered).
    void writeRawData(const std::vector<std::uint8_t>& data);

    /// The update service, once discovered.
    const std::shared_ptr<Service>& rs232Service() const { return rs232Service_; }
    /// The packet characteristic, once discovered.
    const std::shared_ptr<Characteristic>& dfuPacketCharacteristic() const { return dfuPacketCharacteristic_; }
    /// The control point, once discovered.
    const std::shared_ptr<Characteristic>& dfuControlPointCharacteristic() const {
        return dfuControlPointCharacteristic_;
    }
    /// The version characteristic, once discovered.
    const std::shared_ptr<Characteristic>& dfuVersionCharacteristic() const { return dfuVersionCharacteristic_; }
    /// The engine, once the update service's characteristics are known (and a packet characteristic was found).
    const DFUOperations* dfuOperations() const { return dfuOperations_.get(); }

    // Peripheral events.

    /// Asks the update service for all its characteristics; an event with an error is ignored.
    void peripheralDidDiscoverServices(const std::shared_ptr<Peripheral>& peripheral,
                                       const OptionalError& error) override;
    /// Keeps the characteristics, reports ready and starts the update (see the class comment); an event with
    /// an error is ignored.
    void peripheralDidDiscoverCharacteristicsForService(const std::shared_ptr<Peripheral>& peripheral,
                                                        const std::shared_ptr<Service>& service,
                                                        const OptionalError& error) override;
    /// Reports ready again.
    void peripheralDidWriteValueForDescriptor(const std::shared_ptr<Peripheral>& peripheral,
                                              const std::shared_ptr<Characteristic>& characteristic,
                                              const OptionalError& error) override;
    /// Hands the value to the engine (see the class comment).
    void peripheralDidUpdateValueForCharacteristic(const std::shared_ptr<Peripheral>& peripheral,
                                                   const std::shared_ptr<Characteristic>& characteristic,
                                                   const std::vector<std::uint8_t>& value,
                                                   const OptionalError& error) override;

    // DFUOperationsDelegate: every callback stays empty (the update runs silently).

    void onDeviceConnectedWithVersion(const std::shared_ptr<Peripheral>& peripheral) override;
    void onReadDFUVersion(int version) override;
    void onDFUStarted() override;
    void onTransferPercentage(int percentage) override;
    void onBootloaderUploadCompleted() override;
    void onSuccessfulFileTranferred() override;
    void onDFUCancelled() override;
    void onDeviceDisconnected(const std::shared_ptr<Peripheral>& peripheral) override;
    void onError(const std::string& message) override;
    void onDeviceConnected(const std::shared_ptr<Peripheral>& peripheral) override;
    void onSoftDeviceUploadStarted() override;
    void onBootloaderUploadStarted() override;
    void onSoftDeviceUploadCompleted() override;

private:
    void startUpdate(const std::shared_ptr<Peripheral>& peripheral);
    void reportMissingImage();
    void endUpdate();
    std::shared_ptr<FirmwareUpdateObserver> firmwareUpdateObserver() const;

    std::unique_ptr<DFUOperations> dfuOperations_;
    std::shared_ptr<Service> rs232Service_;
    std::shared_ptr<Characteristic> dfuPacketCharacteristic_;
    std::shared_ptr<Characteristic> dfuControlPointCharacteristic_;
    std::shared_ptr<Characteristic> dfuVersionCharacteristic_;
};

}  // namespace halvora
