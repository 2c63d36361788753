"""Rewrites what a scenario expects. Parts that say the right thing already stay as they are written."""

import re

from . import scenario, txtar
from .expected import NONE, before, frame, value_of
from .scenario import OUTPUTS
from .txtar import BadScenario, Part, make_part


def update(comment, parts, usual, outcomes):
    """Returns the text of the scenario that expects `outcomes`, which holds those of each variant's runs."""
    rows = scenario.variants(parts)
    rewritten = [_update_variant(scenario.in_variant(parts, row), usual, played)
                 for row, played in zip(rows, outcomes)]
    return txtar.unparse(comment, _in_common(parts, rows, rewritten))


def _update_variant(parts, usual, outcomes):
    """Returns pairs of a part and its old place, which is None for a new part."""
    result, place, previous = [], 0, {}
    for run, outcome in zip(scenario.build(parts).runs, outcomes):
        result += [(part, old) for old, part in enumerate(parts[place:run.first], place)]
        old_places = {id(part): old for old, part in enumerate(parts[run.first:run.end], run.first)}
        rewritten = _RunUpdate(run, usual, before(run, previous), outcome).parts()
        result += [(part, old_places.get(id(part))) for part in rewritten]
        place, previous = run.end, outcome
    return result


class _RunUpdate:
    """Makes the outputs of one run say what came out of it."""

    def __init__(self, run, usual, there, outcome):
        self.outputs = dict(run.outputs)
        self.usual_parts = {}
        self.there = there
        self.outcome = outcome
        # What is usual depends on the status.
        self._correct("status")
        self.usual_parts = usual.of(run, self.outputs.get("status"))

    def parts(self):
        """Returns the parts, of which those that were right are still the same objects."""
        names = {"sysdb", *self.outputs, *self.usual_parts, *self.outcome} - {"status", "refused by dnsmasq"}
        for name in sorted(names, key=_order):
            self._correct(name)
        return list(self.outputs.values())

    def _correct(self, name):
        if self._is_right(name, self.outputs.get(name)):
            return
        part = next(part for part in self._candidates(name) if self._is_right(name, part))
        if part is None:
            del self.outputs[name]
        elif name in self.outputs:
            self.outputs[name] = part
        else:
            self._insert(part)

    def _is_right(self, name, part):
        try:
            says = value_of(name, {**self.outputs, name: part}, self.usual_parts, self.there)
        except BadScenario:
            return False
        return says == self.outcome.get(name)

    def _candidates(self, name):
        """Yields what a part can be, from short to long; the first that is right is the best."""
        yield None
        yield Part(name, ("none",))
        yield Part(name, ("unchanged",))
        output = self.outcome[name]
        head, tail = frame(self.usual_parts.get(name, NONE))
        for mode in ((), (f"mode {output.mode:04o}",)):
            if output.text.startswith(head) and output.text[len(head):].endswith(tail):
                yield make_part(name, output.text[len(head):len(output.text) - len(tail)], mode)
            yield make_part(name, output.text, ("whole", *mode))

    def _insert(self, part):
        following = [name for name in self.outputs if _order(name) > _order(part.name)]
        self.outputs[part.name] = part
        for name in following:
            self.outputs[name] = self.outputs.pop(name)


def _order(name):
    # What dnsmasq thinks of its file stands after it.
    if name == "refused by dnsmasq":
        name = "/var/run/dnsmasq.conf "
    return (OUTPUTS.index(name), "") if name in OUTPUTS else (len(OUTPUTS), name)


def _in_common(parts, rows, rewritten):
    """Turns the parts of all variants back into parts with variables."""
    if len({len(variant) for variant in rewritten}) > 1:
        raise BadScenario("the variants no longer agree: different outputs come out of their runs")
    written = {tuple(scenario.substitute(line, row) for row in rows): line
               for part in parts for line in (part.header(), *txtar.lines_of(part.body))}
    result = []
    for pairs in zip(*rewritten):
        old_places = {old for _, old in pairs}
        if None not in old_places and len(old_places) == 1:
            result.append(parts[old_places.pop()])
        else:
            texts = [part.header() + part.body for part, _ in pairs]
            result += txtar.parse(with_variables(texts, rows, written))[1]
    return result


def with_variables(texts, rows, written):
    """Returns the one text of which each row makes the text of its variant."""
    variants = [txtar.lines_of(text) for text in texts]
    if len({len(lines) for lines in variants}) > 1:
        raise BadScenario("the variants no longer agree:\n" + "--- or\n".join(texts))
    return "".join(written.get(lines) or _line_with_variables(lines, rows) for lines in zip(*variants))


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
            raise BadScenario("the variants no longer agree:\n" + "".join(lines))
        text += f"${{{name}}}" if name else characters.pop()
        places = [place + len(row[name] if name else "x") for place, row in zip(places, rows)]
    # Braces are needed before a letter or a digit alone.
    return re.sub(r"\$\{(\w+)\}(?!\w)", r"$\1", text)
