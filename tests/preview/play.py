"""Plays one variant of a scenario as the runner of the scenarios does, and prints what `lanfab preview` said
of each run just before it, as JSON: an outcome, or the reason why a preview cannot be given that run's
start.

Runs inside the sandbox; `truth` starts it.
"""

import argparse
import json
import os
import pathlib
import resource
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent / "scenarios"))

from runner import play, scenario, txtar  # noqa: E402  (found by the line above)

ACTIONS = ("apply", "wwan_apply", "dnsmasq")
# All that a preview asks of the machine's tools.
ASKED = "systemctl is-active --quiet systemd-networkd\n"


class PreviewFailure(Exception):
    """A preview that did something that it must not do."""


def why_not(run):
    """Returns why a preview cannot be given the start of this run, None when it can."""
    if "steps" in run.inputs:
        return "something happens while the program runs"
    if len(run.arguments()) != 1 or run.arguments()[0].lower() not in ACTIONS:
        return "the command line is none that a preview plays"
    if not play.CONFIGURATION.exists():
        return "there is no configuration"
    return None


class Previewer(play.Player):
    """A player that has each run previewed before it is played."""

    def __init__(self, program, lanfab):
        super().__init__(program)
        self.lanfab = lanfab
        self.run = None
        self.previewed = None

    def play(self, run):
        self.run = run
        super().play(run)
        return self.previewed

    def _prepare(self, inputs):
        super()._prepare(inputs)
        reason = why_not(self.run)
        self.previewed = reason or self._preview()

    def _preview(self):
        before = contents(play.watched_files())
        database = play.read_system_database()
        with tempfile.TemporaryDirectory() as directory:
            outcome = self._outcome_of_preview(before, database, directory)
        if contents(play.watched_files()) != before or play.read_system_database() != database:
            raise PreviewFailure("the preview changed a file")
        if play.RECORDED_COMMANDS.read_text() != ASKED:
            raise PreviewFailure(f"the preview called: {play.RECORDED_COMMANDS.read_text()}")
        play.RECORDED_COMMANDS.write_text("")
        return outcome

    def _outcome_of_preview(self, before, database, directory):
        umask = int(play.body(self.run.inputs, "umask") or "022", 8)
        action = self.run.arguments()[0].lower()
        command = [
            self.lanfab,
            "preview",
            play.CONFIGURATION,
            "--cell=here",
            f"--action={action}",
            f"--program={self.program[0]}",
            "--format=json",
            "-o",
            directory,
        ]
        done = subprocess.run(
            command,
            stdin=subprocess.DEVNULL,
            capture_output=True,
            check=False,
            umask=umask,
            env={**os.environ, **play.SANITIZER_OPTIONS},
        )
        if done.returncode not in (0, 1) or done.stderr:
            raise PreviewFailure(f"the preview ends with {done.returncode}: {done.stderr.decode()}")
        said = json.loads(done.stdout)
        if (said["status"] == 0) != (done.returncode == 0):
            raise PreviewFailure(
                f"the preview of a run that ends with {said['status']} ends with " f"{done.returncode}"
            )
        texts = {
            "status": f"{said['status']}\n" if said["status"] else "",
            "stdout": said["stdout"],
            "stderr": said["stderr"].replace(str(play.CONFIGURATION.parent), "$CONFIG"),
            "log": play.as_lines(log_line(message) for message in said["messages"]),
            "commands": play.as_lines(" ".join(command) for command in said["commands"]),
            "sysdb": play.as_lines(merge(database, said["database"])),
            "removed": play.as_lines(said["removed"]),
        }
        outcome = {name: (text, play.USUAL_MODE) for name, text in texts.items() if text}
        for path, (content, mode) in files_after(before, said, pathlib.Path(directory)).items():
            if self.laid.get(path) != content:
                outcome[path] = content.decode(errors="surrogateescape"), mode
        return outcome


def log_line(message):
    text = message["text"].replace(str(play.CONFIGURATION), "$CONFIG/network.json")
    return f"{message['priority']} {text}".replace("\n", "\\n")


def merge(database, written):
    """Returns the lines of the system database with what was written, sorted as the runner has them."""
    entries = dict(line.split(" = ", 1) for line in database) | written
    return [f"{key} = {entries[key]}" for key in sorted(entries, key=lambda key: key.rpartition("/"))]


def contents(files):
    """Returns the content and the mode of files by their path."""
    return {name: (path.read_bytes(), path.stat().st_mode & 0o7777) for name, path in files.items()}


def files_after(before, said, directory):
    """Returns what is there after the run: what was there before, and what the preview says became of it."""
    after = {path: file for path, file in before.items() if path not in said["removed"]}
    for file in said["files"]:
        below = directory / file["path"].lstrip("/")
        after[file["path"]] = below.read_bytes(), int(file["mode"], 8)
        if below.stat().st_mode & 0o7777 != int(file["mode"], 8):
            raise PreviewFailure(f"the mode of {below} is not {file['mode']}")
        if below.read_text(errors="replace") != file["content"]:
            raise PreviewFailure(f"the content of {below} is not {file['content']!r}")
    return after


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--program", required=True)
    parser.add_argument("--lanfab", required=True)
    parser.add_argument("--variant", type=int, default=0)
    parser.add_argument("scenario", type=pathlib.Path)
    arguments = parser.parse_args()
    os.umask(0o022)
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    parts = txtar.parse(txtar.read(arguments.scenario))[1]
    row = scenario.variants(parts)[arguments.variant]
    player = Previewer([arguments.program], arguments.lanfab)
    try:
        runs = scenario.build(scenario.in_variant(parts, row)).runs
        json.dump([player.play(run) for run in runs], sys.stdout)
    except (play.Failure, PreviewFailure) as failure:
        sys.exit(str(failure))


if __name__ == "__main__":
    main()
