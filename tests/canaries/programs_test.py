#!/usr/bin/env python3
"""Shows that programs.py starts again what has not run, and nothing else: with a script in Wine's place."""

import contextlib
import io
import pathlib
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "scripts"))
import programs

SCRIPT = """
echo start >>"$0.starts"
if [ "$(wc -l <"$0.starts")" -le {silent} ]; then exit 1; fi
report=$(printf %s "$ZOR_START_REPORT" | sed 's/^Z://; s/\\\\/\\//g')
printf '{reports}' >>"$report"
echo written
exit {status}
"""


class Starts(unittest.TestCase):
    def run_with(self, reports, silent=0, status=0):
        """The status, the number of starts, and what was told."""
        told = io.StringIO()
        with tempfile.TemporaryDirectory() as folder:
            script = pathlib.Path(folder, "wine")
            script.write_text(SCRIPT.format(reports=reports, silent=silent, status=status))
            programs.wine = lambda: ["sh", str(script)]
            with contextlib.redirect_stdout(told):
                program = programs.Program("program.exe", starter="starter.exe", output=pathlib.Path(folder, "output"))
                status = program.wait(60)
            self.assertIn("written" if silent < programs.STARTS else "", program.text())
        return status, program.starts, told.getvalue().count(programs.AGAIN)

    def test_a_status_is_handed_on_whole(self):
        self.assertEqual(self.run_with("running\\nstatus 3221225477\\n", status=5), (0xC0000005, 1, 0))

    def test_what_has_not_run_is_started_again_and_told(self):
        self.assertEqual(self.run_with("running\\nstatus 0\\n", silent=2), (0, 3, 2))

    def test_what_never_runs_fails(self):
        status, starts, _ = self.run_with("", silent=1000)
        self.assertNotEqual(status, 0)
        self.assertEqual(starts, programs.STARTS)

    def test_a_failure_is_not_tried_again(self):
        self.assertEqual(self.run_with("running\\nstatus 1\\n", status=1), (1, 1, 0))

    def test_an_end_without_a_status_fails_and_is_not_tried_again(self):
        self.assertEqual(self.run_with("running\\n"), (-1, 1, 0))
        self.assertEqual(self.run_with("running\\nerror 2\\n", status=1), (-1, 1, 0))

    def test_what_the_starter_has_tried_again_is_told(self):
        line = programs.AGAIN + " x"
        self.assertEqual(self.run_with(f"running\\n{line}\\nstatus 0\\n"), (0, 1, 1))


class Ends(unittest.TestCase):
    def test_what_a_program_has_started_ends_with_it(self):
        with tempfile.TemporaryDirectory() as folder:
            program = programs.Program("sh", ["-c", "(sleep 1000 &) & sleep 1000 & echo up; wait"],
                                       output=pathlib.Path(folder, "output"))
            program.wait_for_text("up", 60)
            program.kill()
            self.assertEqual(program.processes(), [])


if __name__ == "__main__":
    unittest.main()
