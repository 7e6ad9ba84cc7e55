#pragma once

#include <optional>
#include <string>
#include <vector>

#include "SvgDocument.hpp"
#include "halvora/Core/Date.hpp"

namespace halvora::cli {

/// What the caption of an ECG strip says besides the recording's length (absent values are left out).
struct EcgCaption {
    std::string title = "ECG";         ///< "ECG record 3", "ECG measurement"
    std::optional<Date> date;          ///< when it was recorded (shown in local time)
    std::optional<int> heartRate;      ///< beats per minute
    std::optional<int> hrv;            ///< heart-rate variability, as the bracelet reports it
    std::optional<int> breathingRate;  ///< breaths per minute
};

/// An ECG drawn as a printed paper strip: filtered samples in microvolts at a fixed sample rate, on the
/// usual grid of 1 mm squares with a heavier line every 5 mm, at 25 mm/s and 10 mm/mV, wrapped in rows of
/// 10 seconds (see kShortestLastRow). Each row starts with a 1 mV calibration pulse; the trace is black, clipped to its
/// row like a recorder's pen at its stop. The document's size is in millimetres, so that it prints true to scale.
///
/// The drawing, for tools that check it: one `rect` with id "paper" is the grid's area; the grid's lines
/// are `line` elements of class "minor" (every millimetre that is not a multiple of 5) and "major" (every
/// 5 mm, the area's edges included); each row is one `polyline` of class "trace" inside the row's band (the
/// paper's height divided evenly among the rows); the calibration pulses are `path` elements.
class EcgStrip {
public:
    /// The bracelet's sample rate, samples per second.
    static constexpr double kDefaultSampleRate = 512;
    /// Paper speed, mm per second.
    static constexpr double kMillimetresPerSecond = 25;
    /// Gain, mm per millivolt.
    static constexpr double kMillimetresPerMillivolt = 10;
    /// Seconds of one row.
    static constexpr double kRowSeconds = 10;
    /// Height of one row, mm (a multiple of the 5 mm squares).
    static constexpr double kRowHeight = 30;
    /// Width of the calibration pulse's place at the left of each row, mm.
    static constexpr double kCalibrationWidth = 10;
    /// A last piece shorter than this (seconds) is left out rather than drawn as a row of its own (a
    /// recording of 30 s often carries a few samples more).
    static constexpr double kShortestLastRow = 0.5;

    /// `microvolts` sampled at `sampleRate` samples per second (a rate of 0 or less takes the default).
    explicit EcgStrip(std::vector<double> microvolts, double sampleRate = kDefaultSampleRate);

    /// The caption's values.
    void setCaption(EcgCaption caption) { caption_ = std::move(caption); }
    /// The recording's length in seconds.
    double seconds() const;
    /// How many rows the strip has (at least one).
    int rows() const;
    /// The drawing.
    SvgDocument render() const;

private:
    void drawGrid(SvgDocument& svg, double width, double height) const;
    void drawRow(SvgDocument& svg, int row) const;
    std::string captionValues() const;

    std::vector<double> samples_;
    double sampleRate_;
    EcgCaption caption_;
};

}  // namespace halvora::cli
