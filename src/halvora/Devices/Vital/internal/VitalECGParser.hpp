#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "halvora/Devices/Vital/HalvoraSDKVitalECGConstantsData.hpp"
#include "halvora/Devices/Vital/HalvoraSDKVitalECGData.hpp"

namespace halvora {

/// Decoders of the Vital bracelet's ECG replies: the start answer (0x99), the status (0x9C), the heart-rate
/// status (0x83), live sample frames (0xAA) and waveform pages (0x71). A sample is two bytes, the low byte
/// first, read as a signed 16-bit number up to the first zero byte: a zero high byte gives 0, a zero low
/// byte under a non-zero high byte gives the high byte alone (0x00 0x10 reads as 16). Each decoder gives
/// nothing for a reply too short for its fields; samples are read only while both bytes are in the frame.
class VitalECGParser {
public:
    VitalECGParser() = delete;

    /// Where the status byte of the start and status replies is.
    static constexpr std::size_t kStatusIndex = 1;
    /// Start statuses above this one mean the bracelet does not upload.
    static constexpr std::int32_t kLastUploadingStatus = 1;
    /// The status of a finished measurement, whose reply carries the summary.
    static constexpr std::int32_t kFinishedStatus = 3;
    /// Bytes of a finished status reply (its date ends the frame).
    static constexpr std::size_t kFinishedLength = 16;
    /// Bytes of a heart-rate status reply (code, heart rate, HRV).
    static constexpr std::size_t kHeartRateStatusLength = 3;
    /// A waveform page of exactly this length ends the transfer.
    static constexpr std::size_t kEndPageLength = 3;
    /// Bytes of a header page up to its last field (the breathing rate).
    static constexpr std::size_t kHeaderLength = 14;
    /// The first sample of a live frame.
    static constexpr std::size_t kLiveSamplesStart = 1;
    /// The first sample of a header page.
    static constexpr std::size_t kHeaderSamplesStart = 27;
    /// The first sample of a later page.
    static constexpr std::size_t kPageSamplesStart = 3;
    /// Later pages shorter than this (but the end page) carry nothing.
    static constexpr std::size_t kMinimumPageLength = 4;

    /// The status byte of a start or status reply.
    static std::optional<std::int32_t> status(std::span<const std::uint8_t> reply);
    /// The summary of a finished status reply: HRV (byte 2), heart rate (4), breathing rate (9) and the BCD
    /// date (10 to 15, year after 2000; an invalid date leaves the epoch).
    static std::optional<HalvoraSDKVitalECGConstantsData> finishedMeasurement(std::span<const std::uint8_t> reply);
    /// The heart-rate status: heart rate (byte 1) and HRV (2).
    static std::optional<HalvoraSDKVitalECGConstantsData> heartRateStatus(std::span<const std::uint8_t> reply);
    /// A new record from a header page: identifier (bytes 1 and 2, low byte first, up to a zero byte), the
    /// BCD date (3 to 8; an invalid date leaves the epoch), HRV (11), heart rate (12), breathing rate (13),
    /// with its intervals calculated. Bytes 9, 10 and 14 to 26 carry nothing the kit uses. No samples.
    static std::optional<HalvoraSDKVitalECGData> waveformHeader(std::span<const std::uint8_t> page);
    /// True for the page that ends a waveform transfer.
    static bool isEndPage(std::span<const std::uint8_t> page) { return page.size() == kEndPageLength; }

    /// The sample of bytes `index` (low) and `index + 1` (high); the caller checks both are in the frame.
    static std::int16_t sample(std::span<const std::uint8_t> frame, std::size_t index);

    /// Hands `onSample` every sample of `frame` from `first` on, pair by pair, while both bytes of the pair
    /// are in the frame.
    template <class OnSample>
    static void forEachSample(std::span<const std::uint8_t> frame, std::size_t first, OnSample&& onSample) {
        for (std::size_t index = first; index + 1 < frame.size(); index += 2) onSample(sample(frame, index));
    }
};

}  // namespace halvora
