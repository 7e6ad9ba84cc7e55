#pragma once

#include <optional>
#include <string>

#include "Session.hpp"

namespace halvora::cli {

/// What `halvora vital ecg` does.
struct VitalEcgOptions {
    /// The longest the tool waits for the bracelet to finish the measurement; it then stops with what came.
    double seconds = 60;
    std::optional<std::string> plot;  ///< draw the live trace to this SVG file
};

/// What `halvora vital ecg-waveform` downloads.
struct VitalEcgWaveformOptions {
    int record = 0;                   ///< the stored record's number
    std::optional<std::string> plot;  ///< draw the waveform to this SVG file
};

/// Starts an ECG measurement, gathers the live filtered samples, polls the status every second until the
/// bracelet reports it finished or `seconds` have passed, prints the summary and draws the trace. Exit 4 when
/// the bracelet refuses to start or does not answer; stopping at `seconds` before the bracelet finished is
/// not a failure (the summary then holds what its heart-rate statuses said, if anything).
int runVitalEcg(Session& session, const VitalEcgOptions& options, double timeout);

/// Downloads a stored ECG waveform, prints its header values and sample count and draws it. Exit 4 when the
/// bracelet sends no record under that number (or the download does not finish).
int runVitalEcgWaveform(Session& session, const VitalEcgWaveformOptions& options, double timeout);

}  // namespace halvora::cli
