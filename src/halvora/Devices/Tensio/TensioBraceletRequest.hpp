#pragma once

#include <cstdint>

namespace halvora {

/// The numbers of the wrist blood-pressure bracelet's requests: the request in progress on the driver
/// (`HalvoraSDKTensioBracelet::request()`) and what `tensioBraceletRequestExecuted` reports.
class TensioBraceletRequest {
public:
    TensioBraceletRequest() = delete;

    /// No request in progress.
    static constexpr std::int32_t kNone = 0;
    /// `startMeasurement`.
    static constexpr std::int32_t kStartMeasurement = 1;
    /// `setConfig`.
    static constexpr std::int32_t kSetConfig = 2;
    /// `removeBloodPressureHistory`.
    static constexpr std::int32_t kRemoveBloodPressureHistory = 3;
    /// `getSmartwatchTime`.
    static constexpr std::int32_t kGetSmartwatchTime = 4;
    /// `getAmbulatoryBloodPressureTime`.
    static constexpr std::int32_t kGetAmbulatoryBloodPressureTime = 5;
    /// `getBasicInfo`.
    static constexpr std::int32_t kGetBasicInfo = 6;
    /// `resetDefaults`.
    static constexpr std::int32_t kResetDefaults = 7;
    /// `setAmbulatoryBloodPressureTime` (one request per window).
    static constexpr std::int32_t kSetAmbulatoryBloodPressureTime = 8;
    /// `setSmartwatchTime`.
    static constexpr std::int32_t kSetSmartwatchTime = 9;
    /// `stopMeasurement`.
    static constexpr std::int32_t kStopMeasurement = 10;
    /// `getBloodPressureHistory`.
    static constexpr std::int32_t kGetBloodPressureHistory = 11;
    /// `returnMeasurement`.
    static constexpr std::int32_t kReturnMeasurement = 12;
};

}  // namespace halvora
