#include "DoubleCharacteristic.hpp"

#include <algorithm>
#include <cctype>

#include "BlueZDouble.hpp"
#include "DoubleDevice.hpp"
#include "halvora/Transport/TransportTypes.hpp"

namespace halvora::bluezdouble {

namespace {

constexpr const char* kClientConfigurationUUID = "00002902-0000-1000-8000-00805f9b34fb";
constexpr std::size_t kMaxAttributeValue = 512;
/// The ATT header of a Write Command: what is left of the MTU for the value is MTU - 3.
constexpr std::size_t kWriteCommandHeader = 3;

std::string lowerUUID(const BLEUUID& uuid) {
    std::string text = uuid.toLongString();
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
    return text;
}

sdbus::Error notConnected() {
    return bluezError("org.bluez.Error.Failed", "Not connected");
}
sdbus::Error inProgress() {
    return bluezError("org.bluez.Error.InProgress", "In Progress");
}
sdbus::Error notSupported() {
    return bluezError("org.bluez.Error.NotSupported", "Operation is not supported");
}
sdbus::Error failedWith(const BLEError& error) {
    return bluezError("org.bluez.Error.Failed", error.description);
}

}  // namespace

DoubleCharacteristic::DoubleCharacteristic(DoubleDevice& device, std::string path, std::string descriptorPath,
                                           std::string servicePath, BLEUUID serviceUUID, BLEUUID uuid,
                                           std::uint8_t properties)
    : device_(device),
      path_(std::move(path)),
      servicePath_(std::move(servicePath)),
      descriptorPath_(std::move(descriptorPath)),
      serviceUUID_(serviceUUID),
      uuid_(uuid),
      properties_(properties) {}

DoubleCharacteristic::~DoubleCharacteristic() = default;

std::vector<std::string> DoubleCharacteristic::flags() const {
    std::vector<std::string> flags;
    if (properties_ & CharacteristicPropertyBroadcast) flags.emplace_back("broadcast");
    if (properties_ & CharacteristicPropertyRead) flags.emplace_back("read");
    if (properties_ & CharacteristicPropertyWriteWithoutResponse) flags.emplace_back("write-without-response");
    if (properties_ & CharacteristicPropertyWrite) flags.emplace_back("write");
    if (properties_ & CharacteristicPropertyNotify) flags.emplace_back("notify");
    if (properties_ & CharacteristicPropertyIndicate) flags.emplace_back("indicate");
    return flags;
}

bool DoubleCharacteristic::hasDescriptor() const {
    return (properties_ & (CharacteristicPropertyNotify | CharacteristicPropertyIndicate)) != 0;
}

Properties DoubleCharacteristic::properties() const {
    return {{"UUID", sdbus::Variant(lowerUUID(uuid_))}, {"Service", sdbus::Variant(sdbus::ObjectPath(servicePath_))},
            {"Value", sdbus::Variant(value_)},          {"Notifying", sdbus::Variant(notifying_)},
            {"Flags", sdbus::Variant(flags())},         {"MTU", sdbus::Variant(device_.owner().options().mtu)}};
}

// ---------------------------------------------------------------- publishing

void DoubleCharacteristic::publish(sdbus::IConnection& connection, sdbus::IObject& root) {
    if (object_) return;
    object_ = sdbus::createObject(connection, path_);
    registerProperties();
    registerMethods();
    object_->finishRegistration();
    emitInterfacesAdded(root, path_, {{kGattCharacteristicInterface, properties()}});
    if (hasDescriptor()) publishDescriptor(connection, root);
}

void DoubleCharacteristic::registerProperties() {
    object_->registerProperty("UUID").onInterface(kGattCharacteristicInterface).withGetter([this] {
        return lowerUUID(uuid_);
    });
    object_->registerProperty("Service").onInterface(kGattCharacteristicInterface).withGetter([this] {
        return sdbus::ObjectPath(servicePath_);
    });
    object_->registerProperty("Value").onInterface(kGattCharacteristicInterface).withGetter([this] { return value_; });
    object_->registerProperty("Notifying").onInterface(kGattCharacteristicInterface).withGetter([this] {
        return notifying_;
    });
    object_->registerProperty("Flags").onInterface(kGattCharacteristicInterface).withGetter([this] { return flags(); });
    object_->registerProperty("MTU").onInterface(kGattCharacteristicInterface).withGetter([this] {
        return device_.owner().options().mtu;
    });
}

void DoubleCharacteristic::registerMethods() {
    if (device_.owner().options().garbage) {
        // A read answered with text instead of bytes.
        object_->registerMethod("ReadValue")
            .onInterface(kGattCharacteristicInterface)
            .implementedAs([this](sdbus::Result<std::string>&& result, Properties /*options*/) {
                auto shared = std::make_shared<sdbus::Result<std::string>>(std::move(result));
                startRead([shared](const std::vector<std::uint8_t>* value, const sdbus::Error* error) {
                    if (error) return shared->returnError(*error);
                    shared->returnResults("garbage of " + std::to_string(value->size()) + " bytes");
                });
            });
    } else {
        object_->registerMethod("ReadValue")
            .onInterface(kGattCharacteristicInterface)
            .implementedAs([this](sdbus::Result<std::vector<std::uint8_t>>&& result, Properties /*options*/) {
                auto shared = std::make_shared<sdbus::Result<std::vector<std::uint8_t>>>(std::move(result));
                startRead([shared](const std::vector<std::uint8_t>* value, const sdbus::Error* error) {
                    if (error) return shared->returnError(*error);
                    shared->returnResults(*value);
                });
            });
    }
    object_->registerMethod("WriteValue")
        .onInterface(kGattCharacteristicInterface)
        .implementedAs([this](sdbus::Result<>&& result, std::vector<std::uint8_t> value, Properties options) {
            writeValue(std::make_shared<sdbus::Result<>>(std::move(result)), value, options);
        });
    object_->registerMethod("StartNotify")
        .onInterface(kGattCharacteristicInterface)
        .implementedAs([this](sdbus::Result<>&& result) {
            startNotify(std::make_shared<sdbus::Result<>>(std::move(result)), currentSender());
        });
    object_->registerMethod("StopNotify")
        .onInterface(kGattCharacteristicInterface)
        .implementedAs([this](sdbus::Result<>&& result) {
            stopNotify(std::make_shared<sdbus::Result<>>(std::move(result)), currentSender());
        });
}

void DoubleCharacteristic::publishDescriptor(sdbus::IConnection& connection, sdbus::IObject& root) {
    descriptor_ = sdbus::createObject(connection, descriptorPath_);
    descriptor_->registerProperty("UUID").onInterface(kGattDescriptorInterface).withGetter([] {
        return std::string(kClientConfigurationUUID);
    });
    descriptor_->registerProperty("Characteristic").onInterface(kGattDescriptorInterface).withGetter([this] {
        return sdbus::ObjectPath(path_);
    });
    descriptor_->registerProperty("Value").onInterface(kGattDescriptorInterface).withGetter([this] {
        return std::vector<std::uint8_t>{static_cast<std::uint8_t>(notifying_ ? 1 : 0), 0};
    });
    descriptor_->registerMethod("ReadValue").onInterface(kGattDescriptorInterface).implementedAs([this](Properties) {
        return std::vector<std::uint8_t>{static_cast<std::uint8_t>(notifying_ ? 1 : 0), 0};
    });
    descriptor_->registerMethod("WriteValue")
        .onInterface(kGattDescriptorInterface)
        .implementedAs([](std::vector<std::uint8_t>, Properties) {
            throw bluezError("org.bluez.Error.NotPermitted", "Write not permitted");
        });
    descriptor_->finishRegistration();
    emitInterfacesAdded(root, descriptorPath_,
                        {{kGattDescriptorInterface,
                          {{"UUID", sdbus::Variant(std::string(kClientConfigurationUUID))},
                           {"Characteristic", sdbus::Variant(sdbus::ObjectPath(path_))},
                           {"Value", sdbus::Variant(std::vector<std::uint8_t>{0, 0})}}}});
}

void DoubleCharacteristic::withdraw(sdbus::IObject& root) {
    linkEnded();
    if (descriptor_) {
        emitInterfacesRemoved(root, descriptorPath_, {kGattDescriptorInterface});
        descriptor_.reset();
    }
    if (object_) {
        emitInterfacesRemoved(root, path_, {kGattCharacteristicInterface});
        object_.reset();
    }
}

// ---------------------------------------------------------------- operations

void DoubleCharacteristic::requireLink() const {
    if (!device_.isLinked() || !lab_ || !device_.labPeripheral()) throw notConnected();
}

void DoubleCharacteristic::startRead(ReadAnswer answer) {
    requireLink();
    if ((properties_ & CharacteristicPropertyRead) == 0) {
        throw bluezError("org.bluez.Error.NotPermitted", "Read not permitted");
    }
    if (pendingRead_) throw inProgress();
    pendingRead_ = std::move(answer);
    device_.labPeripheral()->readValue(lab_);
}

void DoubleCharacteristic::writeValue(std::shared_ptr<sdbus::Result<>> result, const std::vector<std::uint8_t>& value,
                                      const Properties& options) {
    requireLink();
    const auto type = options.find("type");
    if (type == options.end()) throw bluezError("org.bluez.Error.InvalidArguments", "The write type is not named");
    if (!type->second.containsValueOfType<std::string>()) {
        throw bluezError("org.bluez.Error.InvalidArguments", "The write type is not a string");
    }
    if (value.size() > kMaxAttributeValue) throw bluezError("org.bluez.Error.InvalidValueLength", "Invalid Length");
    const auto kind = type->second.get<std::string>();
    if (kind == "command") {
        if ((properties_ & CharacteristicPropertyWriteWithoutResponse) == 0) throw notSupported();
        // A Write Command carries no more than MTU - 3 bytes; bluetoothd cannot even start a longer one.
        if (value.size() + kWriteCommandHeader > device_.owner().options().mtu) {
            throw bluezError("org.bluez.Error.Failed", "Failed to initiate write");
        }
        device_.labPeripheral()->writeValue(value, lab_, WriteType::WithoutResponse);
        result->returnResults();
    } else if (kind == "request") {
        if ((properties_ & CharacteristicPropertyWrite) == 0) throw notSupported();
        if (pendingWrite_) throw inProgress();
        pendingWrite_ = [result](const sdbus::Error* error) {
            if (error) return result->returnError(*error);
            result->returnResults();
        };
        device_.labPeripheral()->writeValue(value, lab_, WriteType::WithResponse);
    } else {
        throw notSupported();
    }
}

std::string DoubleCharacteristic::currentSender() const {
    const auto* message = object_ ? object_->getCurrentlyProcessedMessage() : nullptr;
    return message ? message->getSender() : std::string();
}

void DoubleCharacteristic::startNotify(std::shared_ptr<sdbus::Result<>> result, const std::string& sender) {
    requireLink();
    if ((properties_ & (CharacteristicPropertyNotify | CharacteristicPropertyIndicate)) == 0) throw notSupported();
    if (pendingNotify_) throw inProgress();
    if (sessions_.count(sender) != 0) return result->returnResults();  // this sender's session is already on
    if (!sessions_.empty()) {
        // Delivery is already on for another sender: this one joins.
        sessions_.insert(sender);
        return result->returnResults();
    }
    pendingNotifyOn_ = true;
    pendingSender_ = sender;
    pendingNotify_ = [result](const sdbus::Error* error) {
        if (error) return result->returnError(*error);
        result->returnResults();
    };
    device_.labPeripheral()->setNotifyValue(true, lab_);
}

// A session ends whether or not the device is linked; the last one switches delivery off on the link.
void DoubleCharacteristic::stopNotify(std::shared_ptr<sdbus::Result<>> result, const std::string& sender) {
    if (!endSession(sender)) throw bluezError("org.bluez.Error.Failed", "No notify session started");
    result->returnResults();
}

bool DoubleCharacteristic::endSession(const std::string& sender) {
    if (sessions_.erase(sender) == 0) return false;
    if (sessions_.empty()) {
        setNotifying(false);
        if (device_.isLinked() && lab_ && device_.labPeripheral()) device_.labPeripheral()->setNotifyValue(false, lab_);
    }
    return true;
}

void DoubleCharacteristic::reenable() {
    if (sessions_.empty() || !lab_ || !device_.labPeripheral()) return;
    device_.owner().log("re-enabling notifications of " + path_);
    device_.labPeripheral()->setNotifyValue(true, lab_);
}

// ---------------------------------------------------------------- answers from the lab

void DoubleCharacteristic::labValue(const std::vector<std::uint8_t>& value, const OptionalError& error) {
    if (pendingRead_) {
        // The lab answers a read like a notification; the first value after a read request is its answer.
        auto answer = std::move(pendingRead_);
        pendingRead_ = nullptr;
        if (error) {
            const auto failure = failedWith(*error);
            device_.owner().later([answer, failure] { answer(nullptr, &failure); });
            return;
        }
        setValue(value);
        device_.owner().later([answer, value] { answer(&value, nullptr); });
        return;
    }
    if (!error) setValue(value);
}

void DoubleCharacteristic::labWriteAnswered(const OptionalError& error) {
    if (!pendingWrite_) return;
    auto answer = std::move(pendingWrite_);
    pendingWrite_ = nullptr;
    std::optional<sdbus::Error> failure;
    if (error) failure = failedWith(*error);
    device_.owner().later([answer, failure] { answer(failure ? &*failure : nullptr); });
}

void DoubleCharacteristic::labNotifyAnswered(const OptionalError& error) {
    if (!pendingNotify_) return;
    auto answer = std::move(pendingNotify_);
    pendingNotify_ = nullptr;
    std::optional<sdbus::Error> failure;
    if (error) {
        failure = failedWith(*error);
    } else if (pendingNotifyOn_) {
        sessions_.insert(pendingSender_);
        setNotifying(true);
    }
    device_.owner().later([answer, failure] { answer(failure ? &*failure : nullptr); });
}

void DoubleCharacteristic::linkEnded() {
    lab_.reset();
    const auto failure = notConnected();
    if (pendingRead_) std::exchange(pendingRead_, nullptr)(nullptr, &failure);
    if (pendingWrite_) std::exchange(pendingWrite_, nullptr)(&failure);
    if (pendingNotify_) std::exchange(pendingNotify_, nullptr)(&failure);
}

void DoubleCharacteristic::setValue(const std::vector<std::uint8_t>& value) {
    value_ = value;
    // Every value is announced, even one equal to the last.
    if (object_) emitPropertiesChanged(*object_, kGattCharacteristicInterface, {{"Value", sdbus::Variant(value_)}});
}

void DoubleCharacteristic::setNotifying(bool notifying) {
    if (notifying_ == notifying) return;
    notifying_ = notifying;
    if (object_)
        emitPropertiesChanged(*object_, kGattCharacteristicInterface, {{"Notifying", sdbus::Variant(notifying_)}});
}

void DoubleCharacteristic::emitGarbage() {
    if (!object_) return;
    emitPropertiesChanged(*object_, kGattCharacteristicInterface,
                          {{"Value", sdbus::Variant(std::string("noise"))},
                           {"Notifying", sdbus::Variant(std::uint32_t(3))},
                           {"Flags", sdbus::Variant(std::int32_t(-1))}});
}

}  // namespace halvora::bluezdouble
