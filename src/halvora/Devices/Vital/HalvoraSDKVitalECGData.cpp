#include "halvora/Devices/Vital/HalvoraSDKVitalECGData.hpp"

#include <cmath>

#include "halvora/Core/Calendar.hpp"
#include "halvora/Core/Format.hpp"

namespace halvora {

namespace {

constexpr double kMillisecondsPerMinute = 60000.0;
constexpr double kMillisecondsPerSecond = 1000.0;
/// Rautaharju's predicted QT at a heart rate of 0 (the formula's numerator), milliseconds.
constexpr double kPredictedQTBase = 656.0;
/// Beats per minute that halve the predicted QT (the formula's rate scale).
constexpr double kPredictedQTRateScale = 100.0;
/// A typical adult PR interval, milliseconds.
constexpr double kTypicalPR = 160.0;

}  // namespace

void HalvoraSDKVitalECGData::calculateValues() {
    if (heartRate <= 0) {
        pr = qt = qtc = trs = 0;
        return;
    }
    const double rate = static_cast<double>(heartRate);
    trs = kMillisecondsPerMinute / rate;
    qt = kPredictedQTBase / (1.0 + rate / kPredictedQTRateScale);
    qtc = qt / std::sqrt(trs / kMillisecondsPerSecond);
    pr = kTypicalPR;
}

std::string HalvoraSDKVitalECGData::description() const {
    return format(
        "identifier: %d\ndate: %s\nhrv: %d\nheartRate: %d\nbreathRate: %d\npr: %.1f\nqt: %.1f\nqtc: %.1f\ntrs: "
        "%.1f\nsamples: %zu\n",
        identifier, Calendar::formatDateTime(date).c_str(), hrv, heartRate, breathRate, pr, qt, qtc, trs,
        ecgData.size());
}

}  // namespace halvora
