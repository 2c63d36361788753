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
    """The parts of one run by their names; `place` is that of the command among the scenario's parts."""

    command: str
    place: int
    inputs: dict
    outputs: dict = dataclasses.field(default_factory=dict)

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
    wanted = {only(part) for part in parts} - {None}
    if not parts or parts[0].name != "each":
        if wanted:
            raise BadScenario("a part is only there for a variant, and there are none")
        return [{}]
    names, *rows = (line.split() for line in parts[0].body.splitlines())
    if len(rows) < 2 or any(len(row) != len(names) for row in rows):
        raise BadScenario("each needs a line of names, then two or more lines with a value for each name")
    if wanted - {value for row in rows for value in row}:
        raise BadScenario("a part is only there for a value that the table lacks")
    return [dict(zip(names, row)) for row in rows]


def refuse_unused_variables(parts):
    """A variant without its value somewhere would be one that is silently missing."""
    used = {match[1] or match[2] for match in VARIABLE.finditer(txtar.unparse("", parts))}
    unused = variants(parts)[0].keys() - used
    if unused:
        raise BadScenario(f"nothing uses ${' or $'.join(sorted(unused))}")


def substitute(text, row):
    """Returns `text` with the values of the variables that `row` has; any other stays as it is."""
    return VARIABLE.sub(lambda match: row.get(match[1] or match[2], match[0]), text)


def only(part):
    """Returns the value for which alone a part is there, or None."""
    return next((note.removeprefix("only ") for note in part.notes if note.startswith("only ")), None)


def in_variant(parts, row):
    """Returns the parts that the variant of this row has, with its values."""
    return [dataclasses.replace(part, name=substitute(part.name, row), body=substitute(part.body, row),
                                notes=tuple(note for note in part.notes if note != f"only {only(part)}"))
            for part in parts if not row or only(part) is None or only(part) in row.values()]


def build(parts, output_notes=OUTPUT_NOTES):
    """Returns the scenario that these parts describe, or raises BadScenario."""
    scenario = Scenario(ports=True, runs=[])
    inputs, run = {}, None
    for part in parts:
        if part.name == "each" and part.place == 0:
            continue
        if part.name == "without ports" and not scenario.runs and not inputs:
            scenario.ports = False
            _refuse_lines(part)
        elif part.name.startswith("# "):
            run = None
        elif part.name.startswith("$ "):
            run = Run(_command(part), part.place, inputs)
            scenario.runs.append(run)
            inputs = {}
        elif _is_input(part.name):
            run = None
            _add(part, inputs, _input_notes(part.name))
        elif run is not None and is_output(part.name):
            _add(part, run.outputs, output_notes)
        else:
            raise BadScenario(f"a part cannot be called \"{part.name}\"{'' if run else ' before a command'}")
    if inputs or not scenario.runs:
        raise BadScenario("the last run has no command")
    return scenario


def is_output(name):
    """Whether a part of this name says what comes out."""
    return name in OUTPUTS or name.startswith("/")


def _is_input(name):
    return name in INPUTS or name.startswith("before /")


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
