#include "halvora/Devices/Measurement/HalvoraSDKOximeter.hpp"


namespace halvora {

namespace {

// Marker notification: AA at byte 0 and 41 at byte 2.
constexpr std::size_t kMarkerLength = 3;
constexpr std::uint8_t kMarker0 = 0xAA;
constexpr std::uint8_t kMarker2 = 0x41;

// Value notification (first after the marker).
constexpr std::size_t kPiIndex = 15;
constexpr std::size_t kSp2Index = 16;
constexpr std::size_t kLpmIndex = 17;
constexpr std::size_t kRpmIndex = 18;
constexpr std::size_t kValuesLength = kRpmIndex + 1;

// Wave notifications: bytes 7 to 18 of the second after the marker, 0 to 19 of the third.
constexpr std::size_t kFirstWaveStart = 7;
constexpr std::size_t kFirstWaveLength = 19;
constexpr std::size_t kSecondWaveLength = 20;
constexpr std::int32_t kMinimumSample = 1;
constexpr std::int32_t kMaximumSample = 99;

// Positions in the cycle, counted as notifications since the marker.
constexpr std::int32_t kValuesPosition = 0;
constexpr std::int32_t kFirstWavePosition = 1;
constexpr std::int32_t kSecondWavePosition = 2;
constexpr std::int32_t kPastCycle = 3;

/// A byte read as signed, widened and masked to 24 bits.
std::int32_t signedMasked(std::uint8_t byte) {
    return static_cast<std::int32_t>(static_cast<std::int8_t>(byte)) & 0xFFFFFF;
}

/// The bytes a notification at this position of the cycle must have.
std::size_t lengthNeededAt(std::int32_t position) {
    switch (position) {
        case kValuesPosition:
            return kValuesLength;
        case kFirstWavePosition:
            return kFirstWaveLength;
        case kSecondWavePosition:
            return kSecondWaveLength;
        default:
            return 0;
    }
}

}  // namespace

bool HalvoraSDKOximeter::matchDevice(const std::shared_ptr<Peripheral>& peripheral) {
    const auto name = peripheralName(peripheral);
    return name && *name == getName();
}

void HalvoraSDKOximeter::parseFrame(std::span<const std::uint8_t> frame) {
    if (frame.size() >= kMarkerLength && frame[0] == kMarker0 && frame[2] == kMarker2) {
        counter_ = 0;
        return;
    }
    const std::int32_t position = counter_;
    if (frame.size() < lengthNeededAt(position)) return;
    // Past the cycle the count stays put: every further notification is ignored until the next marker.
    if (position < kPastCycle) counter_ = position + 1;
    if (position == kValuesPosition) {
        deliverValues(frame);
    } else if (position == kFirstWavePosition) {
        deliverWaveSamples(frame.subspan(kFirstWaveStart, kFirstWaveLength - kFirstWaveStart));
    } else if (position == kSecondWavePosition) {
        deliverWaveSamples(frame.first(kSecondWaveLength));
    }
}

std::shared_ptr<HalvoraOximeterDelegate> HalvoraSDKOximeter::applicationDelegate() const {
    if (auto delegates = context().delegates.lock()) return delegates->oximeterDelegate();
    return nullptr;
}

void HalvoraSDKOximeter::deliverValues(std::span<const std::uint8_t> frame) {
    auto record = HalvoraSDKOximeterData::init(now());
    record.pi = frame[kPiIndex];
    record.sp2 = signedMasked(frame[kSp2Index]);
    record.lpm = frame[kLpmIndex];
    record.rpm = frame[kRpmIndex];
    if (auto receiver = applicationDelegate()) receiver->oximeterDeviceOnResult(record);
}

void HalvoraSDKOximeter::deliverWaveSamples(std::span<const std::uint8_t> samples) {
    for (std::uint8_t byte : samples) {
        const std::int32_t sample = signedMasked(byte);
        if (sample < kMinimumSample || sample > kMaximumSample) continue;
        auto record = HalvoraSDKOximeterData::init(now());
        record.pleth = sample;
        // Looked up per sample: the application may change its delegate from inside a callback.
        if (auto receiver = applicationDelegate()) receiver->oximeterDeviceOnProgressMeasurement(record);
    }
}

}  // namespace halvora
