#!/usr/bin/env python3
"""Takes every pinned message apart and puts it together again, and some that are none."""

import pathlib
import struct
import sys
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "docs" / "manual"))
import message_layout

TYPES = message_layout.read_schema((ROOT / "src/messages/zor_messages.fbs").read_text())
PINNED = sorted((ROOT / "tests/golden/requests").glob("*.hex"))
SHOWN = sorted((ROOT / "docs/diagrams").glob("*.hex"))


class MessageLayout(unittest.TestCase):
    def read(self, path):
        return bytes.fromhex(path.read_text())

    def test_gives_each_byte_of_each_message_one_meaning(self):
        self.assertGreater(len(PINNED), 20)
        for path in PINNED + SHOWN:
            with self.subTest(path=path.name):
                data = self.read(path)
                at = 0
                for region in message_layout.lay_out(TYPES, data):
                    self.assertEqual(region.start, at)
                    self.assertGreater(region.end, at)
                    if region.meaning == "padding":
                        self.assertEqual(data[at : region.end].strip(b"\0"), b"")
                    at = region.end
                self.assertEqual(at, len(data))

    def test_finds_the_fields_of_a_request(self):
        regions = message_layout.lay_out(TYPES, self.read(ROOT / "tests/golden/requests/get.hex"))
        meanings = [region.meaning for region in regions]
        for meaning in ['"ZorIntfGet"', '"gain"', "value = 1", "handle = 5", "status = 7"]:
            self.assertIn(meaning, meanings)

    def test_finds_the_member_of_a_union(self):
        regions = message_layout.lay_out(TYPES, self.read(ROOT / "docs/diagrams/notification.hex"))
        meanings = [region.meaning for region in regions]
        self.assertIn("payload_type = 6: WordTextPayload", meanings)
        self.assertIn('"started"', meanings)

    def test_rejects_bytes_that_are_no_message(self):
        data = self.read(ROOT / "tests/golden/requests/get.hex")
        with self.assertRaises(struct.error):
            message_layout.lay_out(TYPES, data[:40])
        with self.assertRaisesRegex(ValueError, "two meanings"):
            # In the vtable, status at the place of handle.
            message_layout.lay_out(TYPES, data[:22] + data[26:28] + data[24:])


if __name__ == "__main__":
    unittest.main()
