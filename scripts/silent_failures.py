#!/usr/bin/env python3
"""Names the failed tests of a JUnit report that printed nothing at all, each as a pattern for ctest.

    silent_failures.py REPORT
"""

import re
import sys
import xml.etree.ElementTree as xml

for test in xml.parse(sys.argv[1]).iter("testcase"):
    if test.get("status") == "fail" and not (test.findtext("system-out") or "").strip():
        print(f"^{re.escape(test.get('name'))}$")
