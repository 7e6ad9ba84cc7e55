#include "halvora/Devices/Vital/internal/VitalECGParser.hpp"

#include <array>

#include "halvora/Core/ByteUtils.hpp"
#include "halvora/Devices/Vital/internal/VitalHistoryParser.hpp"

namespace halvora {

namespace {

// Finished status reply.
constexpr std::size_t kFinishedHRVIndex = 2;
constexpr std::size_t kFinishedHeartRateIndex = 4;
constexpr std::size_t kFinishedBreathingIndex = 9;
constexpr std::size_t kFinishedDateIndex = 10;

// Heart-rate status reply.
constexpr std::size_t kStatusHeartRateIndex = 1;
constexpr std::size_t kStatusHRVIndex = 2;

// Header page.
constexpr std::size_t kIdentifierIndex = 1;
constexpr std::size_t kIdentifierBytes = 2;
constexpr std::size_t kHeaderDateIndex = 3;
constexpr std::size_t kHeaderHRVIndex = 11;
constexpr std::size_t kHeaderHeartRateIndex = 12;
constexpr std::size_t kHeaderBreathingIndex = 13;

Date dateOrEpoch(std::span<const std::uint8_t> bytes, std::size_t index) {
    return VitalHistoryParser::bcdDate(bytes, index).value_or(Date{});
}

}  // namespace

std::optional<std::int32_t> VitalECGParser::status(std::span<const std::uint8_t> reply) {
    if (reply.size() <= kStatusIndex) return std::nullopt;
    return reply[kStatusIndex];
}

std::optional<HalvoraSDKVitalECGConstantsData> VitalECGParser::finishedMeasurement(
    std::span<const std::uint8_t> reply) {
    if (reply.size() < kFinishedLength) return std::nullopt;
    HalvoraSDKVitalECGConstantsData data;
    data.hrv = reply[kFinishedHRVIndex];
    data.heartRate = reply[kFinishedHeartRateIndex];
    data.breathingRate = reply[kFinishedBreathingIndex];
    data.date = dateOrEpoch(reply, kFinishedDateIndex);
    return data;
}

std::optional<HalvoraSDKVitalECGConstantsData> VitalECGParser::heartRateStatus(std::span<const std::uint8_t> reply) {
    if (reply.size() < kHeartRateStatusLength) return std::nullopt;
    HalvoraSDKVitalECGConstantsData data;
    data.heartRate = reply[kStatusHeartRateIndex];
    data.hrv = reply[kStatusHRVIndex];
    return data;
}

std::optional<HalvoraSDKVitalECGData> VitalECGParser::waveformHeader(std::span<const std::uint8_t> page) {
    if (page.size() < kHeaderLength) return std::nullopt;
    HalvoraSDKVitalECGData record;
    record.hrv = page[kHeaderHRVIndex];
    record.heartRate = page[kHeaderHeartRateIndex];
    record.breathRate = page[kHeaderBreathingIndex];
    record.calculateValues();
    record.date = dateOrEpoch(page, kHeaderDateIndex);
    record.identifier =
        static_cast<std::int32_t>(ByteUtils::byteArrayToInt(page.subspan(kIdentifierIndex, kIdentifierBytes)));
    return record;
}

std::int16_t VitalECGParser::sample(std::span<const std::uint8_t> frame, std::size_t index) {
    // The high byte first, as the 16-bit reader wants it, with its zero-byte rule.
    const std::array<std::uint8_t, 2> bigEndian = {frame[index + 1], frame[index]};
    return ByteUtils::bytesToInt16(bigEndian);
}

}  // namespace halvora
