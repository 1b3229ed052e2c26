#!/usr/bin/env python3
"""Writes the tables of docs/performance.md and its plots from what measure.py has kept.

usage: report.py RESULTS [--print]

With --print the page and the plots stay as they are; parts that were not measured are left out.
"""

import json
import pathlib
import subprocess
import sys

import link_map
import svg
from samples import Samples, percentile

ROOT = pathlib.Path(__file__).resolve().parent.parent
PAGE = ROOT / "docs/performance.md"
IMAGES = ROOT / "docs/images"
BARE = ("bare A", "bare B")
KIBI = 1024


def us(nanoseconds):
    """In microseconds, with three digits that count."""
    value = nanoseconds / 1000
    return f"{value:,.0f}" if value >= 100 else f"{value:.1f}" if value >= 10 else f"{value:.2f}"


def table(header, rows):
    head, *more = header
    lines = [f"| {' | '.join(header)} |", "|---|" + "---:|" * len(more)]
    return "\n".join(lines + [f"| {' | '.join(map(str, row))} |" for row in rows])


def size_text(size):
    for unit, name in ((KIBI * KIBI, "MiB"), (KIBI, "KiB")):
        if size >= unit:
            return f"{size // unit} {name}"
    return f"{size} B"


class Report:
    def __init__(self, folder, draw):
        self.folder = folder
        self.draw = draw
        self.facts = self.json("conditions")

    def json(self, name):
        return json.loads((self.folder / f"{name}.json").read_text())

    def samples(self, name, without=()):
        lines = (self.folder / f"{name}.tsv").read_text().splitlines()
        return Samples("\n".join(line for line in lines if line.split("\t")[0] not in without))

    def image(self, name, drawn):
        if self.draw:
            (IMAGES / f"{name}.svg").write_text(drawn)

    # --- the regions of the page, and what was measured where

    def setting(self, part):
        """What belongs to every figure."""
        trip = self.samples("round_trip", without=["bytes"]).median(*BARE)
        wine = self.facts["wine"].split(" ")[0].replace("wine-", "Wine ")
        return (f"{wine}, not Windows; {self.facts['processors']} processors, load average "
                f"{self.facts['loads'][part]:.1f} before it; bare round trip {us(trip)} µs, pinned")

    def conditions(self):
        facts = self.facts
        loads = facts["loads"].values()
        text = (f"{facts['wine']} on {facts['system']}; {facts['processors']} processors, {facts['processor']}; "
                f"built with {facts['compiler']}. The machine's load average was {min(loads):.1f} to "
                f"{max(loads):.1f} while this was measured. **Windows itself was not measured.**")
        if facts["quick"]:
            text += " This was a quick run, which takes too few samples to go by."
        return text

    def message_sizes(self, name):
        """What the program has printed first."""
        return (self.folder / f"{name}.tsv").read_text().splitlines()[0].split("\t")[2:]

    def round_trip(self):
        pinned = self.samples("round_trip", without=["bytes"])
        free = self.samples("round_trip_free", without=["bytes"])
        names = {"library": "`ZorIntfGetInfo`", "bare A": "bare: peek, write, read", "bare B": "the same once more",
                 "bare with messages": "bare, with the messages built and verified",
                 "write and read": "write and read, no peek", "transact": "`TransactNamedPipe`",
                 "TCP": "TCP over loopback", "RPC": "remote procedure call (`ncalrpc`)"}
        rows = []
        for name, title in names.items():
            if name not in pinned.names():
                continue
            row = [title]
            for samples in (pinned, free):
                row += [us(samples.percentile(percent, name)) for percent in (5, 50, 95, 99)]
                row.append(f"{samples.ratio(name, *BARE):.3f}")
            rows.append(row)
        request, reply = self.message_sizes("round_trip")
        control = pinned.ratio("bare B", "bare A")
        ratio = pinned.ratio("library", *BARE)
        low, high = pinned.ratio_of_rounds("library", *BARE)
        count = len(pinned.all("library"))
        if abs(control - 1) > 0.01:
            verdict = (f"**Inconclusive:** the bare sequence differs from itself by {abs(control - 1):.1%}, "
                       f"more than 1 %. The call's ratio was {ratio:.3f}.")
        else:
            outcome = "met" if ratio <= 1.02 else "missed"
            verdict = (f"The goal, pinned, is a ratio of at most 1.02: **{outcome}, {ratio:.3f}** ({low:.3f} to "
                       f"{high:.3f} by round). The bare sequence compared with itself: {control:.3f}.")
        header = ["µs", "pinned p5", "p50", "p95", "p99", "ratio", "free p5", "p50", "p95", "p99", "ratio"]
        self.distribution("performance-round-trip", "A round trip, pinned to one processor", pinned)
        self.distribution("performance-round-trip-free", "A round trip, free", free)
        return (f"Request {request} bytes, reply {reply} bytes; {count:,} calls each pinned, "
                f"{len(free.all('library')):,} free. {self.setting('round_trip')}. The ratio is of the "
                f"medians, to the bare sequence.\n\n{table(header, rows)}\n\n{verdict}")

    def distribution(self, name, title, samples):
        request, reply = self.message_sizes("round_trip")
        curves = [(one, [(value / 1000, percent) for percent in range(1, 100)
                         for value in [samples.percentile(percent, one)]])
                  for one in samples.names()]
        low = min(points[0][0] for _, points in curves) * 0.9
        high = max(points[94][0] for _, points in curves) * 1.1
        ticks = [tick * scale for scale in (10, 100, 1000, 10000) for tick in (1, 1.5, 2, 3, 5, 7)]
        x = svg.horizontal(low, high, logarithmic=True, ticks=ticks, text=lambda tick: f"{tick:g}")
        y = svg.vertical(0, 100, ticks=range(0, 101, 20), text=lambda tick: f"{tick} %")
        self.image(
            name, svg.plot(title, f"{request} and {reply} bytes. {self.setting('round_trip')}", x, y, "µs per exchange",
                           "share that took no longer", curves))

    def own_work(self):
        native = {run["run_name"]: run["cpu_time"] for run in self.json("own_work_native")["benchmarks"]
                  if run["aggregate_name"] == "median"}
        wine = self.samples("own_work")
        rows, worst = [], 0
        for name in sorted({name.split("/")[0] for name in native}):
            here = native[f"{name}/library"], native[f"{name}/bare"]
            # A sample is a thousand calls.
            there = [wine.median(f"{name}/{who}") / 1000 for who in ("library", "bare")]
            worst = max(worst, here[0] / here[1], there[0] / there[1])
            rows.append([f"`{name}`", f"{here[0]:.0f}", f"{here[1]:.0f}", f"{here[0] / here[1]:.2f}",
                         f"{there[0]:.0f}", f"{there[1]:.0f}", f"{there[0] / there[1]:.2f}"])
        outcome = "met" if worst <= 1.5 else "missed"
        header = ["ns", "native: library", "bare", "ratio", "Wine: library", "bare", "ratio"]
        return (f"Medians, pinned. {self.setting('own_work')}.\n\n{table(header, rows)}\n\n"
                f"The goal is at most 1.5 times the generated code: **{outcome}, at most {worst:.2f}**.")

    def loading(self):
        samples = self.samples("load")
        rested = self.samples("load_rested")
        sizes = self.json("sizes")
        # Names are paths as Windows has them.
        paths = {name.rsplit("\\", 1)[1].split(".dll")[0]: name.rsplit("/", 1)[0] for name in samples.names()}
        titles = {
            "empty": "an empty C library",
            "strings": "+ strings and exceptions", "streams": "+ file streams",
            "regex": "+ wide regular expressions", "filesystem": "C++ runtime with the file system",
            "thread": "an empty library with a listener thread",
            "ZorInterface": "**`ZorInterface.dll`**", "no_listener": "without its listener",
            "same": "linked again, for comparison with the next ones",
            "alignment_512": "file alignment 512", "all_sections": "no sections dropped",
            "Os": "`-Os`", "lto": "link-time optimisation", "Os_lto": "both"}

        def medians(source, name):
            return [source.median(f"{paths[name]}/{what}") for what in ("load", "unload", "both")]

        empty = medians(samples, "empty")[2]
        rows = []
        for name, title in titles.items():
            load, unload, both = medians(samples, name)
            rows.append([title, f"{sizes[name] / 1000:,.0f}", us(load), us(unload), us(both), f"{both / empty:.2f}"])
        ratios = {name: medians(samples, name)[2] / empty for name in titles}
        outcome = "met" if ratios["ZorInterface"] <= 1.3 else "missed"
        text = [f"Medians, pinned, each beside the others in turn. {self.setting('load')}.", "",
                table(["µs", "kB", "load", "unload", "both", "ratio"], rows), "",
                f"The goal is at most 1.3 times the empty library: **{outcome}, {ratios['ZorInterface']:.2f}**. "
                f"Without the listener it would be {ratios['no_listener']:.2f}; an empty library that only starts "
                f"and joins such a thread is at {ratios['thread']:.2f}.", ""]
        rows = [[titles[name]] + [us(value) for value in medians(rested, name)]
                for name in ("empty", "thread", "ZorInterface")]
        text += ["Unloaded 5 ms after the load, without a server, so that the unload meets the listener's pause of "
                 "1 ms (with a server it is 100 ms, and the unload takes up to that):", "",
                 table(["µs", "load", "unload", "both"], rows)]
        return "\n".join(text)

    def parts(self):
        origins = link_map.by_origin((self.folder / "same.map").read_text())
        whole = sum(origins.values())
        rows = [[origin, f"{size / 1000:,.0f}", f"{size / whole:.0%}"]
                for origin, size in sorted(origins.items(), key=lambda one: -one[1])]
        static = self.samples("static_objects")
        objects = [[name, us(static.median(name))] for name in static.names()]
        return (f"{table(['what is in the file', 'kB', 'share'], rows)}\n\n"
                f"What the static initialisation builds (made and destroyed again, warm):\n\n"
                f"{table(['', 'µs'], objects)}")

    def notifications(self):
        flood = self.samples("flood", without=["bytes"])
        [size] = self.message_sizes("flood")
        titles = {"library": "the library", "bare A": "bare: two peeks and a read", "bare B": "the same once more",
                  "bare with line": "bare, with the line that must be logged"}
        rate = {name: 1e9 / flood.median(name) for name in titles}
        bare = 1e9 / flood.median(*BARE)
        rows = [[title, us(flood.median(name)), f"{rate[name]:,.0f}", f"{rate[name] / bare:.3f}",
                 f"{rate[name] / rate['bare with line']:.3f}"] for name, title in titles.items()]
        outcome = "met" if rate["library"] / bare >= 0.95 else "missed"
        latency = self.samples("latency").all("latency")
        idle = self.json("idle")
        hour = 3600
        idle_rows = [[title, f"{idle[which]['process'] * hour:.1f}", f"{idle[which]['wine_server'] * hour:.1f}"]
                     for which, title in (("with", "with a server that sends nothing"), ("without", "without a server"))]
        return "\n".join([
            f"A flooded pipe, {size} bytes a message, pinned. {self.setting('notifications')}.", "",
            table(["", "µs each", "per second", "to bare", "to bare with the line"], rows), "",
            f"The goal is at least 0.95 of the bare loop: **{outcome}, {rate['library'] / bare:.3f}**; of the bare "
            f"loop that writes the line as well, {rate['library'] / rate['bare with line']:.3f}.", "",
            f"From the sending to the callback, at {len(latency)} random moments of the listener's pause, ms: "
            f"p5 {percentile(latency, 5) / 1e6:.1f}, p50 {percentile(latency, 50) / 1e6:.1f}, "
            f"p95 {percentile(latency, 95) / 1e6:.1f}, most {latency[-1] / 1e6:.1f}.", "",
            "Processor time of a process that has the library loaded and does nothing, and what it makes the Wine "
            "server do:", "",
            table(["seconds per hour", "process", "Wine server"], idle_rows)])

    def enumeration(self):
        samples = self.samples("enumeration")
        extents = []
        for name in samples.names():
            extent = name.split("/")[0]
            if extent not in extents:
                extents.append(extent)
        median = {extent: [samples.median(f"{extent}/{who}") for who in ("library", "bare")] for extent in extents}
        rows = [[extent, us(both[0]), us(both[1]), f"{both[0] / both[1]:.2f}"] for extent, both in median.items()]

        def numbers(extent):
            return [int(part.split()[1]) for part in extent.split(", ")]

        def each(first, last, what):
            count = numbers(last)[what] - numbers(first)[what]
            return [us((median[last][who] - median[first][who]) / count) for who in (0, 1)]

        library = each(extents[0], extents[2], 0)
        row = each(extents[0], extents[3], 1)
        grown = self.samples("table")
        calls = sorted({int(name.split("/")[0]) for name in grown.names()})
        growth = [[f"{count:,}", f"{count * 12:,}", us(grown.median(f"{count}/merge")), us(grown.median(f"{count}/lookup"))]
                  for count in calls]
        return "\n".join([
            f"Selector 2, twelve names from the server, a stand-in for the management service; pinned. "
            f"{self.setting('enumeration')}.", "",
            table(["µs", "library", "bare", "ratio"], rows), "",
            f"A further candidate library costs {library[0]} µs (bare {library[1]}), a further row {row[0]} µs "
            f"(bare {row[1]}).", "",
            "The table of ids grows by the server's list with each such call. Joining with six local names, and a "
            "lookup that finds nothing:", "",
            table(["calls", "rows", "join, µs", "lookup, µs"], growth)])

    def blocks(self):
        samples = self.samples("blocks")
        sizes = sorted({int(name.split("/")[0]) for name in samples.names()})
        memory = {int(line.split("\t")[1]): int(line.split("\t")[2])
                  for line in (self.folder / "memory.tsv").read_text().splitlines()}
        rows = []
        for size in sizes:
            library, bare = (samples.median(f"{size}/{who}") for who in ("library", "bare"))
            peak = f"{memory[size] / size:.2f}" if memory.get(size, 0) >= KIBI * KIBI else ""
            rows.append([size_text(size), us(library), us(bare), f"{library / bare:.2f}", peak])
        ticks = [1, 16, 256, 4 * KIBI, 64 * KIBI, KIBI * KIBI, 16 * KIBI * KIBI]
        curves = [(title, [(size, samples.median(f"{size}/{who}") / 1000) for size in sizes])
                  for who, title in (("library", "library"), ("bare", "bare"))]
        every = [value for _, points in curves for _, value in points]
        x = svg.horizontal(sizes[0], sizes[-1], logarithmic=True, ticks=ticks, text=size_text)
        y = svg.vertical(min(every) * 0.8, max(every) * 1.25, logarithmic=True,
                         ticks=[10 ** power for power in range(7)], text=lambda tick: f"{tick:,}")
        self.image(
            "performance-size", svg.plot("Setting a block, by its size", self.setting("blocks"), x, y, "size of the block",
                                         "µs", curves))
        return (f"`ZorIntfSetSerialized` beside peek, write and read of the same bytes; medians, pinned. "
                f"{self.setting('blocks')}.\n\n"
                + table(["block", "library, µs", "bare, µs", "ratio", "memory, blocks"], rows))


REGIONS = {"conditions": Report.conditions, "round-trip": Report.round_trip, "own-work": Report.own_work,
           "load": Report.loading, "parts": Report.parts, "notifications": Report.notifications,
           "enumeration": Report.enumeration, "blocks": Report.blocks}


def main():
    only_print = "--print" in sys.argv[2:]
    report = Report(pathlib.Path(sys.argv[1]), draw=not only_print)
    for name, write in REGIONS.items():
        try:
            text = write(report)
        except FileNotFoundError:
            if not only_print:
                raise
            continue
        print(text, end="\n\n")
        if not only_print:
            subprocess.run([ROOT / "scripts/fill_region.py", PAGE, name], input=text, text=True, check=True,
                           stdout=subprocess.DEVNULL)


if __name__ == "__main__":
    main()
