#include "lab/Devices/Measurement/OximeterScript.hpp"

#include <algorithm>
#include <cmath>

namespace halvora::lab {

namespace {

/// One heartbeat's shape over phase 0 to 1: a steep systolic peak, then a smaller reflected wave after the
/// dicrotic notch; 0 at rest, about 1 at the peak.
double pulseShape(double phase) {
    const auto bump = [](double x, double centre, double width) {
        const double d = (x - centre) / width;
        return std::exp(-d * d);
    };
    return bump(phase, 0.18, 0.07) + 0.45 * bump(phase, 0.42, 0.09);
}

}  // namespace

std::vector<std::uint8_t> OximeterScript::waveSamples(int cycle) const {
    const double cycleSeconds = std::chrono::duration<double>(cycleInterval).count();
    const double sampleSeconds = cycleSeconds / kSamplesPerCycle;
    const double beatsPerSecond = std::max(lpm, 1) / 60.0;
    const int amplitude = std::clamp(waveAmplitude, 0, 79);
    std::vector<std::uint8_t> samples;
    for (int i = 0; i < kSamplesPerCycle; ++i) {
        const double t = (static_cast<double>(cycle) * kSamplesPerCycle + i) * sampleSeconds;
        const double phase = std::fmod(t * beatsPerSecond, 1.0);
        const double value = 10.0 + amplitude * std::min(1.0, pulseShape(phase));
        samples.push_back(static_cast<std::uint8_t>(std::clamp(std::lround(value), 1L, 99L)));
    }
    return samples;
}

}  // namespace halvora::lab
