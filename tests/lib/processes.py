"""Descendants of a process."""

import contextlib
import os
import pathlib
import time

from .limits import HANG_SECONDS


def below(pid):
    """Returns the children of a process and their descendants."""
    with contextlib.suppress(FileNotFoundError, ProcessLookupError):
        children = pathlib.Path(f"/proc/{pid}/task/{pid}/children").read_text(encoding="utf-8").split()
        return children + [inner for child in children for inner in below(child)]
    return []


def name_of(pid):
    with contextlib.suppress(FileNotFoundError, ProcessLookupError):
        return pathlib.Path(f"/proc/{pid}/comm").read_text(encoding="utf-8").strip()
    return ""


def wait_for(name, pid):
    """Waits until a process has a descendant of this name; returns its PID."""
    deadline = time.monotonic() + HANG_SECONDS
    while time.monotonic() < deadline:
        for process in below(pid):
            if name_of(process) == name:
                return int(process)
        os.sched_yield()
    raise AssertionError(f"{name} does not run")
