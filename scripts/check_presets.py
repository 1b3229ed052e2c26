#!/usr/bin/env python3
"""Holds the presets for Windows, the packages they need and the workflow that uses them together.

    check_presets.py ROOT WORK

Generates the build of each preset for Microsoft's family of compilers in the folder WORK, with clang in
the compiler's place: nothing is compiled. Prints what is wrong and ends with status 1 if anything is.
"""

import json
import os
import pathlib
import re
import shutil
import subprocess
import sys

# What the builds of Microsoft's family must have, by the variable of the generated build.
COMPILING = ["/EHs", "/guard:cf", "-Zi"]
LINKING = ["/guard:cf", "/CETCOMPAT", "/DEBUG", "/PDBALTPATH:%_PDB%", "/Brepro"]
# Of the compilers that only GNU's options reach: -Wall, -std=, -fPIC, but not -std:c++20.
GNU_ONLY = re.compile(r"(?:^| )(-(?:W[a-z]|f[a-z]|std=|pedantic)\S*)")

TOOLCHAIN = """
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR AMD64)
foreach(language C CXX)
  set(CMAKE_${language}_COMPILER "@BIN@/clang-cl")
  set(CMAKE_${language}_COMPILER_TARGET x86_64-pc-windows-msvc)
  set(CMAKE_${language}_COMPILER_WORKS TRUE)
endforeach()
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
set(CMAKE_LINKER "@LLVM@/lld-link")
set(CMAKE_AR "@LLVM@/llvm-lib")
set(CMAKE_RC_COMPILER "@LLVM@/llvm-rc")
set(CMAKE_MT "@LLVM@/llvm-mt")
"""


def effective(presets, name):
    """A configure preset's cache variables, with those that it inherits."""
    preset = next(preset for preset in presets["configurePresets"] if preset["name"] == name)
    inherited = preset.get("inherits", [])
    variables = {}
    for base in [inherited] if isinstance(inherited, str) else inherited:
        variables |= effective(presets, base)
    return variables | preset.get("cacheVariables", {})


def check_generation(root, work, presets, name):
    llvm = pathlib.Path(shutil.which("clang-19") or sys.exit("clang-19 is missing")).resolve().parent
    folder = work / name
    shutil.rmtree(folder, ignore_errors=True)
    (folder / "bin").mkdir(parents=True)
    (folder / "bin/clang-cl").symlink_to(llvm / "clang")
    toolchain = folder / "toolchain.cmake"
    toolchain.write_text(TOOLCHAIN.replace("@BIN@", str(folder / "bin")).replace("@LLVM@", str(llvm)))
    variables = {key: value for key, value in effective(presets, name).items()
                 if not key.endswith("_COMPILER") and not key.startswith("VCPKG_")}
    # A compiler cache of whoever runs this is no part of the preset.
    environment = {key: value for key, value in os.environ.items() if "COMPILER_LAUNCHER" not in key}
    generated = subprocess.run(
        ["cmake", "-G", "Ninja", "-S", root, "-B", folder / "build", "--toolchain", toolchain,
         *(f"-D{key}={value}" for key, value in variables.items())],
        env=environment, capture_output=True, text=True, check=False)
    if generated.returncode != 0:
        yield f"{name}: cannot be generated:\n{generated.stderr.strip()}"
        return
    build = (folder / "build/build.ninja").read_text()
    compiling = re.search(r"^build src/\S*control_calls.*?\n  FLAGS = (.*?)$", build, re.M | re.S)[1]
    linking = re.search(r"^build [^\n]*bin/ZorInterface\.dll.*?\n  LINK_FLAGS = (.*?)$", build, re.M | re.S)[1]
    for wanted, found in ((COMPILING, compiling), (LINKING, linking)):
        yield from (f"{name}: built without {flag}" for flag in wanted if flag not in found.split())
    for flag in sorted(set(GNU_ONLY.findall("\n".join(re.findall(r"^  FLAGS = .*$", build, re.M))))):
        yield f"{name}: has an option of GNU's compilers, {flag}"


def check_packages(root):
    """The manifest lists what the build looks for, and is of the project's version."""
    manifest = json.loads((root / "vcpkg.json").read_text())
    wanted = {"flatbuffers": "flatbuffers/", "nlohmann-json": "nlohmann/", "cli11": "CLI/", "fmt": "fmt/"}
    looked_for = re.search(r"foreach\(header (.*?)\)", (root / "cmake/packages.cmake").read_text())[1].split()
    listed = set(manifest["dependencies"])
    for header in looked_for:
        package = next((name for name, folder in wanted.items() if header.startswith(folder)), None)
        if package not in listed:
            yield f"vcpkg.json: no package for {header}"
    if "gtest" not in listed:
        yield "vcpkg.json: no gtest, which the tests need"
    if not any(pin["name"] == "flatbuffers" for pin in manifest["overrides"]):
        yield "vcpkg.json: FlatBuffers is not pinned"
    version = re.search(r"^  VERSION ([0-9.]+)$", (root / "CMakeLists.txt").read_text(), re.M)[1]
    if manifest["version"] != version:
        yield f"vcpkg.json: version {manifest['version']}, the project's is {version}"
    workflow = (root / ".github/workflows/ci.yml").read_text()
    for package in ("flatbuffers", "nlohmann-json", "cli11", "fmt", "gtest"):
        if f"mingw-w64-ucrt-x86_64-{package}\n" not in workflow:
            yield f"ci.yml: MSYS2's {package} is not installed"


def check_workflow(root, presets):
    """Each preset for Windows is configured, built and tested by a job, and each that a job names exists."""
    workflow = (root / ".github/workflows/ci.yml").read_text()
    matrix = re.search(r"preset: \[(.*?)\]", workflow)
    named = set(matrix[1].split(", ")) if matrix else set()
    steps = re.findall(r"run: (cmake --preset|cmake --build --preset|ctest --preset) (\S+|\$\{\{.*?\}\})$", workflow, re.M)
    used = {}
    for command, name in steps:
        for preset in named if name.startswith("${{") else {name}:
            used.setdefault(preset, set()).add(command)
    for kind, command in (("configurePresets", "cmake --preset"), ("buildPresets", "cmake --build --preset"),
                          ("testPresets", "ctest --preset")):
        known = {preset["name"] for preset in presets[kind]}
        for preset in sorted({"msvc", "clang-cl", "ucrt64"} | used.keys()):
            if preset not in known:
                yield f"ci.yml: {kind} has no {preset}"
            if command not in used.get(preset, ()):
                yield f"ci.yml: no job runs {command} {preset}"


def main():
    root, work = (pathlib.Path(argument).resolve() for argument in sys.argv[1:])
    presets = json.loads((root / "CMakePresets.json").read_text())
    problems = [*check_packages(root), *check_workflow(root, presets),
                *(problem for name in ("msvc", "clang-cl")
                  for problem in check_generation(root, work, presets, name))]
    for problem in problems:
        print(problem)
    print(f"{len(problems)} problems")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
