#!/usr/bin/env python3
"""Runs commands in a freshly unpacked package, against the simulated server.

The commands are a block of the manual, the code between a line "```sh NAME" and a line "```", or
given by the caller. They find the package as its user would: in a folder of another name, with a
blank in it. What they print must contain the expected text for each time that they run a program.
"""

import argparse
import contextlib
import os
import pathlib
import re
import shutil
import subprocess
import sys
import zipfile

PROGRAMS = pathlib.Path(__file__).resolve().parents[2] / "scripts" / "programs.py"
sys.path.insert(0, str(PROGRAMS.parent))
from programs import Program

PATIENCE = 300  # seconds, for a step that takes far less


def block(manual, name):
    found = re.findall(rf"^```{re.escape(name)}\n(.*?)^```$", manual, re.MULTILINE | re.DOTALL)
    if len(found) != 1:
        raise SystemExit(f"the manual has {len(found)} blocks that begin with {name}")
    return found[0]


def unpack(package, folder):
    """Unpacks as a user would; yields the package's folder under a new name."""
    shutil.rmtree(folder, ignore_errors=True)
    with zipfile.ZipFile(package) as zipped:
        zipped.extractall(folder)
        (top,) = {name.split("/")[0] for name in zipped.namelist()}
    return (folder / top).rename(folder / "the package")


@contextlib.contextmanager
def simulated_server(starter, program, output):
    """Runs it until the end of the block, once it has said that it is ready."""
    server = Program(program, starter=starter, output=output)
    try:
        server.wait_for_text("ready", PATIENCE)
        yield
        if Program(program, ["--stop"], starter=starter).wait(PATIENCE) != 0:
            raise SystemExit("zorsim cannot be stopped")
        server.wait(PATIENCE)
    finally:
        server.kill()


def run(commands, folder, starter):
    """Runs the commands in the folder, with `wine` on the path; returns what they printed."""
    shims = folder / ".bin"
    shims.mkdir()
    (shims / "wine").write_text(
        f'#!/bin/sh\nexec "{sys.executable}" -B "{PROGRAMS}" --starter "{starter}" "$@"\n')
    (shims / "wine").chmod(0o755)
    environment = {**os.environ, "PATH": f"{shims}:{os.environ['PATH']}"}
    done = subprocess.run(["bash", "-euo", "pipefail", "-c", commands], cwd=folder, env=environment,
                          stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, check=False)
    sys.stdout.write(done.stdout)
    if done.returncode != 0:
        raise SystemExit(f"the commands ended with status {done.returncode}")
    return done.stdout


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--manual", type=pathlib.Path, help="where the block is")
    what = parser.add_mutually_exclusive_group(required=True)
    what.add_argument("--block")
    what.add_argument("--commands")
    parser.add_argument("--program", help="save the manual's one C program under this name first")
    parser.add_argument("--expect", default="session: complete", help="what each program prints")
    parser.add_argument("--package", type=pathlib.Path, required=True)
    parser.add_argument("--folder", type=pathlib.Path, required=True, help="where to unpack")
    parser.add_argument("--starter", type=pathlib.Path, required=True)
    arguments = parser.parse_args()

    commands = arguments.commands or block(arguments.manual.read_text(), f"sh {arguments.block}")
    folder = unpack(arguments.package, arguments.folder)
    if arguments.program:
        (folder / arguments.program).write_text(block(arguments.manual.read_text(), "c"))
    programs = len(re.findall(r"^wine ", commands, re.MULTILINE))
    if programs == 0:
        run(commands, folder, arguments.starter)
        return
    with simulated_server(arguments.starter, folder / "bin" / "zorsim.exe", folder / ".server"):
        output = run(commands, folder, arguments.starter)
    if output.count(arguments.expect) != programs:
        raise SystemExit(f'not every program says "{arguments.expect}"')


if __name__ == "__main__":
    main()
