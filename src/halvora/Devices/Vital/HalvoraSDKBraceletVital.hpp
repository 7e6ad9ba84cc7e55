#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "halvora/Core/Date.hpp"
#include "halvora/Core/SerialCommandDevice.hpp"
#include "halvora/Devices/Vital/HalvoraBraceletVITALDelegate.hpp"
#include "halvora/Devices/Vital/HalvoraSDKDetailedSleepData.hpp"
#include "halvora/Devices/Vital/HalvoraSDKDetailedStepData.hpp"
#include "halvora/Devices/Vital/HalvoraSDKResponse.hpp"
#include "halvora/Devices/Vital/HalvoraSDKSportData.hpp"
#include "halvora/Devices/Vital/HalvoraSDKStepSummaryData.hpp"
#include "halvora/Devices/Vital/HalvoraSDKUser.hpp"
#include "halvora/Devices/Vital/HalvoraSDKVitalActivityPeriod.hpp"
#include "halvora/Devices/Vital/HalvoraSDKVitalAlarm.hpp"
#include "halvora/Devices/Vital/HalvoraSDKVitalECGData.hpp"
#include "halvora/Devices/Vital/HalvoraSDKVitalHRVData.hpp"
#include "halvora/Devices/Vital/HalvoraSDKVitalParams.hpp"
#include "halvora/Devices/Vital/HalvoraSDKVitalPeriod.hpp"
#include "halvora/Devices/Vital/HalvoraSDKVitalWeather.hpp"
#include "halvora/Records/HalvoraSDKHeartBeatData.hpp"
#include "halvora/Records/HalvoraSDKOximeterData.hpp"
#include "halvora/Records/HalvoraSDKThermometerData.hpp"

namespace halvora {

class VitalECGFilter;

/// The "J2025E" wrist bracelet (device kind 10), which speaks in fixed 16-byte frames: the request code in
/// byte 0, the payload in bytes 1 to 14 (zero where unused) and in byte 15 the low byte of the sum of bytes 0
/// to 14 taken as signed bytes. The weather sends the first 16 bytes of a 41-byte layout; the alarms one
/// 39-byte block per alarm and 23 FF, cut into 20-byte writes. Replies are notifications of the read
/// characteristic; byte 0 is the request's code (success), the code with bit 7 set (refusal, reported as
/// error 0), or an event code (0x16 operation, 0x18 sport heartbeat, 0xFE SOS). Replies carry no checksum.
///
/// Connection: the service FFF0 is asked for its read (FFF7) and send (FFF6) characteristics; notifications
/// are switched on, the driver reports ready (and again when the notification descriptor is written) and
/// remembers the peripheral's identifier as the bracelet (`setBraceletUUID`).
///
/// Requests: every public request but `getAutomaticDetection` goes through the driver's `CommandQueue`
/// ("VITAL.sendDataQueue" for a driver made without a callback queue): it waits for the permit at most 60
/// seconds (then goes anyway), checks its arguments (a refusal is reported as an error before anything is
/// written and frees the permit), and writes its frame. The reply frees the permit. The two-step exchanges
/// keep it: the 0x03 reply queues the second parameter frame 0x06, the 0x04 reply the read 0x07, both
/// without the permit (so a request already waiting for the permit goes first, after its own wait), and the
/// 0x06 or 0x07 reply frees it. `getAutomaticDetection` writes at once, without queue or permit.
///
/// Results and errors go to the manager's `braceletVITALDelegate` under fixed command numbers (the numbers
/// are part of the kit's interface and never change): 0 `setTime`, 1 `getTime` (Date), 2 a real-time
/// reading, 3 `getStepGoal`, 4 `setStepGoal`, 5 `getAutomaticDetection`, 6 `getActivityPeriod`, 7
/// `setActivityPeriod`, 8 `getMACAddress`, 9 `setRealtimeStepCounting` (refusal), 10 `setDeviceParameters`,
/// 11 `getDeviceParameters`, 12 `setUserInformation`, 13 `getUserInformation`, 14 `getDeviceBattery`, 15
/// `setAutomaticDetection`, 16 `setHealthMeasurementControl`, 33 `showQRCode`, 34
/// `setAlarms`, 35 `sportModeControlEnable`, 36 `setWeather`, 38 and 39 sport heartbeats; the history
/// downloads 17 daily totals, 18 steps, 19 sleep, 20 heart rate, 21 automatic heart rate, 22 blood oxygen,
/// 23 automatic blood oxygen, 24 HRV, 25 sport, 26 temperature, 27 automatic temperature; the ECG 28 start of
/// an upload, 29 measurement status, 30 finished measurement, 31 heart-rate status and live values, 32 stored
/// waveform. See HalvoraSDKResponse for each result's value.
///
/// History downloads: the request clears its list (heart rate and HRV share one, as do the two temperature,
/// the two blood-oxygen and the two step requests, so a request clears its partner's records too) and takes
/// the permit. Each reply holds records of a fixed size from byte 1; a record whose first byte is 0xFF ends
/// the transfer: the list is delivered and the permit freed. Until then the records of every notification of
/// the same code are gathered and the permit stays taken. Sleep replies hold one record each, cut into
/// light and deep segments.
///
/// Argument errors: `setDeviceParameters` 0 (no notifications), 3 (heart-rate base outside 40 to 255), 4
/// (brightness outside 0 to 15), 5 (dial outside 0 to 9); `setActivityPeriod` 7 (reminder period from 256),
/// 8 (minimum steps from 256), 6 (invalid window); `setAutomaticDetection` 2 (interval from 65536 in mode
/// 2), 6 (invalid window unless off); `sportModeControlEnable` 2 (time period from 256); `getECGWaveform` 2
/// (record outside 0 to 255). Checks run in that order; the first that fails is reported.
///
/// The permit: a reply frees it only when a request holds it, so the bracelet's own traffic (the real-time
/// stream, events, replies nobody asked for) never hands out a spare permit that would let two requests be
/// outstanding. Events (0x16, 0x18, 0xFE), the heart-rate status (0x83) and 0xAA keep it as it is; every
/// other reply code, known or not, frees it, except the ECG status (0x9C) and waveform pages before the end
/// page (0x71), which keep it.
///
/// ECG: `getECGStartDataUploading` (0x99) resets the filter and expects live frames (0xAA); its answer's
/// status is reported as command 28 and frees the permit, a status above 1 stops expecting live frames.
/// `getECGMeasurementStatus` (0x9C) frees the permit as soon as it is written; its answer reports the
/// status as command 29, after the measurement's summary as command 30 when the status is 3 (finished,
/// which also stops expecting live frames). The heart-rate status (0x83) is command 31. Live frames are
/// decoded only while an upload is expected (command 31, one record per frame, dated on arrival); others
/// are dropped. `getECGWaveform` (0x71, the record number in byte 1) resets the filter and starts a new
/// record: the first page carries its header (and samples from byte 27), later pages samples from byte 3
/// (pages shorter than 4 bytes carry none), and the 3-byte end page delivers it as command 32 and frees the
/// permit. Every sample goes through the kit's band-pass filter, one continuous filter from each start to
/// the next.
///
/// Bad input: every notification is untrusted; one without a byte is ignored. A reply shorter than the bytes
/// its decoder reads reports nothing and frees the permit as its row says (a short 0x04 still sends the
/// second read, which then completes with the last parameters kept; a short 0x16 reports no operation). The
/// history lists are the only buffers that grow from the bracelet's input: each holds at most
/// `VitalHistoryPages::kMaxRecords` (100,000) records, further records of a transfer are dropped and the
/// transfer still ends with its end mark. Minutes converted to seconds that would not fit a 32-bit number are
/// held at its limit. A record cut short by the notification's end, or with an invalid
/// date, gives nothing; a history reply without a record slot is ignored and keeps the permit. A waveform
/// record holds at most `kMaxECGSamples` samples: further samples of the transfer are dropped and counted (one
/// log line at the first drop, one with the count when the record is delivered), and the end page still
/// delivers the record. ECG replies too short for their
/// fields report nothing (a short 0x99 still frees the permit; a finished status without its summary reports
/// only command 29); a first waveform page too short for its header is ignored. Dates that are not valid
/// leave the record's date at the epoch.
///
/// Threads: everything the driver holds is touched on its callback queue ("halvora.cb"): its peripheral's
/// events arrive there and its command-queue items run there. The public requests and `deinit` must be
/// called on that queue (the manager posts the application's calls there). Drivers must be owned by a
/// std::shared_ptr.
class HalvoraSDKBraceletVital : public SerialCommandDevice {
public:
    /// How long a request waits for the permit.
    static constexpr Duration kCommandWaitLimit = std::chrono::seconds(60);
    /// The queue a driver made without a callback queue makes for its requests.
    static constexpr const char* kSendQueueLabel = "VITAL.sendDataQueue";
    /// The prefix of the log line of every reply, followed by "0x%02x, " per byte.
    static constexpr const char* kReceivedDataPrefix = "HalvoraSDK: Measure BRACELET VITAL: ";

    /// "J2025E".
    static std::string getName() { return "J2025E"; }
    /// The empty text (the bracelet has one name).
    static std::string getSecondName() { return ""; }
    /// The protocol service.
    static BLEUUID rsServiceUUID() { return BLEUUID("0000fff0-0000-1000-8000-00805f9b34fb"); }
    /// The write characteristic (phone to bracelet).
    static BLEUUID sendCharacteristicUUID() { return BLEUUID("0000fff6-0000-1000-8000-00805f9b34fb"); }
    /// The notify characteristic (bracelet to phone).
    static BLEUUID readCharacteristicUUID() { return BLEUUID("0000fff7-0000-1000-8000-00805f9b34fb"); }
    /// The device information identifier ("fff0").
    static BLEUUID deviceInformationServiceUUID() { return BLEUUID("fff0"); }
    /// True when the peripheral has a name that contains "J2025E".
    static bool matchDevice(const std::shared_ptr<Peripheral>& peripheral);
    /// The low byte of the sum of the first `length` bytes taken as signed bytes; 0 for a length below 1.
    static std::uint8_t calculateChecksum(std::span<const std::uint8_t> bytes, std::int32_t length);

    /// A driver using the context's executor, callback queue, log, preferences and delegates.
    explicit HalvoraSDKBraceletVital(DriverContext context = {});
    ~HalvoraSDKBraceletVital() override;

    DeviceKind getType() const override { return DeviceTypeBraceletVital; }
    std::string className() const override { return "HalvoraSDKBraceletVital"; }

    /// True when the connected peripheral's name is exactly "J2025E".
    bool isCorrectDevice() const;
    /// The peripheral's identifier, "-" without one.
    std::string getIdentifier() const;

    // ------------------------------------------------------------------ settings (call on the callback queue)

    /// 0x01: the clock, local time (command 0).
    void setTime(Date date);
    /// 0x41: reads the clock (command 1, a Date).
    void getTime();
    /// 0x0B: the daily step goal (command 4).
    void setStepGoal(std::uint32_t goal);
    /// 0x4B: reads the step goal (command 3).
    void getStepGoal();
    /// 0x22: reads the MAC address (command 8).
    void getMACAddress();
    /// 0x02: the user record; the age comes from the birth date when there is one (command 12).
    void setUserInformation(const HalvoraSDKUser& user);
    /// 0x42: reads the user record (command 13).
    void getUserInformation();
    /// 0x03 then 0x06: the device parameters, checked first (command 10).
    void setDeviceParameters(const HalvoraSDKVitalParams& parameters);
    /// 0x04 then 0x07: reads the device parameters (command 11).
    void getDeviceParameters();
    /// 0x13: reads the battery level (command 14, under "batteryLevel").
    void getDeviceBattery();
    /// 0x25: the exercise reminder, checked first (command 7).
    void setActivityPeriod(const HalvoraSDKVitalActivityPeriod& period);
    /// 0x26: reads the exercise reminder (command 6).
    void getActivityPeriod();
    /// 0x2A: the measurement schedule of `period.type`, checked first (command 15, type = the quantity).
    void setAutomaticDetection(const HalvoraSDKVitalPeriod& period);
    /// 0x2B: reads the schedule of a quantity, written at once without the queue or the permit (command 5).
    void getAutomaticDetection(std::int32_t type);
    /// 0x28: starts or stops measuring a quantity (command 16, type = the quantity).
    void setHealthMeasurementControl(std::int32_t quantity, bool enable);
    /// 0x09: switches the real-time steps and temperature (refusal: command 9; readings: command 2).
    void setRealtimeStepCounting(bool steps, bool temperature);
    /// 0x19: sport mode; the level is sent for mode 6 only (command 35).
    void sportModeControlEnable(std::int32_t enable, std::int32_t sportMode, std::int32_t levelSelection,
                                std::int32_t timePeriod);
    /// 0x17: the phone's sport heartbeat; distance, pace in seconds, GPS strength. No result: the reply only
    /// frees the permit.
    void sendSportHeartbeatWithDistance(std::uint32_t distance, std::int32_t kmPerSeconds, std::int32_t gpsStrength);
    /// 0xB0: shows or hides the QR screen (command 33).
    void showQRCode(bool show);
    /// 0x15: the weather (command 36).
    void setWeather(const HalvoraSDKVitalWeather& weather);
    /// 0x23: the alarms, in one write (command 34). The number of alarms is not limited here.
    void setAlarms(const std::vector<HalvoraSDKVitalAlarm>& alarms);

    // ------------------------------------------------------------------ history (call on the callback queue)

    /// 0x51 with `first` in byte 1: the daily totals (command 17).
    void getTotalStepCount(std::int32_t first);
    /// 0x51 with byte 1 at 0: the daily totals (command 17).
    void getDaySteps();
    /// 0x52: the detailed steps (command 18). `record` is not sent.
    void getDetailedStepData(std::int32_t first = 0, std::int32_t record = 0);
    /// 0x53: the sleep segments (command 19). `record` is not sent.
    void getDetailedSleepData(std::int32_t first = 0, std::int32_t record = 0);
    /// 0x54: the automatic heart rate, one record per sample (command 21); `record`, when given, in bytes 2
    /// and 3 little-endian.
    void getAutomaticHeartRateData(std::int32_t first = 0, std::optional<std::int32_t> record = std::nullopt);
    /// 0x55: the spot heart rate (command 20). `record` is not sent.
    void getHeartRateData(std::int32_t first = 0, std::int32_t record = 0);
    /// 0x56: the HRV records (command 24). `record` is not sent.
    void getHRVData(std::int32_t first = 0, std::int32_t record = 0);
    /// 0x5C: the sport records (command 25). `record` is not sent.
    void getSportData(std::int32_t first = 0, std::int32_t record = 0);
    /// 0x60: the spot blood oxygen (command 22). `record` is not sent.
    void getBloodOxygenData(std::int32_t first = 0, std::int32_t record = 0);
    /// 0x62: the spot temperature (command 26). `record` is not sent.
    void getTemperatureData(std::int32_t first = 0, std::int32_t record = 0);
    /// 0x65: the automatic temperature (command 27). `record` is not sent.
    void getAutomaticTemperatureData(std::int32_t first = 0, std::int32_t record = 0);
    /// 0x66: the automatic blood oxygen (command 23). `record` is not sent.
    void getAutomaticBloodOxygenData(std::int32_t first = 0, std::int32_t record = 0);

    // ------------------------------------------------------------------ ECG (call on the callback queue)

    /// Samples one waveform record holds at most (a recording lasts minutes at a few hundred samples a
    /// second, far below this); further samples are dropped, counted and logged.
    static constexpr std::size_t kMaxECGSamples = 1000000;
    /// Record numbers `getECGWaveform` accepts: 0 to this.
    static constexpr std::int32_t kMaxECGRecord = 255;

    /// 0x99: resets the filter and starts an ECG upload; live frames are expected from now on (command 28,
    /// a `HalvoraSDKVitalECGStatus` without data).
    void getECGStartDataUploading();
    /// 0x9C: asks for the measurement status; the permit is freed once written (command 29, and 30 first
    /// when the measurement is finished).
    void getECGMeasurementStatus();
    /// 0x71: downloads the stored waveform `record` (0 to 255; any other is refused with error 2) through the
    /// freshly reset filter (command 32).
    void getECGWaveform(std::int32_t record);

    // ------------------------------------------------------------------ state, for tools and tests

    /// The last parameter record accepted or read. Call on the callback queue.
    const HalvoraSDKVitalParams& parameters() const { return parameters_; }
    /// Logs `data` as "HalvoraSDK: Measure BRACELET VITAL: 0x01, 0x02, ".
    void showReceivedData(std::span<const std::uint8_t> data) const;

    // ------------------------------------------------------------------ peripheral events

    /// Dispatches a reply of the read characteristic (others, and events with an error, are ignored).
    void peripheralDidUpdateValueForCharacteristic(const std::shared_ptr<Peripheral>& peripheral,
                                                   const std::shared_ptr<Characteristic>& characteristic,
                                                   const std::vector<std::uint8_t>& value,
                                                   const OptionalError& error) override;

protected:
    /// Reports ready and remembers the bracelet.
    void characteristicsReady(const std::shared_ptr<Peripheral>& peripheral) override;

private:
    // The permit and delivery.
    void request(std::function<void(HalvoraSDKBraceletVital&)> work);
    void requestFrame(std::vector<std::uint8_t> frame);
    void followUp(std::vector<std::uint8_t> frame);
    void releaseSemaphore();
    void sendSuccessfulCommand(std::int32_t command, std::int32_t type, HalvoraSDKResponseData data,
                               bool releaseSemaphore);
    void sendError(std::int32_t error, std::int32_t command, bool releaseSemaphore);
    void sendSOS();
    void sendOperation(std::int32_t operation);
    std::shared_ptr<HalvoraBraceletVITALDelegate> vitalDelegate() const;

    // Replies (HalvoraSDKBraceletVitalReplies.cpp).
    void handleReply(std::span<const std::uint8_t> reply);
    void handleParametersAcknowledged();
    void handleFirstParameters(std::span<const std::uint8_t> reply);
    void handleSecondParameters(std::span<const std::uint8_t> reply);
    void handleRealtimeData(std::span<const std::uint8_t> reply);
    void handleBattery(std::span<const std::uint8_t> reply);
    void handleFirmwareCommand(std::span<const std::uint8_t> reply);
    void handleSportHeartbeat(std::span<const std::uint8_t> reply);
    void handleMacAddress(std::span<const std::uint8_t> reply);
    void handleActivityPeriod(std::span<const std::uint8_t> reply);
    void handleHealthMeasurement(std::span<const std::uint8_t> reply);
    void handleDetectionSettings(std::span<const std::uint8_t> reply);
    void handleTime(std::span<const std::uint8_t> reply);
    void handleUser(std::span<const std::uint8_t> reply);
    void handleStepGoal(std::span<const std::uint8_t> reply);
    void handleHistoryPage(std::span<const std::uint8_t> reply);
    void handleECGWaveformPage(std::span<const std::uint8_t> reply);
    void handleECGStarted(std::span<const std::uint8_t> reply);
    void handleECGStatus(std::span<const std::uint8_t> reply);

    // History (HalvoraSDKBraceletVitalHistory.cpp).
    void requestHistory(std::vector<std::uint8_t> frame, void (HalvoraSDKBraceletVital::*clear)());
    void clearSteps();
    void clearSleep();
    void clearHeartRates();
    void clearBloodOxygen();
    void clearTemperatures();
    void clearSports();
    bool handleHistory(std::span<const std::uint8_t> reply);
    void handleTotalsPage(std::span<const std::uint8_t> reply);
    void handleDetailedStepsPage(std::span<const std::uint8_t> reply);
    void handleSleepPage(std::span<const std::uint8_t> reply);
    void handleAutomaticHeartRatePage(std::span<const std::uint8_t> reply);
    void handleHeartRatePage(std::span<const std::uint8_t> reply);
    void handleHRVPage(std::span<const std::uint8_t> reply);
    void handleSportPage(std::span<const std::uint8_t> reply);
    void handleBloodOxygenPage(std::span<const std::uint8_t> reply, std::int32_t command);
    void handleTemperaturePage(std::span<const std::uint8_t> reply, const char* request, std::int32_t command);
    void handleSOS();

    // ECG (HalvoraSDKBraceletVitalECG.cpp).
    void handleHeartRateStatus(std::span<const std::uint8_t> reply);
    void handleECGValues(std::span<const std::uint8_t> reply);
    void startECGRecord(std::span<const std::uint8_t> header);
    void appendECGSamples(std::span<const std::uint8_t> page, std::size_t first);

    HalvoraSDKVitalParams parameters_;
    bool slotHeld_ = false;
    bool syncParams_ = false;  // never set: 0x83 is always the heart-rate status
    bool waitingECG_ = false;  // live ECG frames are expected
    bool waitingHeartRateResponse_ = false;
    std::int32_t periodType_ = 0;
    std::int32_t healthMeasurement_ = 0;

    // The history lists; pairs share one list on the bracelet's side and are cleared together.
    std::vector<HalvoraSDKStepSummaryData> stepSummaries_;
    std::vector<HalvoraSDKDetailedStepData> detailedSteps_;
    std::vector<HalvoraSDKDetailedSleepData> sleepSegments_;
    std::vector<HalvoraSDKHeartBeatData> heartRates_;
    std::vector<HalvoraSDKVitalHRVData> hrvRecords_;
    std::vector<HalvoraSDKOximeterData> bloodOxygen_;
    std::vector<HalvoraSDKThermometerData> temperatures_;
    std::vector<HalvoraSDKSportData> sports_;

    // ECG: one filter from each start on, the waveform record being assembled and its dropped samples.
    std::unique_ptr<VitalECGFilter> ecgFilter_;
    std::optional<HalvoraSDKVitalECGData> ecgRecord_;
    std::size_t ecgSamplesDropped_ = 0;
};

}  // namespace halvora
