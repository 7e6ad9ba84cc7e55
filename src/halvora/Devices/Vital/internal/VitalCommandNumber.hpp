#pragma once

#include <cstdint>

namespace halvora {

/// The numbers under which Vital results and errors reach the application. Applications depend on them:
/// they never change. 37 is never used.
class VitalCommandNumber {
public:
    VitalCommandNumber() = delete;

    static constexpr std::int32_t kSetTime = 0;                     ///< `setTime`
    static constexpr std::int32_t kGetTime = 1;                     ///< `getTime`
    static constexpr std::int32_t kRealtimeData = 2;                ///< a real-time reading
    static constexpr std::int32_t kGetStepGoal = 3;                 ///< `getStepGoal`
    static constexpr std::int32_t kSetStepGoal = 4;                 ///< `setStepGoal`
    static constexpr std::int32_t kGetAutomaticDetection = 5;       ///< `getAutomaticDetection`
    static constexpr std::int32_t kGetActivityPeriod = 6;           ///< `getActivityPeriod`
    static constexpr std::int32_t kSetActivityPeriod = 7;           ///< `setActivityPeriod`
    static constexpr std::int32_t kGetMACAddress = 8;               ///< `getMACAddress`
    static constexpr std::int32_t kSetRealtimeStepCounting = 9;     ///< `setRealtimeStepCounting`
    static constexpr std::int32_t kSetDeviceParameters = 10;        ///< `setDeviceParameters`
    static constexpr std::int32_t kGetDeviceParameters = 11;        ///< `getDeviceParameters`
    static constexpr std::int32_t kSetUserInformation = 12;         ///< `setUserInformation`
    static constexpr std::int32_t kGetUserInformation = 13;         ///< `getUserInformation`
    static constexpr std::int32_t kGetDeviceBattery = 14;           ///< `getDeviceBattery`
    static constexpr std::int32_t kSetAutomaticDetection = 15;      ///< `setAutomaticDetection`
    static constexpr std::int32_t kHealthMeasurementControl = 16;   ///< `setHealthMeasurementControl`
    static constexpr std::int32_t kGetTotalSteps = 17;              ///< daily totals
    static constexpr std::int32_t kGetDetailedSteps = 18;           ///< `getDetailedStepData`
    static constexpr std::int32_t kGetDetailedSleep = 19;           ///< `getDetailedSleepData`
    static constexpr std::int32_t kGetHeartRate = 20;               ///< `getHeartRateData`
    static constexpr std::int32_t kGetAutomaticHeartRate = 21;      ///< `getAutomaticHeartRateData`
    static constexpr std::int32_t kGetBloodOxygen = 22;             ///< `getBloodOxygenData`
    static constexpr std::int32_t kGetAutomaticBloodOxygen = 23;    ///< `getAutomaticBloodOxygenData`
    static constexpr std::int32_t kGetHRV = 24;                     ///< `getHRVData`
    static constexpr std::int32_t kGetSport = 25;                   ///< `getSportData`
    static constexpr std::int32_t kGetTemperature = 26;             ///< `getTemperatureData`
    static constexpr std::int32_t kGetAutomaticTemperature = 27;    ///< `getAutomaticTemperatureData`
    static constexpr std::int32_t kECGStartUploading = 28;          ///< `getECGStartDataUploading`
    static constexpr std::int32_t kECGMeasurementStatus = 29;       ///< `getECGMeasurementStatus`: the status
    static constexpr std::int32_t kECGMeasurementFinished = 30;     ///< the summary of a finished measurement
    static constexpr std::int32_t kECGValues = 31;                  ///< heart-rate status and live ECG values
    static constexpr std::int32_t kECGWaveform = 32;                ///< `getECGWaveform`
    static constexpr std::int32_t kShowQRCode = 33;                 ///< `showQRCode`
    static constexpr std::int32_t kSetAlarms = 34;                  ///< `setAlarms`
    static constexpr std::int32_t kSportModeControl = 35;           ///< `sportModeControlEnable`
    static constexpr std::int32_t kSetWeather = 36;                 ///< `setWeather`
    static constexpr std::int32_t kSportHeartbeatWithData = 38;     ///< a sport heartbeat with values
    static constexpr std::int32_t kSportHeartbeatWithoutData = 39;  ///< a sport heartbeat without values
};

}  // namespace halvora
