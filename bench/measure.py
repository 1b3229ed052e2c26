#!/usr/bin/env python3
"""Runs the benchmark programs and keeps what they print.

usage: measure.py RESULTS [--quick] [--only NAME...]

Under Wine everything is pinned to one processor, the Wine server with it, but where the name says
"free". RESULTS is a folder; report.py makes the page of it.
"""

import argparse
import contextlib
import json
import os
import pathlib
import platform
import re
import shutil
import subprocess
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
BIN = ROOT / "build/windows/bin"
VARIANTS = ["empty", "strings", "streams", "regex", "filesystem", "thread", "ZorInterface", "no_listener", "same",
            "alignment_512", "all_sections", "Os", "lto", "Os_lto"]
MEMORY_SIZES = [1 << 10, 1 << 20, 16 << 20, 64 << 20]
# How long one program may take: far more than it does.
PATIENCE = 300


def wine_tool(name):
    debian = pathlib.Path("/usr/lib/wine", name)
    return str(debian) if debian.exists() else shutil.which(name) or shutil.which(name.removesuffix("64"))


class Wine:
    """Wine, started afresh: pinned to one processor, or free."""

    def __init__(self, processor):
        self.processor = processor

    def __enter__(self):
        self.end()
        # It keeps Wine up; its streams are closed, or Wine's services would hold on to this one's.
        self.anchor = self.start(BIN / "wine_anchor.exe", stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.run("cmd", "/c", "exit")
        return self

    def __exit__(self, *_):
        self.end()
        self.anchor.wait(PATIENCE)

    @staticmethod
    def end():
        subprocess.run([wine_tool("wineserver64"), "--kill", "--wait"], check=False,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

    def start(self, *command, **streams):
        pin = None if self.processor is None else lambda: os.sched_setaffinity(0, {self.processor})
        return subprocess.Popen([wine_tool("wine64"), *map(str, command)], stdin=subprocess.DEVNULL,
                                preexec_fn=pin, text=True, **streams)

    def run(self, *command):
        with contextlib.ExitStack() as stack:
            process = self.start(*command, stdout=subprocess.PIPE)
            stack.callback(process.kill)
            output, _ = process.communicate(timeout=PATIENCE)
        if process.returncode != 0:
            raise SystemExit(f"measure: {command[0]} ended with {process.returncode}")
        return output

    def program(self, name, *arguments):
        return self.run(BIN / f"bench_{name}.exe", *arguments)


def windows_path(path):
    return "Z:" + str(path).replace("/", "\\")


def processor_time(pid):
    """Nanoseconds that the process's threads have run."""
    total = 0
    for task in pathlib.Path(f"/proc/{pid}/task").iterdir():
        total += int((task / "schedstat").read_text().split()[0])
    return total


def wine_server():
    """The process of this prefix's Wine server."""
    prefix = f"WINEPREFIX={os.environ['WINEPREFIX']}".encode()
    for process in pathlib.Path("/proc").iterdir():
        with contextlib.suppress(OSError):
            if process.name.isdigit() and (process / "comm").read_text().startswith("wineserver") \
                    and prefix in (process / "environ").read_bytes().split(b"\0"):
                return int(process.name)
    raise SystemExit("measure: there is no Wine server")


def idle(wine, with_server, seconds):
    """Processor time per second of a process that only has the library loaded, and of Wine's server."""
    process = wine.start(BIN / "bench_notifications.exe", "idle", "--server", int(with_server), stdout=subprocess.PIPE)
    try:
        if process.stdout.readline().strip() != "ready":
            raise SystemExit("measure: the idle process did not start")
        watched = {"process": process.pid, "wine_server": wine_server()}
        before = {name: processor_time(pid) for name, pid in watched.items()}
        begin = time.monotonic_ns()
        time.sleep(seconds)
        elapsed = time.monotonic_ns() - begin
        return {name: (processor_time(pid) - before[name]) / elapsed for name, pid in watched.items()}
    finally:
        process.kill()
        process.wait(PATIENCE)


def conditions():
    def first(pattern, path):
        found = re.search(pattern, pathlib.Path(path).read_text(), re.MULTILINE)
        return found[1] if found else "unknown"

    def line(*command):
        return subprocess.run(command, check=True, capture_output=True, text=True).stdout.splitlines()[0]

    os_name = first(r'^PRETTY_NAME="([^"]*)"', "/etc/os-release")
    return {
        "wine": line(wine_tool("wine64"), "--version"),
        "compiler": line("x86_64-w64-mingw32-g++-posix", "--version"),
        "processor": first(r"^model name\s*: (.*)$", "/proc/cpuinfo"),
        "processors": os.cpu_count(),
        "system": f"{os_name}, Linux {platform.release()}" + (", a virtual machine" if "hypervisor" in
                  pathlib.Path("/proc/cpuinfo").read_text() else ""),
    }


class Session:
    def __init__(self, folder, quick):
        self.folder = folder
        self.quick = quick
        # Not the first, which has most of the interrupts.
        self.pinned = max(os.sched_getaffinity(0))

    def rounds(self, full, quick):
        return ["--rounds", quick if self.quick else full]

    def keep(self, name, text):
        (self.folder / f"{name}.tsv").write_text(text)

    def round_trip(self):
        with Wine(self.pinned) as wine:
            self.keep("round_trip", wine.program("round_trip", *self.rounds(10, 2)))
        with Wine(None) as wine:
            self.keep("round_trip_free", wine.program("round_trip", *self.rounds(5, 1)))

    def own_work(self):
        command = [ROOT / "build/bench/bin/bench_own_work", "--benchmark_format=json",
                   f"--benchmark_min_time={0.01 if self.quick else 0.05}",
                   f"--benchmark_repetitions={3 if self.quick else 9}", "--benchmark_enable_random_interleaving=true",
                   "--benchmark_report_aggregates_only=true"]
        output = subprocess.run(command, check=True, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True,
                                preexec_fn=lambda: os.sched_setaffinity(0, {self.pinned})).stdout
        (self.folder / "own_work_native.json").write_text(output)
        with Wine(self.pinned) as wine:
            self.keep("own_work", wine.program("own_work", *self.rounds(5, 1)))

    def load(self):
        # Copies, all made in the same way: how a file came to be written changes how the system maps
        # it, which is worth tens of microseconds.
        folder = self.folder.resolve() / "libraries"
        shutil.rmtree(folder, ignore_errors=True)
        folder.mkdir()
        for name in VARIANTS:
            shutil.copy((BIN if name == "ZorInterface" else BIN / "variants") / f"{name}.dll", folder)
        libraries = [windows_path(folder / f"{name}.dll") for name in VARIANTS]
        few = [windows_path(folder / f"{name}.dll") for name in ("empty", "thread", "ZorInterface")]
        with Wine(self.pinned) as wine:
            self.keep("load", wine.program("load", *self.rounds(10, 2), *libraries))
            # Without a server the listener's pass takes a millisecond.
            self.keep("load_rested", wine.program("load", "--rest-ms", 5, *self.rounds(2, 1), *few))
            self.keep("static_objects", wine.program("static_objects", *self.rounds(5, 1)))
        shutil.copy(BIN / "variants/same.map", self.folder)
        sizes = {name: (folder / f"{name}.dll").stat().st_size for name in VARIANTS}
        (self.folder / "sizes.json").write_text(json.dumps(sizes))

    def notifications(self):
        with Wine(self.pinned) as wine:
            self.keep("flood", wine.program("notifications", "flood", *self.rounds(8, 1)))
            self.keep("latency", wine.program("notifications", "latency", "--count", 20 if self.quick else 150))
            seconds = 2 if self.quick else 15
            times = {"with": idle(wine, True, seconds), "without": idle(wine, False, seconds)}
        (self.folder / "idle.json").write_text(json.dumps(times))

    def enumeration(self):
        with Wine(self.pinned) as wine:
            self.keep("enumeration", wine.program("enumeration", "machine", *self.rounds(5, 1)))
            self.keep("table", wine.program("enumeration", "table"))

    def blocks(self):
        with Wine(self.pinned) as wine:
            self.keep("blocks", wine.program("blocks", "times", *self.rounds(6, 1)))
            lines = [wine.program("blocks", "memory", "--size", size) for size in MEMORY_SIZES]
        self.keep("memory", "".join(lines))


PARTS = ["round_trip", "own_work", "load", "notifications", "enumeration", "blocks"]


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("results", type=pathlib.Path)
    parser.add_argument("--quick", action="store_true")
    parser.add_argument("--only", nargs="+", choices=PARTS, default=PARTS)
    options = parser.parse_args()

    options.results.mkdir(parents=True, exist_ok=True)
    session = Session(options.results, options.quick)
    facts = options.results / "conditions.json"
    known = json.loads(facts.read_text()) if facts.exists() else {}
    known.update(conditions(), quick=options.quick)
    loads = known.setdefault("loads", {})
    for part in options.only:
        print(f"measuring: {part.replace('_', ' ')}", flush=True)
        # Before: what is measured makes a load of its own.
        loads[part] = os.getloadavg()[0]
        getattr(session, part)()
    facts.write_text(json.dumps(known))


if __name__ == "__main__":
    main()
