#include "PeripheralBridge.hpp"

#include <cstdio>

#include "GattNames.hpp"
#include "lab/VirtualPeripheral.hpp"

namespace halvora::realbluez {

namespace {

constexpr auto kBusRetryInterval = std::chrono::seconds(1);
/// The application and the advertisement.
constexpr int kRegistrations = 2;
constexpr auto kCallTimeout = std::chrono::seconds(5);
/// How often bench mode looks for a characteristic with notifications on.
constexpr auto kBurstPollInterval = std::chrono::milliseconds(20);
/// Bench mode waits this long after notifications came on before sending: at a reconnect bluetoothd
/// switches them on by itself (from the last link's descriptor), before the kit listens.
constexpr auto kBurstStartDelay = std::chrono::seconds(1);

}  // namespace

PeripheralBridge::PeripheralBridge(BridgeOptions options, std::shared_ptr<lab::VirtualPeripheral> device)
    : options_(std::move(options)),
      adapterPath_("/org/bluez/" + options_.adapter),
      device_(std::move(device)),
      loop_(std::make_unique<bluez::BusLoop>("real-bluez-peripheral", kBusRetryInterval)) {
    LabSession::Listener listener;
    bluez::BusLoop* loop = loop_.get();
    listener.ready = [this] { log("lab link up, services discovered"); };
    listener.linkLost = [this](const std::string& reason) { log("lab link lost: " + reason); };
    listener.notified = [this, loop](const AttributeKey& characteristic, const std::vector<std::uint8_t>& value) {
        loop->post([this, characteristic, value] {
            if (application_ && !options_.burstCount) application_->notified(characteristic, value);
        });
    };
    session_ = std::make_shared<LabSession>(device_, options_.seed.value_or(1), std::move(listener));
}

PeripheralBridge::~PeripheralBridge() {
    stop();
}

void PeripheralBridge::start(std::function<void()> ready, std::function<void(const std::string&)> failed) {
    ready_ = std::move(ready);
    failed_ = std::move(failed);
    session_->start(session_);
    bluez::BusLoop::Hooks hooks;
    hooks.open = [] { return sdbus::createSystemBusConnection(); };
    hooks.opened = [this](sdbus::IConnection& connection) { opened(connection); };
    hooks.openFailed = [this](const std::string& reason) { log("cannot reach the system bus: " + reason); };
    hooks.closing = [this](const std::string& reason) {
        if (advertisement_) advertisement_->withdraw();
        if (application_) application_->withdraw();
        advertisement_.reset();
        application_.reset();
        adapter_.reset();
        if (!stopping_ && failed_) failed_("lost the system bus: " + reason);
    };
    hooks.failed = [this](const std::string& what) { log("internal error: " + what); };
    loop_->start(std::move(hooks));
}

void PeripheralBridge::stop() {
    stopping_ = true;
    // The lab first, so that no more of its events come; then the bus.
    if (session_) session_->stop();
    if (loop_) loop_->stop();
}

void PeripheralBridge::opened(sdbus::IConnection& connection) {
    registrationsLeft_ = kRegistrations;
    application_ = std::make_unique<GattApplication>(device_->gattTable(), *session_, *loop_);
    application_->registerOn(connection, adapterPath_,
                             [this](const std::string& error) { registered("GATT application", error); });
    const auto advertised = device_->advertisementData();
    const std::string name = advertised.localName.value_or(device_->name().value_or(device_->identifier()));
    nameAdapter(connection, device_->name().value_or(name));
    advertisement_ =
        std::make_unique<Advertisement>(name, advertised.serviceUUIDs, options_.advertisingRestart, *loop_);
    advertisement_->start(connection, adapterPath_,
                          [this](const std::string& error) { registered("advertisement", error); });
}

void PeripheralBridge::nameAdapter(sdbus::IConnection& connection, const std::string& name) {
    adapter_ = sdbus::createProxy(connection, kBlueZService, adapterPath_);
    adapter_->callMethodAsync("Set")
        .onInterface(kPropertiesInterface)
        .withTimeout(kCallTimeout)
        .withArguments(std::string(kAdapterInterface), std::string("Alias"), sdbus::Variant(name))
        .uponReplyInvoke([this, name](const sdbus::Error* error) {
            log(error ? "cannot name the adapter " + name + ": " + error->getMessage() : "adapter named " + name);
        });
}

void PeripheralBridge::registered(const std::string& what, const std::string& error) {
    if (!error.empty()) {
        if (failed_) failed_(what + " refused on " + adapterPath_ + ": " + error);
        return;
    }
    log(what + " registered on " + adapterPath_);
    if (--registrationsLeft_ != 0) return;
    if (options_.burstCount) startBurstWhenNotifying();
    if (ready_) ready_();
}

void PeripheralBridge::startBurstWhenNotifying() {
    if (burst_) return;
    auto* characteristic = application_ ? application_->notifyingCharacteristic() : nullptr;
    if (characteristic == nullptr) {
        loop_->postAfter(kBurstPollInterval, [this] { startBurstWhenNotifying(); });
        return;
    }
    log("bench: sending " + std::to_string(*options_.burstCount) + " numbered notifications");
    const AttributeKey key = characteristic->key();
    burst_ = std::make_unique<NotificationBurst>(*loop_, *options_.burstCount, options_.burstInterval,
                                                 [this, key](const std::vector<std::uint8_t>& value) {
                                                     if (application_) application_->notified(key, value);
                                                 });
    loop_->postAfter(kBurstStartDelay, [this] {
        if (burst_) burst_->start();
    });
}

void PeripheralBridge::log(const std::string& line) const {
    if (options_.verbose) std::fprintf(stderr, "real-bluez-peripheral: %s\n", line.c_str());
}

}  // namespace halvora::realbluez
