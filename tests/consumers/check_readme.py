"""Compiles and links the first C example of the README as it stands.

check_readme.py README LIBRARY COMPILER [FLAG...]
"""

import pathlib
import re
import subprocess
import sys
import tempfile


def main():
    readme, library, *command = sys.argv[1:]
    if not pathlib.Path(readme).exists():
        sys.exit(f"there is no {readme}")
    example = re.search(r"^```c\n(.*?)^```$", pathlib.Path(readme).read_text(), re.M | re.S)
    if example is None:
        sys.exit(f"{readme} has no block that begins with ```c")
    with tempfile.TemporaryDirectory() as folder:
        source = pathlib.Path(folder, "example.c")
        source.write_text(example[1])
        program = pathlib.Path(folder, "example.exe")
        subprocess.run([*command, str(source), "-o", str(program), library], check=True)
    lines = example[1].count("\n")
    print(f"the example of {lines} lines compiles and links")


main()
