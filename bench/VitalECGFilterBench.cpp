// The Vital bracelet's ECG filter over 10 million raw samples of a synthetic electrocardiogram (250 samples a
// second, 72 beats a minute, baseline wander and noise), in samples per second. With HALVORA_ECG_BENCH_DIR set
// the run also writes its input (ecg_input.i16, 16-bit little-endian) and the kit's output (ecg_kit.f64) there,
// so that bench/ecg_filter_scipy.py can run scipy's lfilter on the same samples and compare.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <vector>

#include "halvora/Devices/Vital/internal/VitalECGFilter.hpp"

namespace {

using halvora::VitalECGFilter;

constexpr std::size_t kSamples = 10'000'000;
constexpr double kSampleRate = 250.0;
constexpr double kBeatsPerSecond = 1.2;
constexpr double kTwoPi = 6.283185307179586;
constexpr const char* kOutputFolderVariable = "HALVORA_ECG_BENCH_DIR";

/// A Gaussian bump of `height` at `centre` seconds into the beat, `width` seconds wide.
double bump(double t, double centre, double width, double height) {
    const double d = (t - centre) / width;
    return height * std::exp(-0.5 * d * d);
}

/// P, QRS and T waves on a slow baseline wander, with a little noise, quantised to 16 bits.
std::vector<std::int16_t> makeInput() {
    std::vector<std::int16_t> samples(kSamples);
    std::uint32_t noise = 12345;
    const double beat = 1.0 / kBeatsPerSecond;
    for (std::size_t i = 0; i < kSamples; ++i) {
        const double time = static_cast<double>(i) / kSampleRate;
        const double t = std::fmod(time, beat);
        noise = noise * 1664525u + 1013904223u;
        const double value = bump(t, 0.20, 0.025, 150) - bump(t, 0.31, 0.010, 120) + bump(t, 0.33, 0.012, 1400) -
                             bump(t, 0.35, 0.010, 250) + bump(t, 0.55, 0.040, 350) +
                             300 * std::sin(kTwoPi * 0.3 * time) + static_cast<double>(noise >> 24) - 128.0;
        samples[i] = static_cast<std::int16_t>(std::lround(value));
    }
    return samples;
}

template <class T>
void writeFile(const std::filesystem::path& path, const std::vector<T>& values) {
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(values.data()), static_cast<std::streamsize>(values.size() * sizeof(T)));
}

void BM_VitalECGFilter(benchmark::State& state) {
    const auto input = makeInput();
    std::vector<double> output(kSamples);
    for (auto _ : state) {
        VitalECGFilter filter;
        filter.reset();
        for (std::size_t i = 0; i < kSamples; ++i) output[i] = filter.filter(input[i]);
        benchmark::DoNotOptimize(output.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(kSamples));
    state.counters["samples_per_second"] = benchmark::Counter(
        static_cast<double>(state.iterations()) * static_cast<double>(kSamples), benchmark::Counter::kIsRate);
    if (const char* folder = std::getenv(kOutputFolderVariable)) {
        writeFile(std::filesystem::path(folder) / "ecg_input.i16", input);
        writeFile(std::filesystem::path(folder) / "ecg_kit.f64", output);
    }
}
BENCHMARK(BM_VitalECGFilter)->Unit(benchmark::kMillisecond);

}  // namespace
