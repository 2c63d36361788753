"""A gateway for `lanfab try`, `confirm` and `revert`, in the sandbox: an empty /etc, and stubs that do the
part of systemd's work that these commands need. A unit is active while UNITS contains a file of its name. An
apply only records the configuration that it finds, and leaves the mark of a run.
"""

import os
import pathlib
import shutil
import subprocess

from .sandbox import put_first

INSTALLED = pathlib.Path("/etc/lanfab/network.json")
PREVIOUS = pathlib.Path("/etc/lanfab/network.json.previous")
TRIAL = pathlib.Path("/run/lanfab/network.json")
# The staged configuration, until the trial is active.
STAGED = pathlib.Path("/run/lanfab/network.json.new")
# The installed configuration when the trial began.
INSTALLED_COPY = pathlib.Path("/run/lanfab/network.json.installed")
STATE = pathlib.Path("/run/lanfab/trial.json")
# The active configuration when the trial began.
TARGET = pathlib.Path("/run/lanfab/target/network.json")
# Files that remain after the trial: its outcome, and the last applied configuration.
OUTCOME = pathlib.Path("/run/lanfab/outcome.json")
RECORD = pathlib.Path("/run/lanfab/applied")
# Written by every run that applies.
MARK = pathlib.Path("/run/.delete_static_routes")
# Exists if systemd booted the machine.
BOOTED = pathlib.Path("/run/systemd/system")
UNITS = pathlib.Path("/run/units")
# The output of `systemctl cat`, which a test may set.
UNIT = pathlib.Path("/run/lanfab.service")
TIMER = UNITS / "lanfab-revert.timer"
# The applied configurations, in order.
APPLIED = pathlib.Path("/run/applied")
TOOLS = pathlib.Path("/run/tools")
ENVIRONMENT = {**os.environ, "PATH": f"{TOOLS}:{os.environ['PATH']}"}

SCRIPTS = {
    # Starting the service runs the command of the timer.
    "systemctl": f"""
for unit; do :; done
case $1 in
  show) if [ -e {UNITS}/$unit ]; then echo active; else echo inactive; fi ;;
  stop)
    if [ -s {UNITS}/$unit ] && [ $unit = lanfab-guard.service ]; then kill -KILL $(cat {UNITS}/$unit); fi
    rm {UNITS}/$unit ;;
  cat) exit 1 ;;
  start) sh {TIMER} ;;
esac
""",
    # The file of a timer contains the command that it will run. A service whose caller does not wait only
    # becomes active: a test that runs it writes the PID to the file.
    "systemd-run": f"""
while [ "${{1#-}}" != "$1" ]; do
  case $1 in
    --unit=*) unit={UNITS}/${{1#--unit=}} ;;
    --on-active=*) is_timer=yes ;;
    --wait) is_awaited=yes ;;
  esac
  shift
done
if [ "${{is_timer-}}" ]; then printf "'%s' " "$@" >$unit.timer; exit; fi
: >$unit.service
if [ ! "${{is_awaited-}}" ]; then exit; fi
"$@"
status=$?
rm -f $unit.service
exit $status
""",
    "timeout": f"""
file={INSTALLED}
if [ -e {TRIAL} ]; then file={TRIAL}; fi
for word; do
  case $word in LANFAB_CONFIG_DIR=*) file=${{word#*=}}/network.json ;; esac
done
cat $file >>{APPLIED} || exit 1
rm -f {MARK}
: >{MARK}
""",
    "wall": "",
}


def lay_tools():
    for name, script in SCRIPTS.items():
        tool = TOOLS / name
        tool.write_text(f"#!/bin/sh\n{script}", encoding="utf-8")
        tool.chmod(0o755)


def lay_out():
    """Creates the directories and the stubs, once."""
    subprocess.run(["mount", "-t", "tmpfs", "tmpfs", "/etc"], check=True)
    for directory in (INSTALLED.parent, TRIAL.parent, UNITS, BOOTED, TOOLS):
        os.makedirs(directory, exist_ok=True)
    lay_tools()
    put_first(TOOLS, SCRIPTS)


def end_trial():
    """Ends a trial as a power failure would."""
    shutil.rmtree(TRIAL.parent, ignore_errors=True)
    TRIAL.parent.mkdir()


def pretend_apply():
    """Leaves the files of a manual run with the installed configuration."""
    MARK.unlink(missing_ok=True)
    MARK.touch()


def wait_for_tick():
    """Waits until the file system's clock has advanced since the last apply."""
    while MARK.with_suffix(".tick").write_bytes(b"") or (
            MARK.with_suffix(".tick").stat().st_ctime_ns <= MARK.stat().st_mtime_ns):
        pass


def leftovers():
    """Returns the names of files left behind by a trial that has ended."""
    return sorted({path.name for path in TRIAL.parent.iterdir()} - {OUTCOME.name, RECORD.name})


def is_trial_active():
    return TRIAL.exists()


def active():
    """Returns the active configuration, which a run would read."""
    return (TRIAL if is_trial_active() else INSTALLED).read_text(encoding="utf-8")
