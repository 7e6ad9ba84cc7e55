#pragma once

#include <cstdint>
#include <vector>

#include "halvora/Devices/Tensio/TensioBraceletRequest.hpp"

namespace halvora {

/// The wrist blood-pressure bracelet's six-byte commands by name: the request each one starts and its code
/// and parameter (the frame is TensioFrame::command of them), and the reset, whose frame is fixed.
class TensioCommandTable {
public:
    TensioCommandTable() = delete;

    /// One six-byte command.
    struct Entry {
        std::int32_t request;    ///< the request it starts (TensioBraceletRequest)
        std::uint8_t code;       ///< byte 3
        std::uint8_t parameter;  ///< byte 4
    };

    /// 00 00.
    static constexpr Entry kStartMeasurement{TensioBraceletRequest::kStartMeasurement, 0x00, 0x00};
    /// 00 01.
    static constexpr Entry kStopMeasurement{TensioBraceletRequest::kStopMeasurement, 0x00, 0x01};
    /// 01 00.
    static constexpr Entry kGetBloodPressureHistory{TensioBraceletRequest::kGetBloodPressureHistory, 0x01, 0x00};
    /// 02 00.
    static constexpr Entry kRemoveBloodPressureHistory{TensioBraceletRequest::kRemoveBloodPressureHistory, 0x02, 0x00};
    /// 03 00.
    static constexpr Entry kGetSmartwatchTime{TensioBraceletRequest::kGetSmartwatchTime, 0x03, 0x00};
    /// 03 01.
    static constexpr Entry kGetAmbulatoryBloodPressureTime{TensioBraceletRequest::kGetAmbulatoryBloodPressureTime, 0x03,
                                                           0x01};
    /// 04 00.
    static constexpr Entry kGetBasicInfo{TensioBraceletRequest::kGetBasicInfo, 0x04, 0x00};
    /// 06 00.
    static constexpr Entry kReturnMeasurement{TensioBraceletRequest::kReturnMeasurement, 0x06, 0x00};
    /// 13 AA, sent as the fixed frame below.
    static constexpr Entry kResetDefaults{TensioBraceletRequest::kResetDefaults, 0x13, 0xAA};
    /// The reset's check byte: fixed, not the one the command rule gives.
    static constexpr std::uint8_t kResetCheck = 0xA8;

    /// The six-byte frame of `entry`, with the command check.
    static std::vector<std::uint8_t> frame(const Entry& entry);
    /// 5A 00 02 13 AA A8.
    static std::vector<std::uint8_t> resetFrame();
};

}  // namespace halvora
