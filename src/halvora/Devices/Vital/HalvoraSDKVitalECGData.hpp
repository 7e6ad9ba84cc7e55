#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "halvora/Core/Date.hpp"

namespace halvora {

/// One ECG recording of the Vital bracelet: a live frame of samples (command 31) or a stored waveform
/// (command 32), with the summary values the bracelet sends and the intervals the kit estimates from them.
/// The samples are the bracelet's raw values after the kit's band-pass filter, in the filter's unit.
struct HalvoraSDKVitalECGData {
    /// The record number on the bracelet (0 for live frames).
    std::int32_t identifier = 0;
    /// When it was recorded, local time (live frames: when the frame arrived).
    Date date{};
    /// Heart-rate variability.
    std::int32_t hrv = 0;
    /// Heart rate, beats per minute.
    std::int32_t heartRate = 0;
    /// Breaths per minute.
    std::int32_t breathRate = 0;
    /// Estimated PR interval, milliseconds (see `calculateValues`).
    double pr = 0;
    /// Estimated QT interval, milliseconds.
    double qt = 0;
    /// Heart-rate corrected QT interval, milliseconds.
    double qtc = 0;
    /// The RR interval (time between two beats), milliseconds.
    double trs = 0;
    /// The filtered samples, in the order recorded.
    std::vector<double> ecgData;

    /// Estimates the intervals from `heartRate` alone (the bracelet sends no fiducial points), for an adult
    /// at rest:
    /// - `trs`, the RR interval: 60000 / heartRate ms;
    /// - `qt`: the rate-predicted normal QT of Rautaharju, 656 / (1 + heartRate / 100) ms (410 ms at 60 bpm);
    /// - `qtc`: Bazett's correction of that QT, qt / sqrt(RR in seconds);
    /// - `pr`: the typical adult PR interval, 160 ms, taken as independent of the rate.
    /// A heart rate of 0 or below (no rate measured) sets all four to 0.
    void calculateValues();

    /// The fields, one per line ("identifier: 7", "date: 2024-06-15 12:30:45", ..., "samples: 1250").
    std::string description() const;
};

}  // namespace halvora
