#pragma once

#include <cstdint>

namespace halvora {

/// The Vital bracelet's request and reply codes (byte 0 of a frame). A successful reply carries its
/// request's code; a refusal the same code with bit 7 set; events have codes of their own.
class VitalCodes {
public:
    VitalCodes() = delete;

    static constexpr std::uint8_t kSetTime = 0x01;                ///< sets the clock
    static constexpr std::uint8_t kSetUser = 0x02;                ///< sets the user record
    static constexpr std::uint8_t kSetParameters = 0x03;          ///< first frame of the parameters
    static constexpr std::uint8_t kGetParameters = 0x04;          ///< first frame of the parameter read
    static constexpr std::uint8_t kSetNewParameters = 0x06;       ///< second frame of the parameters
    static constexpr std::uint8_t kGetNewParameters = 0x07;       ///< second frame of the parameter read
    static constexpr std::uint8_t kRealtime = 0x09;               ///< real-time switch, and its readings
    static constexpr std::uint8_t kSetStepGoal = 0x0B;            ///< sets the step goal
    static constexpr std::uint8_t kBattery = 0x13;                ///< reads the battery level
    static constexpr std::uint8_t kWeather = 0x15;                ///< sets the weather
    static constexpr std::uint8_t kFirmwareCommand = 0x16;        ///< event: the bracelet asks for an operation
    static constexpr std::uint8_t kSportHeartbeat = 0x17;         ///< the phone's sport heartbeat
    static constexpr std::uint8_t kSportHeartbeatPacket = 0x18;   ///< event: the bracelet's sport heartbeat
    static constexpr std::uint8_t kSportMode = 0x19;              ///< sport mode control
    static constexpr std::uint8_t kMacAddress = 0x22;             ///< reads the MAC address
    static constexpr std::uint8_t kAlarms = 0x23;                 ///< sets the alarms
    static constexpr std::uint8_t kSetActivityPeriod = 0x25;      ///< sets the exercise reminder
    static constexpr std::uint8_t kGetActivityPeriod = 0x26;      ///< reads the exercise reminder
    static constexpr std::uint8_t kHealthMeasurement = 0x28;      ///< starts or stops a measurement
    static constexpr std::uint8_t kSetAutomaticDetection = 0x2A;  ///< sets a measurement schedule
    static constexpr std::uint8_t kGetAutomaticDetection = 0x2B;  ///< reads a measurement schedule
    static constexpr std::uint8_t kGetTime = 0x41;                ///< reads the clock
    static constexpr std::uint8_t kGetUser = 0x42;                ///< reads the user record
    static constexpr std::uint8_t kGetStepGoal = 0x4B;            ///< reads the step goal
    static constexpr std::uint8_t kTotalSteps = 0x51;             ///< history: daily totals
    static constexpr std::uint8_t kDetailedSteps = 0x52;          ///< history: steps
    static constexpr std::uint8_t kDetailedSleep = 0x53;          ///< history: sleep
    static constexpr std::uint8_t kAutomaticHeartRate = 0x54;     ///< history: automatic heart rate
    static constexpr std::uint8_t kHeartRate = 0x55;              ///< history: heart rate
    static constexpr std::uint8_t kHRV = 0x56;                    ///< history: HRV
    static constexpr std::uint8_t kSport = 0x5C;                  ///< history: sport
    static constexpr std::uint8_t kBloodOxygen = 0x60;            ///< history: blood oxygen
    static constexpr std::uint8_t kTemperature = 0x62;            ///< history: temperature
    static constexpr std::uint8_t kAutomaticTemperature = 0x65;   ///< history: automatic temperature
    static constexpr std::uint8_t kAutomaticBloodOxygen = 0x66;   ///< history: automatic blood oxygen
    static constexpr std::uint8_t kECGWaveform = 0x71;            ///< ECG waveform pages
    static constexpr std::uint8_t kHeartRateStatus = 0x83;        ///< heart-rate status (ECG)
    static constexpr std::uint8_t kECGStartUploading = 0x99;      ///< starts an ECG upload
    static constexpr std::uint8_t kECGStatus = 0x9C;              ///< ECG measurement status
    static constexpr std::uint8_t kECGValues = 0xAA;              ///< live ECG values
    static constexpr std::uint8_t kQRCode = 0xB0;                 ///< shows or hides the QR screen
    static constexpr std::uint8_t kSOS = 0xFE;                    ///< event: SOS

    /// The bit that marks a reply as its request's refusal.
    static constexpr std::uint8_t kRefusedBit = 0x80;
    /// The refusal reply of `code`.
    static constexpr std::uint8_t refused(std::uint8_t code) { return static_cast<std::uint8_t>(code | kRefusedBit); }
};

}  // namespace halvora
