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
#include "lab/Devices/Tensio/TensioReading.hpp"
#include "lab/Devices/Tensio/TensioScript.hpp"
#include "lab/Devices/Tensio/TensioSettings.hpp"
#include "lab/VirtualPeripheral.hpp"

namespace halvora::lab {

class TensioFrame;

/// The wrist blood-pressure bracelet "BPW1", seen from the bracelet's side.
///
/// GATT: service 69400001-B5A3-F393-E0A9-E50E24DCCA99 (also advertised) with the write characteristic
/// 69400002-... (write and write without response) and the notify characteristic 69400003-....
///
/// The phone writes frames 5A 00 LEN b3 ... k of LEN + 4 bytes: six-byte commands 5A 00 02 c p k with
/// k = 02 XOR c XOR p, the fixed reset frame 5A 00 02 13 AA A8, and eleven-byte frames 5A 00 07 c b4..b9 k
/// with k = b4 XOR ... XOR b9 XOR 07 (the clock 0x20, an ambulatory window 0x21, the configuration 0x22).
/// A write that is no frame (another header, a length byte other than 02 and 07, or a write length other
/// than LEN + 4) is ignored and counted in rejectedFrames(); a frame with a wrong check byte is counted there
/// too and answered with the frame error 51 01, a well-formed frame with a command the bracelet does not
/// know with 51 02 (TensioError). Every answer is its own notification 5A 00 LEN b3 ... k, k the XOR of the
/// length byte and the bytes after it (see TensioAnswers for each layout):
///   - 00 00 starts a measurement: the acknowledgement 5A 00 02 40 00 42, then one cuff pressure frame
///     (5A 00 02 hi lo k) every script interval, up to the top and down again, then the 14-byte result dated
///     by the clock, which is stored; a scripted failure sends its error frame at the top instead. A start
///     while a measurement runs starts it again. 00 01 stops it: acknowledged, nothing more is sent or stored;
///   - 01 00 walks the memory: the first request is answered with the count (5A 00 02 60 n k), each further
///     one with the next stored measurement, oldest first, as a 10-byte record; the request after the last
///     record starts again with the count. The walk also starts again when the link ends, the memory is
///     cleared or the script is set; other commands between two requests do not disturb it, and a
///     measurement stored meanwhile joins the walk's end. 02 00 clears the memory (acknowledged);
///   - 03 00 reads the clock (10 bytes: two-digit year, month, day, hour, minute, second); 0x20 sets it
///     (acknowledged; it then runs on the lab's clock). A date that does not exist is refused with 51 03;
///   - 0x21 sets one ambulatory window (acknowledged, kept): window 1 starts a new schedule, window n
///     (the serial byte's high nibble) replaces or follows the ones held. Hours past 23, minutes past 59,
///     window 0, a window past the total the serial byte gives, or one that leaves a gap are refused with
///     51 03. 03 01 reads the schedule: one 10-byte frame per window held, in order, with the serial byte
///     recounted from what is held; with none held, one frame of zeros (serial 0 of 0);
///   - 04 00 reads the basic information: battery, the ambulatory flag, unit and hold, the stored count;
///   - 06 00 repeats the newest stored measurement: acknowledged, then its result frame again (not stored
///     again); with nothing stored it is refused with 52 03;
///   - 0x22 sets the configuration (acknowledged, kept): byte 4 switches ambulatory measuring on (non-zero)
///     or off, byte 8 is the wrist; 13 AA resets the configuration and the schedule to their defaults
///     (acknowledged; the memory and the clock are kept).
/// The bracelet does not measure on its own: the schedule is kept and read back only. A measurement and the
/// memory walk end with the link. The script's faults (TensioFaults) and the lab's link faults apply on top.
///
/// Caps: the list of frames received keeps the latest kMaxRecordedFrames; the memory holds
/// kMaxStoredReadings (its count byte): a measurement made with a full memory pushes the oldest out, and of a
/// longer scripted memory only the newest are kept; the schedule holds at most kMaxWindows; stream and stray
/// intervals shorter than kMinStreamInterval count as that.
///
/// Threads: the bracelet's state changes on the lab queue; the accessors may be called from any thread.
class VirtualTensioBracelet : public VirtualPeripheral {
public:
    /// The bracelet's service, also advertised.
    static inline const BLEUUID kService{"69400001-B5A3-F393-E0A9-E50E24DCCA99"};
    /// The phone writes its command frames here.
    static inline const BLEUUID kWrite{"69400002-B5A3-F393-E0A9-E50E24DCCA99"};
    /// The bracelet notifies its answers here.
    static inline const BLEUUID kNotify{"69400003-B5A3-F393-E0A9-E50E24DCCA99"};
    /// The bracelet's name.
    static inline const std::string kName = "BPW1";
    /// The latest frames kept for framesReceived().
    static constexpr std::size_t kMaxRecordedFrames = 4096;
    /// The most measurements the memory holds (its count is one byte).
    static constexpr std::size_t kMaxStoredReadings = 255;
    /// The most ambulatory windows held (a window's number and the total each have a nibble).
    static constexpr std::size_t kMaxWindows = 15;
    /// The shortest time between two frames of a measurement's stream, or two stray frames.
    static constexpr Duration kMinStreamInterval = std::chrono::milliseconds(10);

    /// A bracelet with the default script.
    explicit VirtualTensioBracelet(VirtualPeripheralConfig config);
    ~VirtualTensioBracelet() override;
    /// A bracelet named "BPW1" with the given identifier, advertising its service.
    static std::shared_ptr<VirtualTensioBracelet> make(const std::string& identifier, int rssi = -60);

    /// Replaces the script: the memory is taken anew from it (seeded measurements end at the clock's time
    /// when the memory is next needed), and the new faults apply at once.
    void setScript(const TensioScript& script);
    /// The script in use.
    TensioScript script() const;

    /// The settings held now (the clock as it reads now).
    TensioSettings settings() const;
    /// The stored measurements, oldest first (at most kMaxStoredReadings).
    std::vector<TensioReading> memory() const;
    /// Every write to the command characteristic, oldest first, rejected ones too (at most
    /// kMaxRecordedFrames).
    std::vector<std::vector<std::uint8_t>> framesReceived() const;
    /// Writes not taken as frames, and frames with a wrong check byte.
    int rejectedFrames() const;
    /// Measurements started so far.
    int measurementsStarted() const;

protected:
    /// A new link: timers of the last one stop counting; a scripted clock waiting for a radio starts; stray
    /// frames start when scripted.
    void onConnected() override;
    /// The link ended: a running measurement is abandoned and the memory walk starts again.
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
    /// The measurement running: what it sends, fixed when it starts.
    struct Measurement {
        int number = 0;
        std::vector<int> pressures;
        TensioReading result;  // dated when it is sent
        std::optional<TensioError> error;
        Duration interval{};
    };

    void handleWrite(const std::vector<std::uint8_t>& value);
    void recordFrame(const std::vector<std::uint8_t>& value);
    bool answerIsLost(TensioCommand command) const;
    std::optional<TensioError> refusalOf(TensioCommand command) const;
    void send(const Notifications& notifications);
    BraceletTime clockNow() const;
    BraceletTime labLocalTime() const;
    void anchorClock(const BraceletTime& time);
    std::deque<TensioReading>& storedReadings() const;  // the memory, taken from the script when first needed
    void store(const TensioReading& reading);

    // Handlers run under mutex_, on the lab queue.
    Reply handle(TensioCommand command, const TensioFrame& frame);
    Reply answer(Frame frame) const;
    Reply refuse(const TensioError& error) const;
    Reply onStartMeasurement();
    Reply onStopMeasurement();
    Reply onReadMemory();
    Reply onClearMemory();
    Reply onReadClock();
    Reply onSetClock(const TensioFrame& frame);
    Reply onReadSchedule();
    Reply onSetScheduleWindow(const TensioFrame& frame);
    Reply onReadBasicInfo();
    Reply onRepeatMeasurement();
    Reply onSetConfiguration(const TensioFrame& frame);
    Reply onResetDefaults();

    // Timers (lab queue).
    void tickMeasurement(int generation, int number, std::size_t step);
    void startStrays();
    void tickStray(int generation, int loop);
    Frame strayFrame();

    mutable std::mutex mutex_;
    TensioScript script_;
    TensioSettings settings_;
    std::optional<BraceletTime> clockAnchor_;  // where the clock was set (by the phone or the script)
    MonotonicTime clockAnchoredAt_{};
    bool clockWaitsForRadio_ = false;  // a scripted clock set before the bracelet was in a radio
    mutable std::optional<std::deque<TensioReading>> memory_;  // taken from the script when first needed
    std::optional<std::size_t> walk_;                          // the next record of the memory walk (none: the count)
    std::optional<Measurement> measurement_;                   // the measurement running
    std::deque<Frame> frames_;
    int rejectedFrames_ = 0;
    long long commandCount_ = 0;
    int measurementsStarted_ = 0;
    int generation_ = 0;  // changes with every link start and end; timers of an older one do nothing
    int strayLoop_ = 0;   // changes with every restart of the stray frames
};

}  // namespace halvora::lab
