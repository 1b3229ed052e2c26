#!/usr/bin/env python3
"""Breaks the product in deliberate ways and shows that the native tests notice every one.

usage: scripts/mutate.py [--check] [--area AREA]... [--jobs N]

Works in copies of the tree below build/mutation; the tree itself is not touched. Prints a table,
and fails when a mistake survives, or no longer applies because the product has changed: then
mend its entry in scripts/mutations.py.
"""

import argparse
import collections
import concurrent.futures
import os
import pathlib
import queue
import re
import subprocess
import sys
import threading
import time

sys.path.insert(0, str(pathlib.Path(__file__).parent))
from mutations import MUTATIONS  # noqa: E402

ROOT = pathlib.Path(__file__).resolve().parent.parent
WORK = ROOT / "build" / "mutation"
TIME_LIMIT = 60  # of one test program, in seconds; a mistake that makes it hang is noticed, too

# The programs that look at a folder's mistakes first. Those that are left look at what they miss.
FIRST = {
    "calls": ["unit_calls", "unit_allocations"],
    "discovery": ["unit_discovery"],
    "interface": ["unit_interface", "unit_discovery"],
    "messages": ["unit_messages", "golden_requests_test"],
    "notify": ["unit_notify"],
    "transport": ["unit_transport", "unit_calls", "unit_allocations"],
}

# What the public header promises is checked by compiling.
BY_COMPILING = ["zor_abi_layout_c99", "zor_abi_layout_cxx20"]

Mutation = collections.namedtuple("Mutation", "area file old new")
Verdict = collections.namedtuple("Verdict", "kind detail seconds")


def run(command, log, **options):
    return subprocess.run(command, stdin=subprocess.DEVNULL, stdout=log, stderr=log, check=False, **options)


class Copy:
    """A copy of the tree with its own build."""

    def __init__(self, number):
        self.tree = WORK / f"tree{number}"
        self.build = WORK / f"build{number}"
        self.log_path = WORK / f"log{number}.txt"
        self.log = open(self.log_path, "w+", encoding="utf-8", errors="replace")

    def prepare(self):
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
        # Mistakes may well earn warnings; those are not what is tested here.
        done = run(["cmake", "-G", "Ninja", "-S", self.tree, "-B", self.build, "-DCMAKE_BUILD_TYPE=",
                    "-DCMAKE_CXX_FLAGS=-w", "-DCMAKE_C_FLAGS=-w"], self.log)
        if done.returncode != 0:
            raise SystemExit(f"mutate: configuring failed, see {self.log_path}")

    def make(self, targets):
        return run(["ninja", "-C", self.build, "-j1", *targets], self.log).returncode == 0

    def test(self, program):
        """What the program has to object to; nothing when it passes."""
        with open(self.build / f"{program}.txt", "w+", encoding="utf-8", errors="replace") as output:
            try:
                status = run([self.build / "bin" / program, "--gtest_fail_fast", "--gtest_brief=1"],
                             output, timeout=TIME_LIMIT, cwd=self.build).returncode
            except subprocess.TimeoutExpired:
                return f"{program}: does not end"
            if status == 0:
                return None
            output.seek(0)
            failed = re.findall(r"\[  FAILED  \] ([\w./]+)", output.read())
            return f"{program}: {failed[0] if failed else f'ends with {status}'}"


def programs(tree):
    """The test programs: the unit tests and the pinned requests."""
    found = re.findall(r"^zor_unit_test\((\w+)", (tree / "tests/unit/CMakeLists.txt").read_text(), re.M)
    return [f"unit_{folder}" for folder in found] + ["unit_allocations", "golden_requests_test"]


def occurrences(mutation, tree):
    """How often the text that a mistake replaces occurs: once, or the entry is stale."""
    return (tree / mutation.file).read_text(encoding="utf-8").count(mutation.old)


def try_mutation(copy, mutation, everything):
    begin = time.monotonic()

    def verdict(kind, detail):
        return Verdict(kind, detail, time.monotonic() - begin)

    path = copy.tree / mutation.file
    original = path.read_text(encoding="utf-8")
    if occurrences(mutation, copy.tree) != 1:
        return verdict("STALE", f"the old text occurs {occurrences(mutation, copy.tree)} times")
    try:
        path.write_text(original.replace(mutation.old, mutation.new), encoding="utf-8")
        first = [name for name in FIRST[mutation.file.split("/")[0]] if name in everything]
        for program in first + [name for name in everything if name not in first]:
            if not copy.make([program]):
                return verdict("STALE", f"does not compile, see {copy.log_path}")
            noticed = copy.test(program)
            if noticed:
                return verdict("noticed", noticed)
        if not copy.make(BY_COMPILING):  # though everything else does compile
            return verdict("noticed", f"{BY_COMPILING[0]}: does not compile")
        return verdict("SURVIVED", "")
    finally:
        path.write_text(original, encoding="utf-8")


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n", maxsplit=1)[0])
    parser.add_argument("--area", action="append", help="only the mistakes of this area, and of others so named")
    parser.add_argument("--jobs", type=int, default=os.environ.get("JOBS") or min(2, os.cpu_count() or 1),
                        help="copies at work; the environment's JOBS, or two")
    parser.add_argument("--check", action="store_true",
                        help="try nothing, only see that every mistake can be made")
    arguments = parser.parse_args()
    mutations = [Mutation(*entry) for entry in MUTATIONS
                 if arguments.area is None or entry[0] in arguments.area]
    unknown = set(arguments.area or ()) - {mutation.area for mutation in mutations}
    if unknown:
        raise SystemExit(f"mutate: there is no area {', '.join(unknown)}")

    if arguments.check:
        stale = [mutation for mutation in mutations if occurrences(mutation, ROOT) != 1]
        for mutation in stale:
            print(f"STALE  {mutation.area}  {mutation.file}: {mutation.old!r}")
        print(f"mutations: {len(mutations)}, of which {len(stale)} no longer apply")
        return 1 if stale else 0

    WORK.mkdir(parents=True, exist_ok=True)
    everything = programs(ROOT)
    copies = [Copy(number) for number in range(arguments.jobs)]
    for copy in copies:
        copy.prepare()

    free = queue.SimpleQueue()

    def build(copy):
        if not copy.make(everything):
            raise SystemExit(f"mutate: the tests cannot be built, see {copy.log_path}")
        for program in everything:
            broken = copy.test(program)
            if broken:
                raise SystemExit(f"mutate: a test fails without any mistake: {broken}")
        free.put(copy)

    lock = threading.Lock()

    def work(mutation):
        copy = free.get()
        try:
            verdict = try_mutation(copy, mutation, everything)
        finally:
            free.put(copy)
        with lock:
            change = " ".join(mutation.new.split())[:60] or "(removed)"
            print(f"{verdict.kind:9} {verdict.seconds:5.1f} s  {mutation.area:16} {mutation.file}: {change}"
                  f"  <- {verdict.detail}", flush=True)
        return verdict

    with concurrent.futures.ThreadPoolExecutor(arguments.jobs) as pool:
        for done in [pool.submit(build, copy) for copy in copies]:
            done.result()
        verdicts = list(pool.map(work, mutations))

    print()
    print(f"{'area':18}{'tried':>7}{'noticed':>9}")
    for area in dict.fromkeys(mutation.area for mutation in mutations):
        kinds = [verdict.kind for mutation, verdict in zip(mutations, verdicts) if mutation.area == area]
        print(f"{area:18}{len(kinds):7}{kinds.count('noticed'):9}")
    noticed = sum(verdict.kind == "noticed" for verdict in verdicts)
    print(f"\nmutations: {len(verdicts)} tried, {noticed} noticed")
    return 0 if noticed == len(verdicts) else 1


if __name__ == "__main__":
    sys.exit(main())
