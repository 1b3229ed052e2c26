#!/usr/bin/env python3
"""The kit's archive as a user has it: unpacked into a folder, on a machine that has seen nothing of it.

    zip_test.py SOURCE ARCHIVE --starter STARTER

The machine is a new prefix of Wine, which is removed afterwards.
"""

import argparse
import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest
import zipfile

parser = argparse.ArgumentParser()
parser.add_argument("source", type=pathlib.Path)
parser.add_argument("archive", type=pathlib.Path)
parser.add_argument("--starter", required=True)
OPTIONS = parser.parse_args()
sys.path.insert(0, str(OPTIONS.source / "scripts"))
import programs  # noqa: E402  (after the path is known)

LIMIT = 1200


def wine_server():
    debian = pathlib.Path("/usr/lib/wine/wineserver64")
    return str(debian) if debian.exists() else "wineserver"


class Unpacked(unittest.TestCase):
    def setUp(self):
        folder = pathlib.Path(tempfile.mkdtemp(prefix="zor-selftest-"))
        self.addCleanup(shutil.rmtree, folder)
        self.environment = {"WINEPREFIX": str(folder / "prefix")}
        self.home = folder / "unpacked here"
        with zipfile.ZipFile(OPTIONS.archive) as zipped:
            zipped.extractall(self.home)
        everything = {**os.environ, **programs.WINE_ENVIRONMENT, **self.environment}
        self.addCleanup(subprocess.run, [wine_server(), "--kill", "--wait"], env=everything, check=False)
        subprocess.run([*programs.wine(), "wineboot", "--init"], env=everything, check=True,
                       stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

    def test_is_green_and_writes_its_reports(self):
        (folder,) = self.home.iterdir()
        before = {path.name for path in folder.iterdir()}
        running = programs.Program(folder / "zor-selftest.exe", starter=OPTIONS.starter,
                                   output=self.home / "output", environment=self.environment)
        try:
            status = running.wait(LIMIT)
        finally:
            running.kill()
        self.assertEqual(status, 0, running.text())
        report = json.loads((folder / "zor-selftest-report.json").read_text("utf-8"))
        self.assertGreater(report["good"], 60)
        self.assertEqual(report["bad"], 0)
        for check in report["checks"]:
            self.assertEqual(check["seen"], check["wine8"])
        self.assertEqual({path.name for path in folder.iterdir()} - before,
                         {"zor-selftest-report.html", "zor-selftest-report.json"})


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
