#include "halvora/Manager/HalvoraSDKManager.hpp"

#include <random>

#include "halvora/Core/Format.hpp"
#include "halvora/Core/PreferenceUtils.hpp"
#include "halvora/Manager/internal/ManagerDefaults.hpp"
#include "halvora/Runtime/ThreadedExecutor.hpp"

namespace halvora {

namespace {

std::mutex& defaultEnvironmentMutex() {
    static std::mutex mutex;
    return mutex;
}

std::optional<ManagerEnvironment>& defaultEnvironmentSlot() {
    static std::optional<ManagerEnvironment> environment;
    return environment;
}

bool& sharedInstanceMade() {
    static bool made = false;
    return made;
}

/// A random version-4 UUID in upper-case text.
std::string makeRandomUUIDText() {
    std::random_device device;
    std::mt19937_64 generator(device());
    std::uniform_int_distribution<unsigned> byte(0, 255);
    std::array<std::uint8_t, 16> bytes{};
    for (auto& b : bytes) b = static_cast<std::uint8_t>(byte(generator));
    bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40);
    bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);
    return BLEUUID::fromBytes(bytes).toLongString();
}

}  // namespace

// ---------------------------------------------------------------------------------------------- creation

std::shared_ptr<HalvoraSDKManager> HalvoraSDKManager::create(ManagerEnvironment environment) {
    return std::shared_ptr<HalvoraSDKManager>(new HalvoraSDKManager(std::move(environment)));
}

bool HalvoraSDKManager::setDefaultEnvironment(ManagerEnvironment environment) {
    std::lock_guard lock(defaultEnvironmentMutex());
    if (sharedInstanceMade()) return false;
    defaultEnvironmentSlot() = std::move(environment);
    return true;
}

std::shared_ptr<HalvoraSDKManager> HalvoraSDKManager::sharedInstance() {
    static std::shared_ptr<HalvoraSDKManager> shared = [] {
        ManagerEnvironment environment;
        {
            std::lock_guard lock(defaultEnvironmentMutex());
            sharedInstanceMade() = true;
            environment = defaultEnvironmentSlot().value_or(internal::makeDefaultEnvironment());
        }
        // The first manager announces the kit and is then replaced by a second one, as it always was.
        auto first = create(environment);
        auto log = first->environment_.log;
        const std::string version = environment.bundleVersion;
        first->mainQueue_->asyncAfter(seconds(0.5), [log, version] {
            log->writef("HalvoraSDK: Initializing HalvoraSDKManager %s", version.c_str());
        });
        return create(environment);
    }();
    return shared;
}

HalvoraSDKManager::HalvoraSDKManager(ManagerEnvironment environment) : environment_(std::move(environment)) {
    if (!environment_.executor) environment_.executor = ThreadedExecutor::create();
    if (!environment_.transport) environment_.transport = internal::makeDefaultTransport();
    if (!environment_.preferences) environment_.preferences = PreferenceUtils::shared();
    if (!environment_.log) environment_.log = std::shared_ptr<Log>(&Log::shared(), [](Log*) {});
    bleQueue_ = environment_.executor->makeQueue("halvora.cb");
    connectionQueue_ = environment_.executor->makeQueue("halvora.connection");
    mainQueue_ = environment_.executor->mainQueue();
}

HalvoraSDKManager::~HalvoraSDKManager() {
    if (detectionTimerForScanning_) detectionTimerForScanning_->invalidate();
    if (detectionTimerForConnecting_) detectionTimerForConnecting_->invalidate();
}

// ---------------------------------------------------------------------------------------------- the central

void HalvoraSDKManager::initCentralManagerWithoutBackgroundMode() {
    auto central = environment_.transport->makeCentral(weak_from_this(), bleQueue_, CentralOptions{});
    std::lock_guard lock(mutex_);
    cm_ = central;
    centrals_ = std::vector<std::shared_ptr<Central>>{central};
}

void HalvoraSDKManager::setCentralManagerIdentifiers(const std::vector<std::string>& identifiers) {
    if (!identifiers.empty()) {
        for (const auto& identifier : identifiers) {
            auto central = environment_.transport->makeCentral(weak_from_this(), bleQueue_, CentralOptions{identifier});
            std::lock_guard lock(mutex_);
            if (centrals_) centrals_->push_back(central);
            if (!cm_) cm_ = central;
        }
        return;
    }
    // A fresh identifier every time; the stored one is written, read back and used at once.
    const std::string fresh = makeRandomUUIDText();
    preferences().setCentralUUID(fresh);
    const std::string identifier = preferences().getCentralUUID().value_or(fresh);
    auto central = environment_.transport->makeCentral(weak_from_this(), bleQueue_, CentralOptions{identifier});
    std::lock_guard lock(mutex_);
    cm_ = central;
    centrals_ = std::vector<std::shared_ptr<Central>>{central};
}

void HalvoraSDKManager::setPeripheralManagerIdentifiers(const std::vector<std::string>& identifiers) {
    for (const auto& identifier : identifiers) environment_.transport->makePeripheralManager(identifier);
}

bool HalvoraSDKManager::isBluetoothOn() const {
    std::lock_guard lock(mutex_);
    return bluetoothPoweredOn_;
}

std::shared_ptr<Central> HalvoraSDKManager::central() const {
    std::lock_guard lock(mutex_);
    return cm_;
}

// ---------------------------------------------------------------------------------------------- delegates

namespace {

template <typename T>
std::shared_ptr<T> readDelegate(std::mutex& mutex, const std::weak_ptr<T>& slot) {
    std::lock_guard lock(mutex);
    return slot.lock();
}

template <typename T>
void writeDelegate(std::mutex& mutex, std::weak_ptr<T>& slot, std::weak_ptr<T> value) {
    std::lock_guard lock(mutex);
    slot = std::move(value);
}

}  // namespace

#define HALVORA_DELEGATE_PROPERTY(Type, getter, setter, member)      \
    std::shared_ptr<Type> HalvoraSDKManager::getter() const {        \
        return readDelegate(delegatesMutex_, member);                \
    }                                                                \
    void HalvoraSDKManager::setter(std::weak_ptr<Type> delegate) {   \
        writeDelegate(delegatesMutex_, member, std::move(delegate)); \
    }

HALVORA_DELEGATE_PROPERTY(HalvoraSDKManagerDelegate, delegate, setDelegate, delegate_)
HALVORA_DELEGATE_PROPERTY(HalvoraDeviceDelegate, deviceDelegate, setDeviceDelegate, deviceDelegate_)
HALVORA_DELEGATE_PROPERTY(HalvoraHeartDelegate, heartDelegate, setHeartDelegate, heartDelegate_)
HALVORA_DELEGATE_PROPERTY(HalvoraSDKDevicesScanDelegate, devicesScanDelegate, setDevicesScanDelegate,
                          devicesScanDelegate_)
HALVORA_DELEGATE_PROPERTY(HalvoraOximeterDelegate, oximeterDelegate, setOximeterDelegate, oximeterDelegate_)
HALVORA_DELEGATE_PROPERTY(HalvoraThermometerDelegate, thermometerDelegate, setThermometerDelegate, thermometerDelegate_)
HALVORA_DELEGATE_PROPERTY(HalvoraBabyThermometerDelegate, babyThermometerDelegate, setBabyThermometerDelegate,
                          babyThermometerDelegate_)
HALVORA_DELEGATE_PROPERTY(HalvoraWeightScaleDelegate, weightscaleDelegate, setWeightscaleDelegate, weightscaleDelegate_)
HALVORA_DELEGATE_PROPERTY(HalvoraBraceletDelegate, braceletDelegate, setBraceletDelegate, braceletDelegate_)
HALVORA_DELEGATE_PROPERTY(HalvoraBraceletRM830Delegate, braceletRM830Delegate, setBraceletRM830Delegate,
                          braceletRM830Delegate_)
HALVORA_DELEGATE_PROPERTY(FirmwareUpdateObserver, firmwareUpdateObserver, setFirmwareUpdateObserver,
                          firmwareUpdateObserver_)
HALVORA_DELEGATE_PROPERTY(HalvoraTensioBraceletDelegate, tensioBraceletDelegate, setTensioBraceletDelegate,
                          tensioBraceletDelegate_)
HALVORA_DELEGATE_PROPERTY(HalvoraPillReminderDelegate, pillReminderDelegate, setPillReminderDelegate,
                          pillReminderDelegate_)
HALVORA_DELEGATE_PROPERTY(HalvoraBraceletVITALDelegate, braceletVITALDelegate, setBraceletVITALDelegate,
                          braceletVITALDelegate_)

#undef HALVORA_DELEGATE_PROPERTY

// ---------------------------------------------------------------------------------------------- inspection

std::shared_ptr<BLEDevice> HalvoraSDKManager::driverForKind(DeviceKind kind) const {
    std::lock_guard lock(mutex_);
    auto it = deviceByType_.find(kind);
    return it == deviceByType_.end() ? nullptr : it->second;
}

ScanResult HalvoraSDKManager::scannedDevices() const {
    std::lock_guard lock(mutex_);
    return scannedDevices_;
}

std::int32_t HalvoraSDKManager::connectingToDeviceType() const {
    std::lock_guard lock(mutex_);
    return connectingToDeviceType_;
}

bool HalvoraSDKManager::isPending(DeviceKind kind) const {
    std::lock_guard lock(mutex_);
    return detectedDevicesByType_.count(kind) != 0;
}

ResourceBundle& HalvoraSDKManager::resources() const {
    return environment_.resources ? *environment_.resources : ResourceBundle::shared();
}

PreferenceUtils& HalvoraSDKManager::preferences() const {
    return *environment_.preferences;
}

Log& HalvoraSDKManager::log() const {
    return *environment_.log;
}

DriverContext HalvoraSDKManager::driverContext() {
    DriverContext context;
    context.executor = environment_.executor;
    context.callbackQueue = bleQueue_;
    context.log = environment_.log;
    context.preferences = environment_.preferences;
    context.delegates = weak_from_this();
    context.connector = weak_from_this();
    context.resources = environment_.resources;
    return context;
}

void HalvoraSDKManager::registerDriver(DeviceKind kind, const std::shared_ptr<BLEDevice>& driver) {
    std::lock_guard lock(mutex_);
    deviceByType_[kind] = driver;
}

void HalvoraSDKManager::removePendingRequest(DeviceKind kind) {
    std::lock_guard lock(mutex_);
    detectedDevicesByType_.erase(kind);
    connectingTimeout_.erase(kind);
    uuidByType_.erase(kind);
}

void HalvoraSDKManager::sendHeartStatus(std::int32_t status) {
    if (auto receiver = delegate()) receiver->heartDeviceOnConnectionChanged(status);
}

void HalvoraSDKManager::sendStatus(DeviceKind kind, std::int32_t status) {
    if (kind == DeviceTypeHeart) sendHeartStatus(status);
    if (auto receiver = deviceDelegate()) receiver->deviceOnConnectionChanged(kind, status);
}

}  // namespace halvora
