#include "lab/Devices/RM830/VirtualRM830Bootloader.hpp"

#include <algorithm>
#include <cctype>

#include "halvora/Core/Log.hpp"
#include "lab/Devices/RM830/internal/RM830UpdaterProtocol.hpp"

namespace halvora::lab {

namespace {

namespace dfu = rm830updater;

constexpr const char* kHexDigits = "0123456789ABCDEF";
constexpr int kHexBase = 16;
constexpr const char* kNoHexSuffix = "-DFU";
/// The two digits that set a bootloader's identifier apart from its bracelet's, and the ones used when the
/// bracelet's already has them.
constexpr const char* kMark = "DF";
constexpr const char* kOtherMark = "FD";
constexpr std::size_t kMarkDigits = 2;
constexpr unsigned kBitsPerByte = 8;

/// The value of a hexadecimal digit; -1 for another character.
int hexValue(char c) {
    const char upper = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    for (int i = 0; i < kHexBase; ++i) {
        if (kHexDigits[i] == upper) return i;
    }
    return -1;
}

const char* stateName(VirtualRM830Bootloader::State state) {
    using State = VirtualRM830Bootloader::State;
    switch (state) {
        case State::Off:
            return "off";
        case State::WaitingForStart:
            return "waiting for a start";
        case State::WaitingForSizes:
            return "waiting for the sizes";
        case State::Started:
            return "started";
        case State::ReceivingInitPacket:
            return "receiving the init packet";
        case State::ReceivingImage:
            return "receiving the image";
        case State::ImageReceived:
            return "image received";
        case State::Validated:
            return "validated";
    }
    return "?";
}

}  // namespace

VirtualRM830Bootloader::VirtualRM830Bootloader(VirtualPeripheralConfig config) : VirtualPeripheral(std::move(config)) {
    addService(kService);
    addCharacteristic(kService, kControlPoint, CharacteristicPropertyWrite | CharacteristicPropertyNotify);
    addCharacteristic(kService, kPacket, CharacteristicPropertyWriteWithoutResponse);
    addCharacteristic(kService, kVersion, CharacteristicPropertyRead);
    setReadValue(kVersion, RM830UpdaterScript{}.dfuVersion);
    setPresent(false);
}

VirtualRM830Bootloader::~VirtualRM830Bootloader() = default;

std::string VirtualRM830Bootloader::identifierFor(const std::string& braceletIdentifier) {
    // The last group of the identifier (after its last '-', or all of it) gets the mark in its first two
    // digits.
    const std::size_t dash = braceletIdentifier.rfind('-');
    const std::size_t group = dash == std::string::npos ? 0 : dash + 1;
    if (braceletIdentifier.size() < group + kMarkDigits || hexValue(braceletIdentifier[group]) < 0 ||
        hexValue(braceletIdentifier[group + 1]) < 0) {
        return braceletIdentifier + kNoHexSuffix;
    }
    std::string identifier = braceletIdentifier;
    const bool marked = std::toupper(static_cast<unsigned char>(identifier[group])) == kMark[0] &&
                        std::toupper(static_cast<unsigned char>(identifier[group + 1])) == kMark[1];
    identifier.replace(group, kMarkDigits, marked ? kOtherMark : kMark);
    return identifier;
}

VirtualPeripheralConfig VirtualRM830Bootloader::configFor(const VirtualPeripheralConfig& bracelet) {
    VirtualPeripheralConfig config;
    config.identifier = identifierFor(bracelet.identifier);
    config.name = kName;
    config.localName = kName;
    config.rssi = bracelet.rssi;
    config.rssiJitter = bracelet.rssiJitter;
    config.advertisingInterval = bracelet.advertisingInterval;
    config.advertisedServices = {kService};
    return config;
}

// ---------------------------------------------------------------- coming on the air and leaving it

void VirtualRM830Bootloader::enter(const RM830UpdaterScript& script, ExitHandler onExit) {
    if (!radio()) {
        Log::shared().writef("Lab: bootloader %s has no radio; it stays off the air", identifier().c_str());
        return;
    }
    int visit = 0;
    {
        std::lock_guard lock(mutex_);
        if (state_ != State::Off) return;
        script_ = script;
        onExit_ = std::move(onExit);
        state_ = State::WaitingForStart;
        announced_.reset();
        image_.clear();
        initPacket_.clear();
        bytesReceived_ = 0;
        packets_ = receiptInterval_ = receiptsDue_ = receiptsSent_ = 0;
        linkDropped_ = false;
        requests_.clear();
        lastWrite_ = now();
        visit = ++visits_;
    }
    setReadValue(kVersion, script.dfuVersion);
    setPresent(true);
    const Duration timeout = std::max(script.inactivityTime, RM830UpdaterScript::kMinInactivityTime);
    schedule(timeout, [this, visit] { checkInactivity(visit); });
}

void VirtualRM830Bootloader::leave(Action why) {
    ExitHandler onExit;
    std::optional<std::string> version;
    {
        std::lock_guard lock(mutex_);
        if (state_ == State::Off) return;
        if (why == Action::Activate) version = versionAfterActivation();
        state_ = State::Off;
        onExit = std::move(onExit_);
        onExit_ = nullptr;
    }
    const std::string how = version ? "the bracelet runs " + *version : std::string("reset");
    Log::shared().writef("Lab: bootloader %s leaves the air (%s)", identifier().c_str(), how.c_str());
    setPresent(false);
    if (onExit) onExit(std::move(version));
}

std::string VirtualRM830Bootloader::versionAfterActivation() const {
    return dfu::imageVersion(image_).value_or(script_.versionAfterUpdate);
}

// The timer runs out at the inactivity time after the visit began; a write since then moves the deadline, so
// the check looks again at the time still left instead of setting a timer at every packet.
void VirtualRM830Bootloader::checkInactivity(int visit) {
    Duration left{};
    {
        std::lock_guard lock(mutex_);
        if (visit != visits_ || state_ == State::Off) return;
        const Duration timeout = std::max(script_.inactivityTime, RM830UpdaterScript::kMinInactivityTime);
        left = timeout - (now() - lastWrite_);
    }
    if (left > Duration::zero()) {
        schedule(left, [this, visit] { checkInactivity(visit); });
        return;
    }
    Log::shared().writef("Lab: bootloader %s gives up: no write from the phone for its inactivity time",
                         identifier().c_str());
    leave(Action::Reset);
}

// ---------------------------------------------------------------- hooks

void VirtualRM830Bootloader::onConnected() {
    std::lock_guard lock(mutex_);
    if (state_ == State::Off) return;
    state_ = State::WaitingForStart;
    receiptInterval_ = 0;
}

void VirtualRM830Bootloader::onWrite(const BLEUUID& characteristic, const std::vector<std::uint8_t>& value,
                                     WriteType /*type*/) {
    Outcome outcome;
    {
        std::lock_guard lock(mutex_);
        if (state_ == State::Off) return;
        lastWrite_ = now();
        if (characteristic == kControlPoint) {
            outcome = onRequest(value);
        } else if (characteristic == kPacket) {
            outcome = onPacket(value);
        }
    }
    carryOut(std::move(outcome));
}

void VirtualRM830Bootloader::carryOut(Outcome outcome) {
    for (const auto& frame : outcome.notifications) notify(kControlPoint, frame);
    switch (outcome.action) {
        case Action::None:
            return;
        case Action::DropLink:
            Log::shared().writef("Lab: bootloader %s drops the link (scripted)", identifier().c_str());
            dropLink();
            return;
        case Action::Reset:
        case Action::Activate:
            leave(outcome.action);
            return;
    }
}

// ---------------------------------------------------------------- control point (under mutex_)

VirtualRM830Bootloader::Outcome VirtualRM830Bootloader::onRequest(const std::vector<std::uint8_t>& value) {
    recordRequest(value);
    if (value.empty()) {
        Log::shared().writef("Lab: bootloader %s ignores an empty request", identifier().c_str());
        return {};
    }
    switch (value[0]) {
        case dfu::kStart:
            return onStart(value);
        case dfu::kInitPacket:
            return onInitPacket(value);
        case dfu::kReceiveImage:
            return onReceiveImage(value);
        case dfu::kValidate:
            return onValidate(value);
        case dfu::kActivateAndReset:
        case dfu::kReset:
            return onLeave(value);
        case dfu::kReceiptInterval:
            return onReceiptInterval(value);
        default:
            return {{dfu::response(value[0], dfu::kNotSupported)}};
    }
}

void VirtualRM830Bootloader::recordRequest(const std::vector<std::uint8_t>& value) {
    requests_.push_back(value);
    if (requests_.size() > kMaxRecordedRequests) requests_.pop_front();
}

VirtualRM830Bootloader::Outcome VirtualRM830Bootloader::onStart(const std::vector<std::uint8_t>& value) {
    const auto& faults = script_.faults;
    const bool oldProcedure = value.size() == dfu::kSimpleRequestLength;
    const bool newProcedure = value.size() == dfu::kNewStartLength && value[1] == dfu::kApplicationImage;
    const bool refused = (oldProcedure && faults.refuseOldStart) || (newProcedure && faults.refuseNewStart);
    if ((!oldProcedure && !newProcedure) || refused) {
        state_ = State::WaitingForStart;
        return {{dfu::response(dfu::kStart, dfu::kNotSupported)}};
    }
    beginProcedure(oldProcedure);
    return {};
}

void VirtualRM830Bootloader::beginProcedure(bool oldProcedure) {
    state_ = State::WaitingForSizes;
    oldProcedure_ = oldProcedure;
    announced_.reset();
    image_.clear();
    initPacket_.clear();
    bytesReceived_ = 0;
    packets_ = receiptInterval_ = receiptsDue_ = receiptsSent_ = 0;
}

VirtualRM830Bootloader::Outcome VirtualRM830Bootloader::onInitPacket(const std::vector<std::uint8_t>& value) {
    if (value.size() != dfu::kInitPacketLength) return {{dfu::response(dfu::kInitPacket, dfu::kNotSupported)}};
    if (value[1] == dfu::kInitPacketStart) {
        if (state_ != State::Started) return {{dfu::response(dfu::kInitPacket, dfu::kInvalidState)}};
        state_ = State::ReceivingInitPacket;
        initPacket_.clear();
        return {};
    }
    if (value[1] == dfu::kInitPacketEnd) {
        if (state_ != State::ReceivingInitPacket) return {{dfu::response(dfu::kInitPacket, dfu::kInvalidState)}};
        state_ = State::Started;
        return {{dfu::response(dfu::kInitPacket, dfu::kSuccess)}};
    }
    return {{dfu::response(dfu::kInitPacket, dfu::kNotSupported)}};
}

VirtualRM830Bootloader::Outcome VirtualRM830Bootloader::onReceiveImage(const std::vector<std::uint8_t>& value) {
    if (value.size() != dfu::kSimpleRequestLength) return {{dfu::response(dfu::kReceiveImage, dfu::kNotSupported)}};
    if (state_ != State::Started || !announced_) return {{dfu::response(dfu::kReceiveImage, dfu::kInvalidState)}};
    state_ = State::ReceivingImage;
    if (*announced_ == 0) return imageComplete();
    return {};
}

VirtualRM830Bootloader::Outcome VirtualRM830Bootloader::onValidate(const std::vector<std::uint8_t>& value) {
    if (value.size() != dfu::kSimpleRequestLength) return {{dfu::response(dfu::kValidate, dfu::kNotSupported)}};
    const bool whole =
        (state_ == State::ImageReceived || state_ == State::Validated) && announced_ && bytesReceived_ == *announced_;
    std::uint8_t status = dfu::kCrcError;
    if (whole && !script_.faults.crcError) status = script_.faults.validateStatus.value_or(dfu::kSuccess);
    state_ = status == dfu::kSuccess ? State::Validated : State::WaitingForStart;
    return {{dfu::response(dfu::kValidate, status)}};
}

VirtualRM830Bootloader::Outcome VirtualRM830Bootloader::onLeave(const std::vector<std::uint8_t>& value) {
    if (value.size() != dfu::kSimpleRequestLength) return {{dfu::response(value[0], dfu::kNotSupported)}};
    if (value[0] == dfu::kReset) return {{}, Action::Reset};
    if (state_ == State::Validated) return {{}, Action::Activate};
    Log::shared().writef("Lab: bootloader %s has no validated image to activate (%s): it resets", identifier().c_str(),
                         stateName(state_));
    return {{}, Action::Reset};
}

VirtualRM830Bootloader::Outcome VirtualRM830Bootloader::onReceiptInterval(const std::vector<std::uint8_t>& value) {
    if (value.size() != dfu::kReceiptIntervalLength) {
        return {{dfu::response(dfu::kReceiptInterval, dfu::kNotSupported)}};
    }
    receiptInterval_ = value[1] | value[2] << kBitsPerByte;
    return {};
}

// ---------------------------------------------------------------- packets (under mutex_)

VirtualRM830Bootloader::Outcome VirtualRM830Bootloader::onPacket(const std::vector<std::uint8_t>& value) {
    switch (state_) {
        case State::WaitingForSizes:
            return takeSizes(value);
        case State::ReceivingInitPacket: {
            const std::size_t room = kMaxInitPacketBytes - initPacket_.size();
            const std::size_t kept = std::min(room, value.size());
            initPacket_.insert(initPacket_.end(), value.begin(), value.begin() + static_cast<std::ptrdiff_t>(kept));
            return {};
        }
        case State::ReceivingImage:
            return takeImagePacket(value);
        case State::Off:
        case State::WaitingForStart:
        case State::Started:
        case State::ImageReceived:
        case State::Validated:
            break;
    }
    Log::shared().writef("Lab: bootloader %s ignores a packet of %zu bytes (%s)", identifier().c_str(), value.size(),
                         stateName(state_));
    return {};
}

VirtualRM830Bootloader::Outcome VirtualRM830Bootloader::takeSizes(const std::vector<std::uint8_t>& value) {
    std::optional<std::uint32_t> size;
    if (oldProcedure_) {
        size = dfu::oldProcedureSize(value);
    } else if (const auto sizes = dfu::newProcedureSizes(value)) {
        // Only an application: a soft device or bootloader size means another kind of image.
        if (sizes->softDevice == 0 && sizes->bootloader == 0) size = sizes->application;
    }
    if (!size) {
        Log::shared().writef("Lab: bootloader %s cannot use the sizes it was sent (%zu bytes)", identifier().c_str(),
                             value.size());
        state_ = State::WaitingForStart;
        return {{dfu::response(dfu::kStart, dfu::kOperationFailed)}};
    }
    if (*size == 0) {
        // Nothing to receive: an empty image is refused as a size the bootloader cannot take.
        Log::shared().writef("Lab: bootloader %s refuses an empty image", identifier().c_str());
        state_ = State::WaitingForStart;
        return {{dfu::response(dfu::kStart, dfu::kDataSizeExceeds)}};
    }
    announced_ = *size;
    const std::uint8_t status = script_.faults.startStatus.value_or(dfu::kSuccess);
    state_ = status == dfu::kSuccess ? State::Started : State::WaitingForStart;
    return {{dfu::response(dfu::kStart, status)}};
}

VirtualRM830Bootloader::Outcome VirtualRM830Bootloader::takeImagePacket(const std::vector<std::uint8_t>& value) {
    ++packets_;
    bytesReceived_ += value.size();
    const std::size_t limit = std::min<std::size_t>(*announced_, kMaxImageBytes);
    const std::size_t kept = std::min(limit - std::min(limit, image_.size()), value.size());
    image_.insert(image_.end(), value.begin(), value.begin() + static_cast<std::ptrdiff_t>(kept));

    const auto& faults = script_.faults;
    if (faults.dropLinkAfterBytes && !linkDropped_ && bytesReceived_ >= *faults.dropLinkAfterBytes) {
        linkDropped_ = true;
        return {{}, Action::DropLink};
    }
    if (bytesReceived_ > *announced_) {
        state_ = State::WaitingForStart;
        return {{dfu::response(dfu::kReceiveImage, dfu::kDataSizeExceeds)}};
    }
    if (bytesReceived_ == *announced_) return imageComplete();
    if (receiptInterval_ > 0 && packets_ % receiptInterval_ == 0) return receiptDue();
    return {};
}

VirtualRM830Bootloader::Outcome VirtualRM830Bootloader::imageComplete() {
    const std::uint8_t status = script_.faults.receiveStatus.value_or(dfu::kSuccess);
    state_ = status == dfu::kSuccess ? State::ImageReceived : State::WaitingForStart;
    return {{dfu::response(dfu::kReceiveImage, status)}};
}

VirtualRM830Bootloader::Outcome VirtualRM830Bootloader::receiptDue() {
    ++receiptsDue_;
    if (script_.faults.loseReceipt && *script_.faults.loseReceipt == receiptsDue_) {
        Log::shared().writef("Lab: bootloader %s loses receipt %d", identifier().c_str(), receiptsDue_);
        return {};
    }
    ++receiptsSent_;
    return {{dfu::receipt(bytesReceived_)}};
}

// ---------------------------------------------------------------- accessors

VirtualRM830Bootloader::State VirtualRM830Bootloader::state() const {
    std::lock_guard lock(mutex_);
    return state_;
}

std::vector<std::uint8_t> VirtualRM830Bootloader::image() const {
    std::lock_guard lock(mutex_);
    return image_;
}

std::uint64_t VirtualRM830Bootloader::imageBytesReceived() const {
    std::lock_guard lock(mutex_);
    return bytesReceived_;
}

std::optional<std::uint32_t> VirtualRM830Bootloader::announcedSize() const {
    std::lock_guard lock(mutex_);
    return announced_;
}

std::vector<std::uint8_t> VirtualRM830Bootloader::initPacket() const {
    std::lock_guard lock(mutex_);
    return initPacket_;
}

int VirtualRM830Bootloader::packetsReceived() const {
    std::lock_guard lock(mutex_);
    return packets_;
}

int VirtualRM830Bootloader::receiptsSent() const {
    std::lock_guard lock(mutex_);
    return receiptsSent_;
}

std::vector<std::vector<std::uint8_t>> VirtualRM830Bootloader::requests() const {
    std::lock_guard lock(mutex_);
    return {requests_.begin(), requests_.end()};
}

int VirtualRM830Bootloader::visits() const {
    std::lock_guard lock(mutex_);
    return visits_;
}

}  // namespace halvora::lab
