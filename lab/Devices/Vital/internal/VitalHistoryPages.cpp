#include "lab/Devices/Vital/internal/VitalHistoryPages.hpp"

#include <algorithm>
#include <functional>

#include "lab/Devices/Vital/internal/VitalProtocol.hpp"

namespace halvora::lab {

namespace {

constexpr int kCentury = 2000;
constexpr std::int64_t kSecondsPerDay = 24 * 60 * 60;
constexpr unsigned kBitsPerByte = 8;
constexpr std::uint32_t kNumbersPerLowByte = 0xFF;  // low bytes 0x00 to 0xFE

// Request codes and their strides.
constexpr std::uint8_t kTotals = 0x51;
constexpr std::uint8_t kSteps = 0x52;
constexpr std::uint8_t kSleep = 0x53;
constexpr std::uint8_t kAutomaticHeart = 0x54;
constexpr std::uint8_t kHeart = 0x55;
constexpr std::uint8_t kHrv = 0x56;
constexpr std::uint8_t kSport = 0x5C;
constexpr std::uint8_t kOxygen = 0x60;
constexpr std::uint8_t kTemperature = 0x62;
constexpr std::uint8_t kAutomaticTemperature = 0x65;
constexpr std::uint8_t kAutomaticOxygen = 0x66;

constexpr std::size_t kTotalsStride = 27;
constexpr std::size_t kStepsStride = 25;
constexpr std::size_t kAutomaticHeartStride = 24;
constexpr std::size_t kReadingStride = 10;
constexpr std::size_t kHrvStride = 15;
constexpr std::size_t kSportStride = 25;
constexpr std::size_t kTemperatureStride = 11;

// Offsets shared by the two-byte-numbered records.
constexpr std::size_t kDate = 2;
constexpr std::size_t kValue = 8;
// Daily totals.
constexpr std::size_t kTotalsDate = 1;
constexpr std::size_t kTotalsSteps = 4;
constexpr std::size_t kTotalsActive = 8;
constexpr std::size_t kTotalsDistance = 12;
constexpr std::size_t kTotalsCalories = 16;
constexpr std::size_t kTotalsExercise = 22;
// Detailed steps.
constexpr std::size_t kStepsCalories = 10;
constexpr std::size_t kStepsDistance = 12;
constexpr std::size_t kStepsPerMinute = 14;
// Sport.
constexpr std::size_t kSportSteps = 9;
constexpr std::size_t kSportCalories = 11;
constexpr std::size_t kSportDistance = 13;
constexpr std::size_t kSportActive = 15;
constexpr std::size_t kSportExercise = 19;
constexpr std::size_t kSportType = 23;
// Sleep notification.
constexpr std::size_t kSleepNumber = 1;
constexpr std::size_t kSleepDate = 3;
constexpr std::size_t kSleepCount = 9;
constexpr std::size_t kSleepMinutes = 11;
constexpr std::size_t kMaxCount = 0xFF;

/// A record before its number is written: when it is dated (for the day selection) and its bytes.
struct Slot {
    BraceletTime time;
    std::vector<std::uint8_t> bytes;
};

class SlotWriter {
public:
    SlotWriter(std::size_t stride, const BraceletTime& time) : slot_{time, std::vector<std::uint8_t>(stride, 0)} {}

    SlotWriter& byte(std::size_t at, std::uint32_t value) {
        if (at < slot_.bytes.size()) slot_.bytes[at] = static_cast<std::uint8_t>(std::min<std::uint32_t>(value, 0xFF));
        return *this;
    }
    SlotWriter& little(std::size_t at, std::uint32_t value, std::size_t size) {
        for (std::size_t i = 0; i < size; ++i) byte(at + i, (value >> (kBitsPerByte * i)) & 0xFF);
        return *this;
    }
    SlotWriter& bcdDate(std::size_t at, const BraceletTime& t, std::size_t fields = 6) {
        const int values[] = {t.year - kCentury, t.month, t.day, t.hour, t.minute, t.second};
        for (std::size_t i = 0; i < fields; ++i) byte(at + i, vital::toBcd(values[i]));
        return *this;
    }
    Slot done() { return std::move(slot_); }

private:
    Slot slot_;
};

Slot totalSlot(const VitalHistory::DayTotal& d) {
    return SlotWriter(kTotalsStride, d.date)
        .bcdDate(kTotalsDate, d.date, 3)
        .little(kTotalsSteps, d.steps, 4)
        .little(kTotalsActive, d.activeMinutes, 4)
        .little(kTotalsDistance, d.distance, 4)
        .little(kTotalsCalories, d.calories, 4)
        .little(kTotalsExercise, d.exerciseMinutes, 4)
        .done();
}

Slot stepSlot(const VitalHistory::StepBlock& b) {
    SlotWriter w(kStepsStride, b.start);
    w.bcdDate(kDate, b.start).little(kValue, b.steps, 2).little(kStepsCalories, b.calories, 2);
    w.little(kStepsDistance, b.distance, 2);
    for (std::size_t i = 0; i < b.perMinute.size(); ++i) w.byte(kStepsPerMinute + i, b.perMinute[i]);
    return w.done();
}

Slot seriesSlot(const VitalHistory::HeartSeries& s) {
    SlotWriter w(kAutomaticHeartStride, s.start);
    w.bcdDate(kDate, s.start);
    for (std::size_t i = 0; i < s.samples.size(); ++i) w.byte(kValue + i, s.samples[i]);
    return w.done();
}

Slot readingSlot(const VitalHistory::Reading& r) {
    return SlotWriter(kReadingStride, r.time).bcdDate(kDate, r.time).byte(kValue, r.value).done();
}

Slot temperatureSlot(const VitalHistory::Reading& r) {
    return SlotWriter(kTemperatureStride, r.time).bcdDate(kDate, r.time).little(kValue, r.value, 2).done();
}

Slot hrvSlot(const VitalHistory::HrvReading& r) {
    return SlotWriter(kHrvStride, r.time)
        .bcdDate(kDate, r.time)
        .byte(kValue, r.hrv)
        .byte(kValue + 1, r.vascularAging)
        .byte(kValue + 2, r.heartRate)
        .byte(kValue + 3, r.fatigue)
        .byte(kValue + 4, r.systolic)
        .byte(kValue + 5, r.diastolic)
        .done();
}

Slot sportSlot(const VitalHistory::SportSession& s) {
    return SlotWriter(kSportStride, s.start)
        .bcdDate(kDate, s.start)
        .byte(kValue, s.heartRate)
        .little(kSportSteps, s.steps, 2)
        .little(kSportCalories, s.calories, 2)
        .little(kSportDistance, s.distance, 2)
        .little(kSportActive, s.activeSeconds, 4)
        .little(kSportExercise, s.exerciseSeconds, 4)
        .byte(kSportType, s.sportType)
        .done();
}

template <typename Record>
std::vector<Slot> slotsOf(const std::vector<Record>& records, Slot (*encode)(const Record&)) {
    std::vector<Slot> out;
    out.reserve(records.size());
    for (const auto& r : records) out.push_back(encode(r));
    return out;
}

std::vector<Slot> slotsFor(std::uint8_t code, const VitalHistory& h) {
    switch (code) {
        case kTotals:
            return slotsOf(h.totals, &totalSlot);
        case kSteps:
            return slotsOf(h.steps, &stepSlot);
        case kAutomaticHeart:
            return slotsOf(h.automaticHeartRates, &seriesSlot);
        case kHeart:
            return slotsOf(h.heartRates, &readingSlot);
        case kHrv:
            return slotsOf(h.hrv, &hrvSlot);
        case kSport:
            return slotsOf(h.sports, &sportSlot);
        case kOxygen:
            return slotsOf(h.bloodOxygen, &readingSlot);
        case kAutomaticOxygen:
            return slotsOf(h.automaticBloodOxygen, &readingSlot);
        case kTemperature:
            return slotsOf(h.temperatures, &temperatureSlot);
        case kAutomaticTemperature:
            return slotsOf(h.automaticTemperatures, &temperatureSlot);
        default:
            return {};
    }
}

/// The sleep blocks as records of at most kMaxSleepMinutes minutes.
std::vector<Slot> sleepSlots(const VitalHistory& h) {
    std::vector<Slot> out;
    for (const auto& block : h.sleep) {
        for (std::size_t first = 0; first < block.minutes.size(); first += VitalHistoryPages::kMaxSleepMinutes) {
            const std::size_t count = std::min(VitalHistoryPages::kMaxSleepMinutes, block.minutes.size() - first);
            const BraceletTime start = block.start.plusSeconds(static_cast<std::int64_t>(first) * 60);
            SlotWriter w(kSleepMinutes + count, start);
            w.bcdDate(kSleepDate, start).byte(kSleepCount, static_cast<std::uint32_t>(std::min(count, kMaxCount)));
            for (std::size_t i = 0; i < count; ++i) w.byte(kSleepMinutes + i, block.minutes[first + i]);
            out.push_back(w.done());
        }
    }
    return out;
}

/// Whether `time` lies on the day `daysAgo` days before `today`.
bool onDay(const BraceletTime& time, const BraceletTime& today, int daysAgo) {
    const BraceletTime midnight{today.year, today.month, today.day, 0, 0, 0};
    const std::int64_t start = midnight.secondsSince2010() - std::int64_t{daysAgo} * kSecondsPerDay;
    const std::int64_t t = time.secondsSince2010();
    return t >= start && t < start + kSecondsPerDay;
}

std::vector<Slot> select(std::vector<Slot> slots, const VitalHistoryPages::Request& request,
                         const BraceletTime& today) {
    if (request.day > 0) {
        std::erase_if(slots, [&](const Slot& s) { return !onDay(s.time, today, request.day - 1); });
    }
    if (request.code == kAutomaticHeart) {
        slots.erase(slots.begin(), slots.begin() + static_cast<std::ptrdiff_t>(std::min(request.from, slots.size())));
    }
    return slots;
}

/// The `n`th number of a transfer, skipping numbers whose low byte is 0xFF.
std::uint32_t recordNumber(std::size_t n) {
    const auto v = static_cast<std::uint32_t>(n);
    return v + v / kNumbersPerLowByte;
}

void number(std::vector<Slot>& slots, std::uint8_t code) {
    for (std::size_t n = 0; n < slots.size(); ++n) {
        auto& bytes = slots[n].bytes;
        if (code == kTotals) {
            bytes[0] = static_cast<std::uint8_t>(n % kNumbersPerLowByte);
        } else {
            const std::uint32_t v = recordNumber(n);
            const std::size_t at = code == kSleep ? kSleepNumber : 0;  // a sleep slot's bytes are its notification's
            bytes[at] = static_cast<std::uint8_t>(v & 0xFF);
            bytes[at + 1] = static_cast<std::uint8_t>((v >> kBitsPerByte) & 0xFF);
        }
    }
}

std::vector<VitalHistoryPages::Frame> sleepPages(const std::vector<Slot>& slots) {
    std::vector<VitalHistoryPages::Frame> out;
    for (const auto& s : slots) {
        VitalHistoryPages::Frame f{kSleep};
        f.insert(f.end(), s.bytes.begin() + 1, s.bytes.end());  // the slot's byte 0 stands for the code
        out.push_back(std::move(f));
    }
    out.push_back({kSleep, VitalHistoryPages::kEndMark, VitalHistoryPages::kEndMark});
    return out;
}

std::vector<VitalHistoryPages::Frame> split(std::uint8_t code, const std::vector<Slot>& slots, std::size_t stride,
                                            std::mt19937_64& random) {
    const std::size_t perNotification = (VitalHistoryPages::kMaxNotificationLength - 1) / stride;
    std::vector<VitalHistoryPages::Frame> out;
    for (std::size_t at = 0; at < slots.size();) {
        const std::size_t count = std::min<std::size_t>(1 + random() % perNotification, slots.size() - at);
        VitalHistoryPages::Frame f{code};
        for (std::size_t i = 0; i < count; ++i)
            f.insert(f.end(), slots[at + i].bytes.begin(), slots[at + i].bytes.end());
        out.push_back(std::move(f));
        at += count;
    }
    std::vector<std::uint8_t> end(stride, 0);
    end[0] = VitalHistoryPages::kEndMark;
    const bool joins =
        !out.empty() && out.back().size() + stride <= VitalHistoryPages::kMaxNotificationLength && random() % 2 == 0;
    if (!joins) out.push_back({code});
    out.back().insert(out.back().end(), end.begin(), end.end());
    return out;
}

}  // namespace

bool VitalHistoryPages::isHistoryRequest(std::uint8_t code) {
    return code == kSleep || stride(code) != 0;
}

std::size_t VitalHistoryPages::stride(std::uint8_t code) {
    switch (code) {
        case kTotals:
            return kTotalsStride;
        case kSteps:
            return kStepsStride;
        case kAutomaticHeart:
            return kAutomaticHeartStride;
        case kHeart:
        case kOxygen:
        case kAutomaticOxygen:
            return kReadingStride;
        case kHrv:
            return kHrvStride;
        case kSport:
            return kSportStride;
        case kTemperature:
        case kAutomaticTemperature:
            return kTemperatureStride;
        default:
            return 0;
    }
}

std::vector<VitalHistoryPages::Frame> VitalHistoryPages::answer(const Request& request, const VitalHistory& history,
                                                                const BraceletTime& today, std::mt19937_64& random) {
    if (request.code == kSleep) {
        auto slots = select(sleepSlots(history), request, today);
        number(slots, kSleep);
        return sleepPages(slots);
    }
    const std::size_t size = stride(request.code);
    if (size == 0) return {};
    auto slots = select(slotsFor(request.code, history), request, today);
    number(slots, request.code);
    return split(request.code, slots, size, random);
}

}  // namespace halvora::lab
