"""Downloads files for gateways once, to a directory of the user, without installing anything."""

import fcntl
import os
import pathlib
import platform
import subprocess
import tarfile

from launcher.errors import CannotBoot


def cache_directory():
    """Returns the user's directory for downloads for this distribution and processor type."""
    base = os.environ.get("XDG_CACHE_HOME") or pathlib.Path.home() / ".cache"
    release = platform.freedesktop_os_release()
    system = f"{release['ID']}-{release.get('VERSION_ID', '')}-{platform.machine()}"
    return pathlib.Path(base, "lanfab", system)


def output_of(*command):
    """Returns the output of a command; raises `CalledProcessError`."""
    return subprocess.run(command, capture_output=True, text=True, check=True).stdout


def download(packages, directory):
    """Downloads these Debian packages, without dependencies."""
    # As root, apt requires a directory that its own user can write.
    command = ("apt-get", "-o", "APT::Sandbox::User=root", "download", "-qq", *packages)
    subprocess.run(command, cwd=directory, stderr=subprocess.PIPE, text=True, check=True)


def fetch_once(target, fetch, name, megabytes):
    """Calls `fetch(target)`, which creates the target completely or not at all, unless it exists.

    Several launchers may call this at the same time. `name` and `megabytes` are for the error message.
    """
    try:
        target.parent.mkdir(parents=True, exist_ok=True)
        with open(target.parent / "lock", "w", encoding="utf-8") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            if not target.exists():
                fetch(target)
    except (OSError, subprocess.CalledProcessError, tarfile.TarError, StopIteration) as error:
        raise CannotBoot(
            f"{name}: could not download to {target.parent}: {explain(error)}",
            f"Check the network connection, and that {megabytes} MB are free there",
        ) from error


def explain(error):
    """Returns the error in one line."""
    if isinstance(error, subprocess.CalledProcessError):
        lines = (error.stderr or "").strip().splitlines()
        return lines[-1] if lines else f"{error.cmd[0]} failed"
    return str(error)
