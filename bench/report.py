#!/usr/bin/env python3
"""Turns benchmark results into the tables and the plot of docs/performance.md.

usage: bench/report.py RESULTS [--write DOCUMENT PLOT]

RESULTS is the folder that bench/run.sh fills: NAME.json by Google Benchmark, NAME.lines by bench/median.h.
Prints the tables. With --write it also replaces each table between its marks in DOCUMENT and writes the
growth plot to PLOT. A goal is the largest ratio to a floor from the same run; the last table counts how many
this run reached. Exit status 1 if a figure that a table needs is missing.
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
    """The repetitions of each benchmark: the median real time; a tenth is below the spread, a tenth above."""
    runs = {}
    for run in json.loads(path.read_text())["benchmarks"]:
        if run["run_type"] == "iteration" and not run.get("error_occurred"):
            name = re.sub(r"/(manual_time|real_time|iterations:\d+)", "", run["run_name"])
            runs.setdefault(name, []).append(run["real_time"] * UNITS[run["time_unit"]])
    figures = {}
    for name, times in runs.items():
        times.sort()
        figures[name] = Figure(*(times[int(part * (len(times) - 1))] for part in (0.5, 0.1, 0.9)))
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


class Goals:
    """Counts the goals of this run, and which of them were missed."""

    def __init__(self):
        self.reached, self.missed = 0, []

    def judge(self, title, ratio, limit):
        """The cell for a goal: the most that `ratio` may be, and whether it is kept in this run."""
        if ratio <= limit:
            self.reached += 1
            return f"{limit:.2f}: reached"
        self.missed.append(title)
        return f"{limit:.2f}: missed"

    def text(self):
        count = self.reached + len(self.missed)
        if not self.missed:
            return f"This run reached {self.reached} of {count} goals."
        return f"This run reached {self.reached} of {count} goals. It missed: {'; '.join(self.missed)}."


class Ratios:
    """A table of figures beside a floor, with a goal, and beside peers, for orientation."""

    def __init__(self, goals, ours, floor, peers=()):
        self.goals = goals
        self.lines = [f"| | {ours} | spread | {floor} | ratio | goal |" + "".join(f" {p} | ratio |" for p in peers),
                      "|---|--:|--:|--:|--:|---|" + "--:|--:|" * len(peers)]

    def row(self, title, figure, floor=None, limit=None, peers=()):
        """`limit`: the most that the figure may be of its floor. A floor or peer may be None."""
        cells = [time_text(figure.median), spread_text(figure)]
        cells += ratio_cells(figure, floor)
        cells.append(self.goals.judge(title, figure.median / floor.median, limit) if limit else "")
        for peer in peers:
            cells += ratio_cells(figure, peer)
        self.lines.append(f"| {title} | " + " | ".join(cells) + " |")

    def text(self):
        return "\n".join(self.lines)


def ratio_cells(figure, other):
    if other is None:
        return ["", ""]
    return [time_text(other.median), f"{figure.median / other.median:.2f}"]


# Number of writers, the benchmark's number for the placement, and its words.
PLACES = ((1, 0, "1 writer and the consumer on one processor"),
          (1, 1, "1 writer, the consumer on another processor"),
          (2, 0, "2 writers and the consumer on one processor"),
          (2, 1, "2 writers on one processor, the consumer on another"),
          (2, 2, "2 writers colliding, a processor each"))
COLLIDING = 2
# Colliding writers spend most of their time moving cache lines between processors. So does their floor.
COLLIDING_LIMIT = 1.5


def ring_table(figures, goals):
    table = Ratios(goals, "the ring", "floor", ("boost", "moodycamel"))

    def peers(form):  # moodycamel's queue works in one process only
        return [figures[form.format(kind)] if "Processes" not in form or kind == "Boost" else None
                for kind in ("Boost", "Moodycamel")]

    table.row("push of 148 bytes", figures["Push<Ring>"], figures["Push<Floor>"], 1.15, peers("Push<{}>"))
    for count, words, limit in ((16, "push and take, 16 in a row", 1.6), (1, "push and take, one by one", None)):
        table.row(f"{words}; its floor is the ring's own push", figures[f"PushAndTake<Ring>/{count}"],
                  figures["Push<Ring>"], limit, peers(f"PushAndTake<{{}}>/{count}"))
    table.row("refused push, ring full", figures["RefusedPush<Ring>"], None, None, peers("RefusedPush<{}>"))
    for kind in ("Threads", "Processes"):
        for writers, place, where in PLACES:
            form = f"WritersIn{kind}<{{}}>/writers:{writers}/place:{place}"
            table.row(f"{kind.lower()}: {where}", figures[form.format("Ring")], figures[form.format("Floor")],
                      COLLIDING_LIMIT if place == COLLIDING else None, peers(form))
    return table.text()


def log_table(native, wine, goals):
    table = Ratios(goals, "the log", "bare seek and write", ("spdlog, flushing",))
    for place, figures in (("native", native), ("Wine", wine)):
        table.row(f"{place}: a line to a file", figures["A line to a file"],
                  figures["A line to a file, bare seek and write"], 1.25,
                  [figures.get("A line to a file, spdlog, flushing")])
    off = Ratios(goals, "the log", "spdlog, level off")
    for place, figures in (("native", native), ("Wine", wine)):
        for title in ("A line without a stream", "A line that no stream takes"):
            off.row(f"{place}: {title[0].lower()}{title[1:]}", figures[title],
                    figures.get("A line, spdlog, level off"))
    return table.text() + "\n\n" + off.text()


def profile_table(figures, goals):
    table = Ratios(goals, "ours", "inih", ("reading and counting lines", "property_tree"))
    for lines in (100000, 81):
        peers = [figures[f"{peer}/{lines}"] for peer in ("ReadAndCountLines", "ReadByPropertyTree")]
        table.row(f"{lines:,} lines, three keys", figures[f"ReadByProfileReader/{lines}"],
                  figures[f"ReadByInih/{lines}"], 0.5, peers)
    return table.text()


def mail_table(native, wine):
    lines = ["| | median | spread |", "|---|--:|--:|"]
    for place, figures in (("native", native), ("Wine", wine)):
        for count in (0, 10):
            mail = figures[f"With sleeps, attachments: {count}"]
            lines.append(f"| {place}: mail of {mail.count:.0f} requests | {time_text(mail.median)} | "
                         f"{spread_text(mail)} |")
    return "\n".join(lines)


def share_table(native, wine, wine_on_one, goals):
    table = Ratios(goals, "own share of a request", "the system calls alone")
    for place, figures in (("native", native), ("Wine, on one processor", wine_on_one), ("Wine", wine)):
        for count in (1, 10, 30, 100):
            name = f"No sleeps, attachments: {count}, "
            table.row(f"{place}, {count} attachment{'s' * (count > 1)}", figures[name + "own share of a request"],
                      figures[name + "the system's calls of a request alone"], 1.4)
    return table.text()


def host_table(native, wine, load, goals):
    table = Ratios(goals, "what the host waits for", "floor")
    for place, figures in (("native", native), ("Wine", wine)):
        for title, name in (("`OnConnection`, 10 explorers and 20 inspectors",
                             "OnConnection, 10 explorers and 20 inspectors"),
                            ("`OnDisconnection`", "OnDisconnection"), ("a window opens", "NewInspector")):
            table.row(f"{place}: {title}", figures[name])
        table.row(f"{place}: a timer tick with 100 windows, nothing new; its floor is the host's answers",
                  figures["A tick, 100 windows, nothing new"], figures["A tick, the host's answers alone"], 2.5)
    table.row("Wine: load to class object; its floor is an empty library",
              load["Load and class object, DlpAddIn.dll"], load["Load and class object, bench_nothing.dll"], 2)
    return table.text()


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


# The panels of the plot: what grows, and the rows of GROWTH with their labels.
PANELS = (("attachments", ((0, ""),)), ("recipients", ((1, "one by one"), (2, "in nested lists"))),
          ("cached verdicts", ((3, ""),)))


def write_plot(figures, path):
    """Plots own time against number, one panel for each kind of growth. Proportional growth is a straight line."""
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
        sys.exit(f"the document has no marks for the table {name}")
    return pattern.sub(lambda match: match.group(1) + table + "\n" + match.group(2), document)


def main(arguments):
    if len(arguments) not in (1, 4):
        sys.exit(__doc__)
    results = pathlib.Path(arguments[0])
    google = {name: read_google(results / f"{name}.json") for name in ("ring", "profile")}
    lines = {path.stem: read_lines(path) for path in results.glob("*.lines")}
    goals = Goals()
    tables = {
        "ring": ring_table(google["ring"], goals), "log": log_table(lines["log"], lines["log-wine"], goals),
        "profile": profile_table(google["profile"], goals),
        "mail": mail_table(lines["mail"], lines["mail-wine"]),
        "share": share_table(lines["mail"], lines["mail-wine"], lines["mail-wine-one"], goals),
        "growth": growth_table(lines["mail"]),
        "host": host_table(lines["connect"], lines["connect-wine"], lines["load-wine"], goals),
        "machine": (results / "machine.txt").read_text().strip(),
    }
    tables["goals"] = goals.text()
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
