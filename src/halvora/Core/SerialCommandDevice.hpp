#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "halvora/Core/BLEDevice.hpp"
#include "halvora/Core/Date.hpp"
#include "halvora/Runtime/CommandQueue.hpp"

namespace halvora {

class PreferenceUtils;

/// The shape the bracelets share: one protocol service with a notify characteristic (the device's answers,
/// "read") and a write characteristic (the phone's commands, "send"), and one request outstanding at a time
/// through a CommandQueue whose items run on the driver's callback queue.
///
/// Discovery: the service's two characteristics are asked for; when they are found they are kept,
/// notifications are switched on for the read one, and the subclass's characteristicsReady() runs (it
/// reports ready and starts the device's opening). A descriptor write reports ready again. Events with an
/// error are ignored.
///
/// Threads: everything is touched on the callback queue ("halvora.cb"); a driver made without one makes its
/// own queue with the label its family gives. Drivers must be owned by a std::shared_ptr.
class SerialCommandDevice : public BLEDevice {
public:
    /// How a family's device is laid out.
    struct Profile {
        BLEUUID service;                      ///< the protocol service
        BLEUUID read;                         ///< its notify characteristic
        BLEUUID send;                         ///< its write characteristic
        std::vector<BLEUUID> discoveryOrder;  ///< the characteristics asked for, in the family's order
        const char* ownQueueLabel = "";       ///< the queue a driver made without a callback queue makes
    };

    ~SerialCommandDevice() override;

    /// Lets every waiting command run and stops all later waiting (the driver is going away).
    void deinit() override;

    /// The protocol service, once discovered.
    std::shared_ptr<Service> rs232Service() const { return rs232Service_; }
    /// The notify characteristic.
    std::shared_ptr<Characteristic> readCharacteristic() const { return readCharacteristic_; }
    /// The write characteristic.
    std::shared_ptr<Characteristic> sendCharacteristic() const { return sendCharacteristic_; }
    /// The command queue. Call its inspectors on the callback queue.
    const CommandQueue& commandQueue() const { return *commands_; }
    /// Writes bytes to the write characteristic, cut into 20-byte pieces (nothing before it is discovered).
    void writeRawData(const std::vector<std::uint8_t>& data);

    /// Asks the protocol service for its characteristics; an event with an error is ignored.
    void peripheralDidDiscoverServices(const std::shared_ptr<Peripheral>& peripheral,
                                       const OptionalError& error) override;
    /// Keeps the characteristics, switches notifications on and runs characteristicsReady(); an event with an
    /// error is ignored.
    void peripheralDidDiscoverCharacteristicsForService(const std::shared_ptr<Peripheral>& peripheral,
                                                        const std::shared_ptr<Service>& service,
                                                        const OptionalError& error) override;
    /// Reports ready again.
    void peripheralDidWriteValueForDescriptor(const std::shared_ptr<Peripheral>& peripheral,
                                              const std::shared_ptr<Characteristic>& characteristic,
                                              const OptionalError& error) override;

protected:
    /// A driver of the given layout in the given context.
    SerialCommandDevice(DriverContext context, Profile profile);

    /// The characteristics were found (whatever was found): the family's ready report and opening.
    virtual void characteristicsReady(const std::shared_ptr<Peripheral>& peripheral) = 0;

    /// The command queue.
    CommandQueue& commands() { return *commands_; }
    /// The queue the driver's state lives on (null only for a driver made without an executor).
    const std::shared_ptr<SerialQueue>& queue() const { return queue_; }
    /// The context's preferences store, or the process-wide one.
    std::shared_ptr<PreferenceUtils> preferences() const;
    /// The executor's civil date (the epoch without an executor).
    Date now() const;

private:
    Profile profile_;
    std::shared_ptr<SerialQueue> queue_;
    std::unique_ptr<CommandQueue> commands_;
    std::shared_ptr<Service> rs232Service_;
    std::shared_ptr<Characteristic> readCharacteristic_;
    std::shared_ptr<Characteristic> sendCharacteristic_;
};

}  // namespace halvora
