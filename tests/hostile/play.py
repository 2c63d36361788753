"""Plays cases in the sandbox, each with every action, and prints the results as JSON: files, commands, and
processes. judge.py checks them.
"""

import os
import pathlib
import subprocess
import sys

from lib.checkout import answer
from lib.limits import HANG_SECONDS
from lib.sandbox import RECORDED_COMMANDS, SANITIZER_OPTIONS, File, lay, snapshot, write_system_database

GROUND = pathlib.Path("/dev/sandbox/hostile")
# Virtual file systems, in which neither files can be created nor overlays mounted.
WITHOUT_FILES = ("proc", "sysfs", "devpts", "cgroup", "cgroup2", "mqueue")
# Directories that the program must not write; new files there go to an overlay in GROUND.
PROTECTED = ("/etc", "/home", "/opt", "/root", "/srv", "/tmp", "/var/lib")


def protect():
    """Mounts overlays over the directories that the program must not write, which show every new file."""
    mounts = [line.split() for line in pathlib.Path("/proc/self/mountinfo").read_text().splitlines()]
    mount_points = {words[4]: words[words.index("-") + 1] for words in mounts}
    for directory in PROTECTED:
        if os.path.isdir(directory):
            cover(directory, mount_points)


def cover(directory, mount_points):
    """Mounts an overlay over a directory, or over its subdirectories if it has mount points, which an overlay
    cannot hide.

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


def files_below(directory):
    for parent, _, names in os.walk(directory):
        for name in names:
            yield os.path.join(parent, name)


def written_files(laid):
    """Returns the content of the new files by path, decoded as Latin-1: one character per byte."""
    return {path: file.content.decode("latin-1") for path, file in snapshot().items() if path not in laid}


def processes():
    return sorted(int(name) for name in os.listdir("/proc") if name.isdigit())


def run(program, action):
    """Runs an action; returns its status, standard error and commands, the number of processes that it left
    running, and the files that it wrote to PROTECTED directories or to the current one."""
    RECORDED_COMMANDS.write_text("")
    before = processes()
    # Leak detection would take longer than the run.
    environment = {**os.environ, **SANITIZER_OPTIONS, "ASAN_OPTIONS": "exitcode=99:detect_leaks=0",
                   "LANFAB_CONFIG_DIR": str(GROUND / "config")}
    done = subprocess.run([program, action], cwd=GROUND / "cwd", env=environment, stdin=subprocess.DEVNULL,
                          capture_output=True, timeout=HANG_SECONDS, check=False)
    return {"action": action, "status": done.returncode, "stderr": done.stderr.decode("latin-1"),
            "commands": RECORDED_COMMANDS.read_bytes().decode("latin-1").splitlines(),
            "processes": len(set(processes()) - set(before)),
            "elsewhere": [*files_below(GROUND / "written"), *files_below(GROUND / "cwd")]}


def play(case, program, ground):
    """Plays a case; returns the results of its runs. `ground` has the files that exist before every run."""
    (GROUND / "config/network.json").write_bytes(bytes.fromhex(case["configuration"]))
    runtime = {f"/run/{name}": File(0o644, bytes.fromhex(value)) for name, value in case["runtime"].items()}
    laid = {**ground, **runtime}
    lay(laid)
    actions = case["actions"][:1] if case["is_refused"] else case["actions"]
    runs = [{**run(program, action), "files": written_files(laid)} for action in actions]
    return {"name": case["name"], "is_refused": case["is_refused"], "runs": runs}


def main():
    program = sys.argv[1]
    for name in ("config", "cwd"):
        (GROUND / name).mkdir(parents=True)
    protect()
    write_system_database(["CELL_CONNECTED = 1"])
    ground = snapshot()
    answer(lambda case: play(case, program, ground))


if __name__ == "__main__":
    main()
