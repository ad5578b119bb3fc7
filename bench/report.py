#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Makes the table, the JSON, the plots and the page from what the benchmark programs wrote.

Usage: report.py FIGURES [--json FILE] [--docs FOLDER] [--partial]
    FIGURES   lines of JSON: figures {"name", "value", "spread", "unit", "goal", "better"} and plots {"series", "points", ...}
    --json    writes the figures as one list
    --partial not everything was to be measured
    --docs    keeps the figures in performance.json in that folder, redraws its performance.svg and growth.svg, and puts the table
              into its performance.md; with --partial figures that were not measured stay as they were

Ends with 0 when every figure that has a goal was measured, whether or not it reached it.
"""

import argparse
import json
import math
import os
import pathlib
import sys

# What must be there, in the order of the table.
GOALS = """parse_30 parse_1000 parse_10000 parse_groups_1000 parse_comments_1000 parse_gallery_1000 parse_vs_naive_1000 parse_rss
parse_growth request_c1 request_c8 request_c64 request_cpu call_us call_share sign_us sign_us_changed download_tmpfs download_disk
download_cpu upload upload_expect rss_flat rss_idle load_ms flush_10000 feed_1000_e2e
service_page_1000 engine_page statements_page statements_upload statements_comment engine_uploads_hot engine_uploads_spread
store_upload store_download store_redirect store_crowd_memory store_crowd_disk page_size page_first_photos page_month_jump page_longest_task page_memory page_upload
tv_first_picture_cold tv_first_picture_warm tv_show_start tv_key_to_focus_p99 tv_month_jump tv_index_whole tv_longest_task
tv_frames_dropped tv_elements tv_full_pictures tv_latest_slide tv_missing_slides tv_broken_shown tv_slides_heap_growth
tv_slides_memory_growth tv_memory""".split()

MARKS = ("<!-- figures: written by scripts/bench -->", "<!-- figures: end -->")


def in_order(figures):
    """Of figures with the same name the last one."""
    order = {name: place for place, name in enumerate(GOALS)}
    named = {figure["name"]: figure for figure in figures}
    return sorted(named.values(), key=lambda figure: (order.get(figure["name"], len(order)), figure["goal"] is None))


def read(path):
    lines = [json.loads(line) for line in pathlib.Path(path).read_text().splitlines() if line.strip()]
    return in_order([line for line in lines if "name" in line]), [line for line in lines if "series" in line]


def is_met(figure):
    if figure["better"] == "lower":
        return figure["value"] <= figure["goal"]
    return figure["value"] >= figure["goal"]


def number(value):
    """Three significant digits, and no exponent."""
    if value == 0:
        return "0"
    digits = max(0, 2 - math.floor(math.log10(abs(value))))
    return f"{value:.{digits}f}"


def with_unit(value, unit):
    return number(value) + ("x" if unit == "x" else f" {unit}")


def row(figure):
    """Name, value, spread, goal and verdict as texts."""
    low, high = figure.get("spread", [figure["value"]] * 2)
    spread = "" if low == high else f"{number(low)} to {number(high)}"
    if figure["goal"] is None:
        return figure["name"], with_unit(figure["value"], figure["unit"]), spread, "", ""
    bound = "at most" if figure["better"] == "lower" else "at least"
    goal = f"{bound} {number(figure['goal'])}"
    return figure["name"], with_unit(figure["value"], figure["unit"]), spread, goal, "met" if is_met(figure) else "MISSED"


HEADINGS = ("figure", "value", "half of the rounds", "goal", "verdict")


def print_table(figures, missing):
    rows = [HEADINGS] + [row(figure) for figure in figures] + [(name, "not measured", "", "", "MISSING") for name in missing]
    widths = [max(len(cells[column]) for cells in rows) for column in range(len(HEADINGS))]
    for cells in rows:
        print("  ".join(cell.ljust(width) for cell, width in zip(cells, widths)).rstrip())


def markdown(figures):
    lines = ["| " + " | ".join(HEADINGS) + " |", "|" + "---|" * len(HEADINGS)]
    lines += ["| `{}` | {} | {} | {} | {} |".format(*row(figure)) for figure in figures if figure["goal"] is not None]
    lines += ["", "For comparison, and parts of the figures above:", "", "| figure | value | half of the rounds |", "|---|---|---|"]
    lines += ["| `{}` | {} | {} |".format(*row(figure)) for figure in figures if figure["goal"] is None]
    return "\n".join(lines)


# --- Pictures -----------------------------------------------------------------------------------------------------------------

INK, FAINT, GOOD, BAD, LINE = "#222", "#888", "#3a7d5c", "#b5533c", "#d8d8d8"


def text(x, y, content, size=12, anchor="start", colour=INK):
    content = content.replace("&", "&amp;").replace("<", "&lt;")
    return f'<text x="{x:.1f}" y="{y:.1f}" font-size="{size}" text-anchor="{anchor}" fill="{colour}">{content}</text>'


def line(x1, y1, x2, y2, colour=LINE, extra=""):
    return f'<line x1="{x1:.1f}" y1="{y1:.1f}" x2="{x2:.1f}" y2="{y2:.1f}" stroke="{colour}" {extra}/>'


def picture(width, height, parts):
    head = f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}" viewBox="0 0 {width} {height}"'
    return "\n".join([head + ' font-family="sans-serif">', f'<rect width="{width}" height="{height}" fill="white"/>', *parts, "</svg>", ""])


def share_of_goal(figure):
    """How much of what the goal allows is used. A goal of nothing is used up by anything."""
    used, allowed = figure["value"], figure["goal"]
    if figure["better"] == "higher":
        used, allowed = allowed, used
    return used / allowed if allowed else math.inf if used else 0


def bars(figures):
    """One bar for each figure with a goal: how much of what the goal allows is used."""
    shown = [figure for figure in figures if figure["goal"] is not None]
    left, width, height, top, end = 170, 420, 22, 44, 1.6
    bottom = top + len(shown) * height
    parts = [text(left, 20, "Share of what the goal allows; shorter is better", 13)]
    for share in (0, 0.5, 1, 1.5):
        x = left + share / end * width
        parts.append(line(x, top - 6, x, bottom, FAINT if share == 1 else LINE, 'stroke-dasharray="4 3"' if share == 1 else ""))
        parts.append(text(x, top - 10, "goal" if share == 1 else f"{share:g}", 10, "middle", FAINT))
    for place, figure in enumerate(shown):
        share = share_of_goal(figure)
        y = top + place * height
        length = max(1.0, min(max(share, 0), end) / end * width)
        colour = GOOD if is_met(figure) else BAD
        parts.append(text(left - 8, y + 14, figure["name"], 12, "end"))
        parts.append(f'<rect x="{left}" y="{y + 3}" width="{length:.1f}" height="{height - 8}" fill="{colour}"/>')
        _, value, _, goal, _ = row(figure)
        parts.append(text(left + width + 12, y + 14, f"{value}  ({goal})", 11))
    return picture(left + width + 190, bottom + 14, parts)


def decades(low, high):
    return range(math.floor(math.log10(low)), math.ceil(math.log10(high)) + 1)


def short(value):
    return f"{value:g}" if 0.01 <= value < 1000 else f"{value / 1000:g}k" if value < 1e6 else f"{value / 1e6:g}M"


def growth(plots):
    """A small plot of each series, both axes logarithmic, beside a dashed line that grows in step with the size."""
    columns, cell_width, cell_height, margin = 3, 270, 220, (52, 34, 14, 40)
    parts = []
    for place, plot in enumerate(plots):
        x0, y0 = (place % columns) * cell_width, (place // columns) * cell_height
        left, top = x0 + margin[0], y0 + margin[1]
        width, height = cell_width - margin[0] - margin[2], cell_height - margin[1] - margin[3]
        points = [(size, value) for size, value in plot["points"] if size > 0 and value > 0]
        if len(points) < 2:
            continue
        x_decades = decades(points[0][0], points[-1][0])
        y_decades = decades(min(value for _, value in points), max(value for _, value in points))

        def at(size, value):
            def share(of, within):
                return (math.log10(of) - within[0]) / max(1, within[-1] - within[0])

            return left + share(size, x_decades) * width, top + height - share(value, y_decades) * height

        parts.append(text(left, y0 + 20, plot["title"], 12))
        for decade in x_decades:
            x, y = at(10.0**decade, 10.0 ** y_decades[0])
            parts += [line(x, top, x, y), text(x, y + 14, short(10.0**decade), 10, "middle", FAINT)]
        for decade in y_decades:
            x, y = at(10.0 ** x_decades[0], 10.0**decade)
            parts += [line(x, y, left + width, y), text(x - 5, y + 3, short(10.0**decade), 10, "end", FAINT)]
        parts.append(text(left + width, top + height + 28, f"{plot['unit']} against {plot['size']}", 10, "end", FAINT))
        last_size, last_value = points[-1]
        first = last_value * points[0][0] / last_size
        if first >= 10.0 ** y_decades[0]:
            parts.append(line(*at(points[0][0], first), *at(last_size, last_value), FAINT, 'stroke-dasharray="4 3"'))
        path = " ".join("{:.1f},{:.1f}".format(*at(*point)) for point in points)
        parts.append(f'<polyline points="{path}" fill="none" stroke="{GOOD}" stroke-width="2"/>')
        parts += ['<circle cx="{:.1f}" cy="{:.1f}" r="3" fill="{}"/>'.format(*at(*point), GOOD) for point in points]
    rows = math.ceil(len(plots) / columns)
    return picture(columns * cell_width, rows * cell_height, parts)


def machine():
    model = next((entry.split(":")[1].strip() for entry in pathlib.Path("/proc/cpuinfo").read_text().splitlines()
                  if entry.startswith("model name")), os.uname().machine)
    return f"{os.cpu_count()} processors ({model}), Linux {os.uname().release}"


def machines(figures):
    """What the figures were measured on: the machine of most of them, and which of them come from others."""
    groups = {}
    for figure in figures:
        groups.setdefault(figure["machine"], []).append(figure["name"])
    first, *others = sorted(groups, key=lambda name: -len(groups[name]))
    return "; ".join([first, *(f"on {name}: " + ", ".join(f"`{figure}`" for figure in groups[name]) for name in others)])


def write_docs(folder, figures, plots, partial):
    kept = folder / "performance.json"
    figures = [{**figure, "machine": machine()} for figure in figures]
    if partial:
        figures = in_order(json.loads(kept.read_text()) + figures)
    kept.write_text("[\n" + ",\n".join(json.dumps(figure) for figure in figures) + "\n]\n")
    (folder / "performance.svg").write_text(bars(figures))
    if plots or not partial:
        (folder / "growth.svg").write_text(growth(plots))
    page = folder / "performance.md"
    content = page.read_text()
    begin, end = (content.index(mark) for mark in MARKS)
    table = f"{MARKS[0]}\n\nMeasured on {machines(figures)}.\n\n{markdown(figures)}\n\n"
    page.write_text(content[:begin] + table + content[end:])


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("figures")
    parser.add_argument("--json")
    parser.add_argument("--docs", type=pathlib.Path)
    parser.add_argument("--partial", action="store_true")
    arguments = parser.parse_args()

    figures, plots = read(arguments.figures)
    missing = [] if arguments.partial else [name for name in GOALS if name not in {figure["name"] for figure in figures}]
    print_table(figures, missing)
    with_goal = [figure for figure in figures if figure["goal"] is not None]
    print(f"\n{sum(map(is_met, with_goal))} of {len(with_goal)} goals met")
    if arguments.json:
        pathlib.Path(arguments.json).write_text(json.dumps(figures, indent=1) + "\n")
    if arguments.docs:
        write_docs(arguments.docs, figures, plots, arguments.partial)
    if missing:
        sys.exit("not measured: " + " ".join(missing))


if __name__ == "__main__":
    main()
