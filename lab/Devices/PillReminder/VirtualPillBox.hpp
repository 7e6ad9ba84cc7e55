#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "lab/Devices/Bracelet/BraceletTime.hpp"
#include "lab/Devices/Bracelet/DeviceClock.hpp"
#include "lab/Devices/PillReminder/PillBoxAlarm.hpp"
#include "lab/Devices/PillReminder/PillBoxCommand.hpp"
#include "lab/Devices/PillReminder/PillBoxDose.hpp"
#include "lab/Devices/PillReminder/PillBoxMemory.hpp"
#include "lab/Devices/PillReminder/PillBoxScript.hpp"
#include "lab/Devices/PillReminder/internal/PillBoxFrameReader.hpp"
#include "lab/VirtualPeripheral.hpp"

namespace halvora::lab {

/// The "tameinagli" pill box, seen from the box's side.
///
/// GATT: service ba11f08c-5f14-0b0d-10c0-00434d4d4544 with the notify characteristics 0000cd01..0000cd04 and
/// the write characteristic 0000cd20 (write and write without response); service 1801 with the readable
/// hardware revision text 2A27. The box advertises its local name only (no service); its GAP name is given
/// when it is made and may be empty or different, so that the local name alone identifies it.
///
/// Frames, both ways: AA 55 len code payload checksum, len counting the code, the payload and the checksum,
/// the checksum the low byte of the sum of len, code and payload. The phone writes at most 20 bytes at a time;
/// a longer frame comes in pieces and is put together (PillBoxFrameReader). Every reply goes out on cd01, cut
/// into notifications of 20 bytes. Bytes that do not begin with AA 55 are ignored; a frame with a wrong
/// checksum, an impossible length byte, a code the box does not know or a length byte other than its
/// command's is refused with AA 55 02 F1 F3. All of these are counted in rejectedFrames().
///
/// Commands (PillBoxCommand) and replies; "ack" is AA 55 02 F0 F2:
///   - C2 sets the clock (year - 2000, month, day, weekday, hour, minute, second; the weekday is not kept):
///     ack, or the refusal for a date that does not exist; D2 reads it: AA 55 08 B2 yy MM dd hh mm ss k;
///   - C4 sets the zone (hours -12..14, minutes -59..59, signed bytes): ack or the refusal; CD reads it:
///     AA 55 04 CD hh mm k;
///   - CE reads the battery: AA 55 03 B9 level k;
///   - D0 marks a synchronisation at the clock's time (ack); CF reads it: AA 55 08 CF yy MM dd hh mm ss k
///     (2000-01-01 00:00:00 before any);
///   - D6 and D7 keep the alarm duration and the confirmation time (one byte each, ack);
///   - D8 clears the schedule (ack); D4 stores up to five alarms of one day: bytes 4-6 a day header whose
///     last 6 bits are the day's alarm count, bytes 7-8 the packed day (7 bits year - 2000, 4 month, 5 day),
///     five packed slots from byte 9 (5 bits hour, 6 minute, 5 colour; FF FF empty). The alarms are added to
///     the day's (two frames make a day of ten); a day that does not exist, a count above ten, an hour past 23,
///     a minute past 59, a colour outside 1..5, a day that would hold more than kMaxAlarmsPerDay, or a new day
///     beyond kMaxDays is answered AA 55 02 FE 00 and nothing of the frame is stored;
///   - D3 lists the schedule, days in date order: per day a 28-byte reply AA 55 19 D3, packed day, the day's
///     count, ten slots (FF FF empty), checksum (a 20-byte notification and an 8-byte one), then the ack;
///   - D5 lists the taken/missed history, oldest first: replies AA 55 len D5 n, n entries of 6 bytes
///     (e0..e5: e0 low nibble and e1 top 2 bits the year - 2000, e1 bits 2-5 the month, e1 low 2 bits and e2
///     top 3 bits the day, e2 low 5 bits the hour taken, e3 top 6 bits the minute taken, e3 low 2 bits the
///     status (PillBoxDose::Status: 0 on time, 1 late, 2 missed, 3 skipped), e4 the planned hour, e5 the
///     planned minute), checksum; then the ack. A reply holds up to eight entries (54 bytes: 20 + 20 + 14);
///     the box never sends a reply of 21 to 40 bytes, so a last group of three to five entries goes out in
///     replies of two (and one). D1 clears the history (ack).
/// The history is the script's list, or else made up from the stored schedule, the clock and the script's
/// seed (PillBoxHistory::generated()); once cleared, a made-up history holds only alarms after the clearing.
/// The script's faults (PillBoxFaults) and the lab's link faults apply on top.
///
/// Memory: what the phone can change and the box keeps (PillBoxMemory) is taken by memory() and put back by
/// restore(); after each write from the phone that changed it, the memory callback gets the new memory.
///
/// Caps: the schedule holds kMaxDays days of kMaxAlarmsPerDay alarms; the history reports its newest
/// kMaxHistory doses; framesReceived() keeps the latest kMaxRecordedFrames writes; a frame under way is at
/// most PillBoxFrameReader::kMaxFrameSize bytes.
///
/// Threads: the box's state changes on the lab queue; the accessors may be called from any thread.
class VirtualPillBox : public VirtualPeripheral {
public:
    /// The box's protocol service.
    static inline const BLEUUID kService{"ba11f08c-5f14-0b0d-10c0-00434d4d4544"};
    /// The box answers here.
    static inline const BLEUUID kNotify{"0000cd01-0000-1000-8000-00805f9b34fb"};
    /// A further notify characteristic (silent in the lab).
    static inline const BLEUUID kNotify2{"0000cd02-0000-1000-8000-00805f9b34fb"};
    /// A further notify characteristic (silent in the lab).
    static inline const BLEUUID kNotify3{"0000cd03-0000-1000-8000-00805f9b34fb"};
    /// A further notify characteristic (silent in the lab).
    static inline const BLEUUID kNotify4{"0000cd04-0000-1000-8000-00805f9b34fb"};
    /// The phone writes its frames here.
    static inline const BLEUUID kWrite{"0000cd20-0000-1000-8000-00805f9b34fb"};
    /// The service holding the hardware revision.
    static inline const BLEUUID kInfoService{"1801"};
    /// The hardware revision text, readable.
    static inline const BLEUUID kHardwareRevision{"2A27"};
    /// The box's name, advertised as its local name.
    static inline const std::string kName = "tameinagli";
    /// What 2A27 reads.
    static inline const std::string kHardwareRevisionText = "TMG-PB2 rev C";
    /// The most days the schedule holds.
    static constexpr std::size_t kMaxDays = 366;
    /// The most alarms a day holds (two schedule frames).
    static constexpr std::size_t kMaxAlarmsPerDay = 10;
    /// The most doses the history reports (the newest).
    static constexpr std::size_t kMaxHistory = 1024;
    /// The latest writes kept for framesReceived().
    static constexpr std::size_t kMaxRecordedFrames = 4096;

    /// A box with the default script.
    explicit VirtualPillBox(VirtualPeripheralConfig config);
    ~VirtualPillBox() override;
    /// A box with the given identifier, advertising the local name "tameinagli", its GAP name `gapName`
    /// (absent: none; "" an empty one).
    static std::shared_ptr<VirtualPillBox> make(const std::string& identifier,
                                                std::optional<std::string> gapName = kName, int rssi = -60);

    /// Replaces the script: clock, zone, last synchronisation, schedule and history are taken anew from it;
    /// the alarm duration and confirmation time are kept.
    void setScript(const PillBoxScript& script);
    /// The script in use.
    PillBoxScript script() const;

    /// The clock as it reads now.
    BraceletTime clock() const;
    /// The zone's hours.
    int zoneHours() const;
    /// The zone's minutes.
    int zoneMinutes() const;
    /// The last synchronisation marked, if any.
    std::optional<BraceletTime> lastSync() const;
    /// The alarm duration last set (0 until set).
    int alarmDuration() const;
    /// The confirmation time last set (0 until set).
    int confirmationTime() const;
    /// The stored alarms, days in date order, each day's in the order received.
    std::vector<PillBoxAlarm> schedule() const;
    /// The history the box would report now, oldest first.
    std::vector<PillBoxDose> history() const;
    /// Every write to cd20, oldest first (at most kMaxRecordedFrames).
    std::vector<std::vector<std::uint8_t>> framesReceived() const;
    /// Writes and frames not taken (see the class comment) and refused commands.
    int rejectedFrames() const;

    /// Called with the box's new memory after each write from the phone that changed it, on the lab queue
    /// (outside the box's lock: it may call the box).
    using MemoryCallback = std::function<void(const PillBoxMemory&)>;
    /// What the box keeps now: settings, schedule and history (see PillBoxMemory).
    PillBoxMemory memory() const;
    /// Puts back what `memory` holds over the script's values (the clock and battery stay the script's);
    /// the schedule and history are kept within their caps as a script's are. Does not call the callback.
    void restore(const PillBoxMemory& memory);
    /// Sets (or, with an empty callback, removes) the memory callback.
    void setMemoryCallback(MemoryCallback callback);

protected:
    /// A new link: a scripted clock waiting for a radio starts.
    void onConnected() override;
    /// The link ended: a frame under way is forgotten.
    void onDisconnected() override;
    /// A write from the phone (writes to other characteristics are ignored).
    void onWrite(const BLEUUID& characteristic, const std::vector<std::uint8_t>& value, WriteType type) override;

private:
    using Frame = std::vector<std::uint8_t>;
    using Replies = std::vector<Frame>;

    // Under mutex_, on the lab queue.
    Replies take(const PillBoxFrameReader::Result& result);
    Replies handleFrame(const Frame& frame);
    Replies handle(PillBoxCommand command, const Frame& frame);
    Replies refuse();
    Replies onSetClock(const Frame& frame);
    Replies onSetZone(const Frame& frame);
    Replies onMarkSynchronised();
    Replies onClearHistory();
    Replies onWriteSchedule(const Frame& frame);
    Replies onReadSchedule() const;
    Replies onReadHistory() const;
    Replies onSetValue(int& value, const Frame& frame);
    BraceletTime clockNow() const;
    std::vector<PillBoxAlarm> flatSchedule() const;
    std::vector<PillBoxDose> currentHistory() const;
    void storeSchedule(const std::vector<PillBoxAlarm>& alarms);
    void keepHistory(std::optional<std::vector<PillBoxDose>> history);
    PillBoxMemory memoryNow() const;
    void recordFrame(const Frame& value);

    void send(const Replies& replies);

    mutable std::mutex mutex_;
    PillBoxScript script_;
    DeviceClock clock_;
    int zoneHours_ = 0;
    int zoneMinutes_ = 0;
    std::optional<BraceletTime> lastSync_;
    int alarmDuration_ = 0;
    int confirmationTime_ = 0;
    std::map<BraceletTime, std::vector<PillBoxAlarm>> schedule_;  // by day (00:00)
    std::optional<std::vector<PillBoxDose>> scriptedHistory_;
    std::optional<BraceletTime> historyClearedAt_;  // a made-up history starts after this
    PillBoxFrameReader reader_;
    std::deque<Frame> frames_;
    int rejectedFrames_ = 0;
    MemoryCallback memoryCallback_;
};

}  // namespace halvora::lab
