"""Rewrites the expected output of a case. Parts that are correct stay unchanged."""

import dataclasses
import itertools
import re

from . import case, txtar
from .case import OUTPUTS
from .expected import NONE, before, frame, value_of
from .txtar import BadCase, Part, make_part


def update(parts, usual, outcomes):
    """Returns the parts of the case that expects `outcomes`, those of the runs of each variant."""
    rows = case.variants(parts)
    variants = [_Variant(row, case.in_variant(parts, row), usual, played)
                for row, played in zip(rows, outcomes)]
    result = []
    for part in parts:
        result += _in_common(part, variants, parts)
    for place, *added in zip(variants[0].added, *(variant.added.values() for variant in variants)):
        if len({len(additions) for additions in added}) > 1:
            raise BadCase("the variants no longer agree: different outputs come out of their runs")
        for additions in zip(*added):
            _insert(_merged(additions, rows, parts), place, result, rows[0])
    return result


class _Variant:
    """A variant, as written and as updated."""

    def __init__(self, row, parts, usual, outcomes):
        self.row = row
        self.written = {part.place: part for part in parts}
        self.corrected = dict(self.written)
        # The parts to add, by the index of the command.
        self.added = {}
        previous = {}
        for run, outcome in zip(case.build(parts).runs, outcomes):
            corrected = _RunUpdate(run, usual, before(run, previous), outcome).parts()
            for part in run.outputs.values():
                self.corrected[part.place] = corrected.pop(part.name, None)
            self.added[run.place] = list(corrected.values())
            previous = outcome


class _RunUpdate:
    """Updates the outputs of a run to its outcome."""

    def __init__(self, run, usual, there, outcome):
        self.outputs = dict(run.outputs)
        self.usual_parts = {}
        self.there = there
        self.outcome = outcome
        # The usual output depends on the status.
        self._correct("status")
        self.usual_parts = usual.of(run, self.outputs.get("status"), there)

    def parts(self):
        """Returns the parts by name; those that were correct are the same objects as before."""
        names = {"sysdb", *self.outputs, *self.usual_parts, *self.outcome} - {"status", "refused by dnsmasq"}
        for name in sorted(names, key=_order):
            self._correct(name)
        return self.outputs

    def _correct(self, name):
        if self._is_right(name, self.outputs.get(name)):
            return
        part = next(part for part in self._candidates(name) if self._is_right(name, part))
        if part is None:
            del self.outputs[name]
        else:
            self.outputs[name] = part

    def _is_right(self, name, part):
        try:
            says = value_of(name, {**self.outputs, name: part}, self.usual_parts, self.there)
        except BadCase:
            return False
        return says == self.outcome.get(name)

    def _candidates(self, name):
        """Yields the possible forms of a part, from short to long; the first correct one is the best."""
        yield None
        yield Part(name, ("none",))
        yield Part(name, ("unchanged",))
        output = self.outcome[name]
        head, tail = frame(self.usual_parts.get(name, NONE))
        for mode in ((), (f"mode {output.mode:04o}",)):
            if output.text.startswith(head) and output.text[len(head):].endswith(tail):
                yield make_part(name, output.text[len(head):len(output.text) - len(tail)], mode)
            yield make_part(name, output.text, ("whole", *mode))


def _order(name):
    # The part `refused by dnsmasq` follows dnsmasq.conf.
    if name == "refused by dnsmasq":
        name = "/var/run/dnsmasq.conf "
    return (OUTPUTS.index(name), "") if name in OUTPUTS else (len(OUTPUTS), name)


def _in_common(part, variants, parts):
    """Returns the part on which the variants agree instead of `part`, as a list of one part, or an empty
    list."""
    variants = [variant for variant in variants if part.place in variant.written]
    new = [variant.corrected[part.place] for variant in variants]
    if all(corrected is variant.written[part.place] for corrected, variant in zip(new, variants)):
        return [part]
    if None in new:
        if any(new):
            raise BadCase(f"the variants no longer agree: {part.name} comes out of some of them")
        return []
    merged = _merged(new, [variant.row for variant in variants], parts)
    notes = merged.notes if case.only(part) is None else (*merged.notes, f"only {case.only(part)}")
    return [dataclasses.replace(merged, notes=notes, place=part.place)]


def _merged(versions, rows, parts):
    """Returns the part that each row expands to its version, with lines of `parts` where possible."""
    written = {tuple(case.substitute(line, row) for row in rows): line
               for part in parts for line in (part.header(), *txtar.lines_of(part.body))}
    text = with_variables([part.header() + part.body for part in versions], rows, written)
    return dataclasses.replace(txtar.parse(text)[1][0], place=None)


def _insert(part, place, parts, row):
    """Inserts a part into the outputs of the run whose command is at `place`, in the order of the first
    row."""
    def order(other):
        return _order(case.substitute(other.name, row))
    index = 1 + next(index for index, other in enumerate(parts) if other.place == place)
    outputs = itertools.takewhile(lambda other: case.is_output(other.name), parts[index:])
    index += sum(order(other) < order(part) for other in outputs)
    parts.insert(index, part)


def with_variables(texts, rows, written):
    """Returns a text that becomes one of `texts` with the values of each row. `written` maps the versions of
    a line to the line in the case, which is preferred."""
    versions = [txtar.lines_of(text) for text in texts]
    if len({len(lines) for lines in versions}) > 1:
        raise BadCase("the variants no longer agree:\n" + "--- or\n".join(texts))
    return "".join(written.get(lines) or _line_with_variables(lines, rows) for lines in zip(*versions))


def _line_with_variables(lines, rows):
    names = [name for name in rows[0] if len({row[name] for row in rows}) > 1]
    names.sort(key=lambda name: -len(rows[0][name]))
    places, text = [0] * len(lines), ""
    while any(place < len(line) for line, place in zip(lines, places)):
        rests = [line[place:] for line, place in zip(lines, places)]
        name = next((name for name in names
                     if all(rest.startswith(row[name]) for rest, row in zip(rests, rows))), None)
        characters = {rest[:1] for rest in rests}
        if name is None and len(characters) > 1:
            raise BadCase("the variants no longer agree:\n" + "".join(lines))
        text += f"${{{name}}}" if name else characters.pop()
        places = [place + len(row[name] if name else "x") for place, row in zip(places, rows)]
    # Braces are only needed before a letter or a digit.
    return re.sub(r"\$\{(\w+)\}(?!\w)", r"$\1", text)
