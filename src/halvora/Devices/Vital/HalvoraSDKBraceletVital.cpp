#include "halvora/Devices/Vital/HalvoraSDKBraceletVital.hpp"

#include "halvora/Core/Format.hpp"
#include "halvora/Core/PreferenceUtils.hpp"
#include "halvora/Devices/Vital/internal/VitalECGFilter.hpp"
#include "halvora/Devices/Vital/internal/VitalFrame.hpp"

namespace halvora {

namespace {

/// The identifier of a driver without a peripheral.
constexpr const char* kNoIdentifier = "-";

/// The protocol service and its two characteristics, asked for in this order.
SerialCommandDevice::Profile profile() {
    using V = HalvoraSDKBraceletVital;
    return {V::rsServiceUUID(),
            V::readCharacteristicUUID(),
            V::sendCharacteristicUUID(),
            {V::sendCharacteristicUUID(), V::readCharacteristicUUID()},
            V::kSendQueueLabel};
}

}  // namespace

// ------------------------------------------------------------------------------------ class operations

bool HalvoraSDKBraceletVital::matchDevice(const std::shared_ptr<Peripheral>& peripheral) {
    if (!peripheral) return false;
    const auto name = peripheral->name();
    return name && name->find(getName()) != std::string::npos;
}

std::uint8_t HalvoraSDKBraceletVital::calculateChecksum(std::span<const std::uint8_t> bytes, std::int32_t length) {
    return VitalFrame::calculateChecksum(bytes, length);
}

// ------------------------------------------------------------------------------------ life

HalvoraSDKBraceletVital::HalvoraSDKBraceletVital(DriverContext context)
    : SerialCommandDevice(std::move(context), profile()), ecgFilter_(std::make_unique<VitalECGFilter>()) {}

HalvoraSDKBraceletVital::~HalvoraSDKBraceletVital() = default;

bool HalvoraSDKBraceletVital::isCorrectDevice() const {
    const auto peripheral = device();
    if (!peripheral) return false;
    const auto name = peripheral->name();
    return name && *name == getName();
}

std::string HalvoraSDKBraceletVital::getIdentifier() const {
    const auto peripheral = device();
    return peripheral ? peripheral->identifier() : kNoIdentifier;
}

void HalvoraSDKBraceletVital::characteristicsReady(const std::shared_ptr<Peripheral>& peripheral) {
    reportReady();
    preferences()->setBraceletUUID(peripheral->identifier());
}

void HalvoraSDKBraceletVital::showReceivedData(std::span<const std::uint8_t> data) const {
    std::string text = kReceivedDataPrefix;
    for (std::uint8_t byte : data) text += format("0x%02x, ", byte);
    log().write(text);
}

// ------------------------------------------------------------------------------------ the permit

void HalvoraSDKBraceletVital::request(std::function<void(HalvoraSDKBraceletVital&)> work) {
    std::weak_ptr<BLEDevice> weak = weak_from_this();
    commands().enqueue(
        [weak, work = std::move(work)] {
            auto self = std::static_pointer_cast<HalvoraSDKBraceletVital>(weak.lock());
            if (!self) return;
            // Held from here until a reply frees it, whether the permit came or the wait ran out.
            self->slotHeld_ = true;
            work(*self);
        },
        kCommandWaitLimit);
}

void HalvoraSDKBraceletVital::requestFrame(std::vector<std::uint8_t> frame) {
    request([frame = std::move(frame)](HalvoraSDKBraceletVital& self) { self.writeRawData(frame); });
}

void HalvoraSDKBraceletVital::followUp(std::vector<std::uint8_t> frame) {
    std::weak_ptr<BLEDevice> weak = weak_from_this();
    commands().enqueueWithoutPermit([weak, frame = std::move(frame)] {
        if (auto self = std::static_pointer_cast<HalvoraSDKBraceletVital>(weak.lock())) self->writeRawData(frame);
    });
}

void HalvoraSDKBraceletVital::releaseSemaphore() {
    if (!slotHeld_) return;  // nothing outstanding: a spare permit would let two requests out at once
    slotHeld_ = false;
    commands().release();
}

// ------------------------------------------------------------------------------------ delivery

std::shared_ptr<HalvoraBraceletVITALDelegate> HalvoraSDKBraceletVital::vitalDelegate() const {
    if (auto delegates = context().delegates.lock()) return delegates->braceletVITALDelegate();
    return nullptr;
}

void HalvoraSDKBraceletVital::sendSuccessfulCommand(std::int32_t command, std::int32_t type,
                                                    HalvoraSDKResponseData data, bool release) {
    if (auto receiver = vitalDelegate()) {
        receiver->braceletVitalDeviceInformation(getIdentifier(), HalvoraSDKResponse{command, type, std::move(data)});
    }
    if (release) releaseSemaphore();
}

void HalvoraSDKBraceletVital::sendError(std::int32_t error, std::int32_t command, bool release) {
    if (auto receiver = vitalDelegate()) receiver->braceletVitalDeviceError(getIdentifier(), error, command);
    if (release) releaseSemaphore();
}

void HalvoraSDKBraceletVital::sendSOS() {
    if (auto receiver = vitalDelegate()) receiver->braceletVitalSOS(getIdentifier());
}

void HalvoraSDKBraceletVital::sendOperation(std::int32_t operation) {
    if (auto receiver = vitalDelegate()) receiver->braceletVitalDeviceOperation(getIdentifier(), operation);
}

// ------------------------------------------------------------------------------------ peripheral events

void HalvoraSDKBraceletVital::peripheralDidUpdateValueForCharacteristic(
    const std::shared_ptr<Peripheral>& /*peripheral*/, const std::shared_ptr<Characteristic>& characteristic,
    const std::vector<std::uint8_t>& value, const OptionalError& error) {
    if (error || !characteristic || isReleased() || characteristic != readCharacteristic()) return;
    showReceivedData(value);
    handleReply(value);
}

}  // namespace halvora
