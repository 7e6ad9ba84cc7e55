#include "Advertisement.hpp"

#include "GattNames.hpp"
#include "halvora/Transport/BlueZ/internal/BusLoop.hpp"

namespace halvora::realbluez {

namespace {

constexpr auto kCallTimeout = std::chrono::seconds(5);
/// A connectable advertisement, as a peripheral sends it.
constexpr const char* kAdvertisementType = "peripheral";

std::string errorText(const sdbus::Error* error) {
    return error ? error->getName() + ": " + error->getMessage() : std::string();
}

}  // namespace

Advertisement::Advertisement(std::string localName, std::vector<BLEUUID> services, Duration restart,
                             bluez::BusLoop& loop)
    : localName_(std::move(localName)), services_(std::move(services)), restart_(restart), loop_(loop) {}

Advertisement::~Advertisement() {
    withdraw();
}

void Advertisement::start(sdbus::IConnection& connection, const std::string& adapterPath,
                          std::function<void(const std::string& error)> done) {
    object_ = sdbus::createObject(connection, kAdvertisementPath);
    object_->registerProperty("Type").onInterface(kAdvertisementInterface).withGetter([] {
        return std::string(kAdvertisementType);
    });
    object_->registerProperty("LocalName").onInterface(kAdvertisementInterface).withGetter([this] {
        return localName_;
    });
    object_->registerProperty("ServiceUUIDs").onInterface(kAdvertisementInterface).withGetter([this] {
        std::vector<std::string> uuids;
        for (const auto& uuid : services_) uuids.push_back(busUUID(uuid));
        return uuids;
    });
    // bluetoothd calls Release when it drops the advertisement by itself; the next restart registers it again.
    object_->registerMethod("Release").onInterface(kAdvertisementInterface).implementedAs([] {});
    object_->finishRegistration();
    manager_ = sdbus::createProxy(connection, kBlueZService, adapterPath);
    firstAnswer_ = std::move(done);
    registerAdvertisement();
}

void Advertisement::registerAdvertisement() {
    if (!manager_) return;
    manager_->callMethodAsync("RegisterAdvertisement")
        .onInterface(kAdvertisingManagerInterface)
        .withTimeout(kCallTimeout)
        .withArguments(sdbus::ObjectPath(kAdvertisementPath), std::map<std::string, sdbus::Variant>{})
        .uponReplyInvoke([this](const sdbus::Error* error) {
            if (auto first = std::exchange(firstAnswer_, nullptr)) first(errorText(error));
            restartLater();
        });
}

void Advertisement::restartLater() {
    timer_ = loop_.postAfter(restart_, [this] {
        timer_ = 0;
        if (!manager_) return;
        manager_->callMethodAsync("UnregisterAdvertisement")
            .onInterface(kAdvertisingManagerInterface)
            .withTimeout(kCallTimeout)
            .withArguments(sdbus::ObjectPath(kAdvertisementPath))
            .uponReplyInvoke([this](const sdbus::Error* /*notRegistered*/) { registerAdvertisement(); });
    });
}

void Advertisement::withdraw() {
    if (timer_ != 0) loop_.cancel(std::exchange(timer_, 0));
    manager_.reset();
    object_.reset();
}

}  // namespace halvora::realbluez
