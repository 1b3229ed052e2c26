#!/usr/bin/env python3
"""What is in the package, held against the tree and the build that it was made from."""

import hashlib
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest
import urllib.parse
import zipfile

SOURCE, BUILD, MADE, AGAIN = map(pathlib.Path, sys.argv[1:5])
VERSION = re.search(r"^  VERSION ([\d.]+)$", (SOURCE / "CMakeLists.txt").read_text(),
                    re.MULTILINE).group(1)
TITLE = f"ZorInterface-{VERSION}-win64"

# Beside what the folders below hold: those differ with the release.
FILES = {
    "CHANGELOG.md",
    "LICENSE",
    "README.md",
    "SHA256SUMS",
    "ZorInterface.spdx.json",
    "bin/ZorInterface.dll",
    "bin/zorsim.exe",
    "examples/CMakeLists.txt",
    "examples/kernel32.def",
    "examples/no_sdk.c",
    "examples/session.c",
    "examples/session.cpp",
    "examples/survive.c",
    "examples/survive.cpp",
    "include/zor.hpp",
    "include/zor_interface.h",
    "include/zor_loader.h",
    "include/zor_result.h",
    "include/zor_session.hpp",
    "include/zor_session_core.hpp",
    "include/zor_session_system.hpp",
    "include/zor_session_types.hpp",
    "lib/ZorInterface.lib",
    "lib/cmake/ZorInterface/ZorInterfaceConfig.cmake",
    "lib/cmake/ZorInterface/ZorInterfaceConfigVersion.cmake",
    "lib/cmake/ZorInterface/toolchain-mingw64-ucrt.cmake",
    "lib/libZorInterface.dll.a",
    "lib/pkgconfig/ZorInterface.pc",
    "scenarios/default.json",
    "scenarios/full.json",
    "scenarios/minimal.json",
    "schema/zor_messages.fbs",
}
FREE = re.compile(r"bin/zor[a-z]+\.exe|docs/.*\.(html|css|js|png|svg)|licenses/[\w.+-]+\.txt")


sys.path.insert(0, str(SOURCE / "docs" / "manual"))
import check_html
import markdown
import stage_pages

USERS = markdown.user_pages((SOURCE / "README.md").read_text())


def check_links(folder):
    """Every link of the package's pages, HTML and Markdown, that leads nowhere."""
    problems, count = check_html.problems_of(folder / "docs")
    if count == 0:
        problems.append("there are no pages")
    for page in sorted(folder.glob("*.md")):
        for _, target in markdown.links_of(page.read_text()):
            if not markdown.is_local(target):
                continue
            file, anchor = markdown.resolve(page.name, target)
            if not (folder / file).is_file():
                problems.append(f"{page.name}: there is no {file}")
            elif anchor and anchor not in check_html.Page((folder / file).read_text()).anchors:
                problems.append(f"{page.name}: {file} has no {anchor}")
    return problems


class Archive:
    """A zip file in memory, with names relative to its one folder."""

    def __init__(self, name, top):
        self.path = MADE / name
        with zipfile.ZipFile(self.path) as zipped:
            self.entries = {entry.filename.removeprefix(f"{top}/"): entry
                            for entry in zipped.infolist()}
            self.data = {name: zipped.read(entry) for name, entry in self.entries.items()}

    def text(self, name):
        return self.data[name].decode()


PACKAGE = Archive(f"{TITLE}.zip", TITLE)
SYMBOLS = Archive(f"{TITLE}-symbols.zip", f"{TITLE}-symbols")
KIT_TITLE = f"zor-selftest-{VERSION}-windows-x64"
KIT = Archive(f"{KIT_TITLE}.zip", KIT_TITLE)


class Contents(unittest.TestCase):
    def test_has_every_file_and_no_other(self):
        names = set(PACKAGE.data)
        self.assertEqual(FILES - names, set())
        self.assertEqual({name for name in names - FILES if not FREE.fullmatch(name)}, set())

    def test_holds_what_was_built_and_what_is_in_the_tree(self):
        same = {
            "bin/ZorInterface.dll": BUILD / "bin/ZorInterface.dll",
            "bin/zorsim.exe": BUILD / "bin/zorsim.exe",
            "lib/libZorInterface.dll.a": BUILD / "lib/libZorInterface.dll.a",
            **{name: SOURCE / "src/interface" / pathlib.Path(name).name
               for name in FILES if name.startswith("include/")},
            **{name: SOURCE / "simulator" / name for name in FILES if name.startswith("scenarios/")},
            "schema/zor_messages.fbs": SOURCE / "src/messages/zor_messages.fbs",
        }
        for name, path in same.items():
            self.assertEqual(PACKAGE.data[name], path.read_bytes(), name)

    def test_says_one_version_everywhere(self):
        self.assertIn(f"Version: {VERSION}\n", PACKAGE.text("lib/pkgconfig/ZorInterface.pc"))
        self.assertIn(f'set(PACKAGE_VERSION "{VERSION}")',
                      PACKAGE.text("lib/cmake/ZorInterface/ZorInterfaceConfigVersion.cmake"))
        # The value follows its name, behind zeros that align it.
        name = "ProductVersion\0".encode("utf-16-le")
        value = PACKAGE.data["bin/ZorInterface.dll"].split(name)[1].lstrip(b"\0")
        self.assertTrue(value.startswith((VERSION + "\0").encode("utf-16-le")), value[:32])

    def test_every_program_can_be_run_and_nothing_else(self):
        for name, entry in PACKAGE.entries.items():
            expected = 0o755 if name.endswith((".exe", ".dll")) else 0o644
            self.assertEqual(entry.external_attr >> 16, 0o100000 | expected, name)

    def test_names_no_folder_of_this_machine(self):
        places = {str(path.resolve()) for path in (SOURCE, BUILD, pathlib.Path.home())} - {"/"}
        for archive in (PACKAGE, SYMBOLS, KIT):
            for name, data in archive.data.items():
                for place in places:
                    self.assertNotIn(f"{place}/".encode(), data, f"{name} names {place}")

    def test_both_import_libraries_have_every_export(self):
        exports = re.findall(r"^    (\w+) @\d+$",
                             (SOURCE / "src/interface/zor_interface.def").read_text(), re.MULTILINE)
        self.assertEqual(len(exports), 14)
        for library in ("lib/ZorInterface.lib", "lib/libZorInterface.dll.a"):
            data = PACKAGE.data[library]
            self.assertTrue(data.startswith(b"!<arch>\n"), library)
            self.assertIn(b"ZorInterface.dll\0", data, library)
            for export in exports:
                self.assertRegex(data, rb"\b__imp_" + export.encode() + rb"\b", library)


class Links(unittest.TestCase):
    def problems(self, changed):
        """What check_links says of the package, with files changed or, when None, left out."""
        with tempfile.TemporaryDirectory() as temporary:
            folder = pathlib.Path(temporary)
            for name, data in {**PACKAGE.data, **changed}.items():
                if data is not None:
                    (folder / name).parent.mkdir(parents=True, exist_ok=True)
                    (folder / name).write_bytes(data)
            return check_links(folder)

    def expect_problem(self, changed, problem):
        self.assertIn(problem, " ".join(self.problems(changed)))

    def test_lead_to_what_is_in_the_package(self):
        self.assertEqual(self.problems({}), [])

    def test_that_lead_nowhere_are_found(self):
        readme = PACKAGE.data["README.md"]
        self.assertIn(b"(docs/index.html)", readme)
        self.expect_problem({"README.md": readme + b"[a](docs/page-docs-decisions.html)\n"},
                            "README.md: there is no docs/page-docs-decisions.html")
        self.expect_problem({"README.md": readme + b"[a](docs/index.html#not-there)\n"},
                            "README.md: docs/index.html has no not-there")
        self.expect_problem({"scenarios/full.json": None}, "README.md: there is no scenarios/full.json")
        self.expect_problem({"docs/page-docs-lifetimes.html": None}, "there is no page-docs-lifetimes.html")
        self.expect_problem({"docs/session.svg": None}, "there is no session.svg")

    def test_the_manual_has_the_pages_for_users_alone(self):
        self.assertTrue(USERS)
        for page in USERS:
            self.assertIn(f"docs/{stage_pages.label_of(page)}.html", PACKAGE.data)
        pages = {name for name in PACKAGE.data if name.startswith("docs/page-")}
        for page in ("CONTRIBUTING.md", "docs/architecture.md", "docs/decisions.md",
                     "docs/performance.md", "docs/reliability.md"):
            self.assertTrue((SOURCE / page).exists())
            self.assertNotIn(f"docs/{stage_pages.label_of(page)}.html", pages)


class Symbols(unittest.TestCase):
    def test_are_in_a_file_of_their_own(self):
        self.assertEqual(list(SYMBOLS.data), ["bin/ZorInterface.dll.debug"])
        self.assertIn(b"zor::RemoteCall", self.functions(SYMBOLS, "bin/ZorInterface.dll.debug"))
        self.assertEqual(self.functions(PACKAGE, "bin/ZorInterface.dll"), b"")

    def functions(self, archive, name):
        path = MADE / pathlib.Path(name).name
        path.write_bytes(archive.data[name])
        listed = subprocess.run(["x86_64-w64-mingw32-nm", "--demangle", path],
                                check=True, capture_output=True)
        path.unlink()
        return listed.stdout


class Kit(unittest.TestCase):
    def test_has_the_program_the_library_and_a_page_about_them(self):
        names = {name for name in KIT.data if not name.startswith("licenses/")}
        self.assertEqual(names, {"LICENSE.txt", "README.txt", "ZorInterface.dll", "zor-selftest.exe"})
        self.assertEqual(KIT.data["ZorInterface.dll"], PACKAGE.data["bin/ZorInterface.dll"])
        self.assertEqual(KIT.data["zor-selftest.exe"],
                         (BUILD / "bin/zor-selftest.exe").read_bytes())
        for name in ("FlatBuffers", "GCC runtime libraries", "mingw-w64 runtime and winpthreads"):
            self.assertIn(name, KIT.text("licenses/README.txt"))

    def test_needs_nothing_but_the_system(self):
        path = MADE / "zor-selftest.exe"
        path.write_bytes(KIT.data["zor-selftest.exe"])
        listed = subprocess.run(["x86_64-w64-mingw32-objdump", "-p", path], check=True,
                                capture_output=True, text=True).stdout
        path.unlink()
        imports = {name.lower() for name in re.findall(r"DLL Name: (\S+)", listed)}
        runtime = {name for name in imports if name.startswith("api-ms-win-crt-")}
        self.assertEqual(imports - runtime, {"advapi32.dll", "bcrypt.dll", "kernel32.dll", "ole32.dll",
                                             "oleaut32.dll"})


class Reproducible(unittest.TestCase):
    def test_a_second_run_makes_the_same_bytes(self):
        # Another zone and a generous umask, neither of which may matter.
        command = ["bash", "-c", 'umask 000; exec "$@"', "-", sys.executable,
                   SOURCE / "packaging/make_package.py", "--build", BUILD, "--output", AGAIN]
        subprocess.run(command, check=True, stdout=subprocess.DEVNULL,
                       env={**os.environ, "TZ": "Pacific/Auckland"})
        for name in (f"{TITLE}.zip", f"{TITLE}-symbols.zip", f"{KIT_TITLE}.zip", "SHA256SUMS"):
            self.assertEqual((MADE / name).read_bytes(), (AGAIN / name).read_bytes(), name)

    def test_every_file_has_the_time_that_is_given(self):
        target = AGAIN / "dated"
        subprocess.run([sys.executable, SOURCE / "packaging/make_package.py", "--build", BUILD,
                        "--output", target], check=True, stdout=subprocess.DEVNULL,
                       env={**os.environ, "SOURCE_DATE_EPOCH": "1000000000"})
        with zipfile.ZipFile(target / f"{TITLE}.zip") as zipped:
            self.assertEqual({entry.date_time for entry in zipped.infolist()},
                             {(2001, 9, 9, 1, 46, 40)})
            document = json.loads(zipped.read(f"{TITLE}/ZorInterface.spdx.json"))
        self.assertEqual(document["creationInfo"]["created"], "2001-09-09T01:46:40Z")


class Checksums(unittest.TestCase):
    def test_inside_are_those_of_every_file(self):
        told = dict(reversed(line.split("  ")) for line in PACKAGE.text("SHA256SUMS").splitlines())
        found = {name: hashlib.sha256(data).hexdigest()
                 for name, data in PACKAGE.data.items() if name != "SHA256SUMS"}
        self.assertEqual(told, found)

    def test_beside_are_those_of_the_archives(self):
        told = dict(reversed(line.split("  "))
                    for line in (MADE / "SHA256SUMS").read_text().splitlines())
        found = {archive.path.name: hashlib.sha256(archive.path.read_bytes()).hexdigest()
                 for archive in (PACKAGE, SYMBOLS, KIT)}
        self.assertEqual(told, found)


class BillOfMaterials(unittest.TestCase):
    def setUp(self):
        self.document = json.loads(PACKAGE.text("ZorInterface.spdx.json"))
        self.packages = {package["name"]: package for package in self.document["packages"]}

    def test_has_what_the_format_requires(self):
        self.assertEqual(self.document["spdxVersion"], "SPDX-2.3")
        self.assertEqual(self.document["dataLicense"], "CC0-1.0")
        for key in ("SPDXID", "name", "documentNamespace", "creationInfo"):
            self.assertTrue(self.document[key], key)
        elements = self.document["packages"] + self.document["files"]
        identifiers = [element["SPDXID"] for element in elements]
        self.assertEqual(len(identifiers), len(set(identifiers)))
        for identifier in identifiers:
            self.assertRegex(identifier, r"^SPDXRef-[A-Za-z0-9.-]+$")
        known = set(identifiers) | {"SPDXRef-DOCUMENT"}
        for relationship in self.document["relationships"]:
            self.assertIn(relationship["spdxElementId"], known)
            self.assertIn(relationship["relatedSpdxElement"], known)
        for package in self.document["packages"]:
            for key in ("name", "downloadLocation", "licenseDeclared", "versionInfo"):
                self.assertTrue(package[key], key)

    def test_lists_every_file_with_its_checksums(self):
        listed = {file["fileName"].removeprefix("./"):
                  {sum["algorithm"]: sum["checksumValue"] for sum in file["checksums"]}
                  for file in self.document["files"]}
        found = {name: {"SHA1": hashlib.sha1(data).hexdigest(),
                        "SHA256": hashlib.sha256(data).hexdigest()}
                 for name, data in PACKAGE.data.items()
                 if name not in ("SHA256SUMS", "ZorInterface.spdx.json")}
        self.assertEqual(listed, found)
        sums = "".join(sorted(value["SHA1"] for value in found.values()))
        self.assertEqual(self.packages["ZorInterface"]["packageVerificationCode"]
                         ["packageVerificationCodeValue"], hashlib.sha1(sums.encode()).hexdigest())

    def test_has_the_versions_that_are_installed(self):
        self.assertEqual(self.packages["ZorInterface"]["versionInfo"], VERSION)
        for package in self.document["packages"]:
            if package["name"] == "ZorInterface":
                continue
            (reference,) = package["externalRefs"]
            locator = urllib.parse.unquote(reference["referenceLocator"])
            debian = re.fullmatch(r"pkg:deb/debian/(.+)@.+", locator).group(1)
            installed = subprocess.run(["dpkg-query", "-W", "-f", "${Version}", debian],
                                       check=True, capture_output=True, text=True).stdout
            self.assertEqual(package["versionInfo"], installed, debian)
            self.assertIn(f"licenses/{debian}.txt", PACKAGE.data)
            self.assertIn(package["name"], PACKAGE.text("licenses/README.txt"))

    def linked(self, program):
        names = {package["SPDXID"]: package["name"] for package in self.document["packages"]}
        return {names[relationship["relatedSpdxElement"]]
                for relationship in self.document["relationships"]
                if relationship["relationshipType"] == "STATIC_LINK"
                and relationship["spdxElementId"] == f"SPDXRef-File-bin-{program}"}

    def test_names_what_each_program_is_made_of(self):
        runtime = {"GCC runtime libraries", "mingw-w64 runtime and winpthreads"}
        self.assertEqual(self.linked("ZorInterface.dll"), runtime | {"FlatBuffers"})
        tools = {name.removeprefix("bin/") for name in PACKAGE.data if name.endswith(".exe")}
        # Texts that these two leave in a program.
        traces = {"JSON for Modern C++": b"[json.exception.", "CLI11": b"ExtrasError"}
        for tool in tools:
            linked = self.linked(tool)
            self.assertLessEqual(runtime, linked, tool)
            for library, trace in traces.items():
                self.assertEqual(library in linked, trace in PACKAGE.data[f"bin/{tool}"],
                                 f"{library} in {tool}")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
