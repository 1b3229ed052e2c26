#!/usr/bin/env python3
"""Checks that the product's files include only from layers below their own.

docs/architecture.md describes the layers. Files of one layer may include each other only within
one folder. Above platform/win32/ nothing but the C++ standard library is included from
outside, except by the system's entry into the library.
"""

import pathlib
import re
import sys

# The first that matches a path counts.
LAYERS = [
    (0, r"platform/(win32/)?\w+\.(h|cpp)"),
    (1, r"messages/\w+\.(h|cpp)"),
    (1, r"interface/zor_interface\.h"),
    (2, r"interface/debug_log\.(h|cpp)"),
    (3, r"transport/(pipe_channel|listener_thread|rpc_client)\.(h|cpp)"),
    (4, r"transport/remote_call\.(h|cpp)"),
    (5, r"(calls|notify|discovery)/\w+\.(h|cpp)"),
    (6, r"interface/\w+\.(h|cpp)"),
]

# Below the root of the tree; what stands here and in include lines begins there.
PRODUCT = "src"

FOLDERS = ["calls", "discovery", "interface", "messages", "notify", "platform", "transport"]

# The application's side of the interface: it stands above the library, not in it.
NOT_IN_THE_LIBRARY = {"interface/zor.hpp", "interface/zor_loader.h", "interface/zor_result.h",
                      "interface/zor_session.hpp", "interface/zor_session_core.hpp",
                      "interface/zor_session_system.hpp", "interface/zor_session_types.hpp"}

# Windows' own entry into the library, which no other platform has.
SYSTEM_ENTRY = {"interface/dll_main.cpp"}

# Made by the build out of the schema.
GENERATED = {"zor_messages_generated.h": "messages/zor_messages_generated.h"}

# The public header is C, and may be included anywhere.
C_HEADERS = {"interface/zor_interface.h": {"stdbool.h", "stdint.h"}}

INCLUDE = re.compile(r'^[ \t]*#[ \t]*include[ \t]*(["<])([^">]+)[">]', re.MULTILINE)


def layer_of(path):
    for layer, pattern in LAYERS:
        if re.fullmatch(pattern, path):
            return layer
    return None


def folder_of(path):
    return path.rsplit("/", 1)[0]


def is_platform_half(path):
    return path.startswith("platform/win32/")


def problem_of_include(path, kind, name):
    """What is wrong with one include of a file; None when nothing is."""
    if kind == "<":
        # The standard library's headers have no ending.
        standard = re.fullmatch(r"\w+", name) or name in C_HEADERS.get(path, ())
        return None if standard or is_platform_half(path) or path in SYSTEM_ENTRY else "is the system's, not the language's"

    target = GENERATED.get(name, name)
    layer = layer_of(target)
    if layer is None:
        return "is no file of the product, named from src/"
    if is_platform_half(target) and not is_platform_half(path):
        return "is one platform's own"
    if layer > layer_of(path):
        return f"is on layer {layer}, above"
    if layer == layer_of(path) and folder_of(target).split("/")[0] != folder_of(path).split("/")[0]:
        return "is of another folder on the same layer"
    return None


def problems_of(root):
    """All problems of the product below `root`, and how many files were looked at."""
    problems = []
    count = 0
    for folder in FOLDERS:
        for file in sorted((root / PRODUCT / folder).rglob("*")):
            if file.suffix not in (".h", ".cpp", ".c", ".cc", ".hpp", ".inc"):
                continue
            path = file.relative_to(root / PRODUCT).as_posix()
            if path in NOT_IN_THE_LIBRARY:
                continue
            count += 1
            if layer_of(path) is None:
                problems.append(f"{path}: has no layer; give it one in check_layers.py")
                continue
            for kind, name in INCLUDE.findall(file.read_text(encoding="utf-8")):
                problem = problem_of_include(path, kind, name)
                if problem:
                    problems.append(f"{path} (layer {layer_of(path)}): {name} {problem}")
    return problems, count


def main():
    if len(sys.argv) != 2:
        print("usage: check_layers.py ROOT", file=sys.stderr)
        return 2
    problems, count = problems_of(pathlib.Path(sys.argv[1]))
    for problem in problems:
        print(problem)
    print(f"{count} files, {len(problems)} problems")
    # A tree without files would be the wrong tree.
    return 1 if problems or count == 0 else 0


if __name__ == "__main__":
    sys.exit(main())
