"""Builds programs with a change of one source file, to show that a test or another program notices it."""

import json
import os
import pathlib
import shlex
import subprocess

from .checkout import CHECKOUT


class NotPlanted(Exception):
    """A change that cannot be made."""


def _changed_source(file, old, new):
    source = (CHECKOUT / file).read_text()
    if source.count(old) != 1:
        raise NotPlanted(f"{file} has the text {source.count(old)} times, not once: {old}")
    return source.replace(old, new)


def _compile_command(build, file):
    """The words that compile a source file, without the file and its outputs."""
    path = str(CHECKOUT / file)
    commands = json.loads((build / "compile_commands.json").read_text())
    entry = next(command for command in commands if command["file"] == path)
    words = shlex.split(entry["command"])
    return words[:words.index("-o")] + [f"-I{os.path.dirname(path)}"]


def _link_command(build, target):
    """The words that link a target, without its output, and the place where an object can be added."""
    listing = subprocess.run(["ninja", "-C", build, "-t", "commands", target],
                             check=True, capture_output=True, text=True).stdout
    line = listing.splitlines()[-1].removeprefix(": && ").removesuffix(" && :")
    words = shlex.split(line)
    place = words.index("-o")
    return words[:place], words[place + 2:]


def build_with(file, old, new, build, targets, scratch):
    """Compiles a file of the checkout with `new` in the place of `old`, and links the targets of a build with
    that, below the directory `scratch`. Returns the programs, or raises NotPlanted."""
    source, compiled = scratch / pathlib.Path(file).name, scratch / "planted.o"
    source.write_text(_changed_source(file, old, new))
    # What the compiler says of the change is no matter.
    command = [*_compile_command(build, file), "-w", "-o", compiled, "-c", source]
    subprocess.run(command, check=True, cwd=build)
    programs = [scratch / target for target in targets]
    for target, program in zip(targets, programs):
        before, after = _link_command(build, target)
        # Ahead of the libraries, so that the linker leaves the library's own version alone.
        subprocess.run([*before, "-o", program, compiled, *after], check=True, cwd=build)
    return programs
