#include "halvora/Devices/Vital/internal/VitalSleepSegmenter.hpp"

#include <chrono>
#include <optional>

#include "halvora/Devices/Vital/internal/VitalHistoryParser.hpp"

namespace halvora {

namespace {

constexpr std::size_t kStartIndex = 3;

enum class SleepClass { NoData, Deep, Light };

constexpr std::uint8_t kNoDataValue = 0;
constexpr std::uint8_t kDeepValue = 1;
constexpr std::int32_t kDeep = 1;
constexpr std::int32_t kLight = 0;

SleepClass classify(std::uint8_t value) {
    if (value == kNoDataValue) return SleepClass::NoData;
    return value == kDeepValue ? SleepClass::Deep : SleepClass::Light;
}

/// The open segment: its class, start and length so far.
struct Segment {
    SleepClass kind = SleepClass::Light;  // the class before the first minute counts as light
    Date start{};
    std::int32_t minutes = 0;
};

/// The record of `segment`, when it is one: at least a minute long and not without data.
std::optional<HalvoraSDKDetailedSleepData> recordOf(const Segment& segment) {
    if (segment.minutes < 1 || segment.kind == SleepClass::NoData) return std::nullopt;
    const std::int32_t deepness = segment.kind == SleepClass::Deep ? kDeep : kLight;
    return HalvoraSDKDetailedSleepData::initWith(segment.start, segment.minutes, deepness, {});
}

}  // namespace

std::vector<HalvoraSDKDetailedSleepData> VitalSleepSegmenter::segments(std::span<const std::uint8_t> reply) {
    std::vector<HalvoraSDKDetailedSleepData> records;
    if (reply.size() < kHeaderLength) return records;
    const auto start = VitalHistoryParser::bcdDate(reply, kStartIndex);
    if (!start) return records;
    Segment open{SleepClass::Light, *start, 0};
    for (std::size_t index = kFirstMinute; index < reply.size(); ++index) {
        const SleepClass kind = classify(reply[index]);
        if (kind != open.kind) {
            if (auto record = recordOf(open)) {
                records.push_back(*record);
                open.start = *start + std::chrono::minutes(open.minutes);
            }
            open.kind = kind;
            open.minutes = 0;
        }
        ++open.minutes;
    }
    if (auto record = recordOf(open)) records.push_back(*record);
    return records;
}

}  // namespace halvora
