#pragma once

#include <array>
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
#include "lab/Devices/RM830/RM830HeartPacket.hpp"
#include "lab/Devices/RM830/RM830Script.hpp"
#include "lab/Devices/RM830/RM830Settings.hpp"
#include "lab/NotificationPacer.hpp"
#include "lab/VirtualPeripheral.hpp"

namespace halvora::lab {

class RM830Command;
class VirtualRM830Bootloader;

/// The RM830 activity bracelet ("J-Style", also sold as "HalVora" and, with automatic heart-rate
/// monitoring, "HR1638"), seen from the bracelet's side.
///
/// GATT: service 0xFFF0, advertised (a central finds the bracelet by it, connected or not), with the write
/// characteristic 0xFFF6 (write and write without response) and the notify characteristic 0xFFF7.
///
/// The phone writes 16-byte frames: the command code, 14 parameter bytes and the low byte of the sum of the
/// first 15. A write of another length, or with a wrong checksum, is not trusted at all (not even its code):
/// the bracelet stays silent, logs it and counts it in rejectedFrames(). Every other frame is answered with
/// 16-byte notifications (the heart-rate history's are 20 bytes) whose byte 0 is the command's code and whose
/// last byte is the low byte of the sum of the others (see RM830Answers for every layout):
///   - settings, kept (settings()) and answered with the code alone: 0x01 the clock (BCD year - 2000, month,
///     day, hour, minute, second in bytes 1 to 6; the clock then runs on from there on the lab's clock),
///     0x37 the time format (byte 1), 0x02 the wearer (gender, age, height, weight, stride in bytes 1 to 5),
///     0x0B the daily step goal (bytes 1 to 3 big-endian), 0x19 automatic monitoring (byte 1: 0 off, else on),
///     0x2A the monitoring window (byte 1 on/off, BCD start hour and minute, end hour and minute, byte 6 the
///     day mask). A clock that is no real date and time (or not BCD), and a window whose times are not BCD
///     hours 0 to 23 and minutes 0 to 59, are refused with the error code (0x81, 0xAA) and change nothing;
///   - readings: 0x41 the clock, 0x38 the time format, 0x42 the wearer, in the layout they are set with;
///     0x46 the stored days (byte 1 how many, bytes 2 to 14 the first 13, in days ago from today back);
///     0x27 the firmware version (bytes 1 to 4, the script's "54.51.56.1" as signed bytes);
///   - 0x47 (switch to the updater) is answered with the code and counted (updateModeRequests()). The
///     script's switch delay later (RM830UpdaterScript::switchDelay, 500 ms unless scripted) the bracelet
///     drops the link and leaves the air (no advertising, connections refused), and its bootloader
///     (bootloader(), VirtualRM830Bootloader) comes on the air in its place, under its own identifier
///     (VirtualRM830Bootloader::identifierFor() the bracelet's), advertising "DfuTarg". When the
///     bootloader leaves the air (an activated image, a reset, its inactivity time), the bracelet comes
///     back the restart delay later (one second unless scripted): after an activation reporting the
///     version the new image carries on 0x27 (firmwareVersion()), else as it was. A 0x47 while a switch is
///     under way changes nothing more; one after the bracelet came back switches again;
///   - 0x09 starts real-time steps: a frame with today's steps, calories and distance at once, then one
///     every script interval with the steps grown, until 0x0A (answered with the code alone);
///   - 0x2C 1 starts real-time heart rate: a frame with a rate in byte 1 at once, then one every script
///     interval, until 0x2C 0 (answered 2C 00); 0x6D answers one rate. Rates are 1 to 255;
///   - 0x43 d asks for the day d days before the clock's date: a stored day goes out as 96 frames, one per
///     quarter hour in order (43 F0 ...), a day with nothing stored as one frame 43 FF;
///   - 0x2F n asks for heart-rate history packet n: byte 1 is 0x64 while more follow and 0xFF on the last.
///     Asking for packet 0 takes the list anew (seeded packets end at the clock's time then); a bracelet
///     with no packets, or asked for one past the last, answers 2F FF with the clock's time and zero
///     readings;
///   - any other code is answered with the code | 0x80.
/// Real-time streams stop when the link ends. The script's faults (RM830Faults) and the lab's link faults
/// apply on top. The bootloader joins the bracelet's radio at the first switch and stays there (off the air
/// when not in use) until the bracelet is destroyed.
///
/// Caps: the list of frames received keeps the latest kMaxRecordedFrames; seeded days past the 256th and
/// seeded heart-rate packets past kMaxHeartPackets are not made (0x43 and 0x2F can only reach numbers 0 to
/// 255); scripted stray day frames are capped at kMaxStrayDayFrames; stream intervals shorter than
/// kMinStreamInterval count as that.
///
/// Threads: the bracelet's state changes on the lab queue; the accessors may be called from any thread.
class VirtualRM830 : public VirtualPeripheral {
public:
    /// The bracelet's service, also advertised.
    static inline const BLEUUID kService{"0000fff0-0000-1000-8000-00805f9b34fb"};
    /// The phone writes its command frames here.
    static inline const BLEUUID kWrite{"0000fff6-0000-1000-8000-00805f9b34fb"};
    /// The bracelet notifies its answers here.
    static inline const BLEUUID kNotify{"0000fff7-0000-1000-8000-00805f9b34fb"};
    /// The bracelet's name.
    static inline const std::string kName = "J-Style";
    /// The name of the same bracelet under the kit's brand.
    static inline const std::string kSecondName = "HalVora";
    /// The name of the model with automatic heart-rate monitoring windows.
    static inline const std::string kThirdName = "HR1638";
    /// The latest frames kept for framesReceived().
    static constexpr std::size_t kMaxRecordedFrames = 4096;
    /// The most stray frames mixed into one stored day.
    static constexpr int kMaxStrayDayFrames = 1000;
    /// The most days back a stored (seeded) day can be.
    static constexpr int kMaxDaysAgo = 255;
    /// The most seeded heart-rate packets made (0x2F can only reach packets 0 to 255).
    static constexpr int kMaxHeartPackets = 256;
    /// The shortest time between two frames of a real-time stream.
    static constexpr Duration kMinStreamInterval = std::chrono::milliseconds(10);

    /// A bracelet with the default script.
    explicit VirtualRM830(VirtualPeripheralConfig config);
    ~VirtualRM830() override;
    /// A bracelet named `name` ("J-Style", "HalVora" or "HR1638") with the given identifier, advertising its
    /// service.
    static std::shared_ptr<VirtualRM830> make(const std::string& identifier, int rssi = -60,
                                              const std::string& name = kName);
    /// The four bytes the 0x27 answer carries for a version text like "54.51.56.1" (four numbers from -128
    /// to 127, as signed bytes); nothing for a text of another form.
    static std::optional<std::array<std::uint8_t, 4>> versionBytes(const std::string& text);

    /// Replaces the script: today's real-time steps start again from the script's, and the heart-rate
    /// history is taken anew at the next request.
    void setScript(const RM830Script& script);
    /// The script in use.
    RM830Script script() const;

    /// The settings held now (the clock as it reads now).
    RM830Settings settings() const;
    /// Every write to the command characteristic, oldest first, rejected ones too (at most
    /// kMaxRecordedFrames).
    std::vector<std::vector<std::uint8_t>> framesReceived() const;
    /// Writes ignored for their length or checksum.
    int rejectedFrames() const;
    /// How often the phone asked for the updater (0x47).
    int updateModeRequests() const;
    /// The firmware version the bracelet runs (the 0x27 answer): the script's, until an activated update
    /// replaces it (a new script brings the script's back).
    std::string firmwareVersion() const;
    /// The bracelet's bootloader (off the air unless the bracelet switched into it).
    const std::shared_ptr<VirtualRM830Bootloader>& bootloader() const { return bootloader_; }

protected:
    /// A new link: timers of the last one stop counting; a scripted clock waiting for a radio starts.
    void onConnected() override;
    /// The link ended: the real-time streams stop and answers not yet sent are dropped.
    void onDisconnected() override;
    /// A frame from the phone (writes to other characteristics are ignored).
    void onWrite(const BLEUUID& characteristic, const std::vector<std::uint8_t>& value, WriteType type) override;

private:
    using Frame = std::vector<std::uint8_t>;
    using Notifications = std::vector<Frame>;
    /// What a command causes: notifications to send now, then work to do on the lab queue.
    struct Reply {
        Notifications notifications;
        std::function<void()> then;
    };
    using Handler = Reply (VirtualRM830::*)(const RM830Command&);

    static Handler handlerFor(std::uint8_t code);

    void handleFrame(const std::vector<std::uint8_t>& value);
    void recordFrame(const std::vector<std::uint8_t>& value);
    bool answerIsLost(std::uint8_t code) const;
    bool fails(std::uint8_t code) const;
    void send(Notifications notifications);
    void cutIfScripted(Notifications& notifications) const;
    BraceletTime clockNow() const;
    void anchorClock(const BraceletTime& time);

    // Handlers run under mutex_, on the lab queue.
    Reply answer(Frame frame) const;
    Reply onSetClock(const RM830Command& command);
    Reply onReadClock(const RM830Command& command);
    Reply onSetTimeFormat(const RM830Command& command);
    Reply onReadTimeFormat(const RM830Command& command);
    Reply onSetPersonalData(const RM830Command& command);
    Reply onReadPersonalData(const RM830Command& command);
    Reply onSetStepGoal(const RM830Command& command);
    Reply onSetMonitoring(const RM830Command& command);
    Reply onSetMonitoringWindow(const RM830Command& command);
    Reply onReadVersion(const RM830Command& command);
    Reply onUpdateMode(const RM830Command& command);
    Reply onStartRealTime(const RM830Command& command);
    Reply onStopRealTime(const RM830Command& command);
    Reply onRealTimeHeartRate(const RM830Command& command);
    Reply onHeartRate(const RM830Command& command);
    Reply onDatesWithData(const RM830Command& command);
    Reply onHistoryDay(const RM830Command& command);
    Reply onHeartHistory(const RM830Command& command);

    // Under mutex_.
    Frame currentDayFrame() const;
    int heartReading();
    std::vector<int> storedDays() const;
    std::optional<RM830Day> storedDay(int daysAgo, const BraceletTime& clock) const;
    void mixInStrayFrames(Notifications& frames);
    const std::vector<RM830HeartPacket>& heartPackets(bool anew);
    Duration streamInterval(Duration scripted) const;

    // The switch into the bootloader and back (lab queue).
    void enterUpdater();
    void comeBack(std::optional<std::string> newVersion);

    // Stream ticks (lab queue).
    void tickRealTime(int generation, int stream);
    void tickHeartRate(int generation, int stream);

    const std::shared_ptr<VirtualRM830Bootloader> bootloader_;
    mutable std::mutex mutex_;
    RM830Script script_;
    std::string firmwareVersion_ = script_.version;
    bool switching_ = false;  // from an accepted 0x47 until the bracelet is back on the air
    RM830Settings settings_;
    DeviceClock clock_;
    long long addedSteps_ = 0;         // steps added by real-time updates since the script was set
    std::optional<std::vector<RM830HeartPacket>> heartPackets_;
    std::deque<Frame> frames_;
    int rejectedFrames_ = 0;
    long long commandCount_ = 0;
    int streamCounter_ = 0;
    int realTimeStream_ = 0;   // the real-time step stream running (0: none)
    int heartRateStream_ = 0;  // the real-time heart-rate stream running (0: none)
    int generation_ = 0;       // changes with every link start and end; timers of an older one do nothing
    NotificationPacer pacer_{*this, kNotify};  // what the bracelet sends, paced by the script
};

}  // namespace halvora::lab
