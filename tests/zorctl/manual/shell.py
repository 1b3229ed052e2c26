"""Running zorctl and zorsim as a shell does, under an emulator where the machine needs one."""

import os
import pathlib
import signal
import subprocess
import tempfile
import time

PATIENCE = 60

# Where a person would not have the programs.
SHOWN_FOLDER = r"C:\Program Files\Zor"


class Shell:
    """Two programs of one folder, a working folder of its own, and at most one server."""

    def __init__(self, binaries, emulator, prefix):
        self.binaries = pathlib.Path(binaries).resolve()
        self.emulator = [emulator] if emulator else []
        self.environment = dict(os.environ)
        if emulator:
            self.environment.setdefault("WINEPREFIX", str(prefix))
            self.environment.setdefault("WINEDEBUG", "-all")
            self.environment.setdefault(
                "WINEDLLOVERRIDES", "mscoree,mshtml=;winemenubuilder.exe=d;winedbg.exe=d"
            )
        self.temporary = tempfile.TemporaryDirectory(prefix="zorctl-")
        self.folder = pathlib.Path(self.temporary.name) / "work"
        self.folder.mkdir()
        self.server = None
        self.server_arguments = None

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.stop_server()
        self.temporary.cleanup()

    def start(self, name, arguments):
        """Starts a program of the folder; its output goes to a file, in the order of writing."""
        # Not a pipe: the emulator's own services would hold on to it.
        output = tempfile.NamedTemporaryFile(dir=self.temporary.name, delete=False)
        process = subprocess.Popen(
            [*self.emulator, str(self.binaries / f"{name}.exe"), *arguments],
            cwd=self.folder,
            env=self.environment,
            stdin=subprocess.DEVNULL,
            stdout=output,
            stderr=subprocess.STDOUT,
            creationflags=getattr(subprocess, "CREATE_NEW_PROCESS_GROUP", 0),
        )
        output.close()
        process.output = pathlib.Path(output.name)
        return process

    @staticmethod
    def output_of(process):
        return process.output.read_bytes().decode().replace("\r\n", "\n")

    def wait_for(self, process, text):
        """Waits until a running program has written a text."""
        end = time.monotonic() + PATIENCE
        while text not in self.output_of(process):
            if process.poll() is not None or time.monotonic() > end:
                process.kill()
                raise RuntimeError(f"no '{text}' in: {self.output_of(process)}")
            time.sleep(0.02)

    def run(self, name, arguments):
        """Runs a program to its end: its status and its output."""
        process = self.start(name, arguments)
        try:
            status = process.wait(PATIENCE)
        except subprocess.TimeoutExpired:
            process.kill()
            raise
        return status, self.output_of(process)

    def interrupt(self, process):
        """As Ctrl-C does."""
        process.send_signal(signal.SIGINT if os.name != "nt" else signal.CTRL_BREAK_EVENT)

    def serve(self, arguments):
        """Lets a server run with these arguments; one that does already goes on."""
        if self.server_arguments == arguments:
            return
        self.stop_server()
        self.server = self.start("zorsim", arguments)
        self.wait_for(self.server, "zorsim is ready")
        self.server_arguments = arguments

    def stop_server(self):
        if self.server is None:
            return
        self.run("zorsim", ["--stop", "--quiet"])
        self.server.wait(PATIENCE)
        self.server = self.server_arguments = None
