#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "halvora/Core/Date.hpp"
#include "halvora/Devices/Bracelet/HalvoraBraceletDelegate.hpp"
#include "halvora/Core/SerialCommandDevice.hpp"
#include "halvora/Records/HalvoraSDKBraceletAlarm.hpp"
#include "halvora/Records/HalvoraSDKBraceletSedentaryAlarm.hpp"
#include "halvora/Runtime/CommandQueue.hpp"

namespace halvora {

class PreferenceUtils;
class BraceletTransfer;
class BraceletHistory;
struct MoxentaParserData;

/// The activity bracelet "B521A" / "RM-610HR" (device kind 1), which speaks a line-oriented ASCII protocol:
/// commands "AT+...\r\n" go to one write characteristic, answers and notifications come back on one notify
/// characteristic, and the stored history comes in numbered binary packages.
///
/// Connection: the service 0x190A is asked for its send and read characteristics; notifications are
/// switched on, the driver reports ready (and again when the notification descriptor is written),
/// remembers the peripheral's identifier as the bracelet to reconnect (`setBraceletUUID`), and 100 ms later
/// sends "BT+IOS=1" and then "AT+UNITS=1".
///
/// Commands: every public command goes through the driver's `CommandQueue`, which admits one outstanding
/// command: a command waits for the answer to the previous one for at most 60 seconds (a history download
/// for at most 6000 seconds), then is sent anyway. The answer the driver recognises gives the slot back; an
/// unrecognised or lost answer keeps it until the next command's wait runs out. A command that finds no
/// peripheral gives the slot back and sends nothing. Writes longer than 20 bytes go out in 20-byte slices.
///
/// History download: "AT+DATA=0" asks for the first package; the bracelet answers with a header line
/// "AT+DATA:<type>,<info length>,<total length>,<number>,<total packages>,<crc>,<encrypted>\r\n" (parsed once
/// a later notification brings its "\r\n") followed by the package bytes; each complete package asks for
/// the next ("AT+DATA=<n+1>") or ends the download. The records of every package but the last are
/// delivered with `braceletSyncReceived` at the end of the download; those of the last package are decoded
/// after that delivery and are delivered with the next download. This order is the bracelet family's and is
/// kept on purpose.
///
/// Bad input: every notification is untrusted. The caps are BraceletTransfer's (header line 4 KiB, package
/// 64 KiB, bytes beyond a package's announced total counted but not kept) and BraceletHistory's (50,000
/// records per accumulator); a header refused at a cap is logged in one line and the transfer returns to
/// idle, leaving the command slot taken as a lost answer would (the next command goes after its wait).
/// Item ranges past the end of a package are skipped, never read.
///
/// Threads: everything the driver holds is touched on its callback queue ("halvora.cb"): its peripheral's
/// events arrive there and its command-queue items run there. The public commands (and `deinit`) must be
/// called on that queue too (the manager posts the application's calls there); `isRunning()` may be called
/// from any thread. A driver made without a callback queue makes its own queue ("moxenta.sendDataQueue");
/// one made without an executor sends no commands. Results go to the manager's `braceletDelegate` as it is
/// at the moment of delivery (dropped when there is none), the battery level also to the manager
/// (`deviceOnBatteryLevelReceived`). Drivers must be owned by a std::shared_ptr.
class HalvoraSDKBracelet : public SerialCommandDevice {
public:
    /// How long a command waits for the answer to the previous one.
    static constexpr Duration kCommandWaitLimit = std::chrono::seconds(60);
    /// How long a history download waits for the answer to the previous command.
    static constexpr Duration kHistoryWaitLimit = std::chrono::seconds(6000);
    /// Delay between ready and the opening commands.
    static constexpr Duration kOpeningDelay = std::chrono::milliseconds(100);
    /// Value of the opening "BT+IOS" command.
    static constexpr std::int32_t kOpeningBTIOS = 1;
    /// Distance unit set by the opening "AT+UNITS" command.
    static constexpr std::int32_t kOpeningDistanceUnit = 1;

    /// "B521A".
    static std::string getName() { return "B521A"; }
    /// "RM-610HR".
    static std::string getSecondName() { return "RM-610HR"; }
    /// The service used after connection.
    static BLEUUID rsServiceUUID() { return BLEUUID("0000190a-0000-1000-8000-00805f9b34fb"); }
    /// The service the manager scans for.
    static BLEUUID rsServiceUUIDToScan() { return BLEUUID("0000fee7-0000-1000-8000-00805f9b34fb"); }
    /// The notify characteristic (bracelet to phone).
    static BLEUUID readCharacteristicUUID() { return BLEUUID("00000002-0000-1000-8000-00805f9b34fb"); }
    /// The write characteristic (phone to bracelet).
    static BLEUUID sendCharacteristicUUID() { return BLEUUID("00000001-0000-1000-8000-00805f9b34fb"); }
    /// The device information identifier of the bracelet family.
    static BLEUUID deviceInformationServiceUUID() { return BLEUUID("00002A04-0000-1000-8000-00805f9b34fb"); }
    /// True when the peripheral has a name equal to "B521A" or "RM-610HR" (case-sensitive).
    static bool matchDevice(const std::shared_ptr<Peripheral>& peripheral);

    /// Metres walked: steps x (height / 3 / 100), rounded to single precision; a height of 160 cm when none
    /// is given. (The driver passes the stored user height, which defaults to 175 cm.)
    static float getDistanceBySteps(std::int32_t steps, std::optional<std::int64_t> heightCm);
    /// kcal: metres / 1000 x (weight x 2.21 x 0.708) in single-precision constants, rounded to single
    /// precision; 93.88080218954087 kcal per km (that of 60 kg) when no weight is given.
    static float getCaloriesByDistance(double metres, std::optional<double> weightKg);
    /// kcal / (weight x 0.6), or kcal / 36 without a weight.
    static double geDistanceByCalories(double kcal, std::optional<double> weightKg);
    /// The sum of the values cut to its low 8 bits and sign-extended (200 gives -56).
    static std::int32_t crcCalculation(const std::vector<std::int32_t>& values);

    /// A driver using the context's executor, callback queue, log, preferences and delegates.
    explicit HalvoraSDKBracelet(DriverContext context = {});
    ~HalvoraSDKBracelet() override;

    DeviceKind getType() const override { return DeviceTypeBracelet; }
    std::string className() const override { return "HalvoraSDKBracelet"; }

    /// True while an exercise, the real-time pedometer or a heart-rate run is going on on the bracelet, as its
    /// answers and notifications last said. Safe from any thread.
    bool isRunning() const { return isRunning_.load(); }

    // ------------------------------------------------------------------ commands (call on the callback queue)

    /// Starts a history download (see the class comment).
    void synchronizeHistoryData();
    /// The same; `flag` is ignored. Does nothing while a transfer is open.
    void synchronizeData(bool flag);
    /// Writes "AT+DATA=<package>" at once, outside the command queue and without the slot; with no
    /// peripheral it gives the slot back instead.
    void requestData(std::int32_t package);
    /// "AT+PACE": the current step count.
    void getCurrentSteps();
    /// "AT+STEPSTORE".
    void sendStepStore();
    /// Starts a heart-rate measurement ("AT+HEART=1").
    void getHeartBeat();
    /// "AT+HEART=<start>": 1 starts a measurement, 0 stops it.
    void getHeartBeat(std::int32_t start);
    /// "AT+DT=yyyyMMddHHmm" in local time.
    void configureDate(Date date);
    /// "AT+HEIGHT=<cm>" (at least 3 digits).
    void configureUserHeight(std::int32_t centimetres);
    /// "AT+WEIGHT=<kg>" (at least 3 digits).
    void configureUserWeight(std::int32_t kilograms);
    /// "AT+HANDSUP=<0/1>": raise-to-wake.
    void configureBraceletRiseHand(std::int32_t enabled);
    /// "AT+ANTI_LOST=<0/1>".
    void configureAntitheft(std::int32_t enabled);
    /// "AT+FINDPHONE=<0/1>".
    void configureSettingFindPhone(std::int32_t enabled);
    /// "AT+FINDBT": makes the bracelet signal itself.
    void sendFindDevice();
    /// "AT+HRMONITOR=<0/1>".
    void configureMonitorHeartRate(std::int32_t enabled);
    /// "BT+IOS=<value>".
    void sendBTIOS(std::int32_t value);
    /// "AT+RUN=<1 start, 0 finish>".
    void sendStartOrFinishExercise(std::int32_t start);
    /// "AT+TOPACE=<1 start, 0 finish>": the real-time pedometer.
    void sendStartOrFinishAutoSteps(std::int32_t start);
    /// "AT+DEST=<steps>" (at least 5 digits).
    void configureStepTarget(std::int32_t steps);
    /// "AT+UNITS=<unit>".
    void configureDistanceUnit(std::int32_t unit);
    /// "AT+ANCS=<mask>": the notification sources to show, the sum of `values` in hexadecimal.
    void configureACNS(const std::vector<std::int32_t>& values);
    /// Switches alarm 1 (or, with `secondary`, alarm 2) off.
    void disableAlarm(bool secondary);
    /// Sets an alarm.
    void configureAlarm(const HalvoraSDKBraceletAlarm& alarm);
    /// Switches the sedentary reminder off.
    void disableSedentaryAlarm();
    /// Sets the sedentary reminder.
    void configureBraceletSedentaryAlarm(const HalvoraSDKBraceletSedentaryAlarm& alarm);
    /// "AT+NAME=<text>": shows a text on the bracelet.
    void sendText(const std::string& text);
    /// Sends `instruction` as it is (nothing appended).
    void sendCustomInstruction(const std::string& instruction);

    // ------------------------------------------------------------------ state, for tools and tests

    /// True while a history transfer is open. Call on the callback queue.
    bool isReceivingData() const;
    /// The open transfer (its type is private to the kit). Call on the callback queue.
    const BraceletTransfer& transfer() const { return *transfer_; }
    /// The records decoded and not yet delivered (their holder is private to the kit). Call on the callback
    /// queue.
    const BraceletHistory& history() const { return *history_; }

    // ------------------------------------------------------------------ peripheral events

    /// Handles a notification of the read characteristic (others, and events with an error, are ignored).
    void peripheralDidUpdateValueForCharacteristic(const std::shared_ptr<Peripheral>& peripheral,
                                                   const std::shared_ptr<Characteristic>& characteristic,
                                                   const std::vector<std::uint8_t>& value,
                                                   const OptionalError& error) override;

protected:
    /// The characteristics are known: reports ready, remembers the bracelet and schedules the opening commands.
    void characteristicsReady(const std::shared_ptr<Peripheral>& peripheral) override;

private:
    // Commands.
    void sendCommand(std::string text, Duration waitLimit = kCommandWaitLimit);
    void writeUnderSlot(const std::string& text);
    void writeText(const std::string& text);
    void releaseSlot();
    void scheduleOpening();

    // Notifications, in the order they are tested.
    void handleNotification(std::span<const std::uint8_t> value);
    void handleBinaryValue(std::span<const std::uint8_t> value);
    bool handleLeadingAnswer(const std::string& text);
    void handleCurrentSteps(const std::string& text);
    void handleRunAnswer(const std::string& text);
    void handleRunNotification(const std::string& text);
    void treatHeartResponse(const std::string& text);
    void openTransfer(const std::string& text);
    void handleIdleText(const std::string& text);
    void handleTransferText(const std::string& text);
    void handleHeaderPiece(const std::string& text);
    void handleConfirmation(const std::string& text);
    void reportParameter(std::int32_t code);

    // History.
    void appendPackageBytes(std::span<const std::uint8_t> bytes);
    void completePackage();
    void decodePackage(std::int32_t dataType, std::vector<MoxentaParserData> items);
    void sendBraceletData();
    void logDropped(std::size_t dropped);

    std::shared_ptr<HalvoraBraceletDelegate> braceletDelegate() const;
    std::optional<std::int64_t> userHeight() const;
    std::optional<double> userWeight() const;

    std::atomic<bool> isRunning_{false};
    std::unique_ptr<BraceletTransfer> transfer_;
    std::unique_ptr<BraceletHistory> history_;
};

}  // namespace halvora
