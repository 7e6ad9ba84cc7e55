#include "halvora/Devices/Tensio/internal/TensioSettingFrames.hpp"

#include <array>

#include "halvora/Devices/Tensio/internal/TensioFrame.hpp"

namespace halvora {

namespace {

constexpr int kTmYearBase = 1900;
constexpr int kYearsPerCentury = 100;
constexpr int kTmMonthBase = 1;
constexpr std::uint8_t kConfigFixed = 0x01;  // the configuration's byte 5
constexpr std::uint8_t kConfigCheckBase = 6;
constexpr std::uint8_t kLowNibble = 0x0F;
constexpr std::int64_t kSerialStep = 16;  // the serial sits in the high nibble

using Values = std::array<std::uint8_t, TensioFrame::kSettingValues>;

std::uint8_t low(std::int64_t value) {
    return static_cast<std::uint8_t>(value);
}

std::uint8_t xorOf(const Values& values) {
    std::uint8_t check = TensioSettingFrames::kCheckSeed;
    for (std::uint8_t value : values) check ^= value;
    return check;
}

std::uint8_t halfHourFlag(std::int32_t flag) {
    return flag != 0 ? TensioSettingFrames::kHalfHour : 0;
}

}  // namespace

std::vector<std::uint8_t> TensioSettingFrames::clock(const std::tm& local) {
    const int year = (local.tm_year + kTmYearBase) % kYearsPerCentury;
    const Values values{low(year),          low(local.tm_mon + kTmMonthBase),
                        low(local.tm_mday), low(local.tm_hour),
                        low(local.tm_min),  low(local.tm_sec)};
    return TensioFrame::setting(kClockCode, values, xorOf(values));
}

std::vector<std::uint8_t> TensioSettingFrames::config(const HalvoraSDKTensioBraceletConfig& config) {
    const std::uint8_t ambulatory = config.ambulatoryEnabled ? 1 : 0;
    const std::uint8_t hand = low(config.hand);
    const Values values{ambulatory, kConfigFixed, 0, 0, hand, 0};
    return TensioFrame::setting(kConfigCode, values, static_cast<std::uint8_t>((ambulatory + kConfigCheckBase) ^ hand));
}

std::vector<std::uint8_t> TensioSettingFrames::ambulatoryWindow(const HalvoraSDKTensioBraceletInterval& window,
                                                                std::int32_t serial, std::size_t count) {
    const auto windows = static_cast<std::uint8_t>(count & kLowNibble);
    const Values values{low(window.startHour),
                        halfHourFlag(window.startMinuteInterval),
                        low(window.endHour),
                        halfHourFlag(window.endMinuteInterval),
                        low(std::int64_t{serial} * kSerialStep + windows),
                        periodByte(window.ambulatoriInterval)};
    return TensioFrame::setting(kAmbulatoryWindowCode, values, xorOf(values));
}

std::uint8_t TensioSettingFrames::periodByte(std::int32_t ambulatoriInterval) {
    if (ambulatoriInterval >= kFirstUnsentPeriod) return 0;
    return low(kPeriodStep * ambulatoriInterval + kPeriodStep);
}

}  // namespace halvora
