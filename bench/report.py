#!/usr/bin/env python3
"""Turns what the benchmarks measured into the tables of docs/performance.md and its plot.

usage: bench/report.py RESULTS [--write DOCUMENT PLOT]

RESULTS is the folder that bench/run.sh fills: NAME.json by Google Benchmark, NAME.lines by bench/median.h.
Prints the tables; with --write it puts each one between its two marks in DOCUMENT, and the plot of
growth into PLOT. Exit status 1 when a figure that a table needs is missing.
"""
import json
import pathlib
import re
import subprocess
import sys

UNITS = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}  # in nanoseconds


class Figure:
    """A median with its spread, in nanoseconds."""

    def __init__(self, median, low, high, count=1):
        self.median, self.low, self.high, self.count = median, low, high, count


def read_google(path):
    """The repetitions of each benchmark: median, lowest and highest real time."""
    runs = {}
    for run in json.loads(path.read_text())["benchmarks"]:
        if run["run_type"] == "iteration" and not run.get("error_occurred"):
            name = re.sub(r"/(manual_time|real_time|iterations:\d+)", "", run["run_name"])
            runs.setdefault(name, []).append(run["real_time"] * UNITS[run["time_unit"]])
    figures = {}
    for name, times in runs.items():
        times.sort()
        figures[name] = Figure(times[len(times) // 2], times[0], times[-1])
    return figures


def read_lines(path):
    figures = {}
    for line in path.read_text().splitlines():
        row = json.loads(line)
        figures[row["name"]] = Figure(
            *(row[key] * UNITS["ms"] for key in ("median", "low", "high")), row["count"])
    return figures


def time_text(nanoseconds):
    for unit in ("ns", "us", "ms"):
        size = UNITS[unit]
        if nanoseconds < 1000 * size or unit == "ms":
            return f"{nanoseconds / size:.3g} {unit}" if nanoseconds < 1000 * size \
                else f"{nanoseconds / size:.0f} {unit}"


def spread_text(figure):
    return f"{time_text(figure.low)} to {time_text(figure.high)}"


class Ratios:
    """A table of figures against others of the same run."""

    def __init__(self, figures, ours, others):
        self.figures = figures
        self.lines = [f"| | {ours} | spread | " + " | ".join(f"{o} | ratio" for o in others) + " | goal |",
                      "|---|--:|--:|" + "--:|--:|" * len(others) + "---|"]

    def row(self, title, ours, others, goals=None, note=""):
        """goals: one a peer, the most that ours may be of it, or None."""
        figure = self.figures[ours]
        cells, verdicts = [], []
        for number, other in enumerate(others):
            if other is None:
                cells += ["", ""]
                continue
            peer = self.figures[other]
            ratio = figure.median / peer.median
            cells += [time_text(peer.median), f"{ratio:.2f}"]
            goal = goals[number] if goals else None
            if goal is not None:
                verdicts.append(f"{goal:.2f}: {'reached' if ratio <= goal else 'missed'}")
        self.lines.append(f"| {title} | {time_text(figure.median)} | {spread_text(figure)} | "
                          + " | ".join(cells) + f" | {', '.join(verdicts) or note} |")

    def text(self):
        return "\n".join(self.lines)


# Writers, the benchmark's number for where the parties run, and its words.
PLACES = ((1, 0, "1 writer, with the consumer on one processor"),
          (1, 1, "1 writer, the consumer on another processor"),
          (2, 0, "2 writers, all on one processor"),
          (2, 1, "2 writers on one processor, the consumer on another"),
          (2, 2, "2 writers at once, a processor each"))


def ring_table(figures):
    table = Ratios(figures, "the ring", ["floor", "boost", "moodycamel"])
    table.row("push of 148 bytes", "Push<Ring>",
              ["Push<Floor>", "Push<Boost>", "Push<Moodycamel>"], [1.10, 0.75, None])
    table.row("push and take", "PushAndTake<Ring>",
              [None, "PushAndTake<Boost>", "PushAndTake<Moodycamel>"])
    table.row("refused push, full", "RefusedPush<Ring>",
              [None, "RefusedPush<Boost>", "RefusedPush<Moodycamel>"])
    for parties, moodycamel in (("Threads", True), ("Processes", False)):
        for writers, place, where in PLACES:
            names = [f"WritersIn{parties}<{kind}>/writers:{writers}/place:{place}"
                     for kind in ("Ring", "Boost", "Moodycamel")]
            table.row(f"{parties.lower()}: {where}", names[0],
                      [None, names[1], names[2] if moodycamel else None],
                      [None, 0.35 if place == 2 else None, None])
    return table.text()


def log_table(figures):
    table = Ratios(figures, "the log", ["bare seek and write", "spdlog, flushing"])
    table.row("a line to a file", "LineToFile",
              ["LineBareSeekAndWrite", "LineToFileSpdlogFlushing"], [1.25, None])
    off = Ratios(figures, "the log", ["spdlog, level off"])
    off.row("no stream at all", "OffEmptyRegistry", ["OffSpdlogLevel"])
    off.row("a line that no stream takes", "LineNobodyTakes", ["OffSpdlogLevel"])
    return table.text() + "\n\n" + off.text()


def profile_table(figures):
    table = Ratios(figures, "ours", ["read and count lines", "inih", "property_tree"])
    for lines, goal in ((100000, 1 / 2), (81, 1 / 2)):
        peers = [f"{peer}/{lines}" for peer in ("ReadAndCountLines", "ReadByInih", "ReadByPropertyTree")]
        table.row(f"{lines:,} lines, three keys", f"ReadByProfileReader/{lines}", peers, [None, goal, None])
    return table.text()


def held_against(figure, most):
    """The cells for a limit in milliseconds, and whether it is kept; empty without one."""
    if not most:
        return " | "
    limit = most * UNITS["ms"]
    return f"{time_text(limit)} | {'reached' if figure.median <= limit else 'missed'}"


def limits_table(title, rows):
    lines = [f"| {title} | median | spread | at most | |", "|---|--:|--:|--:|---|"]
    for name, figure, most in rows:
        lines.append(f"| {name} | {time_text(figure.median)} | {spread_text(figure)} | "
                     f"{held_against(figure, most)} |")
    return "\n".join(lines)


FLOOR = "the system's calls of a request alone"


def mail_table(native, wine):
    rows = []
    for place, figures in (("native", native), ("Wine", wine)):
        for count in (0, 10):
            mail = figures[f"With sleeps, attachments: {count}"]
            rows.append((f"{place}: mail of {mail.count:.0f} requests, with its sleeps", mail, None))
    return limits_table("the whole road", rows)


def share_table(native, wine, wine_on_one):
    lines = ["| own share of a request | median | spread | the system's calls alone | ratio | at most | |",
             "|---|--:|--:|--:|--:|--:|---|"]
    for place, figures, most in (("native", native, 0.2), ("Wine, on one processor", wine_on_one, 0.6),
                                 ("Wine", wine, None)):
        for count in (1, 10, 30, 100):
            name = f"No sleeps, attachments: {count}, "
            share, floor = figures[name + "own share of a request"], figures[name + FLOOR]
            lines.append(f"| {place}, {count} attachment{'s' * (count > 1)} | {time_text(share.median)} | "
                         f"{spread_text(share)} | {time_text(floor.median)} | "
                         f"{share.median / floor.median:.2f} | {held_against(share, most)} |")
    return "\n".join(lines)


def host_table(native, wine, load):
    rows = []
    for place, figures in (("native", native), ("Wine", wine)):
        rows += [(f"{place}: `OnConnection`, 10 explorers and 20 inspectors",
                  figures["OnConnection, 10 explorers and 20 inspectors"], 5),
                 (f"{place}: `OnDisconnection`", figures["OnDisconnection"], 25),
                 (f"{place}: a window opens", figures["NewInspector"], 0.2),
                 (f"{place}: a tick, 100 windows, nothing new", figures["A tick, 100 windows, nothing new"], None),
                 (f"{place}: of it, the host's answers alone", figures["A tick, the host's answers alone"], None)]
    rows += [("Wine: load to class object, DlpAddIn.dll", load["Load and class object, DlpAddIn.dll"], 20),
             ("Wine: the same, a library that does nothing", load["Load and class object, bench_nothing.dll"], None)]
    return limits_table("what the host waits for", rows)


GROWTH = (("attachments", "No sleeps, attachments: {}, own share", (1, 10, 30, 100)),
          ("recipients", "No sleeps, recipients: {}", (10, 100, 1000, 3000, 10000)),
          ("recipients in nested lists", "No sleeps, recipients in nested lists: {}",
           (10, 100, 1000, 3000, 10000)),
          ("cached verdicts", "A verdict from the cache, entries: {}", (1, 1000, 10000, 100000)))


def growth_table(figures):
    lines = ["| grows in | from | to | own share, first | own share, last | for each one more | calls of the "
             "host for each one more |", "|---|--:|--:|--:|--:|--:|--:|"]
    for title, form, counts in GROWTH:
        first, last = figures[form.format(counts[0])], figures[form.format(counts[-1])]
        more = counts[-1] - counts[0]
        calls = f"{(last.count - first.count) / more:.1f}" if title.startswith("recipients") else ""
        lines.append(f"| {title} | {counts[0]:,} | {counts[-1]:,} | {time_text(first.median)} | "
                     f"{time_text(last.median)} | {time_text((last.median - first.median) / more)} | {calls} |")
    return "\n".join(lines)


# The panels of the plot: what grows, and the rows of GROWTH with what tells them apart.
PANELS = (("attachments", ((0, ""),)), ("recipients", ((1, "one by one"), (2, "in nested lists"))),
          ("cached verdicts", ((3, ""),)))


def write_plot(figures, path):
    """Own time over number, a panel for each kind of growth: what grows in proportion is straight."""
    commands = ["set terminal svg size 900,300 font 'sans-serif,12' background '#ffffff'",
                f"set output '{path}'", "set grid", "set key left top Left reverse", "set xrange [0:]",
                "set yrange [0:]", "set format x '%.0s%c'", "set ylabel 'own time, ms'",
                "set multiplot layout 1,3"]
    for number, (title, form, counts) in enumerate(GROWTH):
        points = "\n".join(f"{n} {figures[form.format(n)].median / UNITS['ms']:.6f}" for n in counts)
        commands.append(f"$data{number} << EOD\n{points}\nEOD")
    for label, rows in PANELS:
        commands.append(f"set xlabel '{label}'")
        commands.append("plot " + ", ".join(
            f"$data{row} with linespoints linewidth 2 title '{title}'" for row, title in rows))
    subprocess.run(["gnuplot"], input="\n".join(commands) + "\n", text=True, check=True)


def put_between_marks(document, name, table):
    pattern = re.compile(rf"(<!-- table: {name} -->\n).*?(<!-- end -->)", re.S)
    if not pattern.search(document):
        sys.exit(f"the document has no place for the table {name}")
    return pattern.sub(lambda match: match.group(1) + table + "\n" + match.group(2), document)


def main(arguments):
    if len(arguments) not in (1, 4):
        sys.exit(__doc__)
    results = pathlib.Path(arguments[0])
    google = {name: read_google(results / f"{name}.json") for name in ("ring", "log", "profile")}
    lines = {path.stem: read_lines(path) for path in results.glob("*.lines")}
    tables = {
        "ring": ring_table(google["ring"]), "log": log_table(google["log"]),
        "profile": profile_table(google["profile"]),
        "mail": mail_table(lines["mail"], lines["mail-wine"]),
        "share": share_table(lines["mail"], lines["mail-wine"], lines["mail-wine-one"]),
        "growth": growth_table(lines["mail"]),
        "host": host_table(lines["connect"], lines["connect-wine"], lines["load-wine"]),
        "machine": (results / "machine.txt").read_text().strip(),
    }
    for name, table in tables.items():
        print(f"\n{name}\n{table}")
    if len(arguments) == 4:
        document = pathlib.Path(arguments[2])
        text = document.read_text()
        for name, table in tables.items():
            text = put_between_marks(text, name, table)
        document.write_text(text)
        write_plot(lines["mail"], arguments[3])


try:
    main(sys.argv[1:])
except (KeyError, FileNotFoundError) as missing:
    sys.exit(f"bench/report.py: not measured: {missing}")
