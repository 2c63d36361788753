"""Plays one variant of a case, and prints the outputs of its runs as JSON.

Runs inside the sandbox, where it can write to the paths of the system; runner.py starts it. A case that needs
no sandbox is played by runner.py itself, with `play_reader`.
"""

import argparse
import json
import os
import pathlib
import re
import resource
import shutil
import subprocess
import sys
import tempfile

from . import case, patched, txtar
from .checkout import EXAMPLES
from .expected import USUAL_MODE
from .limits import HANG_SECONDS
from .sandbox import (ACTIVE_SERVICES, RECORDED_COMMANDS, SANITIZER_OPTIONS, SYSTEM_DATABASE, Syslog,
                      put_first, read_system_database, snapshot, write_system_database)

CONFIGURATION = pathlib.Path("/dev/sandbox/config/network.json")
# Files in /etc that a case may have.
ETC_LAYER = pathlib.Path("/dev/sandbox/etc")
TOOLS = pathlib.Path("/dev/sandbox/tools")
ANSWERS = pathlib.Path("/dev/sandbox/answers")

# Text that a processor emulator prints when a signal ends its program.
EMULATOR_NOTE = re.compile(r"^qemu: uncaught target signal .*\n", re.MULTILINE)

# Some versions of coreutils print the path by which they were called, others only the name.
TOOL_DIRECTORY = re.compile(r"^/bin/(?=(cp|rm|touch|chmod): )", re.MULTILINE)

# Modification time of every file that exists before a run: 2026-11-21 20:00:00.
THEN = 1795291200

# The output of tools for `lanfab status` unless a case has another one.
ACTIVE = ("ActiveState=active\nSubState=running\nResult=success\n"
          "StateChangeTimestamp=Sat 2026-11-21 20:00:00 UTC\n")
USUAL_ANSWERS = {
    "ip address": "[]",
    "ip route": "[]",
    "ip netconf": "[]",
    "networkctl list": '{"Interfaces": []}',
    "systemctl systemd-networkd": ACTIVE,
    "systemctl dnsmasq": ACTIVE,
}
# A stub of a tool: prints the files with its name and one of its arguments. Those of systemctl are separated
# by an empty line.
TOOL = f"""#!/bin/sh
tool=${{0##*/}} answered=
if [ "${{1-}}" = is-active ]; then exit; fi
for word; do
  word=${{word##* }}
  if [ -e "{ANSWERS}/$tool $word fails" ]; then
    cat "{ANSWERS}/$tool $word fails" >&2
    exit 1
  fi
  if [ -e "{ANSWERS}/$tool $word" ]; then
    if [ "$tool$answered" = systemctl1 ]; then echo; fi
    cat "{ANSWERS}/$tool $word"
    answered=1
  fi
done
"""


class Failure(Exception):
    """A case that could not be run to its end."""


class Process:
    """The running program. The part `steps` of a case accesses it as `run`."""

    def __init__(self, command, syslog, seconds=HANG_SECONDS, **options):
        self.command = command
        self.syslog = syslog
        self.seconds = seconds
        # Arguments of Popen.
        self.options = options
        self.log = []
        self.output = {name: tempfile.TemporaryFile() for name in ("stdout", "stderr")}
        self.process = None
        self.ended = None

    def start(self):
        """Starts the program and returns at once."""
        self.process = subprocess.Popen(self.command, stdin=subprocess.DEVNULL,
                                        **self.output | self.options)
        self.ended = os.pidfd_open(self.process.pid)

    def wait_for_log(self, line, times=1):
        """Waits until the program has logged `line`, "priority message", `times` times."""
        self._watch(lambda: self.log.count(line) >= times, f"has not logged {times}x: {line}")

    def finish(self):
        """Waits until the program has exited and all of its log lines have arrived; returns the status."""
        self._watch(lambda: self.process.poll() is not None, "is still running")
        self.log += self.syslog.receive()
        return self.process.returncode

    def text(self, name):
        """Returns the program's "stdout" or "stderr"."""
        self.output[name].seek(0)
        text = self.output[name].read().decode(errors="backslashreplace")
        text = TOOL_DIRECTORY.sub("", EMULATOR_NOTE.sub("", text))
        return text.replace(str(CONFIGURATION.parent), "$CONFIG")

    def _watch(self, done, complaint):
        if not self.syslog.follow(self.log, self.ended, done, self.seconds):
            self.process.kill()
            raise Failure(f"the program {complaint}\nits log so far:\n{as_lines(self.log)}")


class Player:
    """Plays the runs of a case in order; each finds the files of the previous one."""

    def __init__(self, programs):
        self.programs = programs
        self.syslog = Syslog()
        self.laid = {}
        CONFIGURATION.parent.mkdir()

    def play(self, run):
        """Plays a run; returns all of its outputs by name, files with their modes."""
        self._prepare(run)
        there = watched_files()
        umask = int(body(run.inputs, "umask") or "022", 8)
        process = Process(command_of(run, self.programs), self.syslog, env=environment_of(run), umask=umask,
                          cwd=CONFIGURATION.parent)
        if "steps" in run.inputs:
            exec(compile(body(run.inputs, "steps"), "steps", "exec"), {"run": process})
        else:
            process.start()
        process.finish()
        if run.words()[:2] == ["lanfab", "diff"] and process.process.returncode in (0, 1):
            wrong = patched.differences(run.arguments()[1:], process.text("stdout"), self.programs,
                                        CONFIGURATION.parent)
            if wrong:
                raise Failure(f"the patched files are other ones:\n{wrong}")
        return self._outcome(process, there, watched_files())

    def _prepare(self, run):
        inputs = run.inputs
        if asks_tools(run):
            lay_answers(inputs)
        RECORDED_COMMANDS.write_text("")
        ACTIVE_SERVICES.write_text(body(inputs, "services"))
        lay_configurations(inputs, CONFIGURATION.parent)
        write_system_database(body(inputs, "before sysdb").splitlines())
        for path, content in laid_files(inputs).items():
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_bytes(content)
            os.utime(path, (THEN, THEN))
            self.laid[str(path)] = content
        if ETC_LAYER.exists():
            subprocess.run(["mount", "-t", "overlay", "-o", f"lowerdir={ETC_LAYER}:/etc", "etc", "/etc"],
                           check=True)
        if "prepare" in inputs:
            subprocess.run(["/bin/sh", "-euc", body(inputs, "prepare")], check=True, stdout=sys.stderr)

    def _outcome(self, process, there, after):
        outcome = texts_by_name(
            process.process.returncode, process.text("stdout"), process.text("stderr"),
            log=as_lines(process.log),
            commands=RECORDED_COMMANDS.read_text(),
            sysdb=as_lines(read_system_database()),
            removed=as_lines(sorted(there.keys() - after.keys())))
        for name, file in after.items():
            if self.laid.get(name) != file.content:
                outcome[name] = txtar.decode(file.content), file.mode
        return outcome


def texts_by_name(status, stdout, stderr, **others):
    """Returns the outputs that are not files, by name; empty ones are left out."""
    texts = {"status": f"{status}\n" if status else "", "stdout": stdout, "stderr": stderr, **others}
    return {name: (text, USUAL_MODE) for name, text in texts.items() if text}


def body(inputs, name):
    return inputs[name].body if name in inputs else ""


def command_of(run, programs):
    """Returns the command line of a run, whose first word is a key of `programs`."""
    program, *arguments = run.words()
    if program == "lanfab" and arguments[0] == "diff":
        arguments.insert(1, f"--program={programs['cmd_lanfab'][-1]}")
    return programs[program] + arguments


def environment_of(run):
    """Returns the environment of a run."""
    environment = {**os.environ, **SANITIZER_OPTIONS}
    environment.pop("LANFAB_SYSDB", None)
    if run.program() == "lanfab":
        environment.update(LC_ALL="C.UTF-8", TZ="UTC")
    else:
        environment.update(LC_ALL="C", LANFAB_CONFIG_DIR=str(CONFIGURATION.parent))
    return {**environment, **run.settings()}


def lay_configurations(inputs, directory):
    """Creates the configurations of a run; they stay for the following runs until replaced."""
    for name in filter(case.CONFIGURATION.fullmatch, inputs):
        part, path = inputs[name], directory / name
        path.unlink(missing_ok=True)
        if not part.notes or "no final newline" in part.notes:
            txtar.write(path, txtar.content(part))
        elif part.notes != ("none",):
            shutil.copyfile(EXAMPLES / part.notes[0].removeprefix("examples/") / "network.json", path)


def asks_tools(run):
    return run.words()[:2] == ["lanfab", "status"]


def lay_answers(inputs):
    """Creates stubs of the tools that `lanfab status` runs."""
    if not TOOLS.exists():
        TOOLS.mkdir()
        ANSWERS.mkdir()
        tools = ("ip", "networkctl", "systemctl", "journalctl")
        for tool in tools:
            (TOOLS / tool).write_text(TOOL)
            (TOOLS / tool).chmod(0o755)
        put_first(TOOLS, tools)
        for name, text in USUAL_ANSWERS.items():
            (ANSWERS / name).write_text(text)
    for name in filter(case.ANSWER.fullmatch, inputs):
        txtar.write(ANSWERS / " ".join((name, *inputs[name].notes)), inputs[name].body)


def laid_files(inputs):
    """Returns the content of each file that exists before the run."""
    files = {}
    for line in body(inputs, "cellular link").splitlines():
        name, value = line.split(" = ")
        files[pathlib.Path("/var/run", name)] = f"{value}\n".encode()
    for name, part in inputs.items():
        if name.startswith("before /"):
            path = pathlib.Path(name.removeprefix("before "))
            # /etc in the sandbox is that of the machine.
            path = ETC_LAYER / path.relative_to("/etc") if path.is_relative_to("/etc") else path
            files[path] = eval(part.body) if "bytes" in part.notes else txtar.encode(txtar.content(part))
    return files


def as_lines(lines):
    return "".join(f"{line}\n" for line in lines)


def watched_files():
    """Returns all files except the system database, by their paths in a case."""
    files = {re.sub("^/run/", "/var/run/", path): file for path, file in snapshot().items()}
    return {path: file for path, file in files.items() if not path.startswith(SYSTEM_DATABASE)}


def play_reader(runs, programs):
    """Returns the outputs, by name, of runs that only read configurations."""
    outcomes = []
    with tempfile.TemporaryDirectory() as directory:
        for run in runs:
            lay_configurations(run.inputs, pathlib.Path(directory))
            done = subprocess.run(command_of(run, programs), env=environment_of(run), cwd=directory,
                                  stdin=subprocess.DEVNULL, capture_output=True, check=False)
            outcomes.append(texts_by_name(done.returncode, done.stdout.decode(), done.stderr.decode()))
    return outcomes


def main(make_player=Player):
    parser = argparse.ArgumentParser()
    parser.add_argument("--programs", type=json.loads, required=True,
                        help="the command that runs each program")
    parser.add_argument("--variant", type=int, default=0)
    parser.add_argument("case", type=pathlib.Path)
    arguments = parser.parse_args()
    os.umask(0o022)
    # An intentional abort writes no core file.
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    try:
        player = make_player(arguments.programs)
        runs = case.runs_of(arguments.case, arguments.variant)
        json.dump([player.play(run) for run in runs], sys.stdout)
    except Failure as failure:
        sys.exit(str(failure))


if __name__ == "__main__":
    main()
