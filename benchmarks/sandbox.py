"""The sandbox of a measured program: the test sandbox with empty runtime directories, a log reader,
and tools that do nothing."""

import contextlib
import os
import pathlib
import re
import shutil
import socket
import subprocess
import sys
import threading

CHECKOUT = pathlib.Path(__file__).resolve().parent.parent
# Not among the directories that boot() resets.
INPUT_DIR = pathlib.Path("/dev/shm")
# The directories that systemd passes to a generator.
GENERATOR_DIRS = ("/run/systemd/generator", "/run/systemd/generator.early", "/run/systemd/generator.late")


def enter():
    """Restarts this command inside the sandbox, unless it is already there."""
    if not os.path.exists("/dev/sandbox"):
        os.execv(CHECKOUT / "tests/support/sandbox", ["sandbox", "--ports", sys.executable, *sys.argv])


def boot():
    """Resets the runtime directories to the state after a boot of the gateway."""
    for directory in ("/run", "/var/volatile", "/var/data"):
        for entry in pathlib.Path(directory).iterdir():
            if entry.is_dir():
                shutil.rmtree(entry)
            else:
                entry.unlink()
    for directory in ("/run/systemd/network", "/var/volatile/qel/.wwan_unit_backup", *GENERATOR_DIRS):
        os.makedirs(directory)


@contextlib.contextmanager
def log_reader():
    """Reads the system log while it is written."""
    # The queue length that systemd sets for the log, if the kernel allows it in a namespace.
    with contextlib.suppress(OSError):
        pathlib.Path("/proc/sys/net/unix/max_dgram_qlen").write_text("512", encoding="ascii")
    log = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
    log.bind("/dev/log")

    def read():
        while log.recv(8192):
            pass

    reader = threading.Thread(target=read)
    reader.start()
    try:
        yield
    finally:
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as sender:
            sender.sendto(b"", "/dev/log")
        reader.join()
        log.close()


@contextlib.contextmanager
def replaced(tools, by):
    """Replaces tools in /usr/bin with the program `by`."""
    paths = [os.path.realpath(f"/usr/bin/{tool}") for tool in tools]
    for path in paths:
        subprocess.run(["mount", "--bind", by, path], check=True)
    try:
        yield
    finally:
        for path in paths:
            subprocess.run(["umount", path], check=True)


def instructions(command, environment):
    """Counts the instructions of a command, without those of the programs that it starts."""
    valgrind = ["valgrind", "--tool=callgrind", "--trace-children=no", "--callgrind-out-file=/dev/null"]
    done = subprocess.run([*valgrind, *command], env=environment, stdout=subprocess.DEVNULL,
                          stderr=subprocess.PIPE, text=True, errors="backslashreplace", check=False)
    counted = re.search(r"Collected : (\d+)", done.stderr)
    if done.returncode != 0 or counted is None:
        sys.exit(f"{command[0]} failed under valgrind:\n{done.stderr}")
    return int(counted[1])
