"""Draws the plots of benchmarks.md. The same results always give the same file."""

from statistics import median

import matplotlib

matplotlib.use("svg")
from matplotlib import pyplot, ticker  # noqa: E402

LIBRARY = "#0b5fa5"
PEERS = ["#d9822b", "#7a7a7a", "#b03a2e", "#3a7d44", "#7b5ea7"]
SHORT = ticker.EngFormatter(sep="")  # 10k, 1M
pyplot.rcParams.update({
    "svg.hashsalt": "benchmarks", "svg.fonttype": "none", "font.family": "sans-serif", "font.size": 10,
    "axes.spines.top": False, "axes.spines.right": False, "axes.grid": True, "axes.axisbelow": True,
    "grid.color": "#dddddd",
})


def save(figure, file):
    figure.tight_layout()
    figure.savefig(file, metadata={"Date": None})
    pyplot.close(figure)


def draw_bars(file, workloads):
    """Horizontal bars for each workload, the library at the top."""
    heights = [len(workload) + 2 for workload in workloads]
    figure, axes = pyplot.subplots(len(workloads), squeeze=False, figsize=(9, 0.36 * sum(heights)),
                                   height_ratios=heights)
    for axis, workload in zip(axes.flat, workloads):
        times = [[second * 1e9 / series["operations"] for second in series["seconds"]] for series in workload]
        middles = [median(values) for values in times]
        spread = [[middle - min(values) for middle, values in zip(middles, times)],
                  [max(values) - middle for middle, values in zip(middles, times)]]
        names = [series["competitor"] for series in workload]
        axis.barh(names, middles, height=0.65, color=[LIBRARY] + ["#b8b8b8"] * (len(names) - 1), xerr=spread,
                  ecolor="#444444")
        for position, (middle, values) in enumerate(zip(middles, times)):
            axis.annotate(f"{middle:,.0f}", (max(values), position), (6, 0), textcoords="offset points", va="center")
        axis.invert_yaxis()
        axis.grid(axis="y", visible=False)
        axis.margins(x=0.12)
        axis.set_title(workload[0]["workload"])
        axis.set_xlabel(f"ns per {workload[0]['unit']} (bars: median; lines: least to greatest round)")
    save(figure, file)


def draw_curves(file, panels, xlabel, ylabel, scale="log"):
    """Curves side by side. `panels`: title -> label -> list of (x, middle, least, greatest)."""
    figure, axes = pyplot.subplots(1, len(panels), sharey=True, squeeze=False, figsize=(4.7 * len(panels), 4.4))
    for axis, (title, curves) in zip(axes.flat, panels.items()):
        for (label, points), color in zip(curves.items(), [LIBRARY] + PEERS):
            x, middle, least, greatest = zip(*points)
            axis.errorbar(x, middle, [[m - l for m, l in zip(middle, least)], [g - m for m, g in zip(middle, greatest)]],
                          label=label, color=color, marker="o", markersize=4, capsize=2)
        axis.set_xscale("log")
        axis.set_xticks(x, [f"{value:,}" if value < 10_000 else SHORT(value) for value in x])
        axis.tick_params(axis="x", labelsize=8 if len(x) > 8 else 10)
        axis.minorticks_off()
        axis.set_yscale(scale)
        axis.yaxis.set_major_formatter(SHORT)
        if scale == "linear":
            axis.set_ylim(bottom=0)
        axis.set_title(title)
        axis.set_xlabel(xlabel)
        ncols = 1 if len(panels) > 1 and max(map(len, curves)) > 25 else 2
        axis.legend(loc="upper center", bbox_to_anchor=(0.5, -0.14), ncols=ncols, frameon=False)
    axes.flat[0].set_ylabel(ylabel)
    save(figure, file)


def throughput_panels(workloads):
    """Operations a second, by the panel, the competitor and the x of each workload."""
    panels = {}
    for workload in workloads:
        for series in workload:
            amounts = [series["operations"] / second for second in series["seconds"]]
            panels.setdefault(series["panel"], {}).setdefault(series["competitor"], []).append(
                (series["x"], median(amounts), min(amounts), max(amounts)))
    return panels


def memory_panels(figures):
    labels = {"batch": "batch, vorn", "batch_by_hand": "batch, by hand", "read": "read, vorn",
              "read_by_hand": "read, by hand"}
    return {"": {label: [(f["rows"], f[name], f[name], f[name]) for f in figures] for name, label in labels.items()}}
