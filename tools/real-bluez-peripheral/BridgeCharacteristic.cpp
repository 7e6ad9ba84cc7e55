#include "BridgeCharacteristic.hpp"

#include "GattNames.hpp"
#include "halvora/Transport/BlueZ/internal/BusLoop.hpp"
#include "halvora/Transport/TransportTypes.hpp"

namespace halvora::realbluez {

namespace {

/// The longest attribute value ATT allows; bluetoothd never sends more, anything longer is refused.
constexpr std::size_t kMaxAttributeValue = 512;

sdbus::Error failed(const BLEError& error) {
    return sdbus::Error("org.bluez.Error.Failed", error.description);
}

std::uint16_t offsetOf(const std::map<std::string, sdbus::Variant>& options) {
    auto found = options.find("offset");
    if (found == options.end() || !found->second.containsValueOfType<std::uint16_t>()) return 0;
    return found->second.get<std::uint16_t>();
}

/// Runs `work` on the bus thread unless the object behind `alive` is gone by then (the lab answers on
/// its own threads, and the objects go with the bus connection).
void postWhileAlive(bluez::BusLoop& loop, std::weak_ptr<int> alive, Task work) {
    loop.post([alive = std::move(alive), work = std::move(work)] {
        if (!alive.expired()) work();
    });
}

WriteType writeTypeOf(const std::map<std::string, sdbus::Variant>& options) {
    auto found = options.find("type");
    if (found != options.end() && found->second.containsValueOfType<std::string>() &&
        found->second.get<std::string>() == "command")
        return WriteType::WithoutResponse;
    return WriteType::WithResponse;
}

}  // namespace

BridgeCharacteristic::BridgeCharacteristic(std::string path, std::string servicePath, AttributeKey key,
                                           std::uint8_t properties, LabSession& session, bluez::BusLoop& loop)
    : path_(std::move(path)),
      servicePath_(std::move(servicePath)),
      key_(std::move(key)),
      properties_(properties),
      session_(session),
      loop_(loop) {}

std::vector<std::string> BridgeCharacteristic::flags() const {
    std::vector<std::string> flags;
    if (properties_ & CharacteristicPropertyRead) flags.emplace_back("read");
    if (properties_ & CharacteristicPropertyWriteWithoutResponse) flags.emplace_back("write-without-response");
    if (properties_ & CharacteristicPropertyWrite) flags.emplace_back("write");
    if (properties_ & CharacteristicPropertyNotify) flags.emplace_back("notify");
    if (properties_ & CharacteristicPropertyIndicate) flags.emplace_back("indicate");
    return flags;
}

void BridgeCharacteristic::publish(sdbus::IConnection& connection) {
    object_ = sdbus::createObject(connection, path_);
    object_->registerProperty("UUID").onInterface(kGattCharacteristicInterface).withGetter([this] {
        return busUUID(key_.second);
    });
    object_->registerProperty("Service").onInterface(kGattCharacteristicInterface).withGetter([this] {
        return sdbus::ObjectPath(servicePath_);
    });
    object_->registerProperty("Flags").onInterface(kGattCharacteristicInterface).withGetter([this] { return flags(); });
    object_->registerProperty("Value").onInterface(kGattCharacteristicInterface).withGetter([this] { return value_; });
    object_->registerProperty("Notifying").onInterface(kGattCharacteristicInterface).withGetter([this] {
        return notifying_;
    });
    object_->registerMethod("ReadValue")
        .onInterface(kGattCharacteristicInterface)
        .implementedAs([this](sdbus::Result<std::vector<std::uint8_t>>&& result, Options options) {
            readValue(std::make_shared<sdbus::Result<std::vector<std::uint8_t>>>(std::move(result)), options);
        });
    object_->registerMethod("WriteValue")
        .onInterface(kGattCharacteristicInterface)
        .implementedAs([this](sdbus::Result<>&& result, std::vector<std::uint8_t> value, Options options) {
            writeValue(std::make_shared<sdbus::Result<>>(std::move(result)), value, options);
        });
    object_->registerMethod("StartNotify")
        .onInterface(kGattCharacteristicInterface)
        .implementedAs([this](sdbus::Result<>&& result) {
            switchNotify(std::make_shared<sdbus::Result<>>(std::move(result)), true);
        });
    object_->registerMethod("StopNotify")
        .onInterface(kGattCharacteristicInterface)
        .implementedAs([this](sdbus::Result<>&& result) {
            switchNotify(std::make_shared<sdbus::Result<>>(std::move(result)), false);
        });
    object_->finishRegistration();
}

void BridgeCharacteristic::notified(const std::vector<std::uint8_t>& value) {
    value_ = value;
    if (object_) object_->emitPropertiesChangedSignal(kGattCharacteristicInterface, {"Value"});
}

void BridgeCharacteristic::readValue(std::shared_ptr<sdbus::Result<std::vector<std::uint8_t>>> result,
                                     const Options& options) {
    const std::uint16_t offset = offsetOf(options);
    session_.read(key_, [this, loop = &loop_, alive = std::weak_ptr<int>(lifetime_), result, offset](
                            const std::vector<std::uint8_t>& value, const OptionalError& error) {
        postWhileAlive(*loop, alive, [this, result, offset, value, error] {
            if (error) return result->returnError(failed(*error));
            if (offset > value.size())
                return result->returnError(sdbus::Error("org.bluez.Error.InvalidOffset", "Invalid offset"));
            value_ = value;
            result->returnResults(std::vector<std::uint8_t>(value.begin() + offset, value.end()));
        });
    });
}

void BridgeCharacteristic::writeValue(std::shared_ptr<sdbus::Result<>> result, const std::vector<std::uint8_t>& value,
                                      const Options& options) {
    if (offsetOf(options) != 0)
        return result->returnError(sdbus::Error("org.bluez.Error.NotSupported", "Offset writes are not supported"));
    if (value.size() > kMaxAttributeValue)
        return result->returnError(sdbus::Error("org.bluez.Error.InvalidValueLength", "Invalid value length"));
    session_.write(key_, value, writeTypeOf(options),
                   [loop = &loop_, alive = std::weak_ptr<int>(lifetime_), result](const OptionalError& error) {
                       postWhileAlive(*loop, alive, [result, error] {
                           error ? result->returnError(failed(*error)) : result->returnResults();
                       });
                   });
}

void BridgeCharacteristic::switchNotify(std::shared_ptr<sdbus::Result<>> result, bool enabled) {
    session_.setNotify(
        key_, enabled,
        [this, loop = &loop_, alive = std::weak_ptr<int>(lifetime_), result, enabled](const OptionalError& error) {
            postWhileAlive(*loop, alive, [this, result, enabled, error] {
                if (error) return result->returnError(failed(*error));
                notifying_ = enabled;
                if (object_) object_->emitPropertiesChangedSignal(kGattCharacteristicInterface, {"Notifying"});
                result->returnResults();
            });
        });
}

}  // namespace halvora::realbluez
