"""The example of each rule of `lanfab check`: in the case of the rule, a run that checks `example.json`,
which breaks the rule, and one that checks `corrected.json`, which has no finding.

docs/checks.md shows both, and so does `lanfab explain`.
"""

import dataclasses
import re

from . import case
from .checkout import TESTS

FOUND = re.compile(r"\[([a-z0-9-]+)\]$", re.MULTILINE)


@dataclasses.dataclass(frozen=True)
class Example:
    """A configuration, the command that checks it, and the names of the rules that it violates."""

    text: str
    command: str
    found: tuple


def case_of(rule):
    """Returns the path of the case of a rule."""
    directory = "allow" if rule.startswith("allow-") else "check"
    return TESTS / directory / f"{rule}.txtar"


def examples_of(rule):
    """Returns two examples, the wrong and the corrected one; raises LookupError."""
    return tuple(example_in(rule, name) for name in ("example.json", "corrected.json"))


def example_in(rule, name):
    for run in case.runs_of(case_of(rule), 0):
        if name in run.inputs:
            found = FOUND.findall(run.outputs["stdout"].body)
            return Example(run.inputs[name].body, run.command, tuple(found))
    raise LookupError(f"the case of {rule} has no {name}")
