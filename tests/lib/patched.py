"""Checks that the output of `lanfab diff` is correct: patch(1) applies it to the files of one configuration,
and the result must be the files of the other one."""

import re
import shutil
import subprocess

COPY = re.compile(r"^(/\S+) differs as (/\S+) does$", re.MULTILINE)
COMMANDS = re.compile("^--- commands$", re.MULTILINE)


def differences(words, text, programs, directory):
    """Returns the differences between the patched files of the old configuration and those of the new one, or
    "" if there are none. Also returns "" if `words`, the arguments of `lanfab diff`, do not name two
    configurations or select another output."""
    configurations = [word for word in words if word.endswith(".json")]
    if len(configurations) != 2 or {"--summary", "--format=json"} & set(words):
        return ""
    options = [word for word in words if word not in configurations]
    old, new = (_previewed(name, options, programs, directory) for name in configurations)
    files = COMMANDS.split(COPY.sub("", text))[0]
    # Without a hunk, only empty files may differ, and patch(1) has nothing to do.
    said = _patch(old, files) if "\n@@ " in files else ""
    for copy, original in COPY.findall(text):
        shutil.copyfile(f"{old}{original}", f"{old}{copy}")
    before, after = _contents(old), _contents(new)
    wrong = sorted(name for name in before | after if before.get(name) != after.get(name))
    return said + "".join(f"{name}\n" for name in wrong)


def _patch(directory, text):
    """Returns the error of patch(1); "" on success."""
    command = ["patch", "--silent", "--remove-empty-files", "--strip=1", f"--directory={directory}"]
    return subprocess.run(command, input=text, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                          check=False).stdout


def _previewed(name, options, programs, directory):
    """Returns a directory with the files of a configuration."""
    files = directory / f"{name}.files"
    words = [*options, f"--program={programs['cmd_lanfab'][-1]}", "-o", files, name]
    subprocess.run([*programs["lanfab"], "preview", *words], cwd=directory, stdin=subprocess.DEVNULL,
                   capture_output=True, check=False)
    return files


def _contents(directory):
    """Returns the files below a directory except empty ones, which patch(1) neither creates nor removes."""
    return {str(path.relative_to(directory)): path.read_bytes() for path in directory.rglob("*")
            if path.is_file() and path.stat().st_size > 0}
