"""Plays cases in the sandbox, each with every action, and prints what they left behind as JSON.

Nothing here judges; `run` does.
"""

import contextlib
import json
import os
import pathlib
import shutil
import subprocess
import sys

from lib.limits import HANG_SECONDS
from lib.sandbox import write_system_database

SANDBOX = pathlib.Path("/dev/sandbox")
GROUND = SANDBOX / "hostile"
# Directories of the sandbox that the program writes, and what is in them before a run.
WRITABLE = {"/run": ["systemd/network"], "/var/volatile": ["qel/.wwan_unit_backup"], "/var/data": ["qel/.wg"]}
# The kernel's own file systems, where nobody makes a file and no overlay can be put.
WITHOUT_FILES = ("proc", "sysfs", "devpts", "cgroup", "cgroup2", "mqueue")
# The rest of the machine, which it must not: whatever is written there goes to GROUND instead.
PROTECTED = ("/etc", "/home", "/opt", "/root", "/srv", "/tmp", "/var/lib")


def protect():
    """Covers the directories that are not to be written, so that every file that appears there is seen."""
    mounts = [line.split() for line in pathlib.Path("/proc/self/mountinfo").read_text().splitlines()]
    mount_points = {words[4]: words[words.index("-") + 1] for words in mounts}
    for directory in PROTECTED:
        if os.path.isdir(directory):
            cover(directory, mount_points)


def cover(directory, mount_points):
    """Puts an overlay over a directory or, since none can hide a mount of the machine, over what is in it.

    `mount_points` has the type of each mounted file system.
    """
    if mount_points.get(directory) in WITHOUT_FILES:
        return
    if any(point.startswith(f"{directory}/") for point in mount_points):
        for entry in os.scandir(directory):
            if entry.is_dir(follow_symlinks=False):
                cover(entry.path, mount_points)
        return
    written, work = (GROUND / kind / directory.strip("/") for kind in ("written", "work"))
    written.mkdir(parents=True)
    work.mkdir(parents=True)
    subprocess.run(["mount", "-t", "overlay", "overlay", directory, "-o",
                    f"lowerdir={directory},upperdir={written},workdir={work}"], check=True)


def clean():
    for directory, kept in WRITABLE.items():
        for entry in os.scandir(directory):
            with contextlib.suppress(NotADirectoryError):
                shutil.rmtree(entry.path)
                continue
            os.unlink(entry.path)
        for name in kept:
            os.makedirs(f"{directory}/{name}")


def lay(case):
    clean()
    (GROUND / "config/network.json").write_bytes(bytes.fromhex(case["configuration"]))
    for name, value in case["runtime"].items():
        pathlib.Path("/run", name).write_bytes(bytes.fromhex(value))
    write_system_database(["CELL_CONNECTED = 1"])


def files_below(directory):
    for parent, _, names in os.walk(directory):
        for name in names:
            yield os.path.join(parent, name)


def written_files(laid):
    """What the program wrote, by path, as Latin-1: a byte is a character."""
    written = {}
    for directory in WRITABLE:
        for path in files_below(directory):
            if path not in laid:
                written[path] = pathlib.Path(path).read_bytes().decode("latin-1")
    return written


def processes():
    return sorted(int(name) for name in os.listdir("/proc") if name.isdigit())


def run(program, action):
    """Runs an action; returns what came of it."""
    (SANDBOX / "commands").write_text("")
    before = processes()
    environment = {**os.environ, "LANFAB_CONFIG_DIR": str(GROUND / "config"),
                   "ASAN_OPTIONS": "exitcode=99:detect_leaks=0", "UBSAN_OPTIONS": "exitcode=99"}
    done = subprocess.run([program, action], cwd=GROUND / "cwd", env=environment, stdin=subprocess.DEVNULL,
                          capture_output=True, timeout=HANG_SECONDS, check=False)
    return {"action": action, "status": done.returncode, "stderr": done.stderr.decode("latin-1"),
            "commands": (SANDBOX / "commands").read_bytes().decode("latin-1").splitlines(),
            "processes": len(set(processes()) - set(before)),
            "elsewhere": [*files_below(GROUND / "written"), *files_below(GROUND / "cwd")]}


def play(case, program):
    lay(case)
    laid = {path for directory in WRITABLE for path in files_below(directory)}
    actions = case["actions"][:1] if case["is_refused"] else case["actions"]
    return [{**run(program, action), "files": written_files(laid)} for action in actions]


def main():
    program = sys.argv[1]
    for name in ("config", "cwd"):
        (GROUND / name).mkdir(parents=True)
    protect()
    for line in sys.stdin:
        case = json.loads(line)
        result = {"name": case["name"], "is_refused": case["is_refused"], "runs": play(case, program)}
        print(json.dumps(result))


if __name__ == "__main__":
    main()
