#include "halvora/Devices/Tensio/internal/TensioRecords.hpp"

#include "halvora/Devices/Tensio/internal/TensioDateText.hpp"

namespace halvora {

namespace {

constexpr std::int32_t kHighByte = 256;

// Measurement result.
constexpr std::size_t kYearIndex = 3;
constexpr std::size_t kMonthIndex = 4;
constexpr std::size_t kDayIndex = 5;
constexpr std::size_t kHourIndex = 6;
constexpr std::size_t kMinuteIndex = 7;
constexpr std::size_t kResultSystolicIndex = 8;
constexpr std::size_t kResultDiastolicIndex = 10;
constexpr std::size_t kResultPulseIndex = 11;
constexpr std::size_t kResultIrregularIndex = 12;

// Stored record.
constexpr std::size_t kStoredSystolicIndex = 4;
constexpr std::size_t kStoredDiastolicIndex = 6;
constexpr std::size_t kStoredPulseIndex = 7;
constexpr std::size_t kStoredIrregularIndex = 8;

std::int32_t signedAt(std::span<const std::uint8_t> frame, std::size_t index) {
    return static_cast<std::int8_t>(frame[index]);
}

}  // namespace

std::optional<HalvoraSDKTensioBraceletData> TensioRecords::measurementResult(std::span<const std::uint8_t> frame) {
    if (frame.size() < kResultLength) return std::nullopt;
    auto at = [frame](std::size_t index) { return signedAt(frame, index); };
    HalvoraSDKTensioBraceletData record;
    record.date = TensioDateText::parse(
        TensioDateText::dateTime(at(kYearIndex), at(kMonthIndex), at(kDayIndex), at(kHourIndex), at(kMinuteIndex)));
    record.systolic = at(kResultSystolicIndex) * kHighByte + at(kResultSystolicIndex + 1);
    record.diastolic = at(kResultDiastolicIndex);
    record.pulse = at(kResultPulseIndex);
    record.irregular = at(kResultIrregularIndex);
    return record;
}

std::optional<HalvoraSDKTensioBraceletData> TensioRecords::storedRecord(std::span<const std::uint8_t> frame, Date now) {
    if (frame.size() < kStoredLength) return std::nullopt;
    HalvoraSDKTensioBraceletData record;
    record.date = now;
    record.systolic = frame[kStoredSystolicIndex] * kHighByte + frame[kStoredSystolicIndex + 1];
    record.diastolic = frame[kStoredDiastolicIndex];
    record.pulse = frame[kStoredPulseIndex];
    record.irregular = frame[kStoredIrregularIndex];
    return record;
}

}  // namespace halvora
