#pragma once

#include <string>
#include <utility>
#include <vector>

namespace halvora::cli {

/// A point of a drawing, in the document's unit.
struct SvgPoint {
    double x = 0;  ///< rightwards
    double y = 0;  ///< downwards
};

/// An SVG file built in memory with the standard library alone. The document's size is given in a unit
/// ("mm" for drawings that must print true to scale, "px" for screen charts) and the drawing's coordinates
/// are in that same unit (the view box matches the size). Texts and attribute values are escaped; numbers
/// are written with '.' as the decimal mark whatever the process's locale, with at most three decimals.
class SvgDocument {
public:
    /// Attributes of an element, in order: name and (unescaped) value.
    using Attributes = std::vector<std::pair<std::string, std::string>>;

    /// A document `width` x `height` `unit`s.
    SvgDocument(double width, double height, std::string unit);

    /// A CSS style sheet for the document's classes.
    void style(const std::string& css);
    /// Opens a group (`<g>`) with these attributes; close it with closeGroup().
    void openGroup(const Attributes& attributes);
    /// Closes the last group opened.
    void closeGroup();
    /// A rectangle.
    void rect(double x, double y, double width, double height, const Attributes& attributes = {});
    /// A straight line.
    void line(double x1, double y1, double x2, double y2, const Attributes& attributes = {});
    /// A line through `points` (nothing for fewer than two points).
    void polyline(const std::vector<SvgPoint>& points, const Attributes& attributes = {});
    /// A path with the drawing commands `d` (built with number()).
    void path(const std::string& d, const Attributes& attributes = {});
    /// A small circle.
    void circle(double cx, double cy, double r, const Attributes& attributes = {});
    /// A text at (x, y), its baseline at y.
    void text(double x, double y, const std::string& content, const Attributes& attributes = {});

    /// The whole document.
    std::string str() const;
    /// Writes the document to `path`; throws CliError(ExitBadArguments) when it cannot be written.
    void save(const std::string& path) const;

    /// `value` with '.' as the decimal mark, at most three decimals, no trailing zeros ("12.5", "-3", "0").
    static std::string number(double value);
    /// `text` with &, <, >, " and ' escaped for XML.
    static std::string escape(const std::string& text);

private:
    void element(const std::string& name, const Attributes& geometry, const Attributes& attributes,
                 const std::string& content = "", bool hasContent = false);

    double width_;
    double height_;
    std::string unit_;
    std::string body_;
    int depth_ = 1;
};

}  // namespace halvora::cli
