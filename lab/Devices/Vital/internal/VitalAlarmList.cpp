#include "lab/Devices/Vital/internal/VitalAlarmList.hpp"

#include <algorithm>

namespace halvora::lab {

namespace {

// Block layout.
constexpr std::size_t kCount = 1;
constexpr std::size_t kIndex = 2;
constexpr std::size_t kEnabled = 3;
constexpr std::size_t kType = 4;
constexpr std::size_t kHour = 5;
constexpr std::size_t kMinute = 6;
constexpr std::size_t kWeekDays = 7;
constexpr std::size_t kTextLength = 8;
constexpr std::size_t kText = 9;
constexpr std::size_t kMaxText = vital::kAlarmBlockLength - kText;
constexpr int kLastHour = 23;
constexpr int kLastMinute = 59;

}  // namespace

VitalAlarmList::Progress VitalAlarmList::add(const std::vector<std::uint8_t>& piece) {
    if (!collecting()) {
        bytes_.clear();
        if (piece.size() < vital::kAlarmTrailerLength || piece[0] != vital::kAlarms) return Progress::Malformed;
        const std::size_t count = piece[kCount] == vital::kAlarmTrailerEnd ? 0 : piece[kCount];
        if (count > kMaxAlarms || (count == 0 && piece.size() != vital::kAlarmTrailerLength)) {
            return Progress::Malformed;
        }
        expected_ = count * vital::kAlarmBlockLength + vital::kAlarmTrailerLength;
    }
    if (piece.size() > expected_ - bytes_.size()) {
        reset();
        return Progress::Malformed;
    }
    bytes_.insert(bytes_.end(), piece.begin(), piece.end());
    if (bytes_.size() < expected_) return Progress::Incomplete;
    return finish();
}

void VitalAlarmList::reset() {
    bytes_.clear();
    expected_ = 0;
}

VitalAlarmList::Progress VitalAlarmList::finish() {
    const std::size_t count = (expected_ - vital::kAlarmTrailerLength) / vital::kAlarmBlockLength;
    std::vector<VitalSettings::Alarm> alarms;
    for (std::size_t i = 0; i < count; ++i) {
        auto alarm = block(i, count);
        if (!alarm) break;
        alarms.push_back(std::move(*alarm));
    }
    const std::size_t trailer = expected_ - vital::kAlarmTrailerLength;
    const bool trailerHolds = bytes_[trailer] == vital::kAlarms && bytes_[trailer + 1] == vital::kAlarmTrailerEnd;
    reset();
    if (alarms.size() != count || !trailerHolds) return Progress::Malformed;
    alarms_ = std::move(alarms);
    return Progress::Complete;
}

std::optional<VitalSettings::Alarm> VitalAlarmList::block(std::size_t index, std::size_t count) const {
    const auto* b = bytes_.data() + index * vital::kAlarmBlockLength;
    if (b[0] != vital::kAlarms || b[kCount] != count || b[kIndex] != index) return std::nullopt;
    const auto hour = vital::fromBcd(b[kHour]);
    const auto minute = vital::fromBcd(b[kMinute]);
    if (!hour || !minute || *hour > kLastHour || *minute > kLastMinute) return std::nullopt;
    VitalSettings::Alarm alarm;
    alarm.index = b[kIndex];
    alarm.enabled = b[kEnabled];
    alarm.type = b[kType];
    alarm.hour = *hour;
    alarm.minute = *minute;
    alarm.weekDays = b[kWeekDays];
    const std::size_t length = std::min<std::size_t>(b[kTextLength], kMaxText);
    alarm.text.assign(b + kText, b + kText + length);
    return alarm;
}

}  // namespace halvora::lab
