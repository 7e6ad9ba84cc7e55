#include "lab/Devices/RM830/internal/RM830Answers.hpp"

#include <algorithm>

#include "lab/Devices/RM830/RM830History.hpp"
#include "lab/Devices/RM830/internal/RM830FrameBuilder.hpp"
#include "lab/Devices/RM830/internal/RM830Protocol.hpp"

namespace halvora::lab {

namespace {

constexpr int kCentury = 2000;
constexpr std::size_t kDaysListed = 13;
constexpr int kMaxDayCount = 255;
constexpr int kMaxHeartRate = 255;

// History day frame layout.
constexpr std::size_t kDayKind = 1;
constexpr std::size_t kDayYear = 2;
constexpr std::size_t kDayQuarter = 5;
constexpr std::size_t kQuarterKind = 6;
constexpr std::size_t kQuarterCalories = 7;
constexpr std::size_t kQuarterSteps = 9;
constexpr std::size_t kQuarterDistance = 11;
constexpr std::size_t kQuarterMovement = 7;

// Heart-rate history packet layout.
constexpr std::size_t kPacketMore = 1;
constexpr std::size_t kPacketStart = 2;
constexpr std::size_t kPacketReadings = 7;

// Real-time step frame layout.
constexpr std::size_t kCurrentSteps = 1;
constexpr std::size_t kCurrentCalories = 7;
constexpr std::size_t kCurrentDistance = 10;

/// Writes year - 2000, month and day as BCD from byte `at` on.
void putDate(RM830FrameBuilder& frame, std::size_t at, const BraceletTime& time) {
    frame.bcd(at, time.year - kCentury).bcd(at + 1, time.month).bcd(at + 2, time.day);
}

}  // namespace

RM830Answers::Frame RM830Answers::acknowledgement(std::uint8_t code) {
    return RM830FrameBuilder(code).bytes();
}

RM830Answers::Frame RM830Answers::error(std::uint8_t code) {
    return RM830FrameBuilder(static_cast<std::uint8_t>(code | rm830::kErrorBit)).bytes();
}

RM830Answers::Frame RM830Answers::clock(const BraceletTime& time) {
    RM830FrameBuilder frame(rm830::kReadClock);
    putDate(frame, 1, time);
    return frame.bcd(4, time.hour).bcd(5, time.minute).bcd(6, time.second).bytes();
}

RM830Answers::Frame RM830Answers::timeFormat(std::optional<int> format) {
    return RM830FrameBuilder(rm830::kReadTimeFormat).set(1, static_cast<std::uint8_t>(format.value_or(0))).bytes();
}

RM830Answers::Frame RM830Answers::personalData(const RM830Settings::PersonalData& personal) {
    return RM830FrameBuilder(rm830::kReadPersonalData)
        .set(1, static_cast<std::uint8_t>(personal.gender))
        .set(2, static_cast<std::uint8_t>(personal.age))
        .set(3, static_cast<std::uint8_t>(personal.height))
        .set(4, static_cast<std::uint8_t>(personal.weight))
        .set(5, static_cast<std::uint8_t>(personal.stride))
        .bytes();
}

RM830Answers::Frame RM830Answers::datesWithData(const std::vector<int>& daysAgo) {
    RM830FrameBuilder frame(rm830::kDatesWithData);
    frame.set(1, static_cast<std::uint8_t>(std::min<std::size_t>(daysAgo.size(), kMaxDayCount)));
    for (std::size_t i = 0; i < std::min(daysAgo.size(), kDaysListed); ++i) {
        frame.set(2 + i, static_cast<std::uint8_t>(std::clamp(daysAgo[i], 0, 0xFF)));
    }
    return frame.bytes();
}

RM830Answers::Frame RM830Answers::currentDay(long long steps, long long calories, long long distance) {
    return RM830FrameBuilder(rm830::kStartRealTime)
        .bigEndian24(kCurrentSteps, steps)
        .bigEndian24(kCurrentCalories, calories)
        .bigEndian24(kCurrentDistance, distance)
        .bytes();
}

RM830Answers::Frame RM830Answers::version(const std::array<std::uint8_t, 4>& bytes) {
    RM830FrameBuilder frame(rm830::kReadVersion);
    for (std::size_t i = 0; i < bytes.size(); ++i) frame.set(1 + i, bytes[i]);
    return frame.bytes();
}

RM830Answers::Frame RM830Answers::heartRate(std::uint8_t code, int bpm) {
    return RM830FrameBuilder(code).set(1, static_cast<std::uint8_t>(std::clamp(bpm, 0, kMaxHeartRate))).bytes();
}

RM830Answers::Frame RM830Answers::noDayData() {
    return RM830FrameBuilder(rm830::kHistoryDay).set(kDayKind, rm830::kNoDayData).bytes();
}

std::vector<RM830Answers::Frame> RM830Answers::day(const BraceletTime& date, const RM830Day& day) {
    std::vector<Frame> frames;
    for (const auto& quarter : RM830History::quartersOf(day)) {
        RM830FrameBuilder frame(rm830::kHistoryDay);
        frame.set(kDayKind, rm830::kDayFrame);
        putDate(frame, kDayYear, date);
        frame.set(kDayQuarter, static_cast<std::uint8_t>(quarter.index));
        switch (quarter.kind) {
            case RM830Quarter::Kind::Activity:
                frame.set(kQuarterKind, rm830::kQuarterActivity)
                    .littleEndian16(kQuarterCalories, quarter.calories)
                    .littleEndian16(kQuarterSteps, quarter.steps)
                    .littleEndian16(kQuarterDistance, quarter.distance);
                break;
            case RM830Quarter::Kind::Sleep:
                frame.set(kQuarterKind, rm830::kQuarterSleep);
                for (std::size_t i = 0; i < quarter.movement.size(); ++i) {
                    frame.set(kQuarterMovement + i, quarter.movement[i]);
                }
                break;
        }
        frames.push_back(frame.bytes());
    }
    return frames;
}

RM830Answers::Frame RM830Answers::heartPacket(const RM830HeartPacket& packet, bool more) {
    RM830FrameBuilder frame(rm830::kHeartHistory, rm830::kHeartPacketLength);
    frame.set(kPacketMore, more ? rm830::kMorePackets : rm830::kLastPacket);
    putDate(frame, kPacketStart, packet.start);
    frame.bcd(kPacketStart + 3, packet.start.hour).bcd(kPacketStart + 4, packet.start.minute);
    for (std::size_t i = 0; i < packet.readings.size(); ++i) frame.set(kPacketReadings + i, packet.readings[i]);
    return frame.bytes();
}

}  // namespace halvora::lab
