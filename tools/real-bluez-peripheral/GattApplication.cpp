#include "GattApplication.hpp"

#include "GattNames.hpp"

namespace halvora::realbluez {

namespace {

/// bluetoothd reads the whole application before it answers.
constexpr auto kRegisterTimeout = std::chrono::seconds(25);

}  // namespace

GattApplication::GattApplication(const lab::GattTable& table, LabSession& session, bluez::BusLoop& loop) {
    for (const auto& service : table.services()) {
        const std::string servicePath = std::string(kApplicationPath) + "/service" + std::to_string(services_.size());
        services_.push_back({servicePath, service.uuid, nullptr});
        for (const auto& characteristic : service.characteristics) {
            const std::string path = servicePath + "/char" + std::to_string(characteristics_.size());
            characteristics_.push_back(std::make_unique<BridgeCharacteristic>(
                path, servicePath, AttributeKey{service.uuid, characteristic.uuid}, characteristic.properties, session,
                loop));
        }
    }
}

void GattApplication::registerOn(sdbus::IConnection& connection, const std::string& adapterPath,
                                 std::function<void(const std::string& error)> done) {
    root_ = sdbus::createObject(connection, kApplicationPath);
    root_->addObjectManager();
    for (auto& service : services_) {
        service.object = sdbus::createObject(connection, service.path);
        service.object->registerProperty("UUID").onInterface(kGattServiceInterface).withGetter([uuid = service.uuid] {
            return busUUID(uuid);
        });
        service.object->registerProperty("Primary").onInterface(kGattServiceInterface).withGetter([] { return true; });
        service.object->finishRegistration();
    }
    for (auto& characteristic : characteristics_) characteristic->publish(connection);
    manager_ = sdbus::createProxy(connection, kBlueZService, adapterPath);
    manager_->callMethodAsync("RegisterApplication")
        .onInterface(kGattManagerInterface)
        .withTimeout(kRegisterTimeout)
        .withArguments(sdbus::ObjectPath(kApplicationPath), std::map<std::string, sdbus::Variant>{})
        .uponReplyInvoke([done = std::move(done)](const sdbus::Error* error) {
            done(error ? error->getName() + ": " + error->getMessage() : std::string());
        });
}

void GattApplication::withdraw() {
    manager_.reset();
    for (auto& characteristic : characteristics_) characteristic->withdraw();
    for (auto& service : services_) service.object.reset();
    root_.reset();
}

void GattApplication::notified(const AttributeKey& characteristic, const std::vector<std::uint8_t>& value) {
    for (auto& candidate : characteristics_) {
        if (candidate->key() == characteristic) candidate->notified(value);
    }
}

BridgeCharacteristic* GattApplication::notifyingCharacteristic() const {
    for (const auto& characteristic : characteristics_) {
        if (characteristic->isNotifying()) return characteristic.get();
    }
    return nullptr;
}

}  // namespace halvora::realbluez
