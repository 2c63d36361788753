"""Builds programs with a mutation of a source file, to check that a test or another program detects it."""

import json
import os
import pathlib
import shlex
import subprocess

from .checkout import CHECKOUT


class MutationError(Exception):
    """The original text of a mutation does not occur exactly once."""


def _changed_source(file, old, new):
    source = (CHECKOUT / file).read_text()
    if source.count(old) != 1:
        raise MutationError(f"{file}: expected this text once, found it {source.count(old)} times: {old}")
    return source.replace(old, new)


def _compile_command(build, file):
    """Returns the command that compiles a source file, without the file and its outputs; and, if it compiles
    the directory of the file as one file, the text of that one, else None."""
    path = str(CHECKOUT / file)
    commands = json.loads((build / "compile_commands.json").read_text())
    for command in commands:
        together = pathlib.Path(command["file"])
        text = together.read_text() if "Unity" in together.parts else None
        if command["file"] == path or text and f'#include "{path}"' in text:
            words = shlex.split(command["command"])
            return words[:words.index("-o")] + [f"-I{os.path.dirname(path)}"], text
    raise MutationError(f"{file}: not compiled in {build}")


def _link_command(build, target):
    """Returns the command that links a target, without its output, split where an object can be added."""
    listing = subprocess.run(["ninja", "-C", build, "-t", "commands", target],
                             check=True, capture_output=True, text=True).stdout
    line = listing.splitlines()[-1].removeprefix(": && ").removesuffix(" && :")
    words = shlex.split(line)
    index = words.index("-o")
    return words[:index], words[index + 2:]


def build_with(file, old, new, build, targets, scratch):
    """Compiles a source file with `new` instead of `old`, and links the targets of a build with the result in
    the directory `scratch`. Returns the paths of the programs; raises MutationError."""
    source, compiled = scratch / pathlib.Path(file).name, scratch / "mutated.o"
    source.write_text(_changed_source(file, old, new))
    command, together = _compile_command(build, file)
    if together is not None:
        source = scratch / "together.cpp"
        source.write_text(together.replace(str(CHECKOUT / file), str(scratch / pathlib.Path(file).name)))
    # Without warnings, such as about code that the mutation made unused.
    command += ["-w", "-o", compiled, "-c", source]
    subprocess.run(command, check=True, cwd=build)
    programs = [scratch / target for target in targets]
    for target, program in zip(targets, programs):
        before, after = _link_command(build, target)
        # Before the libraries, so that the linker prefers it to the library's version.
        subprocess.run([*before, "-o", program, compiled, *after], check=True, cwd=build)
    return programs
