#include "EcgStrip.hpp"

#include <algorithm>
#include <cmath>

#include "halvora/Core/Calendar.hpp"
#include "halvora/Core/Format.hpp"

namespace halvora::cli {

namespace {

/// The page around the paper, mm.
constexpr double kMargin = 5;
/// The caption's two lines above the paper, mm.
constexpr double kCaptionHeight = 12;
constexpr double kCaptionFontSize = 3.5;
/// The small squares and the large ones, mm.
constexpr int kMinorSquare = 1;
constexpr int kMajorEvery = 5;
/// Where a row's baseline sits, as a share of the row from its top: the middle, 1.5 mV either way.
constexpr double kBaselineShare = 0.5;
/// The trace keeps this far from its row's edges, mm.
constexpr double kPenStop = 0.2;
constexpr double kMicrovoltsPerMillivolt = 1000;
/// The calibration pulse: 1 mV high, 0.2 s wide, with flat lead-in and lead-out.
constexpr double kPulseMillivolts = 1;
constexpr double kPulseStart = 1.5;
constexpr double kPulseRise = 2.5;
constexpr double kPulseWidth = 5;
constexpr double kPulseEnd = 9;

constexpr const char* kStyle =
    ".paper{fill:#fff7f7}"
    ".minor{stroke:#f4b6b6;stroke-width:0.1}"
    ".major{stroke:#e06666;stroke-width:0.25}"
    ".trace{fill:none;stroke:#000;stroke-width:0.3;stroke-linejoin:round}"
    ".calibration{fill:none;stroke:#000;stroke-width:0.3}"
    "text{font-family:sans-serif;fill:#222}"
    ".caption{font-size:3.5px}"
    ".mark{font-size:2.2px;fill:#a33}";

double paperWidth() {
    return EcgStrip::kCalibrationWidth + EcgStrip::kRowSeconds * EcgStrip::kMillimetresPerSecond;
}

}  // namespace

EcgStrip::EcgStrip(std::vector<double> microvolts, double sampleRate)
    : samples_(std::move(microvolts)), sampleRate_(sampleRate > 0 ? sampleRate : kDefaultSampleRate) {}

double EcgStrip::seconds() const {
    return static_cast<double>(samples_.size()) / sampleRate_;
}

int EcgStrip::rows() const {
    const double drawn = std::max(0.0, seconds() - kShortestLastRow);
    return std::max(1, static_cast<int>(std::ceil(drawn / kRowSeconds)));
}

SvgDocument EcgStrip::render() const {
    const double width = paperWidth();
    const double height = rows() * kRowHeight;
    SvgDocument svg(width + 2 * kMargin, kMargin + kCaptionHeight + height + kMargin, "mm");
    svg.style(kStyle);
    const double captionTop = kMargin + kCaptionFontSize;
    std::string title = caption_.title;
    if (caption_.date) title += ", " + Calendar::formatDateTime(*caption_.date);
    title += format(", %s s", SvgDocument::number(std::round(seconds() * 10) / 10).c_str());
    svg.text(kMargin, captionTop, title, {{"class", "caption"}, {"font-weight", "bold"}});
    svg.text(kMargin, captionTop + kCaptionFontSize * 1.5, captionValues(), {{"class", "caption"}});
    drawGrid(svg, width, height);
    for (int row = 0; row < rows(); ++row) drawRow(svg, row);
    return svg;
}

void EcgStrip::drawGrid(SvgDocument& svg, double width, double height) const {
    const double left = kMargin;
    const double top = kMargin + kCaptionHeight;
    svg.rect(left, top, width, height, {{"id", "paper"}, {"class", "paper"}});
    const int columns = static_cast<int>(std::lround(width));
    const int lines = static_cast<int>(std::lround(height));
    // The small squares first, so that the heavy lines are drawn over them.
    for (const bool major : {false, true}) {
        const char* kind = major ? "major" : "minor";
        svg.openGroup({{"class", kind}});
        for (int i = 0; i <= columns; i += kMinorSquare) {
            if ((i % kMajorEvery == 0) == major) svg.line(left + i, top, left + i, top + height, {{"class", kind}});
        }
        for (int j = 0; j <= lines; j += kMinorSquare) {
            if ((j % kMajorEvery == 0) == major) svg.line(left, top + j, left + width, top + j, {{"class", kind}});
        }
        svg.closeGroup();
    }
}

void EcgStrip::drawRow(SvgDocument& svg, int row) const {
    const double left = kMargin;
    const double rowTop = kMargin + kCaptionHeight + row * kRowHeight;
    const double baseline = rowTop + kRowHeight * kBaselineShare;
    const double pulseTop = baseline - kPulseMillivolts * kMillimetresPerMillivolt;
    // Built piece by piece: GCC 12 at -O3 reports a false -Wrestrict on "literal" + std::string&&.
    std::string pulse("M");
    pulse += SvgDocument::number(left + kPulseStart);
    pulse += ',';
    pulse += SvgDocument::number(baseline);
    pulse += " H";
    pulse += SvgDocument::number(left + kPulseRise);
    pulse += " V";
    pulse += SvgDocument::number(pulseTop);
    pulse += " H";
    pulse += SvgDocument::number(left + kPulseRise + kPulseWidth);
    pulse += " V";
    pulse += SvgDocument::number(baseline);
    pulse += " H";
    pulse += SvgDocument::number(left + kPulseEnd);
    svg.path(pulse, {{"class", "calibration"}});
    svg.text(left + kCalibrationWidth + 0.5, rowTop + 2.5, format("%d s", static_cast<int>(row * kRowSeconds)),
             {{"class", "mark"}});

    const auto perRow = static_cast<std::size_t>(std::llround(kRowSeconds * sampleRate_));
    const std::size_t first = static_cast<std::size_t>(row) * perRow;
    const std::size_t last = std::min(samples_.size(), first + perRow);
    std::vector<SvgPoint> points;
    points.reserve(last > first ? last - first : 0);
    const double x0 = left + kCalibrationWidth;
    for (std::size_t i = first; i < last; ++i) {
        const double t = static_cast<double>(i - first) / sampleRate_;
        const double y = baseline - samples_[i] / kMicrovoltsPerMillivolt * kMillimetresPerMillivolt;
        points.push_back(
            {x0 + t * kMillimetresPerSecond, std::clamp(y, rowTop + kPenStop, rowTop + kRowHeight - kPenStop)});
    }
    svg.polyline(points, {{"class", "trace"}});
}

std::string EcgStrip::captionValues() const {
    std::string out;
    const auto add = [&out](const std::string& part) { out += (out.empty() ? "" : ", ") + part; };
    if (caption_.heartRate) add(format("heart rate %d bpm", *caption_.heartRate));
    if (caption_.hrv) add(format("HRV %d", *caption_.hrv));
    if (caption_.breathingRate) add(format("breathing rate %d /min", *caption_.breathingRate));
    out += (out.empty() ? "" : "; ") + SvgDocument::number(kMillimetresPerSecond) + " mm/s, " +
           SvgDocument::number(kMillimetresPerMillivolt) + " mm/mV, " + SvgDocument::number(sampleRate_) + " samples/s";
    return out;
}

}  // namespace halvora::cli
