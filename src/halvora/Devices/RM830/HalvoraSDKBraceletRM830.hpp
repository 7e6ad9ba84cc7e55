#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "halvora/Core/Date.hpp"
#include "halvora/Core/SerialCommandDevice.hpp"
#include "halvora/Devices/RM830/HalvoraBraceletRM830Delegate.hpp"
#include "halvora/Devices/RM830/HalvoraSDKRM830TimeRange.hpp"
#include "halvora/Runtime/CommandQueue.hpp"

namespace halvora {

class HalvoraDeviceDelegate;
class PreferenceUtils;
class RM830DayFrames;
class RM830HeartRateDownload;

/// The activity bracelet "J-Style" / "HalVora" / "HR1638" (device kind 6), which speaks in fixed 16-byte
/// frames: the command code in byte 0, parameters in bytes 1 to 14 (zero where unused), and in byte 15 the
/// low byte of the sum of bytes 0 to 14. Numbers of the date and time and of the monitoring window are BCD.
/// Each answer, a notification of the read characteristic, starts with the code of the command it answers;
/// a failed command is answered with its code with the top bit set. Answers carry no checksum the kit checks.
///
/// Connection: the service FFF0 is asked for its read (FFF7) and send (FFF6) characteristics; notifications
/// are switched on, the driver reports ready (and again when the notification descriptor is written),
/// remembers the peripheral's identifier as the bracelet to reconnect (`setBraceletUUID`), and asks for the
/// firmware version, then (once per driver) sets the time format.
///
/// Commands: every public command goes through the driver's `CommandQueue`. A command waits for the command
/// slot, that is for the answer to the previous command, for at most 60 seconds, then is sent anyway. The
/// answer gives the slot back as the answer table says:
///
/// - 0x01, 0x02, 0x0B, 0x37: gives the slot back, then `operationFinished(true)`;
/// - 0x19, 0x2A, 0x46: `operationFinished(true)`, then gives the slot back;
/// - 0x09: today's totals to `braceletCurrentStepsReceived`, then stops real-time mode (the answer to the stop
///   gives the slot back);
/// - 0x27: records the version, reports "Version :" and the version (kind 6, `deviceOnSendInformation`), runs
///   `updateFirmware`, gives the slot back;
/// - 0x2C: byte 1 = 0: gives the slot back, then `operationFinished(true)`; any other value goes to
///   `braceletRM830HRReceived` and the slot stays taken;
/// - 0x2F: a heart-rate history packet (below);
/// - 0x43: byte 1 = 0xFF: no data, gives the slot back; 0xF0: one quarter hour of the day (below); any other
///   value: nothing;
/// - 0x6D: byte 1 to `braceletRM830HRReceived`, gives the slot back;
/// - 0x82, 0x8B, 0xB7: gives the slot back, then `operationFinished(false)`;
/// - 0x89: stops real-time mode;
/// - 0xA9: `operationFinished(false)`; the slot stays taken;
/// - 0xAA, 0xAC, 0xC6: `operationFinished(false)`, then gives the slot back;
/// - any other code, below 0x80 or not: gives the slot back.
///
/// Follow-ups that the answers set off (`stopRealtime(1)`, `getHeartRateValueNoLock`) and
/// `getHeartRateValue` of a packet other than 0 do not take the slot: they run under the slot of the request
/// they follow, but still in their turn, behind a command that waits for the slot. An answer that keeps the
/// slot (a heart-rate value of the real-time stream, 0xA9, a history frame of unknown kind) or a lost
/// answer leaves the next command waiting its 60 seconds.
///
/// History day: `synchronizeDataDaysAgo` asks for one day; the bracelet sends 96 frames, one per quarter
/// hour, decoded when the 96th has arrived into steps and sleep records (dates in local time through
/// `Calendar`) and delivered with `braceletSyncReceived` (not at all when the day has no record). For today
/// (days 0) the real-time totals are asked for after the day.
///
/// Heart-rate history: `getHeartRateValue(0)` empties the list and asks for packet 0; each answer with byte 1
/// = 0x64 asks for the next packet, the answer with byte 1 = 0xFF hands the list to
/// `braceletRM830HRSyncReceived` and gives the slot back. Each packet's twelve readings are added to the list
/// after that: the last packet's readings are therefore not in the list handed over (this is the bracelet
/// family's order and is kept on purpose).
///
/// Firmware: `updateFirmware` compares the kit's firmware version "54.51.56.1" with the bracelet's
/// numerically; when the bracelet's is older (or not known yet) it queues the switch to the updater (0x47,
/// under the slot) and 3 seconds after sending it asks the manager, on the executor's main queue, to connect
/// the bracelet in update mode (kind 8, 30 s time-out). Otherwise it reports "Firmware is already updated"
/// (kind 6, `deviceOnSendInformation`). The version answer runs it, so an older bracelet goes to update mode
/// right after every connection.
///
/// Bad input: every notification is untrusted; a notification without a byte is ignored. An answer shorter
/// than what its row reads is not decoded, and then:
/// - today's totals (0x09) need 13 bytes: nothing is reported, real-time mode is still stopped;
/// - the version (0x27) needs 5 bytes: nothing is recorded or reported, no firmware check; the slot is
///   given back;
/// - a real-time heart rate (0x2C) needs 2 bytes: ignored, the slot stays as it is;
/// - a heart rate (0x6D) needs 2 bytes: nothing is reported; the slot is given back;
/// - a history day answer (0x43) needs 2 bytes, and a quarter-hour frame 15: ignored and not counted, the
///   slot stays taken (a truncated day cannot complete; giving the slot back once per broken frame would
///   hand out permits the next commands would then not wait for), so the next command goes after its wait;
/// - a heart-rate history packet (0x2F) needs 19 bytes: the download ends there: the list collected so far
///   is handed over, the slot given back and one line logged.
///
/// Caps: the day buffer holds at most 96 frames (a frame beyond is dropped until the next day request
/// empties it). The heart-rate list holds the readings of at most 256 packets between two requests for
/// packet 0 (packet numbers are one byte, so a download from packet 0 has no more): the answer that brings
/// the 256th packet ends the download as a last packet would (the list is handed over, the packet's readings
/// are added after, the slot is given back) instead of asking for another, and one line is logged; a full
/// list takes no more readings (an answer marked last still hands it over and gives the slot back).
///
/// Threads: everything the driver holds is touched on its callback queue ("halvora.cb"): its peripheral's
/// events arrive there and its command-queue items run there. The public commands (and `deinit`) must be
/// called on that queue too (the manager posts the application's calls there). A driver made without a
/// callback queue makes its own queue ("rm830.sendDataQueue"); one made without an executor sends no
/// commands. Results go to the manager's `braceletRM830Delegate` as it is at the moment of delivery (dropped
/// when there is none), version and firmware messages to its `deviceDelegate`. Drivers must be owned by a
/// std::shared_ptr.
class HalvoraSDKBraceletRM830 : public SerialCommandDevice {
public:
    /// How long a command waits for the answer to the previous one.
    static constexpr Duration kCommandWaitLimit = std::chrono::seconds(60);
    /// Delay between sending the switch to the updater and asking for the bracelet in update mode.
    static constexpr Duration kUpdaterConnectionDelay = std::chrono::seconds(3);
    /// The time-out of that connection request, seconds.
    static constexpr std::int32_t kUpdaterConnectionTimeout = 30;
    /// The information kind of the version and firmware messages (the bracelet's device kind).
    static constexpr DeviceKind kInformationKind = DeviceTypeBraceletRM830;
    /// Argument of the opening `synchronizeParams`.
    static constexpr std::int32_t kOpeningParams = 1;
    /// "Version :", followed by the version in the message the version answer sends.
    static constexpr const char* kVersionMessagePrefix = "Version :";
    /// The message of a firmware check that found nothing to do.
    static constexpr const char* kFirmwareUpToDateMessage = "Firmware is already updated";

    /// "J-Style".
    static std::string getName() { return "J-Style"; }
    /// "HalVora".
    static std::string getSecondName() { return "HalVora"; }
    /// "HR1638": the only name whose bracelet takes automatic heart-rate monitoring windows.
    static std::string getThirdName() { return "HR1638"; }
    /// The service of the protocol.
    static BLEUUID rsServiceUUID() { return BLEUUID("0000fff0-0000-1000-8000-00805f9b34fb"); }
    /// The notify characteristic (bracelet to phone).
    static BLEUUID readCharacteristicUUID() { return BLEUUID("0000fff7-0000-1000-8000-00805f9b34fb"); }
    /// The write characteristic (phone to bracelet).
    static BLEUUID sendCharacteristicUUID() { return BLEUUID("0000fff6-0000-1000-8000-00805f9b34fb"); }
    /// The device information identifier of the bracelet ("FFF0").
    static BLEUUID deviceInformationServiceUUID() { return BLEUUID("FFF0"); }
    /// True when the peripheral has a name equal to "J-Style", "HalVora" or "HR1638" (case-sensitive).
    static bool matchDevice(const std::shared_ptr<Peripheral>& peripheral);

    /// The sum of the values (wrapping in 32 bits); a frame keeps its low byte as the checksum.
    static std::int32_t crcCalculation(const std::vector<std::int32_t>& values);
    /// BCD of 0 to 99: (v / 10) x 16 + v % 10 (25 gives 0x25); for other values the low byte of the same
    /// formula.
    static std::uint8_t intToHexa(std::int32_t value);
    /// A BCD byte as a number: (b >> 4) x 10 + (b & 0x0F) (0x25 gives 25).
    static std::int32_t hexaToInt(std::uint8_t value);
    /// A BCD byte as its two digits, "%d%d" of the high and the low nibble (0x07 gives "07").
    static std::string byteToString(std::uint8_t value);

    /// A driver using the context's executor, callback queue, log, preferences, delegates and connector.
    explicit HalvoraSDKBraceletRM830(DriverContext context = {});
    ~HalvoraSDKBraceletRM830() override;

    DeviceKind getType() const override { return DeviceTypeBraceletRM830; }
    std::string className() const override { return "HalvoraSDKBraceletRM830"; }

    // ------------------------------------------------------------------ commands (call on the callback queue)

    /// 0x01: sets the bracelet's clock to `date` in local time; answered with `operationFinished(true)`.
    void synchronizeDateTime(Date date);
    /// 0x41: reads the bracelet's clock; the answer is not decoded.
    void readDateTime();
    /// 0x41, as `readDateTime`.
    void readDate();
    /// 0x37: sets the time format (always format 1; `flag` is ignored); answered with `operationFinished`.
    void synchronizeTimeFormat(std::int32_t flag);
    /// 0x38: reads the time format; the answer is not decoded.
    void readTimeFormat();
    /// On its first call for this driver only, sets the time format; later calls do nothing. `flag` is
    /// ignored.
    void synchronizeParams(std::int32_t flag);
    /// 0x02: the user's data: gender (1 is sent for gender 0), age in whole years from `birthday` (0 without
    /// one), height and weight (0xFF outside 0 to 254, 0 when absent) and the stride (integer part of
    /// height x 0.415, else 78 for gender 0 and 70 otherwise; 0xFF outside 0 to 254). `vibrate` is not sent.
    /// Answered with `operationFinished`.
    void synchronizePersonalInformation(std::optional<std::int32_t> heightCm, std::optional<std::int32_t> weightKg,
                                        std::int32_t gender, std::optional<Date> birthday, bool vibrate);
    /// 0x0B: the daily step goal, 24 bits big-endian (limited to 0 to 16777215); answered with
    /// `operationFinished`.
    void synchronizeTargets(std::int64_t steps);
    /// 0x46: asks for the dates that hold data; answered with `operationFinished`.
    void getDatesWithInfo();
    /// 0x09: asks for today's totals (delivered with `braceletCurrentStepsReceived`).
    void startRealTime();
    /// 0x0A: stops real-time mode; takes the slot only when `flag` is 0.
    void stopRealtime(std::int32_t flag);
    /// 0x42: reads the user's data; the answer is not decoded.
    void readPersonalInformation();
    /// 0x43: one history day, `days` back (0 today, its low byte is sent); for today the real-time totals are
    /// asked for after it. With no peripheral it gives the slot back and sends nothing.
    void synchronizeDataDaysAgo(std::int32_t days);
    /// 0x27: asks for the firmware version (see the class comment).
    void getFirmwareVersion();
    /// Switches the bracelet to its updater when its firmware is older than the kit's (see the class comment).
    void updateFirmware();
    /// 0x6D: measures the heart rate once (delivered with `braceletRM830HRReceived`).
    void getHeartRateBasicValue();
    /// 0x2F: asks for a packet of the heart-rate history; packet 0 empties the list and takes the slot, other
    /// packets do not take it.
    void getHeartRateValue(std::int32_t packet);
    /// 0x2F: asks for a packet of the heart-rate history, never taking the slot; packet 0 empties the list.
    void getHeartRateValueNoLock(std::int32_t packet);
    /// 0x2C: starts (values via `braceletRM830HRReceived`, the slot kept until the stream ends) or stops the
    /// real-time heart rate.
    void setRealtimeHREnabled(bool enabled);
    /// 0x19: switches automatic heart-rate monitoring on or off; answered with `operationFinished`.
    void setMonitoringHREnabled(bool enabled);
    /// 0x2A: switches the automatic heart-rate monitoring window on or off, with its hours (BCD) and days, or
    /// zeros without a range. Does nothing at all unless the connected peripheral is named "HR1638".
    void setMonitoringHRAuto(bool enabled, std::optional<HalvoraSDKRM830TimeRange> range);

    // ------------------------------------------------------------------ state, for tools and tests

    /// The firmware version the bracelet last reported ("54.51.56.1"); empty before its answer. Call on the
    /// callback queue.
    const std::string& version() const { return version_; }

    // ------------------------------------------------------------------ peripheral events

    /// Dispatches an answer of the read characteristic (others, and events with an error, are ignored).
    void peripheralDidUpdateValueForCharacteristic(const std::shared_ptr<Peripheral>& peripheral,
                                                   const std::shared_ptr<Characteristic>& characteristic,
                                                   const std::vector<std::uint8_t>& value,
                                                   const OptionalError& error) override;

protected:
    /// The characteristics are known: reports ready, remembers the bracelet and asks for the firmware version and the
    /// time format.
    void characteristicsReady(const std::shared_ptr<Peripheral>& peripheral) override;

private:
    // Commands.
    void sendWithSlot(std::vector<std::uint8_t> frame);
    void sendWithoutSlot(std::vector<std::uint8_t> frame);
    void requestDay(std::int32_t days);
    void requestHeartRatePacket(std::int32_t packet);
    void switchToUpdater();
    void releaseSlot();

    // Answers (HalvoraSDKBraceletRM830Answers.cpp).
    void handleAnswer(std::span<const std::uint8_t> answer);
    void handleCurrentDay(std::span<const std::uint8_t> answer);
    void handleFirmwareVersion(std::span<const std::uint8_t> answer);
    void handleRealtimeHeartRate(std::span<const std::uint8_t> answer);
    void handleHeartRate(std::span<const std::uint8_t> answer);
    void handleDayFrame(std::span<const std::uint8_t> answer);
    void handleHeartRateHistory(std::span<const std::uint8_t> answer);
    void endHeartRateDownload();
    void deliverDay();
    void finished(bool success);
    void reportHeartRate(std::int32_t heartRate);
    void sendInformation(const std::string& text);

    std::shared_ptr<HalvoraBraceletRM830Delegate> rm830Delegate() const;
    std::shared_ptr<HalvoraDeviceDelegate> deviceDelegate() const;

    std::string version_;
    bool syncParams_ = false;
    std::unique_ptr<RM830DayFrames> dayFrames_;
    std::unique_ptr<RM830HeartRateDownload> heartRates_;
};

}  // namespace halvora
