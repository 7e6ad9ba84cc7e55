#include "SvgDocument.hpp"

#include <array>
#include <charconv>
#include <cmath>
#include <fstream>

#include "CliError.hpp"

namespace halvora::cli {

namespace {

/// Decimals written for a coordinate: a thousandth of a millimetre or pixel is far below what shows.
constexpr int kDecimals = 3;

std::string indent(int depth) {
    return std::string(static_cast<std::size_t>(depth) * 2, ' ');
}

}  // namespace

SvgDocument::SvgDocument(double width, double height, std::string unit)
    : width_(width), height_(height), unit_(std::move(unit)) {}

std::string SvgDocument::number(double value) {
    if (!std::isfinite(value)) return "0";
    std::array<char, 64> text{};
    const auto result =
        std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed, kDecimals);
    std::string out(text.data(), result.ptr);
    if (out.find('.') != std::string::npos) {
        while (out.back() == '0') out.pop_back();
        if (out.back() == '.') out.pop_back();
    }
    if (out == "-0") out = "0";
    return out;
}

std::string SvgDocument::escape(const std::string& text) {
    std::string out;
    out.reserve(text.size());
    for (const char c : text) {
        switch (c) {
            case '&':
                out += "&amp;";
                break;
            case '<':
                out += "&lt;";
                break;
            case '>':
                out += "&gt;";
                break;
            case '"':
                out += "&quot;";
                break;
            case '\'':
                out += "&apos;";
                break;
            default:
                out += c;
        }
    }
    return out;
}

void SvgDocument::element(const std::string& name, const Attributes& geometry, const Attributes& attributes,
                          const std::string& content, bool hasContent) {
    std::string out = indent(depth_) + "<" + name;
    for (const auto* list : {&geometry, &attributes}) {
        for (const auto& [key, value] : *list) out += " " + key + "=\"" + escape(value) + "\"";
    }
    if (hasContent) {
        out += '>';
        out += escape(content);
        out += "</";
        out += name;
        out += ">\n";
    } else {
        out += "/>\n";
    }
    body_ += out;
}

void SvgDocument::style(const std::string& css) {
    body_ += indent(depth_) + "<style>" + escape(css) + "</style>\n";
}

void SvgDocument::openGroup(const Attributes& attributes) {
    std::string out = indent(depth_) + "<g";
    for (const auto& [key, value] : attributes) out += " " + key + "=\"" + escape(value) + "\"";
    body_ += out + ">\n";
    ++depth_;
}

void SvgDocument::closeGroup() {
    if (depth_ <= 1) return;
    --depth_;
    body_ += indent(depth_) + "</g>\n";
}

void SvgDocument::rect(double x, double y, double width, double height, const Attributes& attributes) {
    element("rect", {{"x", number(x)}, {"y", number(y)}, {"width", number(width)}, {"height", number(height)}},
            attributes);
}

void SvgDocument::line(double x1, double y1, double x2, double y2, const Attributes& attributes) {
    element("line", {{"x1", number(x1)}, {"y1", number(y1)}, {"x2", number(x2)}, {"y2", number(y2)}}, attributes);
}

void SvgDocument::polyline(const std::vector<SvgPoint>& points, const Attributes& attributes) {
    if (points.size() < 2) return;
    std::string list;
    list.reserve(points.size() * 14);
    for (const auto& p : points) {
        if (!list.empty()) list += ' ';
        list += number(p.x) + "," + number(p.y);
    }
    element("polyline", {{"points", list}}, attributes);
}

void SvgDocument::path(const std::string& d, const Attributes& attributes) {
    element("path", {{"d", d}}, attributes);
}

void SvgDocument::circle(double cx, double cy, double r, const Attributes& attributes) {
    element("circle", {{"cx", number(cx)}, {"cy", number(cy)}, {"r", number(r)}}, attributes);
}

void SvgDocument::text(double x, double y, const std::string& content, const Attributes& attributes) {
    element("text", {{"x", number(x)}, {"y", number(y)}}, attributes, content, true);
}

std::string SvgDocument::str() const {
    std::string out = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
    out += "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + number(width_) + unit_ + "\" height=\"" +
           number(height_) + unit_ + "\" viewBox=\"0 0 " + number(width_) + " " + number(height_) + "\">\n";
    out += body_;
    for (int d = depth_; d > 1; --d) out += indent(d - 1) + "</g>\n";
    out += "</svg>\n";
    return out;
}

void SvgDocument::save(const std::string& path) const {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    const auto text = str();
    out.write(text.data(), static_cast<std::streamsize>(text.size()));
    out.close();
    if (!out) throw CliError(ExitBadArguments, "cannot write the plot " + path);
}

}  // namespace halvora::cli
