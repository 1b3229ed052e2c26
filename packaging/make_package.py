#!/usr/bin/env python3
"""Makes the package, its symbols and the kit for machines of users from a Windows build.

    make_package.py --build BUILD --output FOLDER

writes NAME-VERSION-win64.zip, NAME-VERSION-win64-symbols.zip, zor-selftest-VERSION-windows-x64.zip and
SHA256SUMS. The same build and the
same time give the same bytes; the time is SOURCE_DATE_EPOCH, or else that of the commit.
"""

import argparse
import json
import os
import pathlib
import subprocess
import tempfile

import archive
import bill_of_materials
import manual

EARLIEST = 315532800  # 1980, where the time stamps of a zip file begin


def source_date(source):
    """The time that everything in the package carries."""
    if "SOURCE_DATE_EPOCH" in os.environ:
        return max(int(os.environ["SOURCE_DATE_EPOCH"]), EARLIEST)
    git = subprocess.run(["git", "-C", source, "log", "-1", "--format=%ct"],
                         capture_output=True, text=True, check=False)
    return int(git.stdout) if git.returncode == 0 and git.stdout else EARLIEST


def install(cmake, build, component, folder):
    subprocess.run([cmake, "--install", build, "--component", component, "--prefix", folder],
                   check=True, stdout=subprocess.DEVNULL)


def make(build, output):
    description = json.loads((build / "packaging" / "package.json").read_text())
    title = f"{description['name']}-{description['version']}-win64"
    date = source_date(description["source"])
    output.mkdir(parents=True, exist_ok=True)

    made = []
    with tempfile.TemporaryDirectory() as temporary:
        package = pathlib.Path(temporary) / title
        install(description["cmake"], build, "package", package)
        for name in ("lib/ZorInterface.lib", "lib/libZorInterface.dll.a"):
            if not (package / name).exists():
                raise SystemExit(f"make_package: {name} is missing; is llvm-dlltool installed?")
        manual.add(package)
        bill_of_materials.add(package, description, date)
        archive.write_sums(package)
        made.append(archive.write_zip(package, output / f"{title}.zip", date))

        symbols = pathlib.Path(temporary) / f"{title}-symbols"
        install(description["cmake"], build, "symbols", symbols)
        made.append(archive.write_zip(symbols, output / f"{title}-symbols.zip", date))

        kit = pathlib.Path(temporary) / f"zor-selftest-{description['version']}-windows-x64"
        install(description["cmake"], build, "selftest", kit)
        bill_of_materials.add_licenses(kit, bill_of_materials.used_components(kit, "."))
        made.append(archive.write_zip(kit, output / f"{kit.name}.zip", date))

    sums = "".join(f"{archive.sha256(path)}  {path.name}\n" for path in made)
    (output / "SHA256SUMS").write_text(sums)
    return made


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--build", type=pathlib.Path, required=True, help="the build's folder")
    parser.add_argument("--output", type=pathlib.Path, required=True, help="where the files go")
    arguments = parser.parse_args()
    for path in make(arguments.build, arguments.output):
        print(path)


if __name__ == "__main__":
    main()
