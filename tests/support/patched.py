"""Applies what `lanfab diff` prints with patch(1)."""

import re
import shutil
import subprocess

COPY = re.compile(r"^(/\S+) differs as (/\S+) does$", re.MULTILINE)
COMMANDS = re.compile(r"^--- commands$", re.MULTILINE)


def wrong_files(difference, old, new):
    """Patches the files in the directory `old`; returns what patch(1) says and the names of those that are
    not as in the directory `new`, "" if there are none."""
    said = subprocess.run(
        ["patch", "--silent", "--remove-empty-files", "--strip=1", f"--directory={old}"],
        input=COMMANDS.split(COPY.sub("", difference))[0],
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
        text=True,
        check=False,
    ).stdout
    for copy, original in COPY.findall(difference):
        shutil.copyfile(f"{old}{original}", f"{old}{copy}")
    before, after = _contents(old), _contents(new)
    return said + "".join(
        f"{name}\n" for name in sorted(before | after) if before.get(name) != after.get(name)
    )


def _contents(directory):
    """Returns the files below a directory, but empty ones: patch(1) neither makes nor removes them."""
    return {
        str(path.relative_to(directory)): path.read_bytes()
        for path in directory.rglob("*")
        if path.is_file() and path.stat().st_size > 0
    }
