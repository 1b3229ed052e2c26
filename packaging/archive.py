"""Checksums and zip files that depend on nothing but the files' names and contents."""

import hashlib
import time
import zipfile


def files_of(folder):
    """The files below a folder by their relative names, in the order of the names."""
    paths = (path for path in folder.rglob("*") if path.is_file())
    return sorted((path.relative_to(folder).as_posix(), path) for path in paths)


def sha256(path):
    return hashlib.sha256(path.read_bytes()).hexdigest()


def write_sums(folder):
    """Writes SHA256SUMS over all files below the folder, for `sha256sum -c`."""
    lines = [f"{sha256(path)}  {name}\n" for name, path in files_of(folder)]
    (folder / "SHA256SUMS").write_text("".join(lines))


def write_zip(folder, target, date):
    """Archives the folder under its own name; every file has the time `date`."""
    with zipfile.ZipFile(target, "w", zipfile.ZIP_DEFLATED, compresslevel=9) as zipped:
        for name, path in files_of(folder):
            entry = zipfile.ZipInfo(f"{folder.name}/{name}", time.gmtime(date)[:6])
            entry.compress_type = zipfile.ZIP_DEFLATED
            entry.create_system = 3  # Unix: the permissions below count
            mode = 0o755 if path.suffix in (".exe", ".dll") else 0o644
            entry.external_attr = (0o100000 | mode) << 16
            zipped.writestr(entry, path.read_bytes())
    return target
