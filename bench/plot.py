#!/usr/bin/python3
"""Plots the throughput of the point-cloud writers against cloud size from the JSON that
`scripts/bench.sh --json FILE` writes: one panel per format, one line per writer (vela and each baseline),
in million cloud points (valid or not) written per second of CPU time, median of the repetitions.

Usage: bench/plot.py results.json docs/point_cloud_writers.png
"""

import json
import re
import sys
from collections import defaultdict

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt  # noqa: E402

# One colour per writer in every panel.
COLOURS = {"vela": "tab:red", "fprintf": "tab:blue", "pcl": "tab:green", "open3d": "tab:orange"}
NAME = re.compile(r"^savePointCloudAs_(?P<format>\w+?)_(?P<width>\d+)x(?P<height>\d+)/(?P<side>\w+)$")


def throughputs(results):
    """{format: {side: [(points, million points per second)]}} from the median of each benchmark."""
    series = defaultdict(lambda: defaultdict(list))
    for run in results["benchmarks"]:
        if run.get("run_type") == "aggregate" and run.get("aggregate_name") != "median":
            continue
        match = NAME.match(run["run_name"])
        if not match or "items_per_second" not in run:
            continue
        points = int(match["width"]) * int(match["height"])
        series[match["format"]][match["side"]].append((points, run["items_per_second"] / 1e6))
    return series


def main(source, target):
    with open(source, encoding="utf-8") as file:
        series = throughputs(json.load(file))
    formats = sorted(series)
    columns = (len(formats) + 1) // 2
    figure, axes = plt.subplots(2, columns, figsize=(3.6 * columns, 6.4), sharey=True, squeeze=False)
    for axis in axes.flat[len(formats):]:
        axis.set_visible(False)
    for axis, name in zip(axes.flat, formats):
        for side, values in sorted(series[name].items()):
            values.sort()
            axis.plot([p / 1e6 for p, _ in values], [t for _, t in values], marker="o", label=side,
                      color=COLOURS.get(side))
        axis.set_title(name.replace("_color", " + colour"))
        axis.set_xlabel("cloud size (million points)")
        axis.set_yscale("log")
        axis.grid(True, which="both", alpha=0.3)
        axis.legend(fontsize="small")
    for row in axes:
        row[0].set_ylabel("million points / CPU second")
    figure.suptitle("ASCII point-cloud writers (median of 3 repetitions)")
    figure.tight_layout()
    figure.savefig(target, dpi=110)


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    main(sys.argv[1], sys.argv[2])
