#!/usr/bin/env python3
"""Checks an SVG plot written by halvora.

check-svg.py ecg FILE [--min-points N] [--rows R]
    an ECG strip: the root is an svg whose width and height are in mm and whose view box matches them; the
    paper (rect#paper) lies inside the page; its grid has a "minor" line at every millimetre that is not a
    multiple of 5 and a "major" line at every 5 mm, edges included, each inside the paper; there is one
    polyline.trace per row (R when given), each with its points inside its row's band (the paper's height
    divided evenly); at least N points in all.
check-svg.py chart FILE [--min-points N]
    a line chart: the root is an svg with a size in px; its series (polyline.series) and point marks
    (circle.point) lie inside rect#plot; at least N points in all; the axes carry labels.
Exit status 0 when the file passes, 1 with the reasons otherwise.
"""
import argparse
import re
import sys
import xml.etree.ElementTree as ET

NS = "{http://www.w3.org/2000/svg}"
SLACK = 1e-6


def length(text, unit, problems, what):
    match = re.fullmatch(r"([0-9.]+)" + unit, text or "")
    if not match:
        problems.append(f"{what} is {text!r}, expected a length in {unit}")
        return None
    return float(match.group(1))


def points_of(polyline):
    out = []
    for pair in polyline.get("points", "").split():
        x, y = pair.split(",")
        out.append((float(x), float(y)))
    return out


def by_class(root, tag, cls):
    return [e for e in root.iter(NS + tag) if cls in (e.get("class") or "").split()]


def rect_of(element):
    return tuple(float(element.get(k)) for k in ("x", "y", "width", "height"))


def check_root(root, unit, problems):
    if root.tag != NS + "svg":
        problems.append(f"the root is {root.tag}, not svg")
        return None
    width = length(root.get("width"), unit, problems, "width")
    height = length(root.get("height"), unit, problems, "height")
    box = [float(v) for v in (root.get("viewBox") or "").split()]
    if width is None or height is None:
        return None
    if box != [0, 0, width, height]:
        problems.append(f"viewBox {box} does not match the size {width} x {height}")
    return width, height


def check_grid(root, paper, problems):
    x0, y0, w, h = paper
    columns, lines = round(w), round(h)
    if abs(columns - w) > SLACK or abs(lines - h) > SLACK:
        problems.append(f"the paper is {w} x {h} mm, not whole millimetres")
    expected = {
        "major": (columns // 5 + 1) + (lines // 5 + 1),
        "minor": (columns + 1 - (columns // 5 + 1)) + (lines + 1 - (lines // 5 + 1)),
    }
    for kind, step in (("minor", 1), ("major", 5)):
        found = by_class(root, "line", kind)
        if len(found) != expected[kind]:
            problems.append(f"{len(found)} {kind} grid lines, expected {expected[kind]} for {w} x {h} mm")
        for line in found:
            x1, y1, x2, y2 = (float(line.get(k)) for k in ("x1", "y1", "x2", "y2"))
            offset = x1 - x0 if x1 == x2 else y1 - y0
            inside = min(x1, x2) >= x0 - SLACK and max(x1, x2) <= x0 + w + SLACK
            inside = inside and min(y1, y2) >= y0 - SLACK and max(y1, y2) <= y0 + h + SLACK
            on_step = abs(offset / step - round(offset / step)) < 1e-3
            if not inside or not on_step or (kind == "minor" and round(offset) % 5 == 0):
                problems.append(f"{kind} line {x1},{y1}-{x2},{y2} is off the {step} mm grid or the paper")
                break


def check_ecg(root, args, problems):
    size = check_root(root, "mm", problems)
    papers = [e for e in root.iter(NS + "rect") if e.get("id") == "paper"]
    if len(papers) != 1:
        problems.append(f"{len(papers)} rect#paper, expected 1")
        return 0
    x0, y0, w, h = paper = rect_of(papers[0])
    if size and (x0 < 0 or y0 < 0 or x0 + w > size[0] + SLACK or y0 + h > size[1] + SLACK):
        problems.append(f"the paper {paper} does not fit the page {size}")
    check_grid(root, paper, problems)
    traces = by_class(root, "polyline", "trace")
    if args.rows is not None and len(traces) != args.rows:
        problems.append(f"{len(traces)} trace rows, expected {args.rows}")
    if not traces:
        problems.append("no trace")
        return 0
    band = h / len(traces)
    total = 0
    for row, trace in enumerate(traces):
        points = points_of(trace)
        total += len(points)
        top, bottom = y0 + row * band, y0 + (row + 1) * band
        outside = [p for p in points if not (x0 <= p[0] <= x0 + w and top <= p[1] <= bottom)]
        if outside:
            problems.append(f"row {row}: {len(outside)} points outside its band, first {outside[0]}")
    return total


def check_chart(root, args, problems):
    check_root(root, "px", problems)
    plots = [e for e in root.iter(NS + "rect") if e.get("id") == "plot"]
    if len(plots) != 1:
        problems.append(f"{len(plots)} rect#plot, expected 1")
        return 0
    x0, y0, w, h = rect_of(plots[0])
    total = 0
    for series in by_class(root, "polyline", "series"):
        points = points_of(series)
        total += len(points)
        outside = [p for p in points if not (x0 <= p[0] <= x0 + w and y0 <= p[1] <= y0 + h)]
        if outside:
            problems.append(f"{len(outside)} series points outside the plot, first {outside[0]}")
    # A lone value has no line: its mark counts.
    marks = by_class(root, "circle", "point")
    for mark in marks:
        x, y = float(mark.get("cx")), float(mark.get("cy"))
        if not (x0 <= x <= x0 + w and y0 <= y <= y0 + h):
            problems.append(f"point mark {x},{y} outside the plot")
    total = max(total, len(marks))
    labels = [t for t in root.iter(NS + "text") if (t.text or "").strip()]
    if len(labels) < 5:
        problems.append(f"only {len(labels)} labels: a title and labelled axes were expected")
    return total


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("kind", choices=("ecg", "chart"))
    parser.add_argument("file")
    parser.add_argument("--min-points", type=int, default=2)
    parser.add_argument("--rows", type=int)
    args = parser.parse_args()
    try:
        root = ET.parse(args.file).getroot()
    except (OSError, ET.ParseError) as error:
        print(f"{args.file}: {error}")
        return 1
    problems = []
    total = (check_ecg if args.kind == "ecg" else check_chart)(root, args, problems)
    if total < args.min_points:
        problems.append(f"{total} points in all, expected at least {args.min_points}")
    for problem in problems:
        print(f"{args.file}: {problem}")
    if not problems:
        print(f"{args.file}: {args.kind} with {total} points")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
