#!/usr/bin/env python3
"""Turns the results of the benchmark programs into benchmarks.md and its plots. Called by scripts/bench."""

import argparse
import json
import os
import pathlib
import re
import subprocess
import sys

LIBRARY = "vorn"

# What is claimed: a title, the most that the ratio library / peer may be (None: measured, nothing claimed), and
# where to find it: store, group, name (None: the group's only one), peer.
CLAIMS = [
    ("Reading typed rows, against the C interface", 1.15, "sqlite", "read", "typed rows", "C interface"),
    ("Reading typed rows, against SQLiteCpp", 1.0, "sqlite", "read", "typed rows", "SQLiteCpp"),
    ("Reading typed rows, against SOCI", 1.0, "sqlite", "read", "typed rows", "SOCI"),
    ("Reading typed rows, against SOCI's bulk fetch", 1.0, "sqlite", "read", "typed rows", "SOCI bulk"),
    ("Single insert, ready text, against `sqlite3_exec`", 0.6, "sqlite", "write", "ready texts", "sqlite3_exec"),
    ("Single insert, ready text, against SQLiteCpp", None, "sqlite", "write", "ready texts", "SQLiteCpp"),
    ("Single insert, ready text, against SOCI", None, "sqlite", "write", "ready texts", "SOCI"),
    ("Single insert with its rendering, against `sqlite3_exec` of a ready text", None,
     "sqlite", "write", "with rendering", "sqlite3_exec, ready"),
    ("Batch in a transaction, against a prepared loop by hand", 0.5,
     "sqlite", "batch", "in a transaction", "C, prepared loop"),
    ("Batch in a transaction, against SOCI's bulk insert", 0.34,
     "sqlite", "batch", "in a transaction", "SOCI, bulk"),
    ("Batch with begin and commit, against a prepared loop by hand", None,
     "sqlite", "batch", "with begin and commit", "C, prepared loop"),
    ("Batch with begin and commit, against SOCI's bulk insert", None,
     "sqlite", "batch", "with begin and commit", "SOCI, bulk"),
    ("PostgreSQL: batch, against libpqxx's stream", 0.6, "postgres", "batch", None, "libpqxx, stream_to"),
    ("PostgreSQL: batch, against `COPY` by hand over libpq", 1.15,
     "postgres", "batch", None, "libpq, COPY by hand"),
    ("PostgreSQL: reading rows, against libpqxx", 0.75, "postgres", "read", None, "libpqxx, exec"),
    ("PostgreSQL: reading rows, against libpq in single-row mode", 1.15,
     "postgres", "read", None, "libpq, single-row mode"),
    ("PostgreSQL: look-ups on eight threads, against libpq", 1.1,
     "postgres", "threads", None, "libpq, a connection a thread"),
]

STORES = {"rendering": "rendering_bench", "pool": "pool_bench", "sqlite": "sqlite_bench", "postgres": "postgres_bench"}

# The sections of the page in their order: store, group, heading, what is measured, plots.
SECTIONS = [
    ("rendering", "rendering", "Rendering statements",
     "Statements built and rendered, against the same text written by `std::ostringstream` and by "
     "`std::snprintf` (which escapes nothing). Processor time.", ["rendering"]),
    ("sqlite", "read", "Reading rows",
     "All rows of (id, text, level, ratio) into typed variables: `hasNextElement()` and `>>`, against "
     "`sqlite3_step()` with `sqlite3_column_…()` and a text copied into a `std::string`, SQLiteCpp's "
     "`executeStep()` with `getColumn()`, and SOCI's `into()` row by row and in bulks of 1,000.", ["read"]),
    ("sqlite", "write", "Single writes",
     "One insert a call, inside a transaction whose begin and commit are not timed. *Ready texts* were rendered "
     "beforehand and are the same for all; the last competitor, for orientation, is a statement prepared once and "
     "bound by hand, which no caller with a text has.", ["write"]),
    ("sqlite", "batch", "Batches",
     "`ExecBatchInserter` of a filled `BatchInserter`, against loops over the same vectors. *In a transaction*: "
     "the statement alone, begin and commit not timed. *With begin and commit*: all until the rows are on the disk, "
     "where writing and syncing the file, the same for all, weighs as heavily as the insert.", ["batch"]),
    ("sqlite", "fill", "Filling a batch",
     "Values appended to a `BatchInserter`, against `std::vector::push_back` of the same values: column by column "
     "(`batch[\"id\"] << 1 << 2 …`) and row by row (`batch[\"id\"] << 1; batch[\"text\"] << …`), which selects a "
     "column for each value.", []),
    ("sqlite", "memory", "Memory",
     "The peak of the resident set during one call, less the resident set before it, in a fresh process. For a "
     "batch that is what it needs beside its own values. What grows slowly with the rows is the mapped index of "
     "SQLite's write-ahead log, 32 KiB for each 16 MiB written; the rest is its page cache. *By hand*: the same "
     "through the C interface.", ["memory"]),
    ("sqlite", "lookup", "Look-ups by primary key",
     "One row of 100,000 by its key, a call each. The text is rendered beforehand. *Same text*, *32 texts in turn* "
     "and *changing text* differ in what a cache of prepared statements can do for them.", ["lookup"]),
    ("sqlite", "session", "Sessions",
     "A `DataSession` by itself, and a cached statement on a session of its own with and without another session "
     "that holds the connection: the difference is the checkout.", []),
    ("pool", "pool", "The connection pool",
     "A connection taken from the pool and given back, while nobody else wants one. Beside it, what two uncontended "
     "locks of a `std::mutex` cost.", []),
    ("sqlite", "threads", "Threads",
     "Readers fetch pages of 100 rows, the same number of pages in all, however many readers share them; the "
     "writer inserts single rows, 100 a transaction, synced, until the readers are done. The library's threads "
     "share its pool; by hand, each thread has a connection and prepares each text.", ["threads"]),
    ("sqlite", "rows", "By number of rows",
     "Rows a statement; batches inside a transaction, whose begin and commit are not timed. The C interface prepares "
     "its statement for each batch and each read, or keeps it for all.", ["rows"]),
    ("sqlite", "columns", "By number of columns",
     "One million values in all. The columns are, in turn, integer, text of 16 bytes, integer, real.", ["columns"]),
    ("sqlite", "text", "By length of texts", "Rows of an integer and a text.", ["text"]),
    ("postgres", "batch", "PostgreSQL: batches",
     "`ExecBatchInserter` of a filled `BatchInserter`, against `COPY` written by hand over libpq and libpqxx's "
     "`stream_to`.", ["postgres_batch"]),
    ("postgres", "read", "PostgreSQL: reading rows",
     "All rows into typed variables, against libpq in single-row mode and libpqxx's `exec()`, which holds the whole "
     "result.", ["postgres_read"]),
    ("postgres", "threads", "PostgreSQL: look-ups on eight threads",
     "One row by its key, a call each, from eight threads at once. The library's threads share its pool; by hand, each "
     "thread has a connection.", ["postgres_threads"]),
]


# Results ----------------------------------------------------------------------------------------------------------

class Results:
    """The records of all programs and runs."""

    def __init__(self, directory):
        self.records = []
        for file in sorted(directory.glob("*.jsonl")):
            run = int(file.name.split(".")[1])
            with open(file, encoding="utf-8") as lines:
                self.records += [dict(json.loads(line), run=run) for line in lines]
        commands = (directory / "commands.txt").read_text(encoding="utf-8").splitlines()
        self.commands = [command for command in commands if " --only " not in command]
        self.runs = max(record["run"] for record in self.records)

    def measurements(self, store, group, run=1):
        return [r for r in self.records
                if r["type"] == "measurement" and (r["store"], r["group"], r["run"]) == (store, group, run)]

    def figures(self, store, group, run=1):
        return [r for r in self.records
                if r["type"] == "figures" and (r["store"], r["group"], r["run"]) == (store, group, run)]

    def facts(self, store):
        return next((r["facts"] for r in self.records if r["type"] == "facts" and r["store"] == store), {})

    def command(self, store, group):
        """The command that measures one section alone."""
        program = STORES[store]
        command = next((c for c in self.commands if c.split()[0].endswith("/" + program)), program)
        return command + (" --only " + group if store not in ("rendering", "pool") else "")

    def ratios(self, store, group, name, peer):
        """The ratio of each run, from the medians and as the median of the pairs."""
        found = []
        for run in range(1, self.runs + 1):
            for measurement in self.measurements(store, group, run):
                for series in measurement["series"]:
                    if name in (None, measurement["name"]) and series["name"] == peer:
                        found.append(series["library_to_this"])
        return found


def middle(values):
    ordered = sorted(values)
    half = len(ordered) // 2
    return ordered[half] if len(ordered) % 2 else (ordered[half - 1] + ordered[half]) / 2


# Text -------------------------------------------------------------------------------------------------------------

def table(header, rows):
    lines = ["| " + " | ".join(header) + " |", "|" + "---|" + "---:|" * (len(header) - 1)]
    return "\n".join(lines + ["| " + " | ".join(row) + " |" for row in rows]) + "\n"


def span(values, form="{:.2f}"):
    low, high = form.format(min(values)), form.format(max(values))
    return low if low == high else f"{low} – {high}"


def count(value):
    return f"{value:,.0f}"


def nanoseconds(seconds, operations):
    value = seconds * 1e9 / operations
    return f"{value:,.0f}" if value >= 100 else f"{value:.1f}"


def first_line(command):
    try:
        return subprocess.run(command, capture_output=True, text=True, check=True).stdout.splitlines()[0]
    except (OSError, subprocess.CalledProcessError, IndexError):
        return "unknown"


def processor():
    for line in open("/proc/cpuinfo", encoding="utf-8"):
        if line.startswith("model name"):
            return line.split(":", 1)[1].strip()
    return "unknown processor"


def compiler(build):
    cache = (build / "CMakeCache.txt").read_text(encoding="utf-8")
    path = re.search(r"^CMAKE_CXX_COMPILER:\w+=(.*)$", cache, re.M).group(1)
    flags = re.search(r"^CMAKE_CXX_FLAGS_RELEASE:\w+=(.*)$", cache, re.M).group(1)
    return f"{first_line([path, '--version'])}, {flags}"


def file_system(directory):
    best = ("", "unknown")
    for line in open("/proc/mounts", encoding="utf-8"):
        _, mount, kind = line.split()[:3]
        inside = os.path.realpath(directory) + "/"
        if inside.startswith(mount.rstrip("/") + "/") and len(mount) > len(best[0]):
            best = (mount, kind)
    return best[1]


def machine(arguments, results):
    facts = results.facts("sqlite")
    memory = re.search(r"MemTotal:\s+(\d+)", open("/proc/meminfo", encoding="utf-8").read()).group(1)
    return (f"{processor()}, {os.cpu_count()} cores, {int(memory) / 1048576:.0f} GiB; "
            f"Linux {os.uname().release}; {compiler(arguments.build)}; SQLite {facts.get('sqlite', '?')}; "
            f"data files on {file_system(arguments.directory)}; "
            f"load average before the first program {arguments.load}, after the last {os.getloadavg()[0]:.2f}.")


def claims_table(results):
    rows = []
    for title, limit, *place in CLAIMS:
        ratios = results.ratios(*place)
        if not ratios:
            continue
        medians = [r["of_medians"] for r in ratios]
        pairs = [r["pairs_median"] for r in ratios]
        if limit is None:
            required, met = "–", "–"
        else:
            required = "below 1" if limit == 1.0 else f"at most {limit}"
            met = "yes" if max(medians) <= limit else "no"
        rows.append([title, required, span(medians), span(pairs), met])
    return table(["Library's time / peer's time", "required", "of the medians", "median of the pairs", "met"], rows)


def other_claims(results):
    runs = range(1, results.runs + 1)
    rows = []
    memory = [r["figures"] for run in runs for r in results.figures("sqlite", "memory", run)]
    for rows_of_batch in sorted({f["rows"] for f in memory})[-2:]:
        same = [f for f in memory if f["rows"] == rows_of_batch]
        rows.append([f"Memory of a batch of {count(rows_of_batch)} rows beside its values", "constant",
                     span([f["batch"] for f in same], "{:,.0f}") + " KiB; by hand " +
                     span([f["batch_by_hand"] for f in same], "{:,.0f}") + " KiB"])
    checkouts = [m["series"][0]["median"] * 1e9 / m["operations"]
                 for run in runs for m in results.measurements("pool", "pool", run)]
    if checkouts:
        rows.append(["Uncontended checkout from the pool", "at most 100 ns", span(checkouts, "{:.0f}") + " ns"])
    return table(["Other figures, on this machine", "required", "measured"], rows) if rows else ""


def measurement_table(measurement):
    unit, operations = measurement["unit"], measurement["operations"]
    rows = []
    for series in measurement["series"]:
        ratio = series.get("library_to_this")
        row = [series["name"]] + [nanoseconds(series[key], operations) for key in ("median", "min", "max")]
        row += ["–", "–", "–"] if ratio is None else [
            f"{ratio['of_medians']:.2f}", f"{ratio['pairs_median']:.2f}",
            f"{ratio['pairs_min']:.2f} – {ratio['pairs_max']:.2f}"]
        if measurement["side_unit"]:
            row.append(count(middle(series["side"])))
        rows.append(row)
    header = [f"{measurement['name']}, ns per {unit}", "median", "min", "max",
              "library / this: medians", "pairs, median", "pairs, min – max"]
    if measurement["side_unit"]:
        header.append(measurement["side_unit"])
    rounds = len(measurement["series"][0]["seconds"])
    return (f"{count(operations)} {unit}s a round, {rounds} rounds.\n\n" + table(header, rows))


def compact_table(measurements):
    """One line for each measurement and peer: what belongs together stays on one screen."""
    rows = []
    for m in measurements:
        library = m["series"][0]
        for series in m["series"][1:]:
            ratio = series["library_to_this"]
            row = [m["name"], series["name"], nanoseconds(library["median"], m["operations"]),
                   nanoseconds(series["median"], m["operations"]), f"{ratio['of_medians']:.2f}",
                   f"{ratio['pairs_median']:.2f} ({ratio['pairs_min']:.2f} – {ratio['pairs_max']:.2f})"]
            if m["side_unit"]:
                row[0] += f"; {m['side_unit']}: {count(middle(library['side']))}, {count(middle(series['side']))}"
            rows.append(row)
    unit, rounds = measurements[0]["unit"], len(measurements[0]["series"][0]["seconds"])
    header = ["", "peer", f"vorn, ns per {unit}", f"peer, ns per {unit}", "medians", "pairs"]
    return f"{rounds} rounds.\n\n" + table(header, rows)


def figures_table(figures):
    names = ["batch", "batch_by_hand", "read", "read_by_hand"]
    return table(["rows, KiB at the peak"] + [name.replace("_", " ") for name in names],
                 [[count(f["figures"]["rows"])] + [count(f["figures"][name]) for name in names] for f in figures])


def session_difference(measurements):
    for measurement in measurements:
        if len(measurement["series"]) == 2:
            own, held = (s["median"] * 1e9 / measurement["operations"] for s in measurement["series"])
            return f"The checkout within a call: {own - held:.0f} ns on this machine (difference of the medians).\n"
    return ""


def section(results, store, group, heading, text, plots):
    measurements, figures = results.measurements(store, group), results.figures(store, group)
    if not measurements and not figures:
        return ""
    parts = [f"## {heading}\n", text + "\n", f"    {results.command(store, group)}\n"]
    parts += [f"![{heading}](plots/{plot}.svg)\n" for plot in plots]
    if len(measurements) > 5:
        parts.append(compact_table(measurements))
    else:
        parts += [measurement_table(measurement) for measurement in measurements]
    if figures:
        parts.append(figures_table(figures))
    if group == "session":
        parts.append(session_difference(measurements))
    return "\n".join(parts)


PREAMBLE = """# Benchmarks
{warning}
Only the ratios below are claimed: they compare the library with a peer in the same run. Absolute times are this
machine's and serve to reproduce, not to promise.

{claims}
{other}
{runs}

**Machine.** {machine}

**Method.** One program holds all competitors of a workload. Their rounds are interleaved in an order that changes
from round to round, after a round that does not count; the tables show the median of the rounds with the least and
the greatest. *Of the medians* divides the library's median by the peer's; *pairs* divides round by round and shows
the median of these ratios: what slows the machine for a while slows both. Every competitor's data are checked to be
the same. On SQLite each competitor gets a fresh file in each round, with the same settings, read back through each
interface before anything is measured. The library is linked as its users link it, as `libvorn.so`.

**Settings of every connection to SQLite.** {settings}.

{server}**Peers.** Debian's own packages: SQLite's C interface, SQLiteCpp (`libsqlitecpp-dev`), SOCI (`libsoci-dev`),
libpq and libpqxx (`libpqxx-dev`).
sqlite_orm is in no package of Debian 12 and is not measured.

All of this page: `scripts/bench{options}`. The command under each heading repeats that section alone, once
`scripts/bench --quick` has built the programs.
"""


def page(arguments, results):
    facts = {k: v for k, v in results.facts("sqlite").items() if k not in ("sqlite", "rounds")}
    settings = ", ".join(f"{name} {value}" for name, value in facts.items())
    runs = (f"The range over {results.runs} runs; the tables further down are those of the first."
            if results.runs > 1 else "One run; `scripts/bench --runs 3` shows the range over three.")
    server = results.facts("postgres")
    server = "**PostgreSQL.** " + ", ".join(f"{k}: {v}" for k, v in server.items()) + ".\n\n" if server else ""
    quick = any(" --quick" in command for command in results.commands)
    warning = "\n**A smoke run on small data: the figures mean nothing.**\n" if quick else ""
    text = PREAMBLE.format(warning=warning, server=server, claims=claims_table(results), other=other_claims(results), runs=runs,
                           machine=machine(arguments, results), settings=settings,
                           options=f" --runs {results.runs}" if results.runs > 1 else "")
    return "\n".join([text] + [part for part in (section(results, *s) for s in SECTIONS) if part])


# Plots ------------------------------------------------------------------------------------------------------------

STYLE = """set terminal svg size {size} dynamic background rgb 'white' font 'Helvetica,13'
set output '{output}'
set grid back lc rgb '#dddddd' lw 1
set border 3 lc rgb '#666666'
set tics nomirror
set key top left Left reverse samplen 2 spacing 1.2
set style line 1 lc rgb '#0b5fa5' lw 2.5 pt 7 ps 0.8
set style line 2 lc rgb '#d9822b' lw 2 pt 5 ps 0.8
set style line 3 lc rgb '#0b5fa5' lw 2 dt 2 pt 6 ps 0.8
set style line 5 lc rgb '#7a7a7a' lw 1.5 dt 3 pt 9 ps 0.8
set style line 4 lc rgb '#d9822b' lw 2 dt 2 pt 4 ps 0.8
"""


# Below the axes, where no curve runs.
KEY_BELOW = "set key bmargin center horizontal samplen 1.5 font ',11'\n"


def plot(directory, name, size, script):
    text = STYLE.format(size=size, output=directory / f"{name}.svg") + script
    done = subprocess.run(["gnuplot"], input=text, text=True, capture_output=True, check=False)
    if done.returncode != 0:
        sys.exit(f"gnuplot failed on {name}:\n{done.stderr}")


def data_block(name, rows):
    return f"${name} << EOD\n" + "\n".join(" ".join(str(cell) for cell in row) for row in rows) + "\nEOD\n"


def label(text):
    return '"' + text.replace("_", "\\\\_").replace('"', "") + '"'


def bars(measurement, index):
    """Horizontal bars of one workload, the least at the bottom of the page being the last competitor."""
    scale = 1e9 / measurement["operations"]
    rows = []
    for position, series in enumerate(measurement["series"]):
        rows.append([len(measurement["series"]) - position, series["median"] * scale, series["min"] * scale,
                     series["max"] * scale, 0 if position == 0 else 1, label(series["name"])])
    most = max(row[3] for row in rows)
    script = data_block(f"d{index}", rows)
    script += f"set title '{measurement['name']}' font ',14'\nset xlabel 'ns per {measurement['unit']} " \
              f"(bars: median; lines: least to greatest round)'\n"
    script += f"set xrange [0:{most * 1.12}]\nset yrange [0.4:{len(rows) + 0.6}]\n"
    script += "set style fill solid 0.85 noborder\nunset key\n"
    script += (f"plot $d{index} using ($2*0.5):1:($2*0.5):(0.32):($5 == 0 ? 0x0b5fa5 : 0xb8b8b8):ytic(6) "
               "with boxxyerror lc rgb variable, "
               f"'' using 2:1:3:4 with xerrorbars lc rgb '#444444' pt 0 lw 1.2, "
               f"'' using ($4):1:(sprintf('%.0f', $2)) with labels left offset 0.8,0 font ',12'\n")
    return script


def plot_bars(directory, results, name, store, group):
    measurements = results.measurements(store, group)
    if not measurements:
        return
    heights = [len(m["series"]) * 34 + 96 for m in measurements]
    total = sum(heights)
    script = f"set multiplot\nset lmargin 26\nset rmargin 8\nset grid noytics xtics\nset tics scale 0.5\n"
    top = 1.0
    for index, (measurement, height) in enumerate(zip(measurements, heights)):
        share = height / total
        script += f"set origin 0,{top - share}\nset size 1,{share}\n" + bars(measurement, index)
        top -= share
    plot(directory, name, f"860,{total}", script + "unset multiplot\n")


def sweep_rows(measurements, what, peer, amount):
    """x, the middle, least and greatest throughput of one competitor; `amount` tells what an operation counts."""
    rows = []
    for measurement in measurements:
        if not measurement["name"].startswith(what + ","):
            continue
        x = measurement["parameters"]["x"]
        done = measurement["operations"] * amount(x)
        series = measurement["series"][peer]
        rows.append([x, done / series["median"], done / series["max"], done / series["min"]])
    return rows


def plot_sweep(directory, results, group, xlabel, ylabel, amount=lambda x: 1):
    measurements = results.measurements("sqlite", group)
    if not measurements:
        return
    script = (f"set multiplot layout 1,2\nset logscale xy\nset xlabel '{xlabel}'\nset ylabel '{ylabel}'\n"
              "set format x '%.0s%c'\nset format y '%.0s%c'\n" + KEY_BELOW)
    everything = []
    for what in ("batch", "read"):
        for peer in (0, 1, 2):
            rows = sweep_rows(measurements, what, peer, amount)
            everything += rows
            script += data_block(f"{what}{peer}", rows)
    xs = sorted({row[0] for row in everything})
    if group != "rows":
        script += "set xtics (" + ", ".join(f"'{x:,.0f}' {x:.0f}" for x in xs) + ")\n"
    script += f"set xrange [{xs[0] / 1.5}:{xs[-1] * 1.5}]\n"
    script += f"set yrange [{min(row[2] for row in everything) / 1.6}:{max(row[3] for row in everything) * 1.6}]\n"
    for what in ("batch", "read"):
        script += f"set title '{what}' font ',14'\n"
        script += (f"plot ${what}0 using ($1*0.97):2:3:4 with yerrorlines ls 1 title 'vorn', "
                   f"${what}1 using ($1*1.03):2:3:4 with yerrorlines ls 2 title 'C, prepared each time', "
                   f"${what}2 using ($1*1.06):2:3:4 with yerrorlines ls 5 title 'C, prepared once'\n")
    plot(directory, group, "900,430", script + "unset multiplot\n")


def plot_threads(directory, results):
    measurements = results.measurements("sqlite", "threads")
    if not measurements:
        return
    script = ("set multiplot layout 1,2\nset logscale x 2\nset format y '%.0s%c'\nset xlabel 'readers'\n"
              "set ylabel 'rows read a second, all readers together'\n" + KEY_BELOW)
    highest = 0
    for writers in (0, 1):
        for peer in (0, 1):
            rows = []
            for m in measurements:
                if m["parameters"]["writers"] == writers:
                    s = m["series"][peer]
                    rows.append([m["parameters"]["readers"]] +
                                [m["operations"] / s[key] for key in ("median", "max", "min")])
            highest = max([highest] + [row[3] for row in rows])
            script += data_block(f"w{writers}p{peer}", rows)
    script += f"set yrange [0:{highest * 1.1}]\n"
    for writers, title, ticks in ((0, "readers only", "1,2,4,8"), (1, "readers beside one writer", "1,3,7")):
        script += f"set title '{title}' font ',14'\nset xtics ({ticks})\nset xrange [0.8:10]\n"
        script += (f"plot $w{writers}p0 using ($1*0.98):2:3:4 with yerrorlines ls 1 title 'vorn', "
                   f"$w{writers}p1 using ($1*1.02):2:3:4 with yerrorlines ls 2 title 'C, connection a thread'\n")
    plot(directory, "threads", "900,430", script + "unset multiplot\n")


def plot_memory(directory, results):
    figures = [f["figures"] for f in results.figures("sqlite", "memory")]
    if not figures:
        return
    names = ["batch", "batch_by_hand", "read", "read_by_hand"]
    highest = max(f[name] for f in figures for name in names)
    script = data_block("m", [[f["rows"]] + [f[name] for name in names] for f in figures])
    script += ("set logscale x\nset format x '%.0s%c'\nset xlabel 'rows'\nset ylabel 'KiB at the peak of the call'\n"
               f"set xrange [{figures[0]['rows'] / 1.5}:{figures[-1]['rows'] * 1.5}]\nset yrange [0:{highest * 1.6}]\n"
               "plot $m using 1:2 with linespoints ls 1 title 'batch, vorn', "
               "$m using 1:3 with linespoints ls 2 title 'batch, by hand', "
               "$m using 1:4 with linespoints ls 3 title 'read, vorn', "
               "$m using 1:5 with linespoints ls 4 title 'read, by hand'\n")
    plot(directory, "memory", "680,380", script)


def plot_all(directory, results):
    for store, group in (("rendering", "rendering"), ("sqlite", "read"), ("sqlite", "write"), ("sqlite", "batch"),
                         ("sqlite", "lookup"), ("postgres", "batch"), ("postgres", "read"), ("postgres", "threads")):
        plot_bars(directory, results, f"postgres_{group}" if store == "postgres" else group, store, group)
    plot_sweep(directory, results, "rows", "rows a statement", "rows a second")
    plot_sweep(directory, results, "columns", "columns", "values a second")
    plot_sweep(directory, results, "text", "bytes of each text", "rows a second")
    plot_threads(directory, results)
    plot_memory(directory, results)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    for name in ("results", "build", "output"):
        parser.add_argument("--" + name, type=pathlib.Path, required=True)
    parser.add_argument("--directory", required=True, help="where the data files were")
    parser.add_argument("--load", required=True, help="the load average before the measurements")
    arguments = parser.parse_args()
    results = Results(arguments.results)
    plots = arguments.output / "plots"
    plots.mkdir(parents=True, exist_ok=True)
    plot_all(plots, results)
    (arguments.output / "benchmarks.md").write_text(page(arguments, results), encoding="utf-8")


if __name__ == "__main__":
    main()
