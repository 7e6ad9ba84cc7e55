#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "halvora/Core/BLEDevice.hpp"
#include "halvora/Core/Date.hpp"
#include "halvora/Devices/PillReminder/HalvoraPillReminderDelegate.hpp"
#include "halvora/Devices/PillReminder/HalvoraSDKPillReminderAlarmData.hpp"
#include "halvora/Devices/PillReminder/HalvoraSDKPillReminderAlarmListData.hpp"
#include "halvora/Devices/PillReminder/HalvoraSDKPillReminderMessageData.hpp"
#include "halvora/Devices/PillReminder/PillReminderRequest.hpp"
#include "halvora/Runtime/CommandQueue.hpp"
#include "halvora/Transport/AdvertisementData.hpp"

namespace halvora {

/// The "tameinagli" pill box (device kind 9): it rings alarms at planned times, one of five pill
/// compartments at a time, and records whether each dose was taken.
///
/// Recognition: by the peripheral's name, or else by the local name of its advertisement (the box often
/// advertises with an empty peripheral name), so the manager keeps the advertisement for it.
///
/// Connection: the service ba11f08c-...-00434d4d4544 is asked for its four notify characteristics (cd01 to
/// cd04, notifications switched on for each) and its write characteristic (cd20); the hardware revision
/// (2A27, in service 1801) is read once. The driver then reports ready and sets the box's clock: first its
/// zone (the phone's offset from GMT, whole hours toward zero and the remaining minutes), then its time.
///
/// Frames, both ways: AA 55 len code payload checksum, where len counts the bytes after it and the checksum
/// is the low byte of the sum of len, code and payload. The box acknowledges a setting with AA 55 02 F0 F2.
/// Frames longer than 20 bytes are written in 20-byte pieces.
///
/// Requests (PillReminderRequest numbers): each public command queues one request on the driver's
/// CommandQueue; it waits for the command slot at most 60 seconds (then goes anyway), stores a fresh
/// `currentUUID()`, gives the slot straight back when no peripheral is attached, else sets
/// `currentRequest()` and writes its frame. The reply to the request in progress gives the slot back and
/// reaches the application's `HalvoraPillReminderDelegate` (looked up at the moment of delivery): a result,
/// or the request's error message when the reply has the wrong length or code. A lost reply holds the slot
/// until the next request's wait runs out.
///
/// Reply routing: every notification of the four notify characteristics goes to the parser of
/// `currentRequest()`; request 11 and numbers of 15 and above have no parser (the notification is only
/// logged). The hardware revision's value is kept (`hardwareRevision()`), not routed. A notification that
/// arrives when no request is in progress is judged as a reply to the last request written (its result or
/// error is reported again), but the slot is given back only by the request that holds it: a stray
/// notification never frees the slot twice, so two requests are never outstanding at once.
///
/// Schedule (request 8): `setAlarmsSchedule` first queues `clearAlarmSchedule` (request 14), then the
/// writing: the alarms are sorted by date and grouped by local day; a day of 11 alarms or more stops the
/// whole write with "Too many alarms for the same day", an alarm colour outside 1..5 with "Wrong color
/// number (available only 1-5)". Each day goes out in frames of at most five alarms (AA 55 11 D4, a 24-bit
/// day header, the packed day, five packed slots, FF FF for an unused one, checksum). The day header holds
/// the index of the day within this schedule (from 0) in its first 9 bits, the number of frames of this
/// schedule written before this one (from 0) in its next 9 bits, both taken modulo 512, and the day's alarm
/// count in its last 6 bits. Every frame's reply is reported ("Alarms set successfully", "Error in alarms
/// schedule" or "Hardware failure"); after the last one the driver writes the synchronisation status
/// (request 6) under the slot it already holds, so no other request comes between a frame and its reply.
/// A refused frame does not stop the others. An empty schedule is only the clearing and the
/// synchronisation status. A schedule write whose replies stop is abandoned by the next request.
///
/// Schedule read (request 9): a 20-byte notification is kept and the next one appended to it; a reply
/// with code D3 is one day of up to ten alarms, added to the list; the end reply AA 55 02 F0 .. delivers the
/// list. History (request 10): 20-byte pieces are kept until 40 bytes are held, the next notification
/// completes the reply (a notification of another length while fewer than 40 bytes are held is judged
/// alone, and the bytes held are dropped); a reply with code D5 carries up to eight entries, the end reply
/// AA 55 02 F0 F2 delivers the records. Any other reply ends either read with its error message and drops
/// what was gathered; a new read starts from nothing. A clock or synchronisation reply whose fields name no
/// real moment is the request's error message.
///
/// Bad input and caps: every notification is untrusted; parsers check the length before reading and never
/// read past the end. The schedule reassembly holds at most kMaxScheduleReplyLength bytes and the history
/// reassembly kMaxHistoryReplyLength bytes (the longest replies they build, with room for a longer final
/// piece); bytes past the cap are dropped (the parsers never need them). The lists being gathered hold at
/// most kMaxAlarms alarms and kMaxRecords records (ten a day for a leap year); entries past the cap are
/// dropped and the list delivered at the end reply holds the first ones. Alarms or history entries whose
/// fields do not name a real date are skipped.
///
/// Threads: everything the driver holds is touched on its callback queue ("halvora.cb"): its peripheral's
/// events arrive there and its command-queue items run there. The public commands may be called from any
/// thread (they only queue work); the inspectors and `deinit` belong on the callback queue. A driver made
/// without an executor sends nothing. Drivers must be owned by a std::shared_ptr.
class HalvoraSDKPillReminder : public BLEDevice {
public:
    /// The advertised name.
    static constexpr const char* kName = "tameinagli";
    /// The protocol service.
    static constexpr const char* kServiceUUIDText = "ba11f08c-5f14-0b0d-10c0-00434d4d4544";
    /// The pairing service (declared; the driver does not use it).
    static constexpr const char* kPairingServiceUUIDText = "ba11f08c-5f14-0b0d-10c0-ff434d4d4544";
    /// The first notify characteristic (the box's replies).
    static constexpr const char* kReadCharacteristicUUIDText = "0000cd01-0000-1000-8000-00805f9b34fb";
    /// The second notify characteristic.
    static constexpr const char* kReadCharacteristic4060UUIDText = "0000cd02-0000-1000-8000-00805f9b34fb";
    /// The third notify characteristic.
    static constexpr const char* kReadCharacteristic60UUIDText = "0000cd03-0000-1000-8000-00805f9b34fb";
    /// The fourth notify characteristic (real-time alarm status).
    static constexpr const char* kReadCharacteristicRealtimeUUIDText = "0000cd04-0000-1000-8000-00805f9b34fb";
    /// The write characteristic (phone to box).
    static constexpr const char* kSendCharacteristicUUIDText = "0000cd20-0000-1000-8000-00805f9b34fb";
    /// The service that carries the hardware revision.
    static constexpr const char* kDeviceInformationServiceUUIDText = "1801";
    /// The hardware revision text.
    static constexpr const char* kHardwareRevisionStringUUIDText = "2A27";
    /// The queue a driver made without a callback queue makes for its requests.
    static constexpr const char* kSendQueueLabel = "pillreminder.sendDataQueue";
    /// How long a request waits for the command slot.
    static constexpr Duration kCommandWaitLimit = std::chrono::seconds(60);
    /// The most alarms a day's frames can carry.
    static constexpr std::size_t kMaxAlarmsPerDay = 10;
    /// The most alarms a schedule read gathers (ten a day for a leap year); further ones are dropped.
    static constexpr std::size_t kMaxAlarms = kMaxAlarmsPerDay * 366;
    /// The most records a history read gathers; further ones are dropped.
    static constexpr std::size_t kMaxRecords = kMaxAlarmsPerDay * 366;
    /// The most bytes of a schedule reply being put together (a 20-byte piece and one more piece).
    static constexpr std::size_t kMaxScheduleReplyLength = 40;
    /// The most bytes of a history reply being put together (two 20-byte pieces and one more piece).
    static constexpr std::size_t kMaxHistoryReplyLength = 60;

    /// "tameinagli".
    static std::string getName() { return kName; }
    /// The protocol service.
    static BLEUUID rsServiceUUID() { return BLEUUID(kServiceUUIDText); }
    /// The pairing service.
    static BLEUUID rsServicePairingUUID() { return BLEUUID(kPairingServiceUUIDText); }
    /// The first notify characteristic.
    static BLEUUID readCharacteristicUUID() { return BLEUUID(kReadCharacteristicUUIDText); }
    /// The write characteristic.
    static BLEUUID sendCharacteristicUUID() { return BLEUUID(kSendCharacteristicUUIDText); }
    /// The service of the hardware revision.
    static BLEUUID deviceInformationServiceUUID() { return BLEUUID(kDeviceInformationServiceUUIDText); }
    /// The hardware revision characteristic.
    static BLEUUID hardwareRevisionStringUUID() { return BLEUUID(kHardwareRevisionStringUUIDText); }
    /// Logs "FOUND DEVICE: <name> - LOCALNAME: <local name>" and accepts the peripheral when its name
    /// equals "tameinagli", or else when the advertisement's local name does.
    static bool matchDevice(const std::shared_ptr<Peripheral>& peripheral, const AdvertisementData* advertisement);
    /// The same, logging to `log`.
    static bool matchDevice(const std::shared_ptr<Peripheral>& peripheral, const AdvertisementData* advertisement,
                            Log& log);

    /// A driver using the context's executor, callback queue, log and delegates.
    explicit HalvoraSDKPillReminder(DriverContext context = {});
    /// Drops what is still queued.
    ~HalvoraSDKPillReminder() override;

    /// Kind 9.
    DeviceKind getType() const override { return DeviceTypePillReminder; }
    /// "HalvoraSDKPillReminder".
    std::string className() const override { return "HalvoraSDKPillReminder"; }
    /// Marks the driver disposed: every waiting request runs without sending anything and no later one
    /// waits; the lists and reassembly buffers are dropped.
    void deinit() override;
    /// Reports deviceConnected, discovers all services and logs "Did start service discovery.".
    void didConnect() override;
    /// Logs "Device disconected! <name> - <identifier>", then reports deviceDisconnected and lets the
    /// peripheral go (as every driver does).
    void didDisconnect() override;

    // ------------------------------------------------------------------ requests

    /// Request 0: AA 55 09 C2, year - 2000, month, day, weekday (1 Sunday .. 7 Saturday), hour, minute,
    /// second (the executor's date in local time, read when the request goes out), checksum.
    void setDeviceTime();
    /// Request 1: AA 55 02 D2 D4; the result carries the box's clock.
    void getDeviceTime();
    /// Request 2: AA 55 04 C4 hours minutes checksum (each one signed byte). Nothing is queued unless hours
    /// lie in -12..12 and minutes, taken as unsigned, are below 60 (a negative minute count is refused).
    void setDeviceTimeZone(std::int32_t hours, std::int32_t minutes);
    /// Request 3: AA 55 02 CD CF; the result is the zone as text ("+05:30 UTC").
    void getDeviceTimeZone();
    /// Request 4: AA 55 02 CE D0; the result is the battery level as text ("90").
    void getBatteryLevel();
    /// Request 5: AA 55 02 CF D1; the result carries the date of the last synchronisation.
    void getLatestSynchronizationTime();
    /// Request 6: AA 55 02 D0 D2. With `takePermit` the request waits for the command slot like any other;
    /// without, it is written under the slot the caller already holds (the end of a schedule write).
    void setSuccessfulSynchronizationStatus(bool takePermit = true);
    /// Request 7: AA 55 02 D1 D3, empties the taken/missed history.
    void clearSchedulePerformanceHistory();
    /// Request 14 (clearing), then request 8: the schedule, see the class description.
    void setAlarmsSchedule(const std::vector<HalvoraSDKPillReminderAlarmData>& alarms);
    /// Request 9: AA 55 02 D3 D5; the result is the list of alarms.
    void getAlarmSchedule();
    /// Request 10: AA 55 02 D5 D7; the result is the list of performance records.
    void getSchedulePerformanceHistory();
    /// Request 12: AA 55 03 D6 value checksum. A value outside 0..255 does not fit its byte: nothing is
    /// written and the request's error message is reported.
    void setAlarmDuration(std::int32_t value);
    /// Request 13: AA 55 03 D7 value checksum; a value outside 0..255 is refused as for setAlarmDuration.
    void setAlarmConfirmationTime(std::int32_t value);
    /// Request 14: AA 55 02 D8 DA, empties the alarm schedule.
    void clearAlarmSchedule();

    // ------------------------------------------------------------------ state, for tools and tests (callback queue)

    /// The request in progress, or the last one written (PillReminderRequest::kNone before any, and after a
    /// schedule listing ended).
    std::int32_t currentRequest() const { return currentRequest_; }
    /// The random UUID text stored when the last request obtained the slot.
    const std::string& currentUUID() const { return currentUUID_; }
    /// Schedule frames written or waiting to be written (the first one is in progress).
    std::size_t packetsToSend() const { return packetsToSend_.size(); }
    /// Alarms gathered by the schedule read in progress.
    std::size_t pendingAlarms() const { return alarms_.size(); }
    /// Records gathered by the history read in progress.
    std::size_t pendingRecords() const { return records_.size(); }
    /// Bytes held by the schedule reassembly.
    std::size_t pendingScheduleBytes() const { return lastAlarmSchedule_.size(); }
    /// Bytes held by the history reassembly.
    std::size_t pendingHistoryBytes() const { return lastSchedulePerformance_.size(); }
    /// The hardware revision text the box gave, once read.
    const std::string& hardwareRevision() const { return hardwareRevision_; }
    /// The command queue. Call its inspectors on the callback queue.
    const CommandQueue& commandQueue() const { return *commands_; }

    // ------------------------------------------------------------------ peripheral events

    /// Asks the protocol service and the hardware revision's service for their characteristics.
    void peripheralDidDiscoverServices(const std::shared_ptr<Peripheral>& peripheral,
                                       const OptionalError& error) override;
    /// Keeps the characteristics, switches notifications on, reads the hardware revision; once the protocol
    /// service's characteristics are known reports ready and sets the box's zone and time.
    void peripheralDidDiscoverCharacteristicsForService(const std::shared_ptr<Peripheral>& peripheral,
                                                        const std::shared_ptr<Service>& service,
                                                        const OptionalError& error) override;
    /// Reports ready again.
    void peripheralDidWriteValueForDescriptor(const std::shared_ptr<Peripheral>& peripheral,
                                              const std::shared_ptr<Characteristic>& characteristic,
                                              const OptionalError& error) override;
    /// Logs the value and routes it to the parser of the request in progress (events with an error are
    /// ignored).
    void peripheralDidUpdateValueForCharacteristic(const std::shared_ptr<Peripheral>& peripheral,
                                                   const std::shared_ptr<Characteristic>& characteristic,
                                                   const std::vector<std::uint8_t>& value,
                                                   const OptionalError& error) override;

private:
    /// Builds a request's frame when it goes out; an empty frame means the request cannot be written.
    using FrameMaker = std::function<std::vector<std::uint8_t>(HalvoraSDKPillReminder&)>;
    /// What a request does once it holds the slot and a peripheral is attached.
    using Work = std::function<void(HalvoraSDKPillReminder&)>;

    // Requests.
    void enqueueWork(Work work);
    void runUnderPermit(const Work& work);
    void enqueueRequest(std::int32_t request, FrameMaker makeFrame);
    void sendFrame(std::int32_t request, const FrameMaker& makeFrame);
    void writeRequest(std::int32_t request, const std::vector<std::uint8_t>& frame);
    void writeFrame(const std::vector<std::uint8_t>& frame);
    void writeSynchronizationStatusUnderHeldPermit();
    void writeSchedule(const std::vector<HalvoraSDKPillReminderAlarmData>& alarms);
    void setValueRequest(std::int32_t request, std::uint8_t code, std::int32_t value);
    void setClockFromPhone();
    void releasePermit();
    std::string newUUID();

    // Replies (HalvoraSDKPillReminderReplies.cpp).
    void route(std::span<const std::uint8_t> value);
    void handleAcknowledgement(std::span<const std::uint8_t> reply, bool checkLength);
    void handleDate(std::span<const std::uint8_t> reply);
    void handleZone(std::span<const std::uint8_t> reply);
    void handleBattery(std::span<const std::uint8_t> reply);
    void handleScheduleFrameReply(std::span<const std::uint8_t> reply);
    void receiveSchedulePiece(std::span<const std::uint8_t> value);
    void handleScheduleReply(std::span<const std::uint8_t> reply);
    void receiveHistoryPiece(std::span<const std::uint8_t> value);
    void handleHistoryReply(std::span<const std::uint8_t> reply);
    void sendResult(const HalvoraSDKPillReminderResult& result);
    void sendMessage(std::int32_t request, const std::string& text);
    void sendError(std::int32_t request, const std::string& text);
    Date now() const;

    std::shared_ptr<SerialQueue> queue_;
    std::unique_ptr<CommandQueue> commands_;
    bool disposed_ = false;
    bool permitHeld_ = false;
    std::int32_t currentRequest_ = PillReminderRequest::kNone;
    std::string currentUUID_;
    std::vector<std::vector<std::uint8_t>> packetsToSend_;
    std::vector<std::uint8_t> lastAlarmSchedule_;
    std::vector<HalvoraSDKPillReminderAlarmEntry> alarms_;
    std::vector<std::uint8_t> lastSchedulePerformance_;
    std::vector<HalvoraSDKPillReminderAlarmEntry> records_;
    std::string hardwareRevision_;
    std::shared_ptr<Service> rs232Service_;
    std::shared_ptr<Characteristic> readCharacteristic40_;
    std::shared_ptr<Characteristic> readCharacteristic4060_;
    std::shared_ptr<Characteristic> readCharacteristic60_;
    std::shared_ptr<Characteristic> readCharacteristicRealtime_;
    std::shared_ptr<Characteristic> sendCharacteristic_;
    std::uint64_t uuidState_ = 0;
};

}  // namespace halvora
