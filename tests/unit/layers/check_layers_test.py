#!/usr/bin/env python3
"""Shows that check_layers.py fails where it should, on small trees with one fault each."""

import contextlib
import io
import pathlib
import sys
import tempfile
import unittest
from unittest import mock

import check_layers

GOOD_TREE = {
    "platform/pipe.h": "#include <cstdint>\n",
    "platform/win32/pipe.cpp": '#include "platform/pipe.h"\n#include <windows.h>\n',
    "messages/reply.h": '#include "zor_messages_generated.h"\n',
    "interface/zor_interface.h": "#include <stdbool.h>\n#include <stdint.h>\n",
    "interface/debug_log.h": "",
    "interface/debug_log.cpp": '#include "interface/debug_log.h"\n#include "platform/pipe.h"\n',
    "transport/pipe_channel.h": '#include "platform/pipe.h"\n',
    "transport/rpc_client.h": '#include "transport/pipe_channel.h"\n',
    "transport/remote_call.h": '#include "transport/pipe_channel.h"\n#include "messages/reply.h"\n',
    "calls/control_calls.h": '#include "transport/remote_call.h"\n',
    "notify/event_decoder.h": '#include "interface/zor_interface.h"\n',
    "notify/notify_listener.h": '#include "notify/event_decoder.h"\n',
    "discovery/enumeration.h": "#include <vector>\n",
    "interface/library.h": '#include "discovery/enumeration.h"\n#include "transport/rpc_client.h"\n',
    "interface/exports.cpp": '#include "interface/library.h"\n#include "calls/control_calls.h"\n',
}


class CheckLayers(unittest.TestCase):
    def check(self, changed):
        """The exit status and what is printed, for the good tree with some files changed."""
        with tempfile.TemporaryDirectory() as folder:
            root = pathlib.Path(folder)
            for path, text in {**GOOD_TREE, **changed}.items():
                (root / "src" / path).parent.mkdir(parents=True, exist_ok=True)
                (root / "src" / path).write_text(text, encoding="utf-8")
            printed = io.StringIO()
            with mock.patch.object(sys, "argv", ["check_layers.py", folder]):
                with contextlib.redirect_stdout(printed):
                    return check_layers.main(), printed.getvalue()

    def expect_problem(self, path, text, problem):
        status, printed = self.check({path: text})
        self.assertEqual(status, 1, printed)
        self.assertIn(path, printed)
        self.assertIn(problem, printed)
        self.assertIn("1 problems", printed)

    def test_accepts_the_good_tree(self):
        self.assertEqual(self.check({}), (0, f"{len(GOOD_TREE)} files, 0 problems\n"))

    def test_rejects_an_include_from_a_layer_above(self):
        for path, text in [
            ("platform/pipe.h", '#include "messages/reply.h"\n'),
            ("messages/reply.h", '#include "interface/debug_log.h"\n'),
            ("interface/debug_log.h", '#include "interface/library.h"\n'),
            ("transport/pipe_channel.h", '#include "transport/remote_call.h"\n'),
            ("transport/remote_call.h", '#include "calls/control_calls.h"\n'),
            ("discovery/enumeration.h", '#include "interface/library.h"\n'),
        ]:
            with self.subTest(path=path):
                self.expect_problem(path, text, ", above")

    def test_rejects_an_include_of_a_sibling_folder(self):
        for path, text in [
            ("calls/control_calls.h", '#include "notify/event_decoder.h"\n'),
            ("notify/event_decoder.h", '#include "discovery/enumeration.h"\n'),
            ("discovery/enumeration.h", '  #  include "calls/control_calls.h"\n'),
            ("interface/zor_interface.h", '#include "messages/reply.h"\n'),
            ("messages/reply.h", '#include "interface/zor_interface.h"\n'),
        ]:
            with self.subTest(path=path):
                self.expect_problem(path, text, "another folder on the same layer")

    def test_rejects_a_system_header_above_the_platform(self):
        for header in ["windows.h", "Windows.h", "wbemidl.h", "wrl/client.h", "unistd.h", "stdint.h"]:
            for path in ["platform/pipe.h", "transport/pipe_channel.h", "interface/exports.cpp"]:
                with self.subTest(path=path, header=header):
                    self.expect_problem(path, f"#include <{header}>\n", "is the system's")

    def test_rejects_other_headers_in_the_public_one(self):
        self.expect_problem("interface/zor_interface.h", "#include <windows.h>\n", "is the system's")

    def test_rejects_a_platforms_own_header_outside(self):
        status, printed = self.check({
            "platform/win32/handle.h": "",
            "transport/pipe_channel.h": '#include "platform/win32/handle.h"\n',
        })
        self.assertEqual(status, 1)
        self.assertIn("is one platform's own", printed)

    def test_rejects_an_include_that_is_not_named_from_the_root(self):
        self.expect_problem("transport/rpc_client.h", '#include "pipe_channel.h"\n', "no file of the product")
        self.expect_problem("calls/control_calls.h", '#include "tests/support/pipes.h"\n', "no file of the product")
        self.expect_problem("calls/control_calls.h", '#include "windows.h"\n', "no file of the product")

    def test_rejects_a_file_without_a_layer(self):
        self.expect_problem("transport/cache.h", "", "has no layer")
        self.expect_problem("calls/deep/er.h", "", "has no layer")

    def test_rejects_a_tree_without_files(self):
        with tempfile.TemporaryDirectory() as folder:
            with mock.patch.object(sys, "argv", ["check_layers.py", folder]):
                with contextlib.redirect_stdout(io.StringIO()):
                    self.assertEqual(check_layers.main(), 1)


if __name__ == "__main__":
    unittest.main()
