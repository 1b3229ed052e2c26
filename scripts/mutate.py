#!/usr/bin/env python3
"""Breaks the product in deliberate ways and shows that the tests notice every one.

usage: scripts/mutate.py [--help] [--check] [OPTION]...

The native tests look at the mistakes in the portable half, the tests under Wine at those in Windows'
half. Works in copies of the tree below build/mutation; the tree itself is not touched. Prints a
verdict for each mistake and a table, and fails when a mistake survives that scripts/mutations.py gives
no reason for, when one is noticed in spite of its reason, or when one no longer applies because the
product has changed: then change its entry in scripts/mutations.py.
"""

import argparse
import concurrent.futures
import contextlib
import dataclasses
import os
import pathlib
import queue
import re
import subprocess
import sys
import threading
import time

sys.path.insert(0, str(pathlib.Path(__file__).parent))
from mutations import MUTATIONS, WINDOWS_MUTATIONS  # noqa: E402
from programs import WINE_ENVIRONMENT, Program, wine  # noqa: E402

ROOT = pathlib.Path(__file__).resolve().parent.parent
WORK = ROOT / "build" / "mutation"
NATIVE, WINDOWS = "native", "windows"
WHERE = {NATIVE: "natively", WINDOWS: "under Wine"}
# A program that says nothing for so many seconds hangs, which notices the mistake. The limit for
# Windows' half is generous: one of its tests loads the library a thousand times.
SILENCE = {NATIVE: 60, WINDOWS: 180}

# The status of a program that could not be started, or that was ended from outside.
NOT_BEGUN = -1

# The programs that look at a folder's, or at a file's, mistakes first. The others look at what those miss.
FIRST = {
    "src/calls/": ["behaviour", "unit_calls", "unit_allocations"],
    "src/discovery/": ["unit_discovery", "zor_version_line_tests"],
    "src/messages/": ["unit_messages", "golden_requests_test"],
    "src/notify/": ["unit_notify", "behaviour"],
    "src/transport/": ["unit_transport", "behaviour", "unit_calls", "unit_allocations"],
    "src/interface/load.cpp": ["zor_fault_tests", "zor_lifecycle_tests"],
    "src/interface/dll_main.cpp": ["zor_fault_tests", "zor_lifecycle_tests"],
    "src/platform/win32/runtime_": ["zor_fault_tests", "hostile_memory"],
    "src/interface/": ["unit_interface", "unit_discovery"],
}
WINDOWS_PROGRAMS = ["zor_system_call_tests", "zor_platform_tests", "zor_fault_tests", "zor_search_process_tests",
                    "zor_discovery_tests", "zor_version_line_tests", "zor_pipe_tests", "zor_lifecycle_tests",
                    "hostile_memory"]

# What the public header promises is checked by compiling.
BY_COMPILING = {NATIVE: ["zor_abi_layout_c99", "zor_abi_layout_cxx20"], WINDOWS: []}


@dataclasses.dataclass(frozen=True)
class Mutation:
    half: str
    area: str
    file: str
    old: str
    new: str
    reason: str = ""  # why no test can notice it


@dataclasses.dataclass(frozen=True)
class Verdict:
    kind: str
    detail: str
    seconds: float

    @property
    def good(self):
        return self.kind in ("noticed", "explained")


def run(command, log, **options):
    return subprocess.run(command, stdin=subprocess.DEVNULL, stdout=log, stderr=log, check=False, **options)


def wait_until_silent(program, silence):
    """The program's exit status; None when it was ended because its output stood still for so long."""
    size, since = -1, time.monotonic()
    while True:
        try:
            return program.wait(0.5)
        except TimeoutError:
            pass
        if os.path.getsize(program.output) != size:
            size, since = os.path.getsize(program.output), time.monotonic()
        elif time.monotonic() - since > silence:
            program.kill()
            return None


class NativeBuild:
    """The native test programs, built from a copy of the tree."""

    half = NATIVE
    # Mistakes may well earn warnings; those are not what is tested here.
    options = ["-DCMAKE_BUILD_TYPE=", "-DCMAKE_CXX_FLAGS=-w", "-DCMAKE_C_FLAGS=-w"]
    suffix = ""
    starter = None
    environment = None

    def __init__(self, tree, number):
        self.tree = tree
        self.folder = WORK / f"{self.half}{number}"
        self.log_path = WORK / f"{self.half}{number}.log"
        self.log = open(self.log_path, "w+", encoding="utf-8", errors="replace")
        self.programs = self.find_programs()

    def find_programs(self):
        """The unit tests, the behaviour suite and the pinned requests."""
        found = re.findall(r"^zor_unit_test\((\w+)", (self.tree / "tests/unit/CMakeLists.txt").read_text(), re.M)
        return [f"unit_{folder}" for folder in found] + ["behaviour", "unit_allocations", "golden_requests_test"]

    def prepare(self):
        done = run(["cmake", "-G", "Ninja", "-S", self.tree, "-B", self.folder, *self.options], self.log)
        if done.returncode != 0:
            raise SystemExit(f"mutate: configuring failed, see {self.log_path}")
        if not self.make(self.programs):
            raise SystemExit(f"mutate: the tests cannot be built, see {self.log_path}")
        for program in self.programs:
            broken = self.test(program)
            if broken:
                raise SystemExit(f"mutate: a test fails without any mistake: {broken}")

    def make(self, targets):
        return run(["ninja", "-C", self.folder, "-j1", *targets], self.log).returncode == 0

    def end(self):
        """After everything."""

    def test(self, program):
        """What the program has to object to; nothing when it passes."""
        status, text = self.start(program)
        if status == 0:
            return None
        if status is None:
            return f"{program}: does not end"
        failed = re.findall(r"\[  FAILED  \] ([\w./]+)", text)
        return f"{program}: {failed[0] if failed else f'ends with {status}'}"

    def start(self, program):
        """Runs a program to its end: its exit status, and what it wrote."""
        running = Program(self.folder / "bin" / f"{program}{self.suffix}", ["--gtest_fail_fast"],
                          starter=self.starter, output=self.folder / f"{program}.txt", cwd=self.folder,
                          environment=self.environment)
        try:
            status = wait_until_silent(running, SILENCE[self.half])
        finally:
            running.kill()
        if status == NOT_BEGUN and "[==========]" not in running.text():
            raise SystemExit(f"mutate: {program} cannot be started")  # which says nothing of the mistake
        return status, running.text()


class WindowsBuild(NativeBuild):
    """The built library and its test programs, each copy's in a Wine prefix of its own."""

    half = WINDOWS
    suffix = ".exe"

    def __init__(self, tree, number):
        super().__init__(tree, number)
        # The build as it is released: the optimizer makes some mistakes worse.
        self.options = [f"-DCMAKE_TOOLCHAIN_FILE={tree}/cmake/toolchain-mingw64-ucrt.cmake",
                        "-DCMAKE_BUILD_TYPE=Release", "-DCMAKE_CXX_FLAGS_RELEASE=-O2 -DNDEBUG -w",
                        "-DCMAKE_C_FLAGS_RELEASE=-O2 -DNDEBUG -w"]
        self.prefix = WORK / f"prefix{number}"
        self.environment = WINE_ENVIRONMENT | {"WINEPREFIX": str(self.prefix)}
        self.starter = self.folder / "bin" / "wine_starter.exe"

    def find_programs(self):
        return WINDOWS_PROGRAMS

    def make(self, targets):
        return super().make([*targets, "wine_anchor", "wine_starter"])

    def prepare(self):
        self.end()
        self.wine([*wine(), "wineboot", "--init"])
        super().prepare()

    def end(self):
        """Ends all that runs in the prefix."""
        if self.prefix.exists():
            server = pathlib.Path("/usr/lib/wine/wineserver64")  # Debian's place for it
            self.wine([server if server.exists() else "wineserver", "--kill", "--wait"])

    def wine(self, command):
        run(command, subprocess.DEVNULL, env=os.environ | self.environment)

    def test(self, program):
        # One idle process keeps Wine up, so that the tests start at once; one that is there is enough.
        with subprocess.Popen([*wine(), self.folder / "bin" / "wine_anchor.exe"], env=os.environ | self.environment,
                              stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL) as anchor:
            try:
                noticed = super().test(program)
            finally:
                anchor.kill()
        if noticed:
            self.end()  # what it has left behind
        return noticed


class Copy:
    """A copy of the tree, with a build for each half that is asked for."""

    def __init__(self, number, halves):
        self.tree = WORK / f"tree{number}"
        self.fill()
        kinds = {NATIVE: NativeBuild, WINDOWS: WindowsBuild}
        self.builds = {half: kinds[half](self.tree, number) for half in halves}

    def fill(self):
        names = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"],
                               cwd=ROOT, check=True, capture_output=True).stdout.split(b"\0")
        for name in filter(None, names):
            source, target = ROOT / os.fsdecode(name), self.tree / os.fsdecode(name)
            if not source.is_file():
                continue
            content = source.read_bytes()
            # What has not changed keeps its time, so that a second campaign builds little.
            if not target.exists() or target.read_bytes() != content:
                target.parent.mkdir(parents=True, exist_ok=True)
                target.write_bytes(content)


def occurrences(mutation, tree):
    """How often the text that a mistake replaces occurs: once, or the entry is stale."""
    path = tree / mutation.file
    return path.read_text(encoding="utf-8").count(mutation.old) if path.exists() else 0


def order(mutation, programs):
    """The programs, those that look first in front."""
    first = next((names for place, names in FIRST.items() if mutation.file.startswith(place)), [])
    first = [name for name in first if name in programs]
    return first + [name for name in programs if name not in first]


def look(build, mutation):
    """What the tests make of a mistake that has been made."""
    for program in order(mutation, build.programs):
        if not build.make([program]):
            return "STALE", f"does not compile, see {build.log_path}"
        noticed = build.test(program)
        if noticed:
            return ("noticed", noticed) if not mutation.reason else ("NOT SO", f"it has a reason, but: {noticed}")
    targets = BY_COMPILING[mutation.half]
    if targets and not build.make(targets):  # though everything else does compile
        return "noticed", f"{targets[0]}: does not compile"
    return ("explained", "by its reason") if mutation.reason else ("SURVIVED", "")


def try_mutation(copy, mutation):
    begin = time.monotonic()
    path = copy.tree / mutation.file
    if occurrences(mutation, copy.tree) != 1:
        return Verdict("STALE", f"the old text occurs {occurrences(mutation, copy.tree)} times", 0)
    original = path.read_text(encoding="utf-8")
    try:
        path.write_text(original.replace(mutation.old, mutation.new), encoding="utf-8")
        kind, detail = look(copy.builds[mutation.half], mutation)
        return Verdict(kind, detail, time.monotonic() - begin)
    finally:
        path.write_text(original, encoding="utf-8")


def campaign(mutations, jobs, programs):
    """The verdict on each mistake, printed as it comes; only of these programs, if any are given."""
    halves = list(dict.fromkeys(mutation.half for mutation in mutations))
    WORK.mkdir(parents=True, exist_ok=True)
    copies = [Copy(number, halves) for number in range(jobs)]
    builds = [build for copy in copies for build in copy.builds.values()]
    for build in builds:
        build.programs = [name for name in build.programs if programs is None or name in programs]
    free = queue.SimpleQueue()
    for copy in copies:
        free.put(copy)
    lock = threading.Lock()

    def work(mutation):
        copy = free.get()
        try:
            verdict = try_mutation(copy, mutation)
        finally:
            free.put(copy)
        with lock:
            change = " ".join(mutation.new.split())[:60] or "(removed)"
            print(f"{verdict.kind:9} {verdict.seconds:5.1f} s  {mutation.area:16} {mutation.file}: {change}"
                  f"  <- {verdict.detail}", file=sys.stderr, flush=True)
        return verdict

    try:
        # A program that is started again is reported, but not in the table.
        with contextlib.redirect_stdout(sys.stderr), concurrent.futures.ThreadPoolExecutor(jobs) as pool:
            for done in [pool.submit(build.prepare) for build in builds]:
                done.result()
            return list(pool.map(work, mutations))
    finally:
        for build in builds:
            build.end()


def rows(mutations, verdicts):
    """The table's rows: what was tried, how often, and how many of those no test noticed."""
    for half, area in dict.fromkeys((mutation.half, mutation.area) for mutation in mutations):
        of_area = [(mutation, verdict) for mutation, verdict in zip(mutations, verdicts)
                   if (mutation.half, mutation.area) == (half, area)]
        for explained, title in ((False, "deliberate mistakes in"), (True, "mistakes that nothing can notice, in")):
            good = [verdict.good for mutation, verdict in of_area if bool(mutation.reason) == explained]
            if good:
                yield f'| {title} "{area}", {WHERE[half]} | {len(good)} | {good.count(False)} |'


def selected(arguments):
    everything = ([Mutation(NATIVE, *entry) for entry in MUTATIONS] +
                  [Mutation(WINDOWS, *entry) for entry in WINDOWS_MUTATIONS])
    unknown = set(arguments.area or ()) - {mutation.area for mutation in everything}
    if unknown:
        raise SystemExit(f"mutate: there is no area {', '.join(unknown)}")
    return [mutation for mutation in everything
            if arguments.half in (None, mutation.half)
            and (not arguments.area or mutation.area in arguments.area)
            and (not arguments.file or any(text in mutation.file for text in arguments.file))]


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n", maxsplit=1)[0])
    parser.add_argument("--half", choices=[NATIVE, WINDOWS], help="only the mistakes of this half")
    parser.add_argument("--area", action="append", help="only the mistakes of this area, and of others so named")
    parser.add_argument("--file", action="append", help="only those in files that have this in their path")
    parser.add_argument("--program", action="append", help="only this test program looks, and others so named")
    parser.add_argument("--jobs", type=int, default=os.environ.get("JOBS") or min(2, os.cpu_count() or 1),
                        help="copies at work; the environment's JOBS, or two")
    parser.add_argument("--check", action="store_true",
                        help="try nothing, only see that every mistake can be made")
    parser.add_argument("--unseen", action="store_true",
                        help="try nothing, only list the mistakes that nothing can notice, with their reasons")
    parser.add_argument("--rows", action="store_true", help="print the rows of the campaign's table, not a table")
    arguments = parser.parse_args()
    mutations = selected(arguments)

    if arguments.unseen:
        for mutation in filter(lambda mutation: mutation.reason, mutations):
            change = " ".join(mutation.new.split()) or "(removed)"
            print(f"- `{pathlib.Path(mutation.file).name}`, `{' '.join(mutation.old.split())}` becomes `{change}`:\n"
                  f"  {mutation.reason}")
        return 0
    if arguments.check:
        stale = [mutation for mutation in mutations if occurrences(mutation, ROOT) != 1]
        for mutation in stale:
            print(f"STALE  {mutation.area}  {mutation.file}: {mutation.old!r}")
        print(f"mutations: {len(mutations)}, of which {len(stale)} no longer apply")
        return 1 if stale else 0

    verdicts = campaign(mutations, arguments.jobs, arguments.program)
    if not arguments.rows:
        print("\n| what was tried | how often | failures |\n|---|---:|---:|")
    print("\n".join(rows(mutations, verdicts)))
    if not arguments.rows:
        kinds = [verdict.kind for verdict in verdicts]
        print(f"\nmutations: {len(kinds)} tried, {kinds.count('noticed')} noticed, {kinds.count('explained')} explained")
    return 0 if all(verdict.good for verdict in verdicts) else 1


if __name__ == "__main__":
    sys.exit(main())
