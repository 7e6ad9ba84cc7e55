#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "lab/Devices/Bracelet/BraceletTime.hpp"
#include "lab/Devices/Bracelet/DeviceClock.hpp"
#include "lab/Devices/Vital/VitalECGRecord.hpp"
#include "lab/Devices/Vital/VitalHistory.hpp"
#include "lab/Devices/Vital/VitalScript.hpp"
#include "lab/Devices/Vital/VitalSettings.hpp"
#include "lab/NotificationPacer.hpp"
#include "lab/VirtualPeripheral.hpp"

namespace halvora::lab {

class VitalAlarmList;
class VitalCommand;
class VitalECGRecorder;

/// The Vital wrist bracelet ("J2025E"), seen from the bracelet's side.
///
/// GATT: service 0xFFF0, advertised, with the write characteristic 0xFFF6 (write and write without
/// response) and the notify characteristic 0xFFF7.
///
/// The phone writes 16-byte frames: the code, 14 payload bytes and the low byte of the sum of the first 15.
/// Two writes differ: the weather (0x15) comes without a valid checksum and is taken as it is, and the alarm
/// list arrives in pieces of up to 20 bytes that are put back together by its length (VitalAlarmList; a
/// list not complete kAlarmPieceTimeout after its last piece is dropped). Any other write of another length
/// or with a wrong checksum is not trusted at all: the bracelet stays silent, logs it and counts it in
/// rejectedFrames(). Answers are 16-byte notifications whose byte 0 is the request's code and whose byte 15
/// is the low byte of the sum of the others (see VitalAnswers for every layout):
///   - settings, kept (settings()) and answered with the code alone: 0x01 the clock (BCD year - 2000,
///     month, day, hour, minute, second in bytes 1 to 6; the clock then runs on from there), 0x0B the step
///     goal (bytes 1 to 4 little-endian), 0x02 the wearer (bytes 1 to 5), 0x25 the activity period (BCD
///     start hour and minute, end hour and minute, week days, reminder period, minimum steps, motion),
///     0x19 the sport mode (bytes 1 to 4), 0x17 the phone's sport heartbeat, 0x15 the weather. A clock that
///     is no real date and time, and an activity window whose times are not BCD hours and minutes, are
///     refused (0x81, 0xA5) and change nothing;
///   - the device parameters in two steps: 0x03 (the first half: flags in bytes 1 to 6, notification bytes
///     8 and 7, heart-rate base 9, brightness 11, dial 12, language 14, all kept as sent) is answered with
///     the code and waits; 0x06 applies it with its own byte 1 and is answered with the code. Reading:
///     0x04 is answered with the flags and notification bytes where 0x03 sets them and the rest in the
///     bytes that follow: 9 the heart-rate base (its marker bit 0x80 cleared), 10 brightness, 11 dial,
///     12 language (these three as sent); 0x07 with the 0x06 byte in byte 1;
///   - 0x2A sets the automatic detection of the quantity whose type code is in byte 9 (mode, BCD window,
///     week days, interval) and is answered with the type code in byte 1; 0x2B reads the type code's in the
///     layout 0x2A sets it with (a type code never set reads as off). A window that is not BCD times, in a
///     mode other than 0, is refused (0xAA);
///   - readings: 0x41 the clock, 0x4B the goal, 0x42 the wearer, 0x26 the activity period, each in the
///     layout it is set with; 0x13 the battery level in byte 1; 0x22 the six address bytes in bytes 1 to 6;
///   - 0x28 (health measurement control) is answered with the quantity code in byte 1 and the enable byte
///     in byte 2; 0xB0 (QR screen, byte 1 0x80 shows, 0x81 hides) with byte 1 echoed;
///   - 0x23, the alarm list, once it arrived whole, with the code alone (a list that is not one is refused
///     with 0xA3);
///   - 0x09 with byte 1 not 0 starts real-time data: a frame at once, then one every script interval, with
///     today's steps (bytes 1 to 4 little-endian, growing), the heart rate (byte 5) and, when byte 2 asked
///     for it, the skin temperature in tenths of a degree Celsius (bytes 6 and 7 little-endian, else 0).
///     0x09 with byte 1 = 0 stops them and is answered with one frame of the values then;
///   - the history requests (0x51 to 0x56, 0x5C, 0x60, 0x62, 0x65, 0x66) page through the stored history
///     (the script's records and the days it generates, VitalScript::History), several records per
///     notification, split where the seed draws, then the 0xFF end mark (layouts and request arguments:
///     VitalHistoryPages in internal/);
///   - the electrocardiogram (VitalScript::ECG; frames: VitalECGRecorder in internal/): 0x99 answers a
///     status byte and, unless the script refuses, starts a measurement: 19-byte 0xAA frames of nine
///     samples paced at 512 samples a second for the scripted duration, a 0x83 heart-rate status each
///     second; 0x9C answers the status (measuring, or finished with the summary); the finished measurement
///     is stored. 0x71 pages a stored record back (header page, sample pages, the end page 71 FF FF, which
///     alone answers a record not held). The history is generated and the stored records made at the
///     first history or ECG request after the script is set, from the clock then;
///   - 0x18 from the phone (its answer to the bracelet's heartbeat) is counted and not answered;
///   - any other code is answered with the code | 0x80.
/// Events on script, timed from the link's start: SOS (0xFE alone), the firmware-command event (0x16 with
/// the operation number in byte 1) and the sport heartbeat packet (0x18 with the heart rate in byte 1 and
/// today's steps in bytes 2 to 5, or the code alone without data). Real-time data stop when the link ends.
/// The script's faults (VitalFaults) and the lab's link faults apply on top.
///
/// Caps: the list of frames received keeps the latest kMaxRecordedFrames; at most
/// VitalScript::ECG::kMaxStoredRecords electrocardiograms are kept (a new one drops the oldest); an alarm list holds at
/// most kMaxAlarms alarms (a list announcing more is refused at its first piece); detection schedules and measurement
/// controls are kept by their one-byte codes (at most 256 each); stream and stray intervals shorter than
/// kMinStreamInterval count as that.
///
/// Threads: the bracelet's state changes on the lab queue; the accessors may be called from any thread.
class VirtualVitalBracelet : public VirtualPeripheral {
public:
    /// The bracelet's service, also advertised.
    static inline const BLEUUID kService{"0000fff0-0000-1000-8000-00805f9b34fb"};
    /// The phone writes its command frames here.
    static inline const BLEUUID kWrite{"0000fff6-0000-1000-8000-00805f9b34fb"};
    /// The bracelet notifies its answers here.
    static inline const BLEUUID kNotify{"0000fff7-0000-1000-8000-00805f9b34fb"};
    /// The bracelet's name.
    static inline const std::string kName = "J2025E";
    /// The latest frames kept for framesReceived().
    static constexpr std::size_t kMaxRecordedFrames = 4096;
    /// The shortest time between two frames of a real-time or stray stream.
    static constexpr Duration kMinStreamInterval = std::chrono::milliseconds(10);
    /// The most alarms a list may hold.
    static constexpr std::size_t kMaxAlarms = 32;
    /// An alarm list not complete this long after its last piece is dropped.
    static constexpr Duration kAlarmPieceTimeout = std::chrono::seconds(2);

    /// A bracelet with the default script.
    explicit VirtualVitalBracelet(VirtualPeripheralConfig config);
    ~VirtualVitalBracelet() override;
    /// A bracelet named `name` with the given identifier, advertising its service.
    static std::shared_ptr<VirtualVitalBracelet> make(const std::string& identifier, int rssi = -60,
                                                      const std::string& name = kName);

    /// Replaces the script: today's real-time steps start again from the script's; events are timed anew
    /// from the next link.
    void setScript(const VitalScript& script);
    /// The script in use.
    VitalScript script() const;

    /// The settings held now (the clock as it reads now).
    VitalSettings settings() const;
    /// The alarms held, in list order.
    std::vector<VitalSettings::Alarm> alarms() const;
    /// The weather held; nothing before the first 0x15.
    std::optional<VitalSettings::Weather> weather() const;
    /// The device parameters applied.
    VitalSettings::Parameters parameters() const;
    /// Every write to the command characteristic, oldest first, rejected ones and alarm pieces too (at
    /// most kMaxRecordedFrames).
    std::vector<std::vector<std::uint8_t>> framesReceived() const;
    /// Writes ignored for their length or checksum, and alarm lists dropped.
    int rejectedFrames() const;
    /// The stored history the bracelet pages (made now from the clock if no request made it yet).
    VitalHistory history();
    /// The electrocardiograms stored, oldest first (made now if no request made them yet).
    std::vector<VitalECGRecord> ecgRecords();

protected:
    /// A new link: the scripted events and the stray stream are timed from now.
    void onConnected() override;
    /// The link ended: real-time data and events stop, answers not yet sent and a partial alarm list are
    /// dropped.
    void onDisconnected() override;
    /// A write from the phone (writes to other characteristics are ignored).
    void onWrite(const BLEUUID& characteristic, const std::vector<std::uint8_t>& value, WriteType type) override;

private:
    using Frame = std::vector<std::uint8_t>;
    using Notifications = std::vector<Frame>;
    /// What a command causes: notifications to send now, then work to do on the lab queue.
    struct Reply {
        Notifications notifications;
        std::function<void()> then;
    };
    using Handler = Reply (VirtualVitalBracelet::*)(const VitalCommand&);

    static Handler handlerFor(std::uint8_t code);

    void handleFrame(const Frame& value);
    void handleAlarmPiece(const Frame& value);
    void recordFrame(const Frame& value);
    bool answerIsLost(std::uint8_t code) const;
    bool fails(std::uint8_t code) const;
    void send(Notifications notifications);
    void cutIfScripted(Notifications& notifications) const;
    BraceletTime clockNow() const;
    void anchorClock(const BraceletTime& time);

    // Handlers run under mutex_, on the lab queue.
    Reply answer(Frame frame) const;
    Reply onSetClock(const VitalCommand& command);
    Reply onReadClock(const VitalCommand& command);
    Reply onSetUser(const VitalCommand& command);
    Reply onReadUser(const VitalCommand& command);
    Reply onSetParameters(const VitalCommand& command);
    Reply onApplyParameters(const VitalCommand& command);
    Reply onReadParameters(const VitalCommand& command);
    Reply onReadParametersRest(const VitalCommand& command);
    Reply onRealTime(const VitalCommand& command);
    Reply onSetStepGoal(const VitalCommand& command);
    Reply onReadStepGoal(const VitalCommand& command);
    Reply onBattery(const VitalCommand& command);
    Reply onWeather(const VitalCommand& command);
    Reply onSportHeartbeat(const VitalCommand& command);
    Reply onHeartbeatAnswer(const VitalCommand& command);
    Reply onSportMode(const VitalCommand& command);
    Reply onMacAddress(const VitalCommand& command);
    Reply onSetActivityPeriod(const VitalCommand& command);
    Reply onReadActivityPeriod(const VitalCommand& command);
    Reply onMeasurementControl(const VitalCommand& command);
    Reply onSetDetection(const VitalCommand& command);
    Reply onReadDetection(const VitalCommand& command);
    Reply onQrCode(const VitalCommand& command);
    // History and electrocardiogram (VirtualVitalBraceletHistory.cpp).
    Reply onHistory(const VitalCommand& command);
    Reply onECGStart(const VitalCommand& command);
    Reply onECGStatus(const VitalCommand& command);
    Reply onWaveform(const VitalCommand& command);
    void makeStoredRecords();
    void tickECG(int generation, int run);

    // Under mutex_.
    Frame realTimeFrame();
    int heartReading();
    int temperatureReading();
    int vary(int value, int spread, int low, int high);
    Duration streamInterval(Duration scripted) const;

    // Timers (lab queue).
    void tickRealTime(int generation, int stream);
    void raiseEvent(int generation, Frame frame);
    void raiseHeartbeat(int generation, bool withData);
    void tickStray(int generation);
    void dropStaleAlarmList(int generation, int piece);

    mutable std::mutex mutex_;
    VitalScript script_;
    VitalSettings settings_;
    std::optional<VitalSettings::Parameters> pendingParameters_;  // a 0x03 waiting for its 0x06
    std::unique_ptr<VitalAlarmList> alarmList_;                   // the alarm list being put together
    int alarmPieces_ = 0;  // pieces taken; a time-out of an older piece does nothing
    DeviceClock clock_;
    long long addedSteps_ = 0;
    std::deque<Frame> frames_;
    int rejectedFrames_ = 0;
    int streamCounter_ = 0;
    int realTimeStream_ = 0;                 // the real-time stream running (0: none)
    int generation_ = 0;                     // changes with every link start and end; timers of an older one do nothing
    std::unique_ptr<VitalECGRecorder> ecg_;  // the measurement under way and the stored records
    std::optional<VitalHistory> history_;    // made at the first request after the script is set
    int ecgRun_ = 0;                         // the measurement the live-frame timer belongs to
    NotificationPacer pacer_{*this, kNotify};
};

}  // namespace halvora::lab
