#pragma once

#include <cstdint>
#include <deque>
#include <random>
#include <vector>

namespace halvora::lab {

/// A synthetic electrocardiogram as the Vital bracelet samples it: 512 samples a second, signed 16-bit raw
/// values of 128/18.3 counts per microvolt (an R wave of about 1.2 mV is about 8400 counts).
///
/// Each beat is a P wave, a QRS complex and a T wave (sums of Gaussian bumps, the T wave and the P wave
/// placed by the beat's RR interval); the intervals vary from beat to beat by about the scripted HRV (so a
/// measured HRV is not zero), on a baseline wandering at about 0.3 Hz, with a little Gaussian noise; all
/// drawn from the seed, so the same seed gives the same samples. The bracelet's electrodes see the trace
/// upside down (the kit inverts what it filters): a sample is the offset minus the millivolts' counts, so
/// the R wave is a dip of about 8400 counts in the raw values and upright once the kit has filtered it.
///
/// Zero bytes: the phone reads a sample pair (low, high) as 0 when the high byte is 0 and as the high byte
/// alone when the low byte is 0. The samples therefore sit on a DC offset (kOffset counts, about 2 mV; the
/// kit's band-pass removes it) that keeps them between 256 and 32767, so the high byte is never 0, and a
/// sample whose low byte is 0 is nudged up by one count.
class VitalECGGenerator {
public:
    /// Samples a second.
    static constexpr int kSampleRate = 512;
    /// Raw counts per millivolt (1000 µV × 128 / 18.3).
    static constexpr double kCountsPerMillivolt = 1000.0 * 128.0 / 18.3;
    /// The DC offset every sample sits on.
    static constexpr int kOffset = 14000;
    /// The lowest sample (its high byte is 1).
    static constexpr int kMinSample = 0x101;
    /// The highest sample.
    static constexpr int kMaxSample = 0x7FFF;

    /// A recording at `heartRate` beats per minute (clamped to 30 to 240) whose RR intervals vary by about
    /// `hrvMilliseconds` (0 to 255).
    VitalECGGenerator(std::uint64_t seed, int heartRate, int hrvMilliseconds);

    /// The next sample.
    std::int16_t next();
    /// The next `count` samples.
    std::vector<std::int16_t> take(std::size_t count);

private:
    double millivoltsAt(double t);
    void planBeatsUntil(double t);
    static std::int16_t quantise(double millivolts);

    std::mt19937_64 random_;
    std::normal_distribution<double> noise_{0.0, 1.0};
    double meanInterval_;
    double intervalSpread_;
    double wanderPhase_;
    struct Beat {
        double at;        // time of the R peak, seconds
        double interval;  // the RR interval leading to it
    };
    std::deque<Beat> beats_;
    double nextBeat_ = 0.3;
    long long index_ = 0;
};

}  // namespace halvora::lab
