"""Debian packages for a gateway, which need not be installed on the machine."""

import pathlib
import re
import subprocess
import sys
import tempfile

from launcher.cache import cache_directory, download, fetch_once, output_of

UNPACKED_MIB = 100
# Directories below /usr/share that no program reads.
DOCUMENTS = ("doc", "doc-base", "info", "locale", "man")


def missing_with(name):
    """Returns the names of the package and of those dependencies that are not installed on the machine."""
    plan = output_of("apt-get", "-o", "Debug::NoLocking=1", "--simulate", "--reinstall",
                     "--no-install-recommends", "install", name)
    return re.findall(r"^Inst (\S+)", plan, re.MULTILINE)


def fetch(name, target):
    """Writes the files of the package and of its dependencies into a tar archive."""
    with tempfile.TemporaryDirectory(dir=target.parent) as working:
        print(f"Downloading {name}, once", file=sys.stderr)
        download(missing_with(name), working)
        files = pathlib.Path(working, "files")
        files.mkdir()
        for package in pathlib.Path(working).glob("*.deb"):
            output_of("dpkg-deb", "--extract", package, files)
        archive = pathlib.Path(working, "archive")
        without = (f"--exclude=./usr/share/{directory}" for directory in DOCUMENTS)
        subprocess.run(["tar", "--create", "--file", archive, "--owner=0", "--group=0", *without,
                        "--directory", files, "."], stderr=subprocess.PIPE, text=True, check=True)
        archive.rename(target)


def archive_of(name):
    """Returns the archive of a package and its dependencies; downloads it the first time."""
    target = cache_directory() / f"{name}.tar"
    if not target.exists():
        fetch_once(target, lambda path: fetch(name, path), f"The package {name}", UNPACKED_MIB)
    return target
