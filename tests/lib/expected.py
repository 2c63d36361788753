"""The expected outcome of a run: the outputs in the case, and the usual ones for the rest.

An outcome maps names to outputs; a case uses the same names: "status", "log", the path of a file and so on.
There is no entry for a file that does not exist, an output without lines, or the status 0.
"""

import dataclasses
import difflib

from . import txtar
from .case import USUAL_NOTES, build, read
from .txtar import BadCase, Part

USUAL_MODE = 0o644
# In usual.txt, the position of the case's own lines.
PARTICULAR = "...\n"
NONE = Part("", ("none",))
DATABASE_UNCHANGED = Part("sysdb", ("unchanged",))


@dataclasses.dataclass(frozen=True)
class Output:
    """An output; the mode is that of a file."""

    text: str
    mode: int = USUAL_MODE


class Usual:
    """The usual output of each action and status."""

    def __init__(self, path):
        self.parts = {}
        for run in build(read(path)[1], USUAL_NOTES).runs if path.exists() else []:
            if run.inputs:
                raise BadCase(f"{path.name} has inputs")
            key = self._key(run, run.outputs.pop("status", None))
            self.parts[key] = {name: self._looked_up(part) for name, part in run.outputs.items()}

    def of(self, run, status, there):
        """Returns the usual output of this run with this status; for lanfab, the unchanged files."""
        if run.program() == "lanfab":
            return {name: Part(name, ("unchanged",)) for name in there}
        return self.parts.get(self._key(run, status), {})

    @staticmethod
    def _key(run, status):
        return " ".join(run.arguments()[:1]).lower(), status and status.body

    def _looked_up(self, part):
        action = note_after("as after ", part)
        return self.parts[action, None][part.name] if action else part


def before(run, previous):
    """Returns the state before a run, given the outcome of the previous one."""
    there = {name: output for name, output in previous.items() if name.startswith("/")}
    lines = txtar.lines_of(previous["sysdb"].text) if "sysdb" in previous else []
    lines += txtar.lines_of(run.inputs["before sysdb"].body) if "before sysdb" in run.inputs else []
    entries = dict(line.split(" = ", 1) for line in lines)
    if entries:
        ordered = sorted(entries, key=lambda name: name.rpartition("/"))
        there["sysdb"] = Output("".join(f"{name} = {entries[name]}" for name in ordered))
    return there


def expect(run, usual, there):
    """Returns the expected outcome of `run`; `there` is the state before it."""
    usual_parts = usual.of(run, run.outputs.get("status"), there)
    names = {"sysdb", *usual_parts, *run.outputs} - {"refused by dnsmasq"}
    outcome = {name: value_of(name, run.outputs, usual_parts, there) for name in names}
    return {name: output for name, output in outcome.items() if output is not None}


def value_of(name, parts, usual_parts, there):
    """Returns the expected output `name`, from its part or else the usual one; None if there is none."""
    part = parts.get(name)
    usual = usual_parts.get(name, DATABASE_UNCHANGED if name == "sysdb" else NONE)
    if part is None:
        original = note_after("same as ", usual)
        return value_of(original, parts, usual_parts, there) if original else _usual_output(usual, there)
    if "none" in part.notes:
        return None
    if "unchanged" in part.notes:
        if name not in there:
            raise BadCase(f"{name} cannot be unchanged: it was not there before")
        return there[name]
    head, tail = ("", "") if "whole" in part.notes else frame(usual)
    text = head + txtar.content(part) + tail
    # An exit status of 0 or an empty log is not an output, but an empty file is.
    return Output(text, _mode(part, usual)) if text or name.startswith("/") else None


def frame(usual):
    """Returns the lines of a usual part before and after those of the case; ("", "") if it has no others."""
    lines = txtar.lines_of(txtar.content(usual))
    if PARTICULAR not in lines:
        return "", ""
    place = lines.index(PARTICULAR)
    return "".join(lines[:place]), "".join(lines[place + 1:])


def note_after(beginning, part):
    """Returns the rest of the part's note with this beginning, or None."""
    return next((note.removeprefix(beginning) for note in part.notes if note.startswith(beginning)), None)


def _usual_output(usual, there):
    if "none" in usual.notes:
        return None
    if "unchanged" in usual.notes:
        return there.get(usual.name)
    text = "".join(line for line in txtar.lines_of(txtar.content(usual)) if line != PARTICULAR)
    return Output(text, _mode(usual, usual))


def _mode(part, usual):
    mode = note_after("mode ", part) or note_after("mode ", usual)
    return int(mode, 8) if mode else USUAL_MODE


def describe_differences(expected, actual):
    """Returns the differences between two outcomes; "" if there are none."""
    names = sorted(expected.keys() | actual.keys())
    return "".join(_describe(name, expected.get(name), actual.get(name))
                   for name in names if expected.get(name) != actual.get(name))


def _describe(name, expected, actual):
    if actual is None:
        return f"missing: {name}\n" + _with_sign("-", expected.text)
    if expected is None:
        return f"not expected: {name}\n" + _with_sign("+", actual.text)
    text = "".join(difflib.unified_diff(_for_diff(expected.text), _for_diff(actual.text),
                                        f"expected {name}", f"actual {name}"))
    if actual.mode != expected.mode:
        text += f"mode {actual.mode:04o} instead of {expected.mode:04o}: {name}\n"
    return text


def _with_sign(sign, text):
    return "".join(sign + line for line in _for_diff(text))


def _for_diff(text):
    return [line if line.endswith("\n") else f"{line}\n\\ No newline at end of file\n"
            for line in txtar.lines_of(text)]
