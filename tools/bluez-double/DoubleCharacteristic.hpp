#pragma once

#include <sdbus-c++/sdbus-c++.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "Emit.hpp"
#include "halvora/Transport/BLEError.hpp"
#include "halvora/Transport/BLEUUID.hpp"
#include "halvora/Transport/Characteristic.hpp"

namespace halvora::bluezdouble {

class DoubleDevice;

/// One org.bluez.GattCharacteristic1 object (with its client configuration descriptor when it notifies or
/// indicates), as bluetoothd 5.66 serves it: ReadValue, WriteValue (type "request" or "command"),
/// StartNotify and StopNotify go to the lab's characteristic of the current link; a second operation of
/// a kind still in flight is refused with org.bluez.Error.InProgress; every value the device sends (and
/// every value read) changes Value, with a PropertiesChanged each time even when it repeats. The object
/// outlives links (bluetoothd keeps the GATT database); the lab characteristic it stands for changes with
/// each link. A write that does not name its type is refused: the kit always names it; a write without
/// response longer than MTU - 3 fails ("Failed to initiate write").
///
/// Notify sessions belong to D-Bus senders (one per sender) and outlive the link: Notifying stays true
/// across a disconnect, and at the next link the device re-enables delivery by itself (reenable()) before
/// ServicesResolved. StopNotify ends the sender's session, linked or not, and so does the sender leaving the
/// bus. Bus thread only.
class DoubleCharacteristic {
public:
    DoubleCharacteristic(DoubleDevice& device, std::string path, std::string descriptorPath, std::string servicePath,
                         BLEUUID serviceUUID, BLEUUID uuid, std::uint8_t properties);
    ~DoubleCharacteristic();
    DoubleCharacteristic(const DoubleCharacteristic&) = delete;
    DoubleCharacteristic& operator=(const DoubleCharacteristic&) = delete;

    const std::string& path() const { return path_; }
    const BLEUUID& serviceUUID() const { return serviceUUID_; }
    const BLEUUID& uuid() const { return uuid_; }

    /// Registers the objects on the bus and announces them.
    void publish(sdbus::IConnection& connection, sdbus::IObject& root);
    /// Announces their removal and unregisters them.
    void withdraw(sdbus::IObject& root);
    /// The lab characteristic of the current link (null between links).
    void bind(std::shared_ptr<Characteristic> characteristic) { lab_ = std::move(characteristic); }
    bool standsFor(const std::shared_ptr<Characteristic>& characteristic) const {
        return lab_ && lab_ == characteristic;
    }
    /// The link ended: pending operations fail; notify sessions stay.
    void linkEnded();
    /// A new link is up and bound: delivery is switched on again for the sessions that are still open.
    void reenable();
    /// Ends the notify session of `sender` (StopNotify, or the sender left the bus); false without one.
    bool endSession(const std::string& sender);
    bool isPublished() const { return object_ != nullptr; }

    // ---- answers from the lab
    void labValue(const std::vector<std::uint8_t>& value, const OptionalError& error);
    void labWriteAnswered(const OptionalError& error);
    void labNotifyAnswered(const OptionalError& error);

    /// Garbage mode: PropertiesChanged with values of the wrong types.
    void emitGarbage();

private:
    using ReadAnswer = std::function<void(const std::vector<std::uint8_t>* value, const sdbus::Error* error)>;
    using Answer = std::function<void(const sdbus::Error* error)>;

    void registerMethods();
    void registerProperties();
    std::vector<std::string> flags() const;
    Properties properties() const;
    /// Checks shared by every operation; throws the error bluetoothd would answer.
    void requireLink() const;
    void startRead(ReadAnswer answer);
    void writeValue(std::shared_ptr<sdbus::Result<>> result, const std::vector<std::uint8_t>& value,
                    const Properties& options);
    void startNotify(std::shared_ptr<sdbus::Result<>> result, const std::string& sender);
    void stopNotify(std::shared_ptr<sdbus::Result<>> result, const std::string& sender);
    std::string currentSender() const;
    void setValue(const std::vector<std::uint8_t>& value);
    void setNotifying(bool notifying);
    void publishDescriptor(sdbus::IConnection& connection, sdbus::IObject& root);
    bool hasDescriptor() const;

    DoubleDevice& device_;
    const std::string path_;
    const std::string servicePath_;
    const std::string descriptorPath_;
    const BLEUUID serviceUUID_;
    const BLEUUID uuid_;
    const std::uint8_t properties_;

    std::unique_ptr<sdbus::IObject> object_;
    std::unique_ptr<sdbus::IObject> descriptor_;
    std::shared_ptr<Characteristic> lab_;
    std::vector<std::uint8_t> value_;
    bool notifying_ = false;
    std::set<std::string> sessions_;  // senders with a notify session
    std::string pendingSender_;
    ReadAnswer pendingRead_;
    Answer pendingWrite_;
    Answer pendingNotify_;
    bool pendingNotifyOn_ = false;
};

}  // namespace halvora::bluezdouble
