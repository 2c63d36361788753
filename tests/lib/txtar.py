"""Reads and writes the format of a case: a comment, then parts that begin with a line `-- name --`.

A name may carry notes, `-- name: note, note --`; a command (`$ ...`) and a heading (`# ...`) carry none. What
is read can be written back byte for byte.
"""

import dataclasses
import re

HEADER = re.compile(r"-- (\S(?:.*\S)?) --")


class BadCase(Exception):
    """A malformed case."""


@dataclasses.dataclass(frozen=True)
class Part:
    """A part: its name, notes and lines; if it was read, also its index among the parts."""

    name: str
    notes: tuple = ()
    body: str = ""
    place: int = dataclasses.field(default=None, compare=False)

    def header(self):
        """The header line of the part."""
        return f"-- {self.name}{': ' if self.notes else ''}{', '.join(self.notes)} --\n"


def make_part(name, body="", notes=()):
    """Returns a part with any text; a note marks a last line without a line end."""
    if not body or body.endswith("\n"):
        return Part(name, tuple(notes), body)
    return Part(name, (*notes, "no final newline"), f"{body}\n")


def content(part):
    """Returns the text of a part."""
    return part.body.removesuffix("\n") if "no final newline" in part.notes else part.body


def lines_of(text):
    """Splits only at line feeds, and keeps them."""
    return re.findall(r"[^\n]*\n|[^\n]+", text)


def parse(text):
    """Parses a case; returns its comment and parts."""
    if text and not text.endswith("\n"):
        raise BadCase("the last line has no end")
    comment, parts = "", []
    for line in lines_of(text):
        match = HEADER.fullmatch(line.removesuffix("\n"))
        if match:
            parts.append(_part_of(match[1], len(parts)))
        elif parts:
            parts[-1] = dataclasses.replace(parts[-1], body=parts[-1].body + line)
        else:
            comment += line
    return comment, parts


def unparse(comment, parts):
    """Formats a comment and parts; the inverse of `parse`."""
    text = comment + "".join(part.header() + part.body for part in parts)
    if parse(text) != (comment, parts):
        raise BadCase("a line of an output looks like the beginning of a part")
    return text


def read(path):
    """Returns the content of a file with any bytes as text."""
    return decode(path.read_bytes())


def write(path, text):
    """Writes a text returned by `read`."""
    path.write_bytes(encode(text))


def decode(content):
    """Returns bytes as text."""
    return content.decode(errors="surrogateescape")


def encode(text):
    """Returns text as bytes; the inverse of `decode`."""
    return text.encode(errors="surrogateescape")


def _part_of(title, place):
    if title.startswith(("$", "#")):
        return Part(title, place=place)
    name, _, notes = title.partition(": ")
    return Part(name, tuple(notes.split(", ")) if notes else (), place=place)
