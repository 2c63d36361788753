"""Plays a variant of a scenario like the case runner, with a preview directly before each run. Prints the
outcome of each preview as JSON, or the reason why a preview cannot have that run's initial state.

Runs inside the sandbox; truth_test.py starts it.
"""

import json
import os
import pathlib
import subprocess
import tempfile

from lib import play, txtar
from lib.sandbox import File

ACTIONS = ("apply", "wwan_apply", "dnsmasq")
# The only command that a preview runs outside the sandbox.
ASKED = "systemctl is-active --quiet systemd-networkd\n"


class PreviewFailure(play.Failure):
    """A preview changed a file, called another tool, or reported inconsistent results."""


def why_not(run):
    """Returns why a preview cannot have the initial state of this run; None if it can."""
    if "steps" in run.inputs:
        return "something happens while the program runs"
    if len(run.arguments()) != 1 or run.arguments()[0].lower() not in ACTIONS:
        return "the command line is none that a preview plays"
    if not play.CONFIGURATION.exists():
        return "there is no configuration"
    return None


class Previewer(play.Player):
    """A player that previews each run before playing it."""

    def __init__(self, programs):
        super().__init__(programs)
        self.run = None
        self.previewed = None

    def play(self, run):
        super().play(run)
        return self.previewed

    def _prepare(self, run):
        super()._prepare(run)
        self.run = run
        self.previewed = why_not(run) or self._preview()

    def _preview(self):
        before = play.watched_files()
        database = play.read_system_database()
        with tempfile.TemporaryDirectory() as directory:
            outcome = self._outcome_of_preview(before, database, directory)
        if play.watched_files() != before or play.read_system_database() != database:
            raise PreviewFailure("the preview changed a file")
        # If the outcome is an error, there was no run.
        if play.RECORDED_COMMANDS.read_text() != ("" if isinstance(outcome, str) else ASKED):
            raise PreviewFailure(f"the preview called: {play.RECORDED_COMMANDS.read_text()}")
        play.RECORDED_COMMANDS.write_text("")
        return outcome

    def _outcome_of_preview(self, before, database, directory):
        umask = int(play.body(self.run.inputs, "umask") or "022", 8)
        words = ["--cell=here", f"--action={self.run.arguments()[0].lower()}",
                 f"--program={self.programs['cmd_lanfab'][-1]}", "--format=json", "-o", directory]
        done = subprocess.run([*self.programs["lanfab"], "preview", play.CONFIGURATION, *words],
                              stdin=subprocess.DEVNULL, capture_output=True, check=False, umask=umask,
                              env={**os.environ, **play.SANITIZER_OPTIONS})
        if done.returncode == 2 and b": error: " in done.stderr:
            return "the configuration cannot be parsed"
        if done.returncode not in (0, 1) or done.stderr:
            raise PreviewFailure(f"the preview ends with {done.returncode}: {done.stderr.decode()}")
        said = json.loads(done.stdout)
        if (said["status"] == 0) != (done.returncode == 0):
            raise PreviewFailure(
                f"the preview of a run that ends with {said['status']} ends with {done.returncode}")
        outcome = play.texts_by_name(
            said["status"], said["stdout"], said["stderr"].replace(str(play.CONFIGURATION.parent), "$CONFIG"),
            log=play.as_lines(map(log_line, said["messages"])),
            commands=play.as_lines(map(" ".join, said["commands"])),
            sysdb=play.as_lines(merge(database, said["database"])),
            removed=play.as_lines(said["removed"]))
        for path, file in files_after(before, said, pathlib.Path(directory)).items():
            if self.laid.get(path) != file.content:
                outcome[path] = txtar.decode(file.content), file.mode
        return outcome


def log_line(message):
    text = message["text"].replace(str(play.CONFIGURATION), "$CONFIG/network.json")
    return f"{message['priority']} {text}".replace("\n", "\\n")


def merge(database, written):
    """Returns the lines of the system database after the writes, sorted like the runner's."""
    entries = dict(line.split(" = ", 1) for line in database) | written
    return [f"{key} = {entries[key]}" for key in sorted(entries, key=lambda key: key.rpartition("/"))]


def files_after(before, said, directory):
    """Returns the files after the run: those before it with the changes that the preview reports.

    `directory` has the files that the preview has written; fails if they differ from its report.
    """
    after = {path: file for path, file in before.items() if path not in said["removed"]}
    for file in said["files"]:
        below = directory / file["path"].lstrip("/")
        after[file["path"]] = File(int(file["mode"], 8), below.read_bytes())
        if below.stat().st_mode & 0o7777 != int(file["mode"], 8):
            raise PreviewFailure(f"the mode of {below} is not {file['mode']}")
        if below.read_text(errors="replace") != file["content"]:
            raise PreviewFailure(f"the content of {below} is not {file['content']!r}")
    return after


if __name__ == "__main__":
    play.main(Previewer)
