"""Parses a case: its runs, and its variants if it has a table of them."""

import dataclasses
import itertools
import re
import shlex

from . import txtar
from .txtar import BadCase, Part

INPUTS = {"network.json", "cellular link", "before sysdb", "services", "umask", "prepare", "steps"}
CONFIGURATION = re.compile(r"[\w-]+\.json")
# The name of a part with the output of a tool for `lanfab status`: the tool and one of its arguments.
ANSWER = re.compile(r"(ip|networkctl|systemctl|journalctl) \S+")
OUTPUTS = ("stdout", "status", "stderr", "commands", "log", "sysdb", "removed", "refused by dnsmasq")
NO_NOTES = re.compile("(?!)")
ANSWER_NOTES = re.compile("fails")
FILE_NOTES = re.compile("bytes|no final newline")
CONFIGURATION_NOTES = re.compile(r"none|examples/[\w-]+|no final newline")
OUTPUT_NOTES = re.compile("unchanged|none|whole|no final newline|mode 0[0-7]{3}")
USUAL_NOTES = re.compile(r"unchanged|mode 0[0-7]{3}|same as /[\w./]+|as after [\w]+")
BARE_NOTES = re.compile("unchanged|none|examples/.*|same as .*|as after .*")
PROGRAMS = ("cmd_lanfab", "lanfab")
SETTING = re.compile(r"(\w+)=(.*)")
# The commands of lanfab that only access the given files.
READER = re.compile(r"lanfab (check --offline|graph)\b")
VARIABLE = re.compile(r"\$(?:(\w+)|\{(\w+)\})")


@dataclasses.dataclass
class Run:
    """The parts of a run by name; `place` is the index of the command among the case's parts."""

    command: str
    place: int
    inputs: dict
    outputs: dict = dataclasses.field(default_factory=dict)

    def words(self):
        """The command line without its environment variables."""
        return list(itertools.dropwhile(SETTING.fullmatch, shlex.split(self.command)))

    def program(self):
        """One of PROGRAMS."""
        return self.words()[0]

    def arguments(self):
        """The command line after the program's name."""
        return self.words()[1:]

    def settings(self):
        """The environment variables at the beginning of the command line."""
        words = itertools.takewhile(SETTING.fullmatch, shlex.split(self.command))
        return dict(word.split("=", 1) for word in words)


@dataclasses.dataclass
class Case:
    """A case after substitution of its variables."""

    ports: bool
    runs: list

    def needs_sandbox(self):
        """Whether a run does more than reading configurations and printing."""
        return not all(READER.match(" ".join(run.words())) and all(map(CONFIGURATION.fullmatch, run.inputs))
                       for run in self.runs)


def read(path):
    """Returns the comment and the parts of a case. The lines below a command become a part `stdout`."""
    comment, parts = txtar.parse(txtar.read(path))
    return comment, split(parts)


def runs_of(path, variant):
    """Returns the runs of a variant, by its number."""
    parts = read(path)[1]
    return build(in_variant(parts, variants(parts)[variant])).runs


def configurations(path):
    """Yields the configurations of a case, except those of examples."""
    parts = read(path)[1]
    for row in variants(parts):
        for part in in_variant(parts, row):
            if part.name == "network.json" and part.body:
                yield txtar.content(part)


def write(path, comment, parts):
    """Writes what `read` returned."""
    txtar.write(path, txtar.unparse(comment, join(parts)))


def split(parts):
    """Returns the parts, with the output of each command in a separate part."""
    result = []
    for part in parts:
        if part.name.startswith("$ ") and part.body:
            result += [dataclasses.replace(part, body=""), Part("stdout", (), part.body)]
        else:
            result.append(part)
    return [dataclasses.replace(part, place=place) for place, part in enumerate(result)]


def join(parts):
    """The inverse of `split`: moves each `stdout` without notes into the part of its command."""
    result = []
    for part in parts:
        if part.name == "stdout" and not part.notes and result[-1].name.startswith("$ "):
            result[-1] = dataclasses.replace(result[-1], body=part.body)
        else:
            result.append(part)
    return result


def variants(parts):
    """Returns the rows of the table `each`, or one empty row; each maps variables to their values."""
    wanted = {only(part) for part in parts} - {None}
    if not parts or parts[0].name != "each":
        if wanted:
            raise BadCase("a part is only there for a variant, and there are none")
        return [{}]
    names, *rows = (line.split() for line in parts[0].body.splitlines())
    if len(rows) < 2 or any(len(row) != len(names) for row in rows):
        raise BadCase("each needs a line of names, then two or more lines with a value for each name")
    if wanted - {value for row in rows for value in row}:
        raise BadCase("a part is only there for a value that the table lacks")
    return [dict(zip(names, row)) for row in rows]


def refuse_unused_variables(parts):
    """Raises BadCase if a variable is not used, since the variants would then be identical."""
    used = {match[1] or match[2] for match in VARIABLE.finditer(txtar.unparse("", parts))}
    unused = variants(parts)[0].keys() - used
    if unused:
        raise BadCase(f"nothing uses ${' or $'.join(sorted(unused))}")


def substitute(text, row):
    """Returns `text` with the variables in `row` replaced; others are unchanged."""
    return VARIABLE.sub(lambda match: row.get(match[1] or match[2], match[0]), text)


def only(part):
    """Returns the value of the variants to which a part is limited, or None."""
    return next((note.removeprefix("only ") for note in part.notes if note.startswith("only ")), None)


def in_variant(parts, row):
    """Returns the parts of the variant of this row, with its values."""
    return [dataclasses.replace(part, name=substitute(part.name, row), body=substitute(part.body, row),
                                notes=tuple(note for note in part.notes if note != f"only {only(part)}"))
            for part in parts if not row or only(part) is None or only(part) in row.values()]


def build(parts, output_notes=OUTPUT_NOTES):
    """Builds the case from its parts; raises BadCase."""
    case = Case(ports=True, runs=[])
    inputs, run = {}, None
    for part in parts:
        if part.name == "each" and part.place == 0:
            continue
        if part.name == "without ports" and not case.runs and not inputs:
            case.ports = False
            _refuse_lines(part)
        elif part.name.startswith("# "):
            run = None
        elif part.name.startswith("$ "):
            run = Run(_command(part), part.place, inputs)
            case.runs.append(run)
            inputs = {}
        elif _is_input(part.name):
            run = None
            _add(part, inputs, _input_notes(part.name))
        elif run is not None and is_output(part.name):
            _add(part, run.outputs, output_notes)
        else:
            raise BadCase(f"a part cannot be called \"{part.name}\"{'' if run else ' before a command'}")
    if inputs or not case.runs:
        raise BadCase("the last run has no command")
    return case


def is_output(name):
    """Whether a part of this name is an output."""
    return name in OUTPUTS or name.startswith("/")


def _is_input(name):
    return (name in INPUTS or name.startswith("before /") or CONFIGURATION.fullmatch(name) is not None
            or ANSWER.fullmatch(name) is not None)


def _input_notes(name):
    if CONFIGURATION.fullmatch(name):
        return CONFIGURATION_NOTES
    if ANSWER.fullmatch(name):
        return ANSWER_NOTES
    return FILE_NOTES if name.startswith("before /") else NO_NOTES


def _command(part):
    command = part.name[2:]
    words = Run(command, part.place, {}).words()
    if not words or words[0] not in PROGRAMS or (words[0] == "lanfab" and len(words) == 1):
        raise BadCase(f"a command is {' or '.join(PROGRAMS)} and its arguments: {part.name}")
    return command


def _add(part, parts, notes):
    """Adds a part to its run. Raises BadCase for a duplicate or unknown part."""
    if part.name in parts:
        raise BadCase(f"{part.name} is there twice")
    for note in part.notes:
        if not notes.fullmatch(note):
            raise BadCase(f"{part.name} cannot be \"{note}\"")
        if BARE_NOTES.fullmatch(note):
            _refuse_lines(part)
    if part.name == "refused by dnsmasq":
        _refuse_lines(part)
    parts[part.name] = part


def _refuse_lines(part):
    if part.body:
        raise BadCase(f"{part.header().strip()} has no lines")
