#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "halvora/Core/SerialCommandDevice.hpp"
#include "halvora/Devices/Tensio/HalvoraSDKTensioBraceletConfig.hpp"
#include "halvora/Devices/Tensio/HalvoraSDKTensioBraceletInterval.hpp"
#include "halvora/Devices/Tensio/HalvoraTensioBraceletDelegate.hpp"
#include "halvora/Devices/Tensio/TensioBraceletRequest.hpp"
#include "halvora/Records/HalvoraSDKTensioBraceletData.hpp"

namespace halvora {

class TensioFrameAssembler;

/// The wrist blood-pressure bracelet "BPW1" (device kind 5), which measures on demand and on its ambulatory
/// schedule. It speaks short binary frames, 5A 00 n followed by n + 1 bytes (byte 2 + 4 in all), over one
/// write and one notify characteristic. The phone sends six-byte commands 5A 00 02 c p k (k = 02 XOR c XOR
/// p; the reset's frame 5A 00 02 13 AA A8 is fixed) and eleven-byte settings 5A 00 07 ... (clock,
/// ambulatory window, configuration, each with its own check).
///
/// Results go to the manager (`deviceOnDataReceived`: a cuff pressure as a number, a reading as a
/// `HalvoraSDKTensioBraceletData`, information as a text; `deviceOnErrorReceived`: a code or no code), which
/// hands them to the application's `HalvoraTensioBraceletDelegate`. The acknowledgement of a request goes
/// straight to that delegate (`tensioBraceletRequestExecuted`), looked up at the moment of delivery.
///
/// Connection: the service 69400001-... is asked for its notify (69400003-...) and write (69400002-...)
/// characteristics; notifications are switched on and the driver reports ready (and again when the
/// notification descriptor is written). There is no opening exchange.
///
/// Requests: one request is in progress at a time (`request()`, a TensioBraceletRequest number, 0 for none).
/// Every command but two goes through the driver's `CommandQueue` ("tensio.sendDataQueue" for a driver made
/// without a callback queue): it waits for the command slot at most 60 seconds (then goes anyway), gives the
/// slot straight back and sends nothing when the peripheral is gone, else sets `request()` and writes its
/// frame. The slot is given back when an answer brings `request()` back to 0; a lost answer leaves it taken
/// until the next command's wait runs out. Two commands bypass the queue and the slot: `stopMeasurement`
/// (only with a peripheral) and `getAmbulatoryBloodPressureTime`. A request that bypassed the slot gives
/// back only a slot that a queued command holds: when it ends with the slot free, nothing is given back
/// (the slot never counts more than one free permit from these).
///
/// Answers are put together from the notifications (complete when as long as byte 2 + 4) and handled by
/// their length:
/// - 14 bytes, a measurement result, every byte taken as signed (one from 0x80 up counts negative: a systolic
///   00 87 reads -121, not 135): dated by the bracelet (year, month, day, hour and minute each printed
///   "%2d", blanks turned into "0", read as "yy-MM-dd HH:mm" in local time (`Calendar`) with the year
///   2000 + yy; no date when the fields name no real minute), delivered unless equal to the last reading
///   delivered (`lastData()`).
///   The result ends a measurement: when `request()` is 1 (start) or 12 (return), it goes back to 0,
///   `measuring()` becomes false and the slot is given back, so the next command goes as soon as the
///   result is in. (Under another request the result changes nothing but `lastData()`.)
/// - 10 bytes, an answer to the request in progress: 4 the clock text ("TensioBracelet time: ...", ends
///   the request); 5 one schedule window text (the last window, serial number equal to the number of
///   windows, ends the request); 6 the basic information text (forgets the last reading, ends the request);
///   any other a stored record dated now (delivered unless equal to the last reading; ends the request, so
///   each stored record answers its own `getBloodPressureHistory`).
/// - 6 bytes, an event: when b3 is 40, b4 is 0 or b5 is 42, it answers the request: exactly 40 00 42 with
///   a request in progress is reported with `tensioBraceletRequestExecuted`; then 1 or 12 set `measuring()`,
///   2, 3, 7, 8, 9 end the request (not measuring), 10 ends it and reports -19 (measurement stopped). Then by
///   b3: 40 nothing more; 50 an error with sub-codes 1..6 as -8..-13; 51 an error without code; 52 sub-codes
///   1..5 as -14..-18 (other sub-codes: no code); each error ends the request and the measurement. 60 a count
///   (b4: `totalBloodPressureHistory()` under request 11, else `totalStepsHistory()`), ends the request. Any
///   other b3: a live cuff pressure b3 x 256 + b4, reported as a number.
///
/// Bad input: every notification is untrusted; notifications with an error or from another characteristic
/// are ignored. Bytes that arrive while no request is in progress (nobody asked; the bracelet's own
/// ambulatory readings included) are dropped, and so are complete frames of any other length; neither
/// touches the request or the slot. Cap: the frame buffer holds at most kMaxFrameLength bytes (255 + 4, the
/// longest frame a length byte announces); bytes that cannot make a frame (the buffer runs past the length
/// its byte 2 announces, or would run past the cap) are dropped whole, buffer and notification, with one log
/// line, and the next notification starts a new frame. Handlers never read past a frame's end.
///
/// Threads: everything the driver holds is touched on its callback queue ("halvora.cb"): its peripheral's
/// events arrive there and its command-queue items run there. The public commands, the inspectors and
/// `deinit` must be called on that queue too (the manager posts the application's calls there);
/// `measuring()` may be read and `checkIntervalCorrect` called from any thread. A driver made without an
/// executor sends no queued commands. Drivers must be owned by a std::shared_ptr.
class HalvoraSDKTensioBracelet : public SerialCommandDevice {
public:
    /// The most bytes of a frame being put together: the longest frame a length byte announces.
    static constexpr std::size_t kMaxFrameLength = 255 + 4;
    /// How long a command waits for the command slot.
    static constexpr Duration kCommandWaitLimit = std::chrono::seconds(60);
    /// The queue a driver made without a callback queue makes for its commands.
    static constexpr const char* kSendQueueLabel = "tensio.sendDataQueue";
    /// The advertised name.
    static constexpr const char* kName = "BPW1";
    /// The protocol service.
    static constexpr const char* kServiceUUIDText = "69400001-B5A3-F393-E0A9-E50E24DCCA99";
    /// The notify characteristic (bracelet to phone).
    static constexpr const char* kReadCharacteristicUUIDText = "69400003-B5A3-F393-E0A9-E50E24DCCA99";
    /// The write characteristic (phone to bracelet).
    static constexpr const char* kSendCharacteristicUUIDText = "69400002-B5A3-F393-E0A9-E50E24DCCA99";
    /// The device information identifier of the bracelet.
    static constexpr const char* kDeviceInformationServiceUUIDText = "00002902-B5A3-F393-E0A9-E50E24DCCA99";

    /// "BPW1".
    static std::string getName() { return kName; }
    /// The protocol service.
    static BLEUUID rsServiceUUID() { return BLEUUID(kServiceUUIDText); }
    /// The notify characteristic.
    static BLEUUID readCharacteristicUUID() { return BLEUUID(kReadCharacteristicUUIDText); }
    /// The write characteristic.
    static BLEUUID sendCharacteristicUUID() { return BLEUUID(kSendCharacteristicUUIDText); }
    /// The device information identifier.
    static BLEUUID deviceInformationServiceUUID() { return BLEUUID(kDeviceInformationServiceUUIDText); }
    /// True when the peripheral's name equals "BPW1" (case-sensitive).
    static bool matchDevice(const std::shared_ptr<Peripheral>& peripheral);
    /// Whether the bracelet may be given these ambulatory windows: true for a single window (or none);
    /// otherwise false as soon as a window starts or ends strictly inside an earlier window of the list
    /// (times as minutes since midnight; touching ends are accepted).
    static bool checkIntervalCorrect(const std::vector<HalvoraSDKTensioBraceletInterval>& intervals);

    /// A driver using the context's executor, callback queue, log and delegates.
    explicit HalvoraSDKTensioBracelet(DriverContext context = {});
    ~HalvoraSDKTensioBracelet() override;

    DeviceKind getType() const override { return DeviceTypeTensioBracelet; }
    std::string className() const override { return "HalvoraSDKTensioBracelet"; }
    /// Lets every waiting command go without sending anything, stops all later waiting and forgets a frame
    /// being put together (the driver is going away).
    void deinit() override;

    // ------------------------------------------------------------------ commands (call on the callback queue)

    /// True while a measurement runs (from its acknowledgement to its result, error or stop). Safe from any
    /// thread.
    bool measuring() const { return measuring_.load(); }
    /// Request 1, 5A 00 02 00 00 02: measures; pressures, then the result.
    void startMeasurement();
    /// Request 10, 5A 00 02 00 01 03, written at once without the queue or the slot, only with a peripheral
    /// (without one nothing happens). Its acknowledgement reports -19.
    void stopMeasurement();
    /// Request 12, 5A 00 02 06 00 04: the bracelet sends its last result again.
    void returnMeasurement();
    /// Request 11, 5A 00 02 01 00 03: the first answers with the count of stored readings, each later one
    /// with one stored reading.
    void getBloodPressureHistory();
    /// Request 3, 5A 00 02 02 00 00: empties the bracelet's memory.
    void removeBloodPressureHistory();
    /// Request 4, 5A 00 02 03 00 01: the bracelet's clock, as a text.
    void getSmartwatchTime();
    /// Request 9, 5A 00 07 20 YY MM DD hh mm ss k: sets the bracelet's clock to the executor's date in local
    /// time (`Calendar`), read when the command goes out.
    void setSmartwatchTime();
    /// Request 6, 5A 00 02 04 00 06: battery, schedule on/off, unit, hold and stored count, as a text.
    void getBasicInfo();
    /// Request 7, the fixed frame 5A 00 02 13 AA A8.
    void resetDefaults();
    /// Request 2, 5A 00 07 22 A 01 00 00 H 00 k.
    void setConfig(const HalvoraSDKTensioBraceletConfig& config);
    /// Request 8 for each window, in order, one queued command each: 5A 00 07 21 b4..b9 k where b8 = n x 16 +
    /// (number of windows AND 0F) with n counting the frames written for this list from 1 (a window not
    /// written for want of a peripheral does not count). Windows are not checked here (see
    /// checkIntervalCorrect).
    void setAmbulatoryBloodPressureTime(const std::vector<HalvoraSDKTensioBraceletInterval>& intervals);
    /// Request 5, 5A 00 02 03 01 00, written at once without the queue or the slot. Without a peripheral
    /// there is nothing to write to: the request is still set (a driver without its peripheral receives no
    /// answer, and a later queued command replaces it), nothing goes out and one line is logged.
    void getAmbulatoryBloodPressureTime();

    // ------------------------------------------------------------------ state, for tools and tests (callback queue)

    /// The request in progress (TensioBraceletRequest), 0 for none.
    std::int32_t request() const { return request_; }
    /// Whether an answer (a ten- or fourteen-byte frame) arrived since the last command went out.
    bool dataReceived() const { return dataReceived_; }
    /// The count of stored readings the bracelet last reported; nothing before.
    std::optional<std::int32_t> totalBloodPressureHistory() const { return totalBloodPressureHistory_; }
    /// A count the bracelet reported under another request; nothing before.
    std::optional<std::int32_t> totalStepsHistory() const { return totalStepsHistory_; }
    /// The last reading delivered (an empty record after the basic information); nothing before.
    const std::optional<HalvoraSDKTensioBraceletData>& lastData() const { return lastData_; }
    /// Bytes of a frame being put together.
    std::size_t pendingFrameBytes() const;
    /// Whether a queued command holds the command slot (it went out and its request has not ended).
    bool holdsSlot() const { return slotHeld_; }
    /// Counts the commands that took the slot; each one's number identifies it while it holds the slot.
    std::uint64_t currentCommand() const { return currentCommand_; }

    // ------------------------------------------------------------------ peripheral events

    /// Puts together and handles the notifications of the notify characteristic (others, and events with an
    /// error, are ignored).
    void peripheralDidUpdateValueForCharacteristic(const std::shared_ptr<Peripheral>& peripheral,
                                                   const std::shared_ptr<Characteristic>& characteristic,
                                                   const std::vector<std::uint8_t>& value,
                                                   const OptionalError& error) override;

protected:
    /// The characteristics are known: reports ready.
    void characteristicsReady(const std::shared_ptr<Peripheral>& peripheral) override;

private:
    /// Builds a command's frame when it goes out.
    using FrameMaker = std::function<std::vector<std::uint8_t>(HalvoraSDKTensioBracelet&)>;

    // Commands.
    void enqueueCommand(std::int32_t request, FrameMaker makeFrame);
    void sendUnderSlot(std::int32_t request, const FrameMaker& makeFrame);
    void beginRequest(std::int32_t request);
    void releaseSlotIfHeld();

    // Answers (HalvoraSDKTensioBraceletFrames.cpp).
    void receive(std::span<const std::uint8_t> bytes);
    void handleFrame(std::span<const std::uint8_t> frame);
    void handleResult(std::span<const std::uint8_t> frame);
    void handleAnswer(std::span<const std::uint8_t> frame);
    void handleEvent(std::span<const std::uint8_t> frame);
    void acknowledge();
    void deliverReading(const std::optional<HalvoraSDKTensioBraceletData>& reading);
    void deliverText(const std::optional<std::string>& text);
    void requestExecuted(std::int32_t request);
    void endRequest();
    void endMeasurement();

    std::unique_ptr<TensioFrameAssembler> assembler_;
    std::atomic<bool> measuring_{false};
    std::int32_t request_ = TensioBraceletRequest::kNone;
    bool dataReceived_ = false;
    bool slotHeld_ = false;
    bool disposed_ = false;
    std::uint64_t currentCommand_ = 0;
    std::optional<std::int32_t> totalBloodPressureHistory_;
    std::optional<std::int32_t> totalStepsHistory_;
    std::optional<HalvoraSDKTensioBraceletData> lastData_;
};

}  // namespace halvora
