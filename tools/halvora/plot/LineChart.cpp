#include "LineChart.hpp"

#include <algorithm>
#include <array>
#include <cmath>

#include "halvora/Core/Calendar.hpp"
#include "halvora/Core/Format.hpp"

namespace halvora::cli {

namespace {

/// The chart's size and the plot area's place in it, px.
constexpr double kWidth = 1000;
constexpr double kHeight = 480;
constexpr double kLeft = 80;
constexpr double kRight = 30;
constexpr double kTop = 60;
constexpr double kBottom = 70;
constexpr double kTickLength = 6;
/// Hours between time ticks, the first that gives at most kMaxTimeTicks ticks.
constexpr std::array<int, 9> kHourSteps = {1, 2, 3, 4, 6, 12, 24, 48, 168};
constexpr long kMaxTimeTicks = 14;
/// About this many value ticks.
constexpr double kValueTicks = 6;
constexpr double kSecondsPerHour = 3600;

constexpr const char* kStyle =
    "text{font-family:sans-serif;font-size:13px;fill:#222}"
    ".title{font-size:18px;font-weight:bold}"
    ".plot{fill:#fbfbfd;stroke:#888;stroke-width:1}"
    ".grid{stroke:#ddd;stroke-width:1}"
    ".tick{stroke:#444;stroke-width:1}"
    ".series{fill:none;stroke:#c0392b;stroke-width:2;stroke-linejoin:round}"
    ".point{fill:#c0392b}"
    ".note{fill:#888;font-size:16px}";

double secondsOf(std::chrono::duration<double> d) {
    return d.count();
}

/// 1, 2 or 5 times a power of ten, the first at least `raw`.
double niceStep(double raw) {
    if (!(raw > 0)) return 1;
    const double power = std::pow(10.0, std::floor(std::log10(raw)));
    for (const double m : {1.0, 2.0, 5.0, 10.0}) {
        if (m * power >= raw) return m * power;
    }
    return 10 * power;
}

/// The whole local hour at or before `date`.
Date hourFloor(Date date) {
    std::tm local = Calendar::toLocal(date);
    local.tm_min = 0;
    local.tm_sec = 0;
    local.tm_isdst = -1;
    return Calendar::fromLocal(local);
}

std::string tickTime(Date date, bool withDay) {
    const std::tm local = Calendar::toLocal(date);
    if (withDay) return format("%02d-%02d %02d:00", local.tm_mon + 1, local.tm_mday, local.tm_hour);
    return format("%02d:00", local.tm_hour);
}

}  // namespace

/// Where the series' extent lands on the page.
struct LineChart::Frame {
    Date start{};
    Date end{};
    double low = 0;
    double high = 1;
    double step = 1;

    double x(Date date) const {
        const double span = secondsOf(end - start);
        return kLeft + (span > 0 ? secondsOf(date - start) / span : 0) * (kWidth - kLeft - kRight);
    }
    double y(double value) const {
        return kHeight - kBottom - (value - low) / (high - low) * (kHeight - kTop - kBottom);
    }
};

LineChart::LineChart(std::string title, std::string unit) : title_(std::move(title)), unit_(std::move(unit)) {}

void LineChart::setPoints(std::vector<ChartPoint> points) {
    points_ = std::move(points);
    std::stable_sort(points_.begin(), points_.end(),
                     [](const ChartPoint& a, const ChartPoint& b) { return a.date < b.date; });
}

SvgDocument LineChart::render() const {
    SvgDocument svg(kWidth, kHeight, "px");
    svg.style(kStyle);
    svg.text(kLeft, kTop - 28, title_, {{"class", "title"}});
    svg.rect(kLeft, kTop, kWidth - kLeft - kRight, kHeight - kTop - kBottom, {{"id", "plot"}, {"class", "plot"}});
    if (points_.empty()) {
        svg.text(kWidth / 2, kHeight / 2, "no records", {{"class", "note"}, {"text-anchor", "middle"}});
        return svg;
    }

    Frame frame;
    frame.start = hourFloor(points_.front().date);
    frame.end = hourFloor(points_.back().date);
    if (frame.end <= points_.back().date) frame.end += std::chrono::hours(1);
    if (points_.size() == 1) frame.start -= std::chrono::hours(1);  // the lone point away from the axis
    const auto [low, high] = std::minmax_element(points_.begin(), points_.end(),
                                                 [](const auto& a, const auto& b) { return a.value < b.value; });
    frame.low = low->value;
    frame.high = high->value;
    if (frame.high - frame.low < 1e-9) {
        frame.low -= 1;
        frame.high += 1;
    }
    frame.step = niceStep((frame.high - frame.low) / kValueTicks);
    frame.low = std::floor(frame.low / frame.step) * frame.step;
    frame.high = std::ceil(frame.high / frame.step) * frame.step;
    drawValueAxis(svg, frame);
    drawTimeAxis(svg, frame);
    drawSeries(svg, frame);
    return svg;
}

void LineChart::drawTimeAxis(SvgDocument& svg, const Frame& frame) const {
    const double hours = secondsOf(frame.end - frame.start) / kSecondsPerHour;
    int step = kHourSteps.back();
    for (const int s : kHourSteps) {
        if (static_cast<long>(std::ceil(hours / s)) <= kMaxTimeTicks) {
            step = s;
            break;
        }
    }
    const bool manyDays = hours > 24;
    const double bottom = kHeight - kBottom;
    for (Date t = frame.start; t <= frame.end; t += std::chrono::hours(step)) {
        const double x = frame.x(t);
        svg.line(x, kTop, x, bottom, {{"class", "grid"}});
        svg.line(x, bottom, x, bottom + kTickLength, {{"class", "tick"}});
        const std::tm local = Calendar::toLocal(t);
        svg.text(x, bottom + 22, tickTime(t, manyDays && local.tm_hour < step), {{"text-anchor", "middle"}});
    }
    const std::string span = Calendar::formatDateTime(frame.start).substr(0, 10) + " to " +
                             Calendar::formatDateTime(frame.end).substr(0, 10);
    svg.text((kLeft + kWidth - kRight) / 2, kHeight - 18, "local time (" + span + ")", {{"text-anchor", "middle"}});
}

void LineChart::drawValueAxis(SvgDocument& svg, const Frame& frame) const {
    const int ticks = static_cast<int>(std::lround((frame.high - frame.low) / frame.step));
    for (int i = 0; i <= ticks; ++i) {
        const double value = frame.low + i * frame.step;
        const double y = frame.y(value);
        svg.line(kLeft, y, kWidth - kRight, y, {{"class", "grid"}});
        svg.line(kLeft - kTickLength, y, kLeft, y, {{"class", "tick"}});
        svg.text(kLeft - kTickLength - 4, y + 4, SvgDocument::number(std::round(value / frame.step) * frame.step),
                 {{"text-anchor", "end"}});
    }
    svg.text(18, (kTop + kHeight - kBottom) / 2, unit_,
             {{"text-anchor", "middle"},
              {"transform", "rotate(-90 18 " + SvgDocument::number((kTop + kHeight - kBottom) / 2) + ")"}});
}

void LineChart::drawSeries(SvgDocument& svg, const Frame& frame) const {
    std::vector<SvgPoint> run;
    for (std::size_t i = 0; i < points_.size(); ++i) {
        if (i > 0 && points_[i].date - points_[i - 1].date > kGap) {
            svg.polyline(run, {{"class", "series"}});
            run.clear();
        }
        run.push_back({frame.x(points_[i].date), frame.y(points_[i].value)});
    }
    svg.polyline(run, {{"class", "series"}});
    if (points_.size() > kMarkedPoints) return;
    for (const auto& p : points_) svg.circle(frame.x(p.date), frame.y(p.value), 2.5, {{"class", "point"}});
}

}  // namespace halvora::cli
