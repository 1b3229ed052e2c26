#!/usr/bin/env python3
"""Searches the usage model exhaustively with spin, case by case.

Where an application can deadlock, the deadlock must be found: a model without it would be wrong.
"""

import pathlib
import re
import subprocess
import sys
import tempfile

MODEL = pathlib.Path(__file__).resolve().with_name("usage.pml")

# (callback, ending, whether it can deadlock)
CASES = [
    ("NATIVE", "NOTHING", False),
    ("NATIVE", "CLEAR_AND_WAIT", False),
    ("MANAGED", "NOTHING", True),
    ("MANAGED", "CLEAR_AND_WAIT", True),
    ("SHIM", "NOTHING", True),
    ("SHIM", "CLEAR_AND_WAIT", True),
    ("SHIM", "CLOSE_AND_WAIT", False),
    ("LATE_SHIM", "CLOSE_AND_WAIT", True),
]


def run(command, folder):
    done = subprocess.run(command, cwd=folder, stdin=subprocess.DEVNULL, capture_output=True, text=True, check=False)
    if done.returncode != 0:
        raise SystemExit(f"{' '.join(command)} failed:\n{done.stdout}{done.stderr}")
    return done.stdout


def search(callback, ending, folder):
    """What the search says of one case: whether it deadlocks, and how many states there are."""
    run(["spin", "-a", f"-DCALLBACK={callback}", f"-DENDING={ending}", str(MODEL)], folder)
    run(["gcc", "-w", "-DSAFETY", "-o", "pan", "pan.c"], folder)
    # The first search looks at assertions alone (-E), the second for a state that nothing leads out of.
    assertions = run(["./pan", "-E", "-m10000", "-w16"], folder)
    ends = run(["./pan", "-m10000", "-w16"], folder)
    if "max search depth too small" in assertions + ends:
        raise SystemExit(f"{callback}, {ending}: not searched to the end\n{assertions}{ends}")
    if "errors: 0" not in assertions:
        raise SystemExit(f"{callback}, {ending}: the callback runs in a library that is unloaded\n{assertions}")
    states = int(re.search(r"(\d+) states, stored", assertions).group(1))
    return re.search(r"^pan:\d+: invalid end state", ends, re.M) is not None, states


def main():
    total = 0
    wrong = 0
    for callback, ending, expected in CASES:
        with tempfile.TemporaryDirectory() as folder:
            deadlocks, states = search(callback, ending, folder)
        total += states
        verdict = "can deadlock" if deadlocks else "cannot deadlock"
        print(f"{callback}, {ending}: {verdict}, {states} states" + ("" if deadlocks == expected else "  <- WRONG"))
        wrong += deadlocks != expected
    print(f"tally: {total} states of the usage model, in {len(CASES)} cases")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
