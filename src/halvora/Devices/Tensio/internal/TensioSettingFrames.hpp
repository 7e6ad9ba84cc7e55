#pragma once

#include <cstdint>
#include <ctime>
#include <vector>

#include "halvora/Devices/Tensio/HalvoraSDKTensioBraceletConfig.hpp"
#include "halvora/Devices/Tensio/HalvoraSDKTensioBraceletInterval.hpp"

namespace halvora {

/// The wrist blood-pressure bracelet's eleven-byte settings (clock, ambulatory window, configuration), each
/// 5A 00 07 code v1..v6 k with its own check. Numbers are sent as their low byte; nothing here fails.
class TensioSettingFrames {
public:
    TensioSettingFrames() = delete;

    /// Code of the clock setting.
    static constexpr std::uint8_t kClockCode = 0x20;
    /// Code of an ambulatory window.
    static constexpr std::uint8_t kAmbulatoryWindowCode = 0x21;
    /// Code of the configuration.
    static constexpr std::uint8_t kConfigCode = 0x22;
    /// XOR-ed into the clock's and the window's checks.
    static constexpr std::uint8_t kCheckSeed = 0x07;
    /// Minutes sent for a time at half past.
    static constexpr std::uint8_t kHalfHour = 30;
    /// Period codes from this one up are sent as 0.
    static constexpr std::int32_t kFirstUnsentPeriod = 8;
    /// Minutes per step of the period code.
    static constexpr std::int64_t kPeriodStep = 30;

    /// 20 YY MM DD hh mm ss k from a local civil time: YY = year mod 100, k = XOR of the six XOR 07.
    static std::vector<std::uint8_t> clock(const std::tm& local);
    /// 22 A 01 00 00 H 00 k: A = 1 with the ambulatory schedule on, H = the hand, k = (A + 6) XOR H.
    static std::vector<std::uint8_t> config(const HalvoraSDKTensioBraceletConfig& config);
    /// 21 b4..b9 k for window `serial` (from 1) of a list of `count`: start hour, 30 or 0, end hour, 30 or 0,
    /// serial x 16 + (count AND 0F), the period byte; k = XOR of b4..b9 XOR 07.
    static std::vector<std::uint8_t> ambulatoryWindow(const HalvoraSDKTensioBraceletInterval& window,
                                                      std::int32_t serial, std::size_t count);
    /// 30 x code + 30 as a byte for a code below 8, else 0.
    static std::uint8_t periodByte(std::int32_t ambulatoriInterval);
};

}  // namespace halvora
