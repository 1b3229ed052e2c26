"""The package's manual: the HTML pages for users, and the README with links to what is in the package."""

import pathlib
import shutil
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[1]
sys.path.insert(0, str(ROOT / "docs" / "manual"))
import markdown
import stage_pages

README = "packaging/README.md"


def target_in(package, target):
    """What a link of the README in the tree is in the package: a page of the manual, or the file."""
    if not markdown.is_local(target):
        return target
    path, anchor = markdown.resolve(README, target)
    if path == "README.md":
        return "docs/index.html"
    if path in markdown.user_pages((ROOT / "README.md").read_text()):
        return f"docs/{stage_pages.label_of(path)}.html" + (f"#{anchor}" if anchor else "")
    (found,) = package.rglob(pathlib.PurePath(path).name)
    return found.relative_to(package).as_posix()


def add(package):
    """Adds docs/ and README.md to the package's folder."""
    with tempfile.TemporaryDirectory() as temporary:
        command = [sys.executable, "-B", ROOT / "docs/manual/build_manual.py", temporary, "--package"]
        subprocess.run(command, check=True, stdout=subprocess.DEVNULL)
        shutil.copytree(pathlib.Path(temporary) / "html", package / "docs")
    text = (ROOT / README).read_text()
    (package / "README.md").write_text(markdown.LINK.sub(
        lambda link: f"{link[1]}[{link[2]}]({target_in(package, link[3])})", text))
