"""A scenario as it is written: its runs, and its variants when it has a table of them."""

import dataclasses
import re
import shlex

from . import txtar
from .txtar import BadScenario

INPUTS = {"network.json", "cellular link", "before sysdb", "services", "umask", "prepare", "steps"}
OUTPUTS = ("status", "stdout", "stderr", "commands", "log", "sysdb", "removed", "refused by dnsmasq")
NO_NOTES = re.compile("(?!)")
FILE_NOTES = re.compile("bytes|no final newline")
NETWORK_JSON_NOTES = re.compile(r"none|examples/[\w-]+|no final newline")
OUTPUT_NOTES = re.compile("unchanged|none|whole|no final newline|mode 0[0-7]{3}")
USUAL_NOTES = re.compile(r"unchanged|mode 0[0-7]{3}|same as /[\w./]+|as after [\w]+")
BARE_NOTES = re.compile("unchanged|none|examples/.*|same as .*|as after .*")
PROGRAM = "cmd_lanfab"
VARIABLE = re.compile(r"\$(?:(\w+)|\{(\w+)\})")


@dataclasses.dataclass
class Run:
    """The parts of one run; `first` and `end` are the places of its outputs among the scenario's parts."""

    command: str
    inputs: dict
    outputs: dict = dataclasses.field(default_factory=dict)
    first: int = 0
    end: int = 0

    def arguments(self):
        """The command line after the program's name."""
        return shlex.split(self.command)[1:]


@dataclasses.dataclass
class Scenario:
    """A scenario of which every variable has its value."""

    ports: bool
    runs: list


def variants(parts):
    """Returns the rows of the table `each`, or one empty row; each is what its variables stand for."""
    if not parts or parts[0].name != "each":
        return [{}]
    names, *rows = (line.split() for line in parts[0].body.splitlines())
    if len(rows) < 2 or any(len(row) != len(names) for row in rows):
        raise BadScenario("each needs a line of names, then two or more lines with a value for each name")
    text = txtar.unparse("", parts[1:])
    used = {plain or braced for plain, braced in VARIABLE.findall(text)}
    if set(names) - used:
        raise BadScenario(f"nothing uses ${' or $'.join(sorted(set(names) - used))}")
    return [dict(zip(names, row)) for row in rows]


def substitute(text, row):
    """Returns `text` with the values of the variables that `row` has; any other stays as it is."""
    return VARIABLE.sub(lambda match: row.get(match[1] or match[2], match[0]), text)


def in_variant(parts, row):
    """Returns the parts with the values of one row. They keep their places."""
    def value(part):
        return txtar.Part(substitute(part.name, row), tuple(substitute(note, row) for note in part.notes),
                          substitute(part.body, row))
    return [value(part) for part in parts] if row else parts


def build(parts, output_notes=OUTPUT_NOTES):
    """Returns the scenario that these parts describe, or raises BadScenario."""
    parts = list(parts)
    scenario = Scenario(ports=True, runs=[])
    inputs, run = {}, None
    for place, part in enumerate(parts):
        if part.name == "each" and place == 0:
            continue
        if part.name == "without ports" and not scenario.runs and not inputs:
            scenario.ports = False
            _refuse_lines(part)
        elif part.name.startswith("# "):
            run = None
        elif part.name.startswith("$ "):
            run = Run(_command(part), inputs, first=place + 1, end=place + 1)
            scenario.runs.append(run)
            inputs = {}
        elif _is_input(part.name):
            run = None
            _add(part, inputs, _input_notes(part.name))
        elif run is not None and _is_output(part.name):
            _add(part, run.outputs, output_notes)
            run.end = place + 1
        else:
            raise BadScenario(f"a part cannot be called \"{part.name}\"{'' if run else ' before a command'}")
    if inputs or not scenario.runs:
        raise BadScenario("the last run has no command")
    return scenario


def _is_input(name):
    return name in INPUTS or name.startswith("before /")


def _is_output(name):
    return name in OUTPUTS or name.startswith("/")


def _input_notes(name):
    if name == "network.json":
        return NETWORK_JSON_NOTES
    return FILE_NOTES if name.startswith("before /") else NO_NOTES


def _command(part):
    words = shlex.split(part.name[2:])
    _refuse_lines(part)
    if words[:1] != [PROGRAM]:
        raise BadScenario(f"a command is {PROGRAM} and its arguments: {part.name}")
    return part.name[2:]


def _add(part, parts, notes):
    """Adds a part to those of its run. One that is there twice, or that is not understood, is a mistake."""
    if part.name in parts:
        raise BadScenario(f"{part.name} is there twice")
    for note in part.notes:
        if not notes.fullmatch(note):
            raise BadScenario(f"{part.name} cannot be \"{note}\"")
        if BARE_NOTES.fullmatch(note):
            _refuse_lines(part)
    if part.name == "refused by dnsmasq":
        _refuse_lines(part)
    parts[part.name] = part


def _refuse_lines(part):
    if part.body:
        raise BadScenario(f"{part.header().strip()} has no lines")
