#!/usr/bin/env python3
"""Takes the first example in a language out of a page: extract_example.py PAGE LANGUAGE FILE."""

import pathlib
import re
import sys

page, language, file = sys.argv[1:]
example = re.search(rf"^```{language}\n(.*?)^```$", pathlib.Path(page).read_text(),
                    re.DOTALL | re.MULTILINE)
if example is None:
    sys.exit(f"{page} has no example in {language}")
pathlib.Path(file).write_text(example.group(1))
