#!/usr/bin/env python3
"""Starts programs: the machine's own, and Windows programs under Wine.

    programs.py [--starter STARTER] PROGRAM [ARGUMENT...]

runs one to its end, with this process's streams, and ends with 0 when its status is 0.

Under Wine a program is started by another one, the starter (tests/integration/wine_starter.cpp). It
reports to a file that it runs, and then the program's status: all 32 bits, where Wine itself hands on the
lowest 8. When nothing has been reported, nothing of the program has run, and it is started again; each
time is told in a line that begins with AGAIN. A status that was reported is never tried a second time.
"""

import argparse
import functools
import itertools
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
STARTS = 5
AGAIN = "start: again, since nothing of it has run:"

# Quiet and without windows; the last override keeps a crash from being swallowed by Wine's debugger.
WINE_ENVIRONMENT = {
    "WINEPREFIX": str(ROOT / "build" / "wine-prefix"),
    "WINEDEBUG": "-all",
    "WINEDLLOVERRIDES": "mscoree,mshtml=;winemenubuilder.exe=d;winedbg.exe=d",
}

# In the environment of what is started, and of all that those processes start: it tells them from others.
MARK = "ZOR_STARTED_AS"
numbers = itertools.count()


@functools.cache
def wine():
    """The command that runs a Windows program.

    Debian keeps the real binary in its own folder; the wrapper on the path asks for the 32-bit half.

    Wine 8 needs the page at 0x7FFE0000. Linux 5.18 and later put the heap of the process, which Wine has begun
    by then, anywhere in the gigabyte around it: one start in some thousand finds the page taken, and ends with
    status 1 before the program. Without random addresses none does. A container may forbid to do without."""
    debian = pathlib.Path("/usr/lib/wine/wine64")
    found = str(debian) if debian.exists() else shutil.which("wine64") or shutil.which("wine")
    if not found:
        sys.exit("programs: Wine was not found")
    fixed = ["setarch", "--addr-no-randomize"]
    if subprocess.run([*fixed, "true"], stdin=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=False).returncode:
        return [found]
    return [*fixed, found]


def windows_path(path):
    return "Z:" + str(pathlib.Path(path).resolve()).replace("/", "\\")


class Program:
    """A program that was started; under Wine when there is a starter for it."""

    def __init__(self, program, arguments=(), *, starter=None, output=None, cwd=None, environment=None):
        """The output goes to the file `output`, in the order of writing, or to where this process's goes.

        Not to a pipe: Wine's own services would hold on to it."""
        self.name = pathlib.Path(program).name
        self.starter = starter
        self.output = output
        self.cwd = cwd
        self.mark = f"{os.getpid()}-{next(numbers)}"
        self.environment = {**os.environ, **(environment or {}), MARK: self.mark}
        self.command = [str(program), *map(str, arguments)]
        self.report = None
        if starter is not None:
            self.environment = {**WINE_ENVIRONMENT, **self.environment}
            self.command = [*wine(), str(starter), windows_path(program), *self.command[1:]]
            handle, self.report = tempfile.mkstemp(prefix="zor-start-")
            os.close(handle)
            self.environment["ZOR_START_REPORT"] = windows_path(self.report)
        self.status = None
        self.starts = 0
        self._start()

    def _start(self):
        self.starts += 1
        # What has not run has written nothing, so that the file can be begun anew.
        with open(self.output, "wb") if self.output else open(os.devnull, "wb") as file:
            self.process = subprocess.Popen(
                self.command, cwd=self.cwd, env=self.environment, stdin=subprocess.DEVNULL,
                stdout=file if self.output else None, stderr=subprocess.STDOUT if self.output else None,
                creationflags=getattr(subprocess, "CREATE_NEW_PROCESS_GROUP", 0))

    def poll(self):
        """The program's status when it has ended, None while it runs."""
        if self.status is None and self.process.poll() is not None:
            self._ended()
        return self.status

    def _ended(self):
        if self.report is None:
            self.status = self.process.returncode
            return
        lines = pathlib.Path(self.report).read_text(encoding="ascii").splitlines()
        for line in lines:
            if line.startswith(AGAIN):
                print(line, flush=True)
        if not lines and self.starts < STARTS:
            print(f"{AGAIN} {self.name}, Wine ended with {self.process.returncode}", flush=True)
            self._start()
            return
        os.unlink(self.report)
        last = lines[-1].split() if lines else ["nothing"]
        if last[0] == "status":
            self.status = int(last[1])
        else:  # not started, or ended together with the starter
            print(f"start: failed: {self.name}, the starter reports: {' '.join(last)}", flush=True)
            self.status = -1

    def wait(self, seconds):
        """Waits for the end: the status. Raises TimeoutError after so many seconds."""
        end = time.monotonic() + seconds
        while self.poll() is None:
            left = end - time.monotonic()
            if left <= 0:
                raise TimeoutError(f"{self.name} does not end within {seconds} s")
            try:
                self.process.wait(left)
            except subprocess.TimeoutExpired:
                pass
        return self.status

    def text(self):
        """What it has written so far."""
        return pathlib.Path(self.output).read_bytes().decode(errors="replace").replace("\r\n", "\n")

    def wait_for_text(self, text, seconds):
        """Waits until it has written a text."""
        end = time.monotonic() + seconds
        while text not in self.text():
            if self.poll() is not None or time.monotonic() > end:
                self.kill()
                raise RuntimeError(f"no '{text}' in: {self.text()}")
            time.sleep(0.02)

    def processes(self):
        """The numbers of its processes, of those that they have started, and of the starter."""
        found = []
        mark = f"{MARK}={self.mark}".encode()
        for entry in pathlib.Path("/proc").glob("[0-9]*"):
            try:
                if mark in (entry / "environ").read_bytes().split(b"\0"):
                    found.append(int(entry.name))
            except OSError:
                pass  # has ended meanwhile, or is somebody else's
        return found

    def interrupt(self):
        """As Ctrl-C does."""
        if os.name == "nt":
            self.process.send_signal(signal.CTRL_BREAK_EVENT)
        elif self.starter is None:
            self.process.send_signal(signal.SIGINT)
        else:
            os.kill(min(set(self.processes()) - {self.process.pid}), signal.SIGINT)

    def kill(self):
        """Ends it, and all that it has started."""
        if os.name == "nt":
            self.process.kill()
        else:
            while processes := self.processes():
                for process in processes:
                    try:
                        os.kill(process, signal.SIGKILL)
                    except ProcessLookupError:
                        pass
                self.process.poll()
        self.process.wait()
        if self.status is None:
            self.status = -signal.SIGTERM
        if self.report:
            pathlib.Path(self.report).unlink(missing_ok=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--starter")
    parser.add_argument("command", nargs=argparse.REMAINDER)
    options = parser.parse_args()
    program = Program(options.command[0], options.command[1:], starter=options.starter)
    try:
        while program.poll() is None:
            program.process.wait()
    except BaseException:
        program.kill()
        raise
    sys.exit(0 if program.status == 0 else 1)


if __name__ == "__main__":
    main()
