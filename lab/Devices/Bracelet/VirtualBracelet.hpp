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

#include "lab/Devices/Bracelet/BraceletHistory.hpp"
#include "lab/Devices/Bracelet/BraceletScript.hpp"
#include "lab/Devices/Bracelet/BraceletSettings.hpp"
#include "lab/NotificationPacer.hpp"
#include "lab/VirtualPeripheral.hpp"

namespace halvora::lab {

class LineAssembler;
struct CommandLine;

/// The text-command activity bracelet ("B521A", also sold as "RM-610HR"), seen from the bracelet's side.
///
/// GATT: service 0x190A with the write characteristic 00000001-... (write and write without response) and
/// the notify characteristic 00000002-...; the service 0xFEE7 is advertised and offered too (it has no
/// characteristics), so a central finds the bracelet by it, connected or not.
///
/// The phone writes text commands ending in "\r\n", possibly cut over several writes; the bracelet answers
/// each with one text line ending in "\r\n", cut into notifications of at most 20 bytes:
///   - readings: "AT+PACE" -> "AT+PACE:<steps>", "AT+BAT" or "AT+BATT" -> "AT+BAT:<per cent>",
///     "AT+VER" -> "AT+VER:<version>";
///   - settings, kept and answered with the value now held: "AT+HEIGHT=170" -> "AT+HEIGHT:170", likewise
///     AT+WEIGHT, AT+DEST (step goal), AT+UNITS, AT+HANDSUP, AT+ANTI_LOST, AT+FINDPHONE, AT+HRMONITOR (0/1
///     for the switches) and BT+IOS; "AT+ANCS=0013" -> "AT+ANCS:0013" (hexadecimal mask);
///     "AT+DT=yyyyMMddHHmm" sets the clock -> "AT+DT:yyyyMMddHHmm"; "AT+ALARM=..." / "AT+ALARM2=..." ->
///     "AT+ALARM:..." / "AT+ALARM2:..." and "AT+SIT=..." -> "AT+SIT:..." echo the setting as held. The same
///     command without "=" asks for the value held and gets the same answer;
///   - actions: "AT+NAME=<text>" (shown on the display), AT+FINDBT (vibrates), AT+STEPSTORE, AT+ACT,
///     "AT+TOPACE=1/0" (real-time steps) -> "<command>:OK"; "AT+BOND" -> "AT+BOND:OK" (or ":ERR" when
///     scripted); "AT+RUN=1/0" -> "AT+RUN:1/0"; "AT+OFF" -> "AT+OFF:OK", then the bracelet switches off
///     and the link drops (kPowerOffDelay later);
///   - heart rate: "AT+HEART=1" -> "AT+HEART:OK", then after the script's delay "AT+HEART:<bpm>" (or
///     "AT+HEART:ERR"); "AT+HEART=0" stops a measurement -> "AT+HEART:OK";
///   - history: "AT+DATA=0" starts a download of the history not yet synced and sends package 1;
///     "AT+DATA=n" sends package n of that download (again, if asked again). Each package goes as a header
///     line and then its bytes (see HistoryAnswers and BraceletHistory). Once the last package has gone
///     out, the download's records count as synced and are forgotten; a download with nothing to send,
///     and a request for a package the current download does not have, are answered with a header of
///     zeros ("AT+DATA:0,0,0,0,0,0,0"). A link lost before the last package keeps the records unsynced.
/// Anything else (an unknown command, a malformed or out-of-range argument, a line dropped for length) is
/// answered "ERR\r\n". Scripted events ("NT+...") are sent on their own, timed from notifications on.
///
/// Caps: a command line waits for its "\r\n" up to LineAssembler's 512 bytes (then it is dropped and
/// answered "ERR"); the list of commands received keeps the latest kMaxRecordedCommands.
///
/// Threads: the bracelet's state changes on the lab queue; the accessors may be called from any thread.
class VirtualBracelet : public VirtualPeripheral {
public:
    /// The bracelet's service.
    static inline const BLEUUID kService{"0000190a-0000-1000-8000-00805f9b34fb"};
    /// The service the bracelet advertises (the phone scans for it).
    static inline const BLEUUID kScanService{"0000fee7-0000-1000-8000-00805f9b34fb"};
    /// The phone writes its commands here.
    static inline const BLEUUID kWrite{"00000001-0000-1000-8000-00805f9b34fb"};
    /// The bracelet notifies its answers here.
    static inline const BLEUUID kNotify{"00000002-0000-1000-8000-00805f9b34fb"};
    /// The bracelet's name.
    static inline const std::string kName = "B521A";
    /// The name of the same bracelet sold under another brand.
    static inline const std::string kSecondName = "RM-610HR";
    /// The latest commands kept for commandsReceived().
    static constexpr std::size_t kMaxRecordedCommands = 4096;
    /// From the answer to "AT+OFF" to the link dropping.
    static constexpr Duration kPowerOffDelay = std::chrono::milliseconds(100);

    /// A bracelet with the default script and no history.
    explicit VirtualBracelet(VirtualPeripheralConfig config);
    ~VirtualBracelet() override;
    /// A bracelet named `name` ("B521A" or "RM-610HR") with the given identifier, advertising the scan
    /// service.
    static std::shared_ptr<VirtualBracelet> make(const std::string& identifier, int rssi = -60,
                                                 const std::string& name = kName);

    /// Replaces the script; the history not yet synced becomes the script's history.
    void setScript(const BraceletScript& script);
    /// The script in use.
    BraceletScript script() const;
    /// Stores more history (not yet synced).
    void addHistory(const std::vector<BraceletRecord>& records);

    /// The settings held now (the clock as it reads now).
    BraceletSettings settings() const;
    /// The command lines received, oldest first, without "\r\n" (at most kMaxRecordedCommands).
    std::vector<std::string> commandsReceived() const;
    /// The history not yet synced, by time (a download under way still counts until its last package).
    std::vector<BraceletRecord> unsyncedHistory() const;
    /// Packages sent so far (answers lost on purpose do not count).
    int packagesSent() const;
    /// Heart-rate measurements started so far.
    int heartMeasurements() const;

protected:
    void onConnected() override;
    void onDisconnected() override;
    void onWrite(const BLEUUID& characteristic, const std::vector<std::uint8_t>& value, WriteType type) override;
    void onNotifyChanged(const BLEUUID& characteristic, bool enabled) override;

private:
    using Notifications = std::vector<std::vector<std::uint8_t>>;
    /// What a command causes: notifications to send now, then work to do on the lab queue.
    struct Reply {
        Notifications notifications;
        std::function<void()> then;
    };
    using Handler = Reply (VirtualBracelet::*)(const CommandLine&);
    /// A number setting: its command, its field and its range.
    struct NumberSetting {
        const char* command;
        int BraceletSettings::*field;
        long long low;
        long long high;
    };
    /// A switch setting (0/1): its command and its field.
    struct SwitchSetting {
        const char* command;
        bool BraceletSettings::*field;
    };
    /// The download under way: the packages of the records taken from the unsynced history.
    struct Download {
        std::vector<BraceletHistory::Package> packages;
        BraceletHistory records;
        bool finished = false;
    };

    static const std::vector<std::pair<std::string, Handler>>& handlers();
    static Handler handlerFor(const std::string& command);
    static const NumberSetting* numberSetting(const std::string& command);
    static const SwitchSetting* switchSetting(const std::string& command);

    void handleLine(const std::string& line);
    void recordCommand(const std::string& line);
    bool answerIsLost(const std::string& command) const;
    void send(Notifications notifications);
    void scrambleIfHostile(Notifications& notifications);
    void abandonDownload();
    std::optional<BraceletTime> clockNow() const;

    // Handlers run under mutex_, on the lab queue.
    Reply answer(const std::string& text) const;
    Reply error() const;
    Reply onReading(const CommandLine& command);
    Reply onNumberSetting(const CommandLine& command);
    Reply onSwitchSetting(const CommandLine& command);
    Reply onPhoneMode(const CommandLine& command);
    Reply onNotificationMask(const CommandLine& command);
    Reply onClock(const CommandLine& command);
    Reply onAlarm(const CommandLine& command);
    Reply onSedentary(const CommandLine& command);
    Reply onAction(const CommandLine& command);
    Reply onBond(const CommandLine& command);
    Reply onRun(const CommandLine& command);
    Reply onPowerOff(const CommandLine& command);
    Reply onHeart(const CommandLine& command);
    Reply onData(const CommandLine& command);
    Reply startDownload();
    Reply sendPackage(int number);
    void finishHeartMeasurement(int generation, int measurement);

    mutable std::mutex mutex_;
    BraceletScript script_;
    BraceletSettings settings_;
    std::optional<BraceletTime> clockSetTo_;
    MonotonicTime clockSetAt_{};
    BraceletHistory unsynced_;
    std::optional<Download> download_;
    std::deque<std::string> commands_;
    long long commandCount_ = 0;
    bool currentAnswerLost_ = false;
    int packagesSent_ = 0;
    int heartMeasurements_ = 0;
    int heartRunning_ = 0;  // the measurement under way (0: none)
    int generation_ = 0;    // changes with every link start and end; timers of an older one do nothing
    std::unique_ptr<LineAssembler> assembler_;
    NotificationPacer pacer_{*this, kNotify};  // what the bracelet sends, paced by the script
};

}  // namespace halvora::lab
