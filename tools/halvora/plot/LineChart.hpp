#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "SvgDocument.hpp"
#include "halvora/Core/Date.hpp"

namespace halvora::cli {

/// One value of a series at a moment.
struct ChartPoint {
    Date date{};       ///< when
    double value = 0;  ///< what
};

/// A time series drawn as a line chart for the screen: a time axis in local time with ticks on whole hours
/// (every 1, 2, 3, 4, 6, 12 or 24 hours, whichever keeps the labels apart), a value axis with round labelled
/// ticks, the title and the unit. The line breaks where the series has a gap of more than `kGap`; the points
/// themselves are marked when there are few of them.
///
/// The drawing, for tools that check it: the series' lines are `polyline` elements of class "series" and its
/// points `circle` elements of class "point", inside the `rect` with id "plot".
class LineChart {
public:
    /// A gap in the series longer than this breaks the line.
    static constexpr std::chrono::hours kGap{2};
    /// Series up to this many points get a mark on each.
    static constexpr std::size_t kMarkedPoints = 300;

    /// A chart titled `title` of values in `unit` ("bpm", "°C", "%").
    LineChart(std::string title, std::string unit);

    /// The series, in any order (it is sorted by date).
    void setPoints(std::vector<ChartPoint> points);
    /// The drawing (an empty series gives the frame and a note, without axes).
    SvgDocument render() const;

private:
    struct Frame;
    void drawTimeAxis(SvgDocument& svg, const Frame& frame) const;
    void drawValueAxis(SvgDocument& svg, const Frame& frame) const;
    void drawSeries(SvgDocument& svg, const Frame& frame) const;

    std::string title_;
    std::string unit_;
    std::vector<ChartPoint> points_;
};

}  // namespace halvora::cli
