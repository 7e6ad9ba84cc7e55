#include "lab/Devices/Vital/internal/VitalHistoryGenerator.hpp"

#include <algorithm>
#include <random>

namespace halvora::lab {

namespace {

constexpr std::int64_t kMinute = 60;
constexpr std::int64_t kHour = 60 * kMinute;
constexpr std::int64_t kDay = 24 * kHour;
constexpr int kMinutesPerDay = 24 * 60;

// Steps: ten-minute blocks from 07:00 to 22:30.
constexpr int kStepBlockMinutes = 10;
constexpr int kWakeMinute = 7 * 60;
constexpr int kBedMinute = 22 * 60 + 30;
constexpr int kMaxStepsPerMinute = 110;
constexpr int kBriskStepsPerMinute = 100;
constexpr std::uint32_t kCaloriesPerStep = 4;            // hundredths of a kilocalorie
constexpr std::uint32_t kDistancePerThousandSteps = 75;  // hundredths of a kilometre

// Sleep: from 22:40 (+ up to 50 min) the evening before to 06:15 (+ up to 60 min).
constexpr std::int64_t kSleepStart = -(kHour + 20 * kMinute);
constexpr int kSleepStartSpread = 50;
constexpr std::int64_t kSleepEnd = 6 * kHour + 15 * kMinute;
constexpr int kSleepEndSpread = 60;
constexpr int kSleepCycleMinutes = 90;
constexpr std::uint8_t kDeep = 1;
constexpr std::uint8_t kLight = 2;

// Heart rate and the other readings.
constexpr int kMinHeartRate = 55;
constexpr int kMaxHeartRate = 110;
constexpr int kSeriesSamples = 15;
constexpr std::int64_t kSeriesStep = 15 * kMinute;
constexpr int kMissedSamplePercent = 3;
constexpr int kSpotHeartHours[] = {9, 14, 20};
constexpr int kSpotOxygenHours[] = {10, 19};
constexpr int kSpotTemperatureHours[] = {11, 17};
constexpr int kHrvHours[] = {8, 21};
constexpr int kSportHour = 18;
constexpr int kSportPercent = 60;

using Random = std::mt19937_64;

int between(Random& random, int low, int high) {
    return low + static_cast<int>(random() % static_cast<std::uint64_t>(high - low + 1));
}

bool chance(Random& random, int percent) {
    return between(random, 0, 99) < percent;
}

/// `value`, raised until none of its bytes below the highest non-zero one is zero.
std::uint32_t readable(std::uint32_t value) {
    auto hasInnerZero = [](std::uint32_t v) {
        while (v > 0xFF) {
            if ((v & 0xFF) == 0) return true;
            v >>= 8;
        }
        return false;
    };
    while (hasInnerZero(value)) ++value;
    return value;
}

/// How busy the wearer is at `minute` of the day, 0 to 10: the way to work, lunch, the evening walk.
int activityAt(int minute) {
    const int hour = minute / 60;
    if (minute < kWakeMinute || minute >= kBedMinute) return 0;
    if (hour == 8 || hour == 12 || hour == 17 || hour == 18) return 8;
    if (hour == 7 || hour == 13 || hour == 19) return 4;
    return 2;
}

bool asleepAt(int minute) {
    return minute < kWakeMinute - 30 || minute >= kBedMinute + 30;
}

int heartRateAt(Random& random, int minute) {
    if (asleepAt(minute)) return between(random, kMinHeartRate, kMinHeartRate + 7);
    const int rate = 64 + activityAt(minute) * 3 + between(random, 0, 10);
    return std::clamp(rate, kMinHeartRate, kMaxHeartRate);
}

/// One day's records, from midnight `day` on, none after `end`.
class DayMaker {
public:
    DayMaker(std::uint64_t seed, const BraceletTime& day, const BraceletTime& end, VitalHistory& out)
        : day_(day),
          end_(end.secondsSince2010()),
          out_(out),
          random_(seed * 0x9E3779B97F4A7C15ULL + static_cast<std::uint64_t>(day.secondsSince2010() / kDay)) {}

    void make() {
        sleep();
        steps();
        readings(kSpotHeartHours, out_.heartRates, [this](int minute) { return heartRateAt(random_, minute); });
        readings(kSpotOxygenHours, out_.bloodOxygen, [this](int) { return between(random_, 95, 99); });
        readings(kSpotTemperatureHours, out_.temperatures, [this](int) { return between(random_, 360, 370); });
        hrv();
        sport();
        hourly(out_.automaticBloodOxygen,
               [this](int minute) { return asleepAt(minute) ? between(random_, 94, 97) : between(random_, 95, 99); });
        hourly(out_.automaticTemperatures, [this](int minute) {
            return asleepAt(minute) ? between(random_, 358, 364) : between(random_, 362, 372);
        });
    }

private:
    BraceletTime at(std::int64_t secondsFromMidnight) const { return day_.plusSeconds(secondsFromMidnight); }
    bool due(std::int64_t secondsFromMidnight) const { return day_.secondsSince2010() + secondsFromMidnight <= end_; }

    void sleep() {
        const std::int64_t start = kSleepStart + between(random_, 0, kSleepStartSpread) * kMinute;
        const std::int64_t stop = kSleepEnd + between(random_, 0, kSleepEndSpread) * kMinute;
        if (!due(stop)) return;
        const int minutes = static_cast<int>((stop - start) / kMinute);
        std::vector<std::uint8_t> night;
        for (int m = 0; m < minutes; ++m) {
            const int inCycle = m % kSleepCycleMinutes;
            const int cycle = m / kSleepCycleMinutes;
            const int deepLength = std::max(40 - cycle * 10, 5);  // deeper early in the night
            const bool deep = inCycle >= 15 && inCycle < 15 + deepLength;
            night.push_back(deep && !chance(random_, 5) ? kDeep : kLight);
        }
        for (int first = 0; first < minutes; first += VitalHistoryGenerator::kSleepBlockMinutes) {
            const int count = std::min(VitalHistoryGenerator::kSleepBlockMinutes, minutes - first);
            VitalHistory::SleepBlock block;
            block.start = at(start + first * kMinute);
            block.minutes.assign(night.begin() + first, night.begin() + first + count);
            out_.sleep.push_back(std::move(block));
        }
    }

    void steps() {
        VitalHistory::DayTotal total;
        total.date = day_;
        std::uint32_t steps = 0;
        for (int minute = kWakeMinute; minute < kBedMinute; minute += kStepBlockMinutes) {
            if (!due((minute + kStepBlockMinutes) * kMinute)) break;
            const int busy = activityAt(minute);
            if (!chance(random_, 15 + busy * 7)) continue;
            VitalHistory::StepBlock block;
            block.start = at(minute * kMinute);
            for (auto& perMinute : block.perMinute) {
                const int walking = chance(random_, 15 + busy * 5) ? between(random_, 20, kMaxStepsPerMinute) : 0;
                perMinute = static_cast<std::uint8_t>(walking);
                block.steps += perMinute;
                if (perMinute > 0) ++total.activeMinutes;
                if (perMinute >= kBriskStepsPerMinute) ++total.exerciseMinutes;
            }
            if (block.steps == 0) continue;
            block.steps = readable(block.steps);
            block.calories = readable(block.steps * kCaloriesPerStep);
            block.distance = readable(block.steps * kDistancePerThousandSteps / 1000);
            steps += block.steps;
            out_.steps.push_back(block);
        }
        total.steps = readable(steps);
        total.distance = readable(steps * kDistancePerThousandSteps / 1000);
        total.calories = readable(steps * kCaloriesPerStep);
        total.activeMinutes = readable(total.activeMinutes);
        total.exerciseMinutes = readable(total.exerciseMinutes);
        out_.totals.push_back(total);
    }

    template <typename Hours, typename Value>
    void readings(const Hours& hours, std::vector<VitalHistory::Reading>& into, Value value) {
        for (const int hour : hours) {
            const int minute = hour * 60 + between(random_, 0, 59);
            const int v = value(minute);
            if (!due(minute * kMinute)) continue;
            into.push_back({at(minute * kMinute), readable(static_cast<std::uint32_t>(v))});
        }
    }

    template <typename Value>
    void hourly(std::vector<VitalHistory::Reading>& into, Value value) {
        for (int minute = 0; minute < kMinutesPerDay; minute += 60) {
            const int v = value(minute);
            if (!due(minute * kMinute)) break;
            into.push_back({at(minute * kMinute), readable(static_cast<std::uint32_t>(v))});
        }
    }

    void hrv() {
        for (const int hour : kHrvHours) {
            const int minute = hour * 60 + between(random_, 0, 59);
            VitalHistory::HrvReading r;
            r.time = at(minute * kMinute);
            r.hrv = static_cast<std::uint8_t>(between(random_, 25, 70));
            r.vascularAging = static_cast<std::uint8_t>(between(random_, 35, 45));
            r.heartRate = static_cast<std::uint8_t>(heartRateAt(random_, minute));
            r.fatigue = static_cast<std::uint8_t>(between(random_, 10, 60));
            r.systolic = static_cast<std::uint8_t>(between(random_, 110, 130));
            r.diastolic = static_cast<std::uint8_t>(between(random_, 70, 85));
            if (due(minute * kMinute)) out_.hrv.push_back(r);
        }
    }

    void sport() {
        if (!chance(random_, kSportPercent)) return;
        const int minute = kSportHour * 60 + between(random_, 0, 60);
        const int length = between(random_, 20, 60);
        VitalHistory::SportSession s;
        s.start = at(minute * kMinute);
        s.heartRate = static_cast<std::uint8_t>(between(random_, 100, 140));
        s.steps = static_cast<std::uint16_t>(readable(static_cast<std::uint32_t>(length * between(random_, 100, 140))));
        s.calories = static_cast<std::uint16_t>(readable(static_cast<std::uint32_t>(length * between(random_, 6, 10))));
        s.distance = static_cast<std::uint16_t>(readable(s.steps * 8U / 10U));
        s.exerciseSeconds = readable(static_cast<std::uint32_t>(length * kMinute));
        s.activeSeconds = readable(s.exerciseSeconds * 9 / 10);
        s.sportType = static_cast<std::uint8_t>(between(random_, 1, 6));
        if (due((minute + length) * kMinute)) out_.sports.push_back(s);
    }

    const BraceletTime day_;
    const std::int64_t end_;
    VitalHistory& out_;
    Random random_;
};

/// Automatic heart-rate series every 15 samples from midnight of `first` on, until `end`.
void heartSeries(std::uint64_t seed, const BraceletTime& first, const BraceletTime& end, VitalHistory& out) {
    Random random(seed ^ 0xA5A5A5A5ULL);
    const std::int64_t stop = end.secondsSince2010();
    for (std::int64_t start = first.secondsSince2010(); start <= stop; start += kSeriesSamples * kSeriesStep) {
        VitalHistory::HeartSeries series;
        series.start = BraceletTime::fromSecondsSince2010(start);
        for (int i = 0; i < kSeriesSamples; ++i) {
            const std::int64_t t = start + i * kSeriesStep;
            const int minute = static_cast<int>((t % kDay) / kMinute);
            const int rate = heartRateAt(random, minute);
            const bool missed = t > stop || chance(random, kMissedSamplePercent);
            series.samples[static_cast<std::size_t>(i)] = missed ? 0 : static_cast<std::uint8_t>(rate);
        }
        out.automaticHeartRates.push_back(series);
    }
}

}  // namespace

VitalHistory VitalHistoryGenerator::generate(std::uint64_t seed, int days, const BraceletTime& end) {
    VitalHistory out;
    if (days < 1) return out;
    const BraceletTime today{end.year, end.month, end.day, 0, 0, 0};
    const BraceletTime first = today.plusSeconds(-(static_cast<std::int64_t>(days) - 1) * kDay);
    for (int d = 0; d < days; ++d) DayMaker(seed, first.plusSeconds(d * kDay), end, out).make();
    heartSeries(seed, first, end, out);
    return out;
}

}  // namespace halvora::lab
