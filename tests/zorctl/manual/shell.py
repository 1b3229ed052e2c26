"""Running zorctl and zorsim as a shell does, under Wine where there is a starter for it."""

import pathlib
import sys
import tempfile

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[3] / "scripts"))
from programs import Program

PATIENCE = 300

# Where a person would not have the programs.
SHOWN_FOLDER = r"C:\Program Files\Zor"


class Shell:
    """Two programs of one folder, a working folder of its own, and at most one server."""

    def __init__(self, binaries, starter):
        self.binaries = pathlib.Path(binaries).resolve()
        self.starter = starter
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
        output = tempfile.NamedTemporaryFile(dir=self.temporary.name, delete=False)
        output.close()
        return Program(self.binaries / f"{name}.exe", arguments, starter=self.starter, output=output.name,
                       cwd=self.folder)

    def run(self, name, arguments):
        """Runs a program to its end: its status and its output."""
        program = self.start(name, arguments)
        try:
            status = program.wait(PATIENCE)
        except TimeoutError:
            program.kill()
            raise
        return status, program.text()

    def serve(self, arguments):
        """Lets a server run with these arguments; one that does already goes on."""
        if self.server_arguments == arguments:
            return
        self.stop_server()
        # The page shows handles, which otherwise begin elsewhere in each run.
        self.server = self.start("zorsim", [*arguments, "--first-handle", "1"])
        self.server.wait_for_text("zorsim is ready", PATIENCE)
        self.server_arguments = arguments

    def stop_server(self):
        if self.server is None:
            return
        self.run("zorsim", ["--stop", "--quiet"])
        self.server.wait(PATIENCE)
        self.server = self.server_arguments = None
