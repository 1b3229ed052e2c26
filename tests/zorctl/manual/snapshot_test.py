#!/usr/bin/env python3
"""A snapshot of a server is a scenario; a zorsim that runs it gives the same snapshot, byte for byte."""

import argparse
import json

from shell import Shell

SCENARIO = {
    "information": [3, 1, 4, 4294967295],
    "lists": {"0": ["left", "right"], "2": ["general", "whisper"], "9": []},
    "parameters": [{"name": "gain", "default": 0.1}, {"name": "mix"}, {"name": "depth"}],
}
WANTED = ["snapshot", "--selector", "2", "--selector", "0", "--selector", "9", "--selector", "5",
          "--instance", "1", "--instance", "2", "--parameter", "gain", "--parameter", "mix"]
MISSING = "zorctl: snapshot: there is no list 5: the server returned 24\n"


def check(condition, what):
    if not condition:
        raise SystemExit(what)


def run(shell, *words):
    status, output = shell.run("zorctl", list(words))
    check(status == 0, f"{words} ended with {status}: {output}")
    return output


def take(shell):
    text = run(shell, *WANTED)
    check(MISSING in text, text)
    return text.replace(MISSING, "")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--binaries", required=True)
    parser.add_argument("--starter")
    options = parser.parse_args()
    with Shell(options.binaries, options.starter) as shell:
        (shell.folder / "original.json").write_text(json.dumps(SCENARIO))
        shell.serve(["--scenario", "original.json"])
        run(shell, "create", "whisper")
        run(shell, "create", "general")
        for words in ["config", "1", "rate"], ["start", "1"], ["set", "1", "gain", "0.25"]:
            run(shell, *words)
        first = take(shell)
        snapshot = json.loads(first)
        check(snapshot["information"] == SCENARIO["information"], first)
        check(snapshot["lists"] == SCENARIO["lists"], first)
        check(snapshot["instances"] == [
            {"handle": 1, "status": 3, "parameters": {"gain": 0.25, "mix": 0.0}},
            {"handle": 2, "status": 1, "parameters": {"gain": 0.1, "mix": 0.0}}], first)
        check(snapshot["installed"] == [], first)

        (shell.folder / "replay.json").write_text(first)
        shell.serve(["--scenario", "replay.json"])
        second = take(shell)
        check(second == first, f"{first}\nagain:\n{second}")
        # What is replayed can be used: the started instance stops, a new one gets another handle.
        run(shell, "stop", "1")
        check(run(shell, "create", "general") == "3\n", "the new instance's handle")

        status, output = shell.run("zorctl", ["snapshot", "--instance", "99"])
        check(status == 20 and "ZorIntfGetStatus returned 18" in output, output)
        status, output = shell.run("zorctl", ["snapshot", "--parameter", "supproted_algo_name"])
        check(status == 2 and "cannot be taken" in output, output)
        shell.stop_server()
        status, output = shell.run("zorctl", ["snapshot"])
        check(status == 12 and "{" not in output, output)


if __name__ == "__main__":
    main()
