# Copyright: 2026 the lanfab maintainers
"""Runs lanfab for the modules."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type

import json


def find_lanfab(module):
    """Returns the path of lanfab, or fails the task."""
    return module.params.get("executable") or module.get_bin_path(
        "lanfab", opt_dirs=["/usr/sbin", "/usr/bin"], required=False) or module.fail_json(
            msg="lanfab is not installed: install the package lanfab-tools")


def last_line(text):
    """Returns the last line of a program's output, which has the reason of a failure."""
    lines = [line.strip() for line in text.splitlines() if line.strip()]
    return lines[-1] if lines else "it failed without a message"


def ask_lanfab(module, *words):
    """Returns the JSON output of a lanfab command; the task fails if it is not valid."""
    _, out, err = module.run_command([find_lanfab(module), words[0], "--format", "json"] + list(words[1:]))
    try:
        return json.loads(out)
    except ValueError:
        module.fail_json(msg=last_line(err))


def problem_lines(files, strict=False):
    """Returns a line for each error in the output of `lanfab check --format json`, and with `strict` for each
    warning, too."""
    lines = []
    for entry in files:
        if "error" in entry:
            lines.append("%s: %s" % (entry["file"], entry["error"]))
        for finding in entry["findings"]:
            if strict or finding["severity"] == "error":
                lines.append("{0}:{line}:{column}: {message} [{rule}]".format(entry["file"], **finding))
    return lines


def drift_lines(status):
    """Returns a line for each difference in what `lanfab status --format json` prints, unless it is
    pending."""
    return ["%s: %s" % (one["subject"], one["what"]) for one in status["differences"] if not one["pending"]]
