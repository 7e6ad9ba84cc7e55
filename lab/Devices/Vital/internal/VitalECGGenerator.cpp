#include "lab/Devices/Vital/internal/VitalECGGenerator.hpp"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace halvora::lab {

namespace {

constexpr int kMinRate = 30;
constexpr int kMaxRate = 240;
constexpr int kMaxHrv = 255;
constexpr double kSecondsPerMinute = 60.0;
constexpr double kMillisecondsPerSecond = 1000.0;
constexpr double kMaxIntervalChange = 0.3;  // an interval stays within 30 % of the mean
constexpr double kPlanAhead = 1.0;          // seconds of beats planned (and kept) either side of now
constexpr double kFirstBeat = 0.3;
constexpr std::uint8_t kLowByte = 0xFF;

/// One bump of a beat: its height (mV), its centre from the R peak (s) and its width (s).
struct Wave {
    double height;
    double centre;
    double width;
};
constexpr Wave kP{0.15, -0.18, 0.025};
constexpr Wave kQ{-0.12, -0.035, 0.010};
constexpr Wave kR{1.2, 0.0, 0.011};
constexpr Wave kS{-0.25, 0.035, 0.012};
constexpr Wave kT{0.30, 0.26, 0.055};  // its centre stretches with the square root of the interval

// Baseline wander and noise.
constexpr double kWanderHeight = 0.12;
constexpr double kWanderFrequency = 0.3;
constexpr double kDriftHeight = 0.04;
constexpr double kDriftFrequency = 0.05;
constexpr double kNoise = 0.012;

double bump(const Wave& wave, double centre, double tau) {
    const double d = tau - centre;
    return wave.height * std::exp(-d * d / (2 * wave.width * wave.width));
}

}  // namespace

VitalECGGenerator::VitalECGGenerator(std::uint64_t seed, int heartRate, int hrvMilliseconds)
    : random_(seed),
      meanInterval_(kSecondsPerMinute / std::clamp(heartRate, kMinRate, kMaxRate)),
      // Independent intervals of spread s differ from one to the next by about s·√2 (their RMSSD).
      intervalSpread_(std::clamp(hrvMilliseconds, 0, kMaxHrv) / kMillisecondsPerSecond / std::numbers::sqrt2),
      wanderPhase_(std::uniform_real_distribution<double>(0.0, 2 * std::numbers::pi)(random_)),
      nextBeat_(kFirstBeat) {}

void VitalECGGenerator::planBeatsUntil(double t) {
    while (nextBeat_ < t + kPlanAhead) {
        const double change = std::clamp(noise_(random_) * intervalSpread_, -kMaxIntervalChange * meanInterval_,
                                         kMaxIntervalChange * meanInterval_);
        const double interval = meanInterval_ + change;
        beats_.push_back({nextBeat_, interval});
        nextBeat_ += interval;
    }
    while (!beats_.empty() && beats_.front().at < t - kPlanAhead) beats_.pop_front();
}

double VitalECGGenerator::millivoltsAt(double t) {
    planBeatsUntil(t);
    double mv = 0;
    for (const auto& beat : beats_) {
        const double tau = t - beat.at;
        mv += bump(kP, kP.centre, tau) + bump(kQ, kQ.centre, tau) + bump(kR, kR.centre, tau) +
              bump(kS, kS.centre, tau) + bump(kT, kT.centre * std::sqrt(beat.interval), tau);
    }
    mv += kWanderHeight * std::sin(2 * std::numbers::pi * kWanderFrequency * t + wanderPhase_);
    mv += kDriftHeight * std::sin(2 * std::numbers::pi * kDriftFrequency * t);
    mv += kNoise * noise_(random_);
    return mv;
}

std::int16_t VitalECGGenerator::quantise(double millivolts) {
    const double counts = kOffset - std::round(millivolts * kCountsPerMillivolt);  // the electrodes' polarity
    int sample = static_cast<int>(std::clamp(counts, static_cast<double>(kMinSample), static_cast<double>(kMaxSample)));
    if ((sample & kLowByte) == 0) ++sample;  // the phone would read a zero low byte as the high byte alone
    return static_cast<std::int16_t>(sample);
}

std::int16_t VitalECGGenerator::next() {
    const double t = static_cast<double>(index_++) / kSampleRate;
    return quantise(millivoltsAt(t));
}

std::vector<std::int16_t> VitalECGGenerator::take(std::size_t count) {
    std::vector<std::int16_t> out;
    out.reserve(count);
    for (std::size_t i = 0; i < count; ++i) out.push_back(next());
    return out;
}

}  // namespace halvora::lab
