"""The page of ./dev bench: the table, and for each work the distribution of each way's latencies. One file, no others."""

import html
import math

COLOURS = ["#2f81f7", "#848d97", "#d9730d", "#a371f7", "#2da44e"]
WIDTH, HEIGHT, LEFT, BOTTOM = 640, 240, 44, 38
# Shares of the calls drawn upwards, so that the slowest thousandth is seen as well as the middle.
SHARES = [(0, 0), (50, 0.3), (90, 0.6), (99, 0.8), (99.9, 0.93), (100, 1)]

STYLE = """
:root { color-scheme: light dark; --line: #8884; }
body { font: 15px/1.5 system-ui, sans-serif; margin: 0 auto; padding: 1em; max-width: 70em; }
.wide { overflow-x: auto; }
table { border-collapse: collapse; font-variant-numeric: tabular-nums; }
th, td { text-align: left; padding: .2em .8em .2em 0; border-bottom: 1px solid var(--line); white-space: nowrap; }
td.no { color: #e5534b; font-weight: 600; } td.yes { color: #2da44e; }
td:first-child { white-space: normal; min-width: 10em; }
section { margin: 2.5em 0; } h2 { font-size: 1.1em; margin: 0 0 .3em; }
svg { width: 100%; min-width: 440px; max-width: 640px; height: auto; display: block; }
svg text { font-size: 11px; fill: currentColor; } svg .grid { stroke: var(--line); }
.key { display: inline-block; width: .8em; height: .8em; border-radius: 2px; margin-right: .4em; }
"""


def number(value):
    return f"{value:,.0f}" if abs(value) >= 1000 else f"{value:.3g}"


def quantiles(line):
    """Pairs of share in percent and value."""
    if "quantiles" in line:
        return [tuple(pair) for pair in line["quantiles"]]
    costs = sorted(cost for cost, _ in line["slices"])
    shares = [*range(0, 100, 1 if len(costs) >= 100 else 5), 99.9, 100]
    return [(share, costs[int(share / 100 * (len(costs) - 1))]) for share in shares]


def percentiles(line):
    points = quantiles(line)
    return {f"p{share:g}": next(value for each, value in points if each >= share) for share in (50, 90, 99, 99.9)}


def height_of(share):
    for (low, below), (high, above) in zip(SHARES, SHARES[1:]):
        if share <= high:
            return below + (above - below) * (share - low) / (high - low)
    return 1


def ticks(low, high):
    """1, 2, 5 and their tens between the limits."""
    found = [step * 10.0 ** power for power in range(math.floor(math.log10(low)), math.ceil(math.log10(high)) + 1)
             for step in (1, 2, 5)]
    found = [value for value in found if low <= value <= high]
    return found[::max(1, -(-len(found) // 9))]


def plot(ways, unit):
    """Curves: how large a share of the calls took at most so long."""
    values = [value for _, points in ways for _, value in points if value > 0]  # a difference may be below
    low, high = min(values) * 0.95, max(values) * 1.05

    def x(value):
        return LEFT + (WIDTH - LEFT - 16) * math.log(max(value, low) / low) / math.log(high / low)

    def y(share):
        return HEIGHT - BOTTOM - (HEIGHT - BOTTOM - 10) * height_of(share)

    parts = [f'<svg viewBox="0 0 {WIDTH} {HEIGHT}" role="img" aria-label="Distribution">']
    for share, _ in SHARES:
        parts.append(f'<line class="grid" x1="{LEFT}" x2="{WIDTH - 16}" y1="{y(share):.1f}" y2="{y(share):.1f}"/>'
                     f'<text x="{LEFT - 6}" y="{y(share) + 4:.1f}" text-anchor="end">{share:g} %</text>')
    for value in ticks(low, high):
        parts.append(f'<line class="grid" x1="{x(value):.1f}" x2="{x(value):.1f}" y1="10" y2="{HEIGHT - BOTTOM}"/>'
                     f'<text x="{x(value):.1f}" y="{HEIGHT - 22}" text-anchor="middle">{number(value)}</text>')
    parts.append(f'<text x="{WIDTH - 16}" y="{HEIGHT - 5}" text-anchor="end">{html.escape(unit)}</text>')
    for colour, (_, points) in zip(COLOURS, ways):
        path = " ".join(f"{x(value):.1f},{y(share):.1f}" for share, value in points)
        parts.append(f'<polyline points="{path}" fill="none" stroke="{colour}" stroke-width="2"/>')
    return f'<div class="wide">{"".join(parts)}</svg></div>'


def cell(text):
    kind = f' class="{text}"' if text in ("yes", "no") else ""
    return f"<td{kind}>{text if text.startswith('<') else html.escape(text)}</td>"


def table(heads, rows):
    head = "".join(f"<th>{html.escape(text)}</th>" for text in heads)
    body = "".join("<tr>" + "".join(map(cell, row)) + "</tr>" for row in rows)
    return f'<div class="wide"><table><thead><tr>{head}</tr></thead><tbody>{body}</tbody></table></div>'


def section(work, lines):
    ways = [(line["who"], quantiles(line)) for line in lines]
    unit = lines[0]["unit"].replace("us", "µs")
    of_calls = "calls" in lines[0]
    rows = []
    for colour, line, (who, _) in zip(COLOURS, lines, ways):
        key = f'<span class="key" style="background:{colour}"></span>{html.escape(who)}'
        count = f"{line['calls']:,} calls" if of_calls else f"{len(line['slices']):,} slices"
        rows.append([key, *map(number, percentiles(line).values()), count])
    what = "of single calls" if of_calls else "of slices of many calls"
    return (f"<section><h2>{html.escape(work)}</h2>" + plot(ways, f"{unit}, {what}") +
            table(["", f"p50, {unit}", "p90", "p99", "p99.9", "measured"], rows) + "</section>")


def page(machine, heads, rows, series):
    works = {}
    for line in series:
        if len(line["slices"]) > 1:
            works.setdefault(line["work"], []).append(line)
    about = "; ".join(f"{key}: {value}" for key, value in machine.items())
    return ("<!doctype html><html lang=\"en\"><meta charset=\"utf-8\"><meta name=\"viewport\" content=\"width=device-width\">"
            f"<title>Benchmarks</title><style>{STYLE}</style><h1>Benchmarks</h1><p>{html.escape(about)}</p>"
            "<p>Ours beside a reference, measured by turns. Figures are those of the least disturbed tenth of the slices, the "
            "ratio is the median over the rounds. A curve shows which share of the calls, or of the slices, took at most so "
            "long; further left is faster, and steeper is steadier.</p>"
            + table(heads, rows) + "".join(section(work, lines) for work, lines in works.items()) + "</html>\n")
