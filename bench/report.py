#!/usr/bin/env python3
"""Puts the results of the benchmark programs into benchmarks.md and draws its plots. Called by scripts/bench.

What is measured stands in the page between <!-- begin NAME --> and <!-- end -->; the text around it is kept.
"""

import argparse
import json
import os
import pathlib
import platform
import re
import subprocess
from statistics import median

import plots

# What is claimed: a title, the most that the ratio library / peer may be (None: measured, nothing claimed), and
# where it is measured: store/group/workload/peer. The workload is a regular expression: all that match are meant.
CLAIMS = [
    ("Reading typed rows, against the C interface", 1.15, "sqlite/read/typed rows/C interface"),
    ("Reading typed rows, against SQLiteCpp", 1.0, "sqlite/read/typed rows/SQLiteCpp"),
    ("Reading typed rows, against SOCI", 1.0, "sqlite/read/typed rows/SOCI"),
    ("Reading typed rows, against SOCI's bulk fetch", 1.0, "sqlite/read/typed rows/SOCI bulk"),
    ("Rows as tuples, against the same loop over the reader", 1.05, "sqlite/range/.*/vorn, reader"),
    ("20 integers a row, against the C interface", 1.1, "sqlite/fields/20 integers/C interface"),
    ("20 integers a row, against SQLiteCpp", None, "sqlite/fields/20 integers/SQLiteCpp"),
    ("Nulls with markers, against the C interface", 1.1, "sqlite/fields/.*with markers/C interface"),
    ("Nulls with markers, against SQLiteCpp", None, "sqlite/fields/.*with markers/SQLiteCpp"),
    ("Select by key, against one prepared once and bound by hand", 1.5,
     "sqlite/lookup/changing text/C, prepared once"),
    ("Select by key, against the same text prepared each time", 0.65,
     "sqlite/lookup/changing text/C, prepared each time"),
    ("Select by two text bounds, against one prepared once", 1.5, "sqlite/lookup/two text bounds.*/C, prepared once"),
    ("Select by two text bounds, against the same text prepared each time", 0.65,
     "sqlite/lookup/two text bounds.*/C, prepared each time"),
    ("Update, delete and insert of a row, against one prepared once", 1.9, "sqlite/change/.*/C, prepared once"),
    ("Update, delete and insert of a row, against the same text prepared each time", 0.65,
     "sqlite/change/.*/C, prepared each time"),
    ("Request of three statements, one thread, against prepared once", None,
     "sqlite/request/threads: 1/C, prepared once"),
    ("Request of three statements, 2 to 8 threads, against prepared once", None,
     "sqlite/request/threads: [248]/C, prepared once"),
    ("Single insert, ready text, against `sqlite3_exec`", 0.6, "sqlite/write/ready texts/sqlite3_exec"),
    ("Single insert, ready text, against SQLiteCpp", None, "sqlite/write/ready texts/SQLiteCpp"),
    ("Single insert, ready text, against SOCI", None, "sqlite/write/ready texts/SOCI"),
    ("Single insert with its rendering, against `sqlite3_exec` of a ready text", None,
     "sqlite/write/with rendering/sqlite3_exec, ready"),
    ("Batch in a transaction, against a prepared loop by hand", 0.4,
     "sqlite/batch/in a transaction/C, prepared loop"),
    ("Batch in a transaction, against SOCI's bulk insert", 0.34, "sqlite/batch/in a transaction/SOCI, bulk"),
    ("Batch with begin and commit, against a prepared loop by hand", None,
     "sqlite/batch/with begin and commit/C, prepared loop"),
    ("Batch with begin and commit, against SOCI's bulk insert", None,
     "sqlite/batch/with begin and commit/SOCI, bulk"),
    ("PostgreSQL: batch, against libpqxx's stream", 0.6, "postgres/batch/typed rows/libpqxx, stream_to"),
    ("PostgreSQL: batch, against `COPY` by hand over libpq", 1.0, "postgres/batch/typed rows/libpq, COPY by hand"),
    ("PostgreSQL: batch of 1 to 10 rows, against one insert by hand", 1.25,
     "postgres/small/.*: (1|2|5|10)/libpq, one insert, PQexec"),
    ("PostgreSQL: batch of 20 and 50 rows, against one insert by hand", None,
     "postgres/small/.*: (20|50)/libpq, one insert, PQexec"),
    ("PostgreSQL: batch of 100 to 1,000 rows, against one insert by hand", 1.0,
     "postgres/small/.*: (100|200|500|1000)/libpq, one insert, PQexec"),
    ("PostgreSQL: select by key, against libpq, prepared once", 1.2,
     "postgres/calls/select by key/libpq, prepared once"),
    ("PostgreSQL: select by key, against libpq with the text", 0.8, "postgres/calls/select by key/libpq, PQexec"),
    ("PostgreSQL: update by key, against libpq, prepared once", 1.2,
     "postgres/calls/update by key/libpq, prepared once"),
    ("PostgreSQL: update by key, against libpq with the text", 0.8, "postgres/calls/update by key/libpq, PQexec"),
    ("PostgreSQL: select and update by key, against libpqxx, prepared once", None,
     "postgres/calls/.*/libpqxx, prepared once"),
    ("PostgreSQL: request of three statements, one thread, against libpq, prepared once", None,
     "postgres/request/threads: 1/libpq, prepared once"),
    ("PostgreSQL: request of three statements, 2 to 8 threads, against libpq, prepared once", None,
     "postgres/request/threads: [248]/libpq, prepared once"),
    ("PostgreSQL: reading rows, against libpqxx", 0.75, "postgres/read/typed rows/libpqxx, exec"),
    ("PostgreSQL: reading rows, against libpq in single-row mode", 1.15,
     "postgres/read/typed rows/libpq, single-row mode"),
    ("PostgreSQL: look-ups on eight threads, against libpq", 1.1,
     "postgres/threads/look-ups by key/libpq, a connection a thread"),
    ("MariaDB: batch, against Connector/C bound by column", 1.1,
     "mariadb/batch/typed rows/Connector/C, bound by column"),
    ("MariaDB: batch, against SOCI's bulk insert", 0.6, "mariadb/batch/typed rows/SOCI, bulk"),
    ("MariaDB: reading rows, against `mysql_use_result`", 1.15,
     "mariadb/read/typed rows/Connector/C, mysql_use_result"),
    ("MariaDB: select by key, against Connector/C, prepared once", 1.25,
     "mariadb/calls/select by key/Connector/C, prepared once"),
    ("MariaDB: select by key, against Connector/C with the text", None,
     "mariadb/calls/select by key/Connector/C, text"),
    *((f"{statement}: rendering, against `std::snprintf`", limit, f"rendering/rendering/{statement.lower()}/std::snprintf")
      for statement, limit in (("Select", 1.1), ("Insert", None), ("Update", 1.1), ("Delete", 1.1))),
    ("Start of an empty process, against one that links the embedded store's libraries by hand", 1.4,
     "startup/startup/empty process/libraries by hand"),
]

BARS = ["rendering/rendering", "sqlite/read", "sqlite/fields", "sqlite/write", "sqlite/batch", "sqlite/lookup",
        "sqlite/change", "postgres/batch", "postgres/read", "postgres/threads", "postgres/calls",
        "mariadb/batch", "mariadb/read", "mariadb/calls"]

# Group, label of x, label of y, scale of y.
CURVES = [
    ("sqlite/rows", "rows a statement", "rows a second", "log"),
    ("sqlite/columns", "columns", "values a second", "log"),
    ("sqlite/text", "bytes of each text", "rows a second", "log"),
    ("sqlite/threads", "readers", "rows read a second, all readers together", "linear"),
    ("sqlite/request", "threads", "requests a second, all threads together", "linear"),
    ("postgres/request", "threads", "requests a second, all threads together", "linear"),
    ("postgres/small", "rows a batch", "rows a second", "log"),
    ("cluster/nodes", "nodes written to", "transactions a second, all threads together", "linear"),
]


class Results:
    """The records of all programs and runs."""

    def __init__(self, directory):
        self.records = []
        for file in sorted(directory.glob("*.jsonl")):
            run = int(file.name.split(".")[1])
            for line in file.read_text(encoding="utf-8").splitlines():
                record = json.loads(line)
                self.records.append(record | {"run": run, "place": f"{record['store']}/{record['group']}"})
        self.commands = (directory / "commands.txt").read_text(encoding="utf-8").splitlines()
        self.runs = range(1, max(record["run"] for record in self.records) + 1)

    def workloads(self, place, run=1):
        """The workloads of "store/group", each a list of its competitors' series, the library's first."""
        found = {}
        for record in self.records:
            if (record["type"], record["place"], record["run"]) == ("series", place, run):
                found.setdefault(record["workload"], []).append(record)
        return list(found.values())

    def figures(self, place):
        return [r["figures"] for r in self.records if (r["type"], r["place"], r["run"]) == ("figures", place, 1)]

    def facts(self, store):
        return next((r["facts"] for r in self.records if (r["type"], r["store"]) == ("facts", store)), {})

    def command(self, place):
        """The command that measures one section alone."""
        store, group = place.split("/")
        command = next(c for c in self.commands if f"/{store}_bench " in c)
        return command if store == group else f"{command} --only {group}"


def ratios(library, peer):
    """The ratio of the medians, and the ratio of each round: what slows the machine for a while slows both."""
    pairs = [a / b for a, b in zip(library["seconds"], peer["seconds"])]
    return median(library["seconds"]) / median(peer["seconds"]), pairs


def table(header, rows):
    lines = [header, ["---"] + ["---:"] * (len(header) - 1), *rows]
    return "\n".join("| " + " | ".join(line) + " |" for line in lines) + "\n"


def span(values, form="{:.2f}"):
    ends = [form.format(value) for value in (min(values), max(values))]
    return ends[0] if ends[0] == ends[1] else " – ".join(ends)


def nanoseconds(series, choose):
    value = choose(series["seconds"]) * 1e9 / series["operations"]
    return f"{value:,.0f}" if value >= 100 else f"{value:.1f}"


def claims(results):
    rows = []
    for title, limit, path in CLAIMS:
        store, group, name, peer = path.split("/", 3)
        found = [ratios(workload[0], series) for run in results.runs
                 for workload in results.workloads(f"{store}/{group}", run)
                 if re.fullmatch(name, workload[0]["workload"])
                 for series in workload if series["competitor"] == peer]
        if not found:
            rows.append([title, "–", "not measured", "–", "–"])
            continue
        required = "–" if limit is None else "below 1" if limit == 1.0 else f"at most {limit}"
        met = "–" if limit is None else "yes" if max(middle for middle, _ in found) <= limit else "no"
        rows.append([title, required, span([middle for middle, _ in found]),
                     span([median(pairs) for _, pairs in found]), met])
    return table(["Library's time / peer's time", "required", "of the medians", "median of the pairs", "met"], rows)


def other_claims(results):
    rows = []
    for figures in results.figures("sqlite/memory")[-2:]:
        rows.append([f"Memory of a batch of {figures['rows']:,} rows beside its values", "constant",
                     f"{figures['batch']:,} KiB; by hand {figures['batch_by_hand']:,} KiB"])
    checkouts = [median(workload[0]["seconds"]) * 1e9 / workload[0]["operations"]
                 for run in results.runs for workload in results.workloads("pool/pool", run)]
    if checkouts:
        rows.append(["Uncontended checkout from the pool", "at most 100 ns", span(checkouts, "{:.0f}") + " ns"])
    return table(["Other figures, on this machine", "required", "measured"], rows)


def detailed_table(workload):
    library = workload[0]
    rows = []
    for series in workload:
        middle, pairs = ratios(library, series)
        compared = ["–"] * 3 if series is library else [f"{middle:.2f}", f"{median(pairs):.2f}", span(pairs)]
        rows.append([series["competitor"]] + [nanoseconds(series, choose) for choose in (median, min, max)] + compared)
    header = [f"{library['workload']}, ns per {library['unit']}", "median", "min", "max", "library / this: medians",
              "pairs, median", "pairs, min – max"]
    rounds = len(library["seconds"])
    return f"{library['operations']:,} {library['unit']}s a round, {rounds} rounds.\n\n" + table(header, rows)


def compact_table(workloads):
    """One line for each workload and peer: what belongs together stays on one screen."""
    rows = []
    for library, *peers in workloads:
        for peer in peers:
            middle, pairs = ratios(library, peer)
            name = library["workload"]
            if library["side_unit"]:
                name += f"; {library['side_unit']}: " + ", ".join(f"{median(s['side']):,.0f}" for s in (library, peer))
            rows.append([name, peer["competitor"], nanoseconds(library, median), nanoseconds(peer, median),
                         f"{middle:.2f}", f"{median(pairs):.2f} ({span(pairs)})"])
    unit, rounds = workloads[0][0]["unit"], len(workloads[0][0]["seconds"])
    header = ["", "peer", f"vorn, ns per {unit}", f"peer, ns per {unit}", "medians", "pairs"]
    return f"{rounds} rounds.\n\n" + table(header, rows)


def throughput_table(workloads):
    """One line for each competitor, one column for each workload."""
    rows = [[competitor[0]["competitor"]] +
            [f"{median(s['operations'] / second for second in s['seconds']):,.0f} ({median(s['side']):,.0f})"
             for s in competitor] for competitor in zip(*workloads)]
    first = workloads[0][0]
    header = [f"{first['unit']}s a second ({first['side_unit']})"] + [series[0]["workload"] for series in workloads]
    return f"{first['operations']:,} {first['unit']}s a round, {len(first['seconds'])} rounds.\n\n" + table(header, rows)


def memory_table(figures):
    names = ["rows", "batch", "batch_by_hand", "read", "read_by_hand"]
    header = ["rows, KiB at the peak"] + [name.replace("_", " ") for name in names[1:]]
    return table(header, [[f"{each[name]:,}" for name in names] for each in figures])


def section(results, place):
    """What stands in the page under a heading: the command and the tables of a group."""
    workloads, figures = results.workloads(place), results.figures(place)
    if not workloads and not figures:
        return "Not measured.\n"
    parts = [f"    {results.command(place)}\n"]
    if figures:
        parts.append(memory_table(figures))
    elif place == "cluster/nodes":
        parts.append(throughput_table(workloads))
    elif len(workloads) > 5:
        parts.append(compact_table(workloads))
    else:
        parts += [detailed_table(workload) for workload in workloads]
    if place == "sqlite/session":
        own, held = (median(series["seconds"]) * 1e9 / series["operations"] for series in workloads[-1])
        parts.append(f"The checkout within a call: {own - held:.0f} ns on this machine (difference of the medians).\n")
    return "\n".join(parts)


def output_of(*command):
    return subprocess.run(command, capture_output=True, text=True, check=True).stdout.splitlines()[0]


def machine(arguments, results):
    def setting(file, pattern):
        return re.search(pattern, pathlib.Path(file).read_text(encoding="utf-8"), re.M).group(1)
    cache = arguments.build / "CMakeCache.txt"
    compiler = output_of(setting(cache, r"^CMAKE_CXX_COMPILER:\w+=(.*)$"), "--version")
    return (f"{setting('/proc/cpuinfo', r'^model name.*: (.*)$')}, {os.cpu_count()} cores, "
            f"{int(setting('/proc/meminfo', r'^MemTotal: +([0-9]+)')) / 1048576:.0f} GiB; Linux {platform.release()}; "
            f"{compiler}, {setting(cache, r'^CMAKE_CXX_FLAGS_RELEASE:[A-Z]+=(.*)$')}; "
            f"SQLite {results.facts('sqlite')['sqlite']}; "
            f"data files on {output_of('findmnt', '-no', 'FSTYPE', '-T', arguments.directory)}; "
            f"load average before the first program {arguments.load}, after the last {os.getloadavg()[0]:.2f}.\n")


def note(results):
    if any(" --quick" in command for command in results.commands):
        return "**A smoke run on small data: the figures mean nothing.**\n"
    if len(results.runs) > 1:
        return f"The range over {len(results.runs)} runs; the tables further down are those of the first.\n"
    return "One run; `scripts/bench --runs 3` shows the range over three.\n"


def listed(facts, form):
    return ", ".join(form.format(name, value) for name, value in facts.items() if name != "sqlite") + ".\n"


def fill_page(text, arguments, results):
    parts = {
        "claims": lambda: claims(results) + "\n" + other_claims(results) + "\n" + note(results),
        "machine": lambda: machine(arguments, results),
        "settings": lambda: listed(results.facts("sqlite"), "{} {}"),
        "server": lambda: listed(results.facts("postgres"), "{}: {}"),
        "mariadb_server": lambda: listed(results.facts("mariadb"), "{}: {}"),
    }

    def fill(match):
        name = match.group(2)
        part = parts[name]() if name in parts else section(results, name)
        return f"{match.group(1)}\n\n{part}\n{match.group(3)}"
    return re.sub(r"(<!-- begin (\S+) -->)\n.*?(<!-- end -->)", fill, text, flags=re.S)


def plot_name(place):
    store, group = place.split("/")
    return (store + "_" if store in ("postgres", "mariadb") else "") + group + ".svg"


def draw_all(directory, results):
    directory.mkdir(parents=True, exist_ok=True)
    for place in BARS:
        if results.workloads(place):
            plots.draw_bars(directory / plot_name(place), results.workloads(place))
    for place, xlabel, ylabel, scale in CURVES:
        panels = plots.throughput_panels(results.workloads(place))
        if panels:
            plots.draw_curves(directory / plot_name(place), panels, xlabel, ylabel, scale)
    if results.figures("sqlite/memory"):
        panels = plots.memory_panels(results.figures("sqlite/memory"))
        plots.draw_curves(directory / "memory.svg", panels, "rows", "KiB at the peak of the call", "linear")


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    for name in ("results", "build", "page", "output"):
        parser.add_argument("--" + name, type=pathlib.Path, required=True)
    parser.add_argument("--directory", required=True, help="where the data files were")
    parser.add_argument("--load", required=True, help="the load average before the measurements")
    arguments = parser.parse_args()
    results = Results(arguments.results)
    draw_all(arguments.output / "plots", results)
    page = fill_page(arguments.page.read_text(encoding="utf-8"), arguments, results)
    (arguments.output / arguments.page.name).write_text(page, encoding="utf-8")


if __name__ == "__main__":
    main()
