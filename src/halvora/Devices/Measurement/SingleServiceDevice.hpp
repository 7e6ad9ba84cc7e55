#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "halvora/Core/BLEDevice.hpp"
#include "halvora/Core/Date.hpp"

namespace halvora {

/// What the thermometers, the pulse oximeter and the baby thermometer share: one protocol service with a
/// notifying characteristic (frames in) and a writable one (commands out), and the same connection steps.
///
/// On services discovered the service is kept and its characteristics are asked for; on characteristics
/// discovered the notifying one is kept and switched on, the writable one kept, and the driver's
/// characteristicsReady() runs (it reports ready, and some devices start measuring there); the descriptor
/// write reports ready again. Discovery events that carry an error stop there. Values of the notifying
/// characteristic go to parseFrame(); values of any other characteristic are dropped.
///
/// All of it runs on the callback queue ("halvora.cb"), as the peripheral's events do.
class SingleServiceDevice : public BLEDevice {
public:
    /// "cccc<text>-93d4-4c06-bcba-e719578f1408": the identifier pattern of the thermometers' maker.
    static std::string format(const std::string& text);

    /// The driver base's constructors.
    using BLEDevice::BLEDevice;

    /// Writes a command to the writable characteristic, in 20-byte pieces (dropped while there is none).
    void writeRawData(const std::vector<std::uint8_t>& data);

    /// The protocol service, once services are discovered; nothing before.
    std::shared_ptr<Service> rs232Service() const { return rs232Service_; }
    /// The notifying characteristic, once characteristics are discovered; nothing before.
    std::shared_ptr<Characteristic> readCharacteristic() const { return readCharacteristic_; }
    /// The writable characteristic, once characteristics are discovered; nothing before.
    std::shared_ptr<Characteristic> sendCharacteristic() const { return sendCharacteristic_; }

    /// Keeps the protocol service and asks for its characteristics; an error, or no such service, stops here.
    void peripheralDidDiscoverServices(const std::shared_ptr<Peripheral>& peripheral,
                                       const OptionalError& error) override;
    /// Keeps the two characteristics, switches notifications on (and reads the hardware revision string when
    /// readsHardwareRevision() says so), then runs characteristicsReady(); an error stops here.
    void peripheralDidDiscoverCharacteristicsForService(const std::shared_ptr<Peripheral>& peripheral,
                                                        const std::shared_ptr<Service>& service,
                                                        const OptionalError& error) override;
    /// The notification descriptor write ended: reports ready again, whatever its outcome.
    void peripheralDidWriteValueForDescriptor(const std::shared_ptr<Peripheral>& peripheral,
                                              const std::shared_ptr<Characteristic>& characteristic,
                                              const OptionalError& error) override;
    /// Hands a value of the notifying characteristic to parseFrame(); other values, and values with an error,
    /// are dropped.
    void peripheralDidUpdateValueForCharacteristic(const std::shared_ptr<Peripheral>& peripheral,
                                                   const std::shared_ptr<Characteristic>& characteristic,
                                                   const std::vector<std::uint8_t>& value,
                                                   const OptionalError& error) override;

protected:
    /// The device's protocol service and characteristics.
    virtual BLEUUID serviceUUID() const = 0;
    /// The characteristic the device notifies on.
    virtual BLEUUID readUUID() const = 0;
    /// The characteristic commands are written to.
    virtual BLEUUID sendUUID() const = 0;
    /// The characteristics asked for on the protocol service; empty asks for all of them.
    virtual std::vector<BLEUUID> characteristicsToDiscover() const { return {sendUUID(), readUUID()}; }
    /// Whether a hardware revision string (0x2A27) found among them is read.
    virtual bool readsHardwareRevision() const { return false; }
    /// Runs at the end of characteristic discovery; reports ready.
    virtual void characteristicsReady() { reportReady(); }
    /// Parses one value of the notifying characteristic.
    virtual void parseFrame(std::span<const std::uint8_t> frame) = 0;

    /// Civil now from the executor; the epoch for a driver made without one.
    Date now() const;
    /// The peripheral's name, or nothing for a peripheral without one (or no peripheral).
    static std::optional<std::string> peripheralName(const std::shared_ptr<Peripheral>& peripheral);
    /// Whether `name`, lower-cased, contains `fragment` lower-cased (ASCII letters).
    static bool containsIgnoringCase(const std::string& name, const std::string& fragment);

private:
    std::shared_ptr<Service> rs232Service_;
    std::shared_ptr<Characteristic> readCharacteristic_;
    std::shared_ptr<Characteristic> sendCharacteristic_;
};

}  // namespace halvora
