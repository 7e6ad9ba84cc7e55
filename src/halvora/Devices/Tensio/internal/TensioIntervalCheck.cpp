#include "halvora/Devices/Tensio/internal/TensioIntervalCheck.hpp"

namespace halvora {

namespace {

constexpr std::int64_t kMinutesPerHour = 60;
constexpr std::int64_t kHalfHour = 30;

struct Span {
    std::int64_t start;
    std::int64_t end;

    bool strictlyContains(std::int64_t minute) const { return start < minute && minute < end; }
};

Span spanOf(const HalvoraSDKTensioBraceletInterval& window) {
    return {TensioIntervalCheck::minutes(window.startHour, window.startMinuteInterval),
            TensioIntervalCheck::minutes(window.endHour, window.endMinuteInterval)};
}

}  // namespace

std::int64_t TensioIntervalCheck::minutes(std::int32_t hour, std::int32_t halfPast) {
    return hour * kMinutesPerHour + (halfPast != 0 ? kHalfHour : 0);
}

bool TensioIntervalCheck::accepts(const std::vector<HalvoraSDKTensioBraceletInterval>& windows) {
    for (std::size_t i = 0; i < windows.size(); ++i) {
        const Span earlier = spanOf(windows[i]);
        for (std::size_t j = i + 1; j < windows.size(); ++j) {
            const Span later = spanOf(windows[j]);
            if (earlier.strictlyContains(later.start) || earlier.strictlyContains(later.end)) return false;
        }
    }
    return true;
}

}  // namespace halvora
