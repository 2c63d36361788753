# Copyright: 2026 the lanfab maintainers
"""Types and defaults of the options that several modules, or a module and its action plugin, share."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type

# The option of every module that runs lanfab.
EXECUTABLE = {"executable": {"type": "path"}}

# The options of a trial.
TRIAL = {
    "timeout": {"type": "int", "default": 120},
    "probes": {"type": "list", "elements": "str", "default": []},
    "verify": {"type": "bool", "default": True},
    "backup": {"type": "bool", "default": False},
    "comment": {"type": "str", "default": ""},
}

# The arguments of lanfab.gateway.config.
CONFIG = {
    "argument_spec": dict(TRIAL, src={"type": "path"}, content={"type": "raw"}, new_host={"type": "str"}),
    "mutually_exclusive": [["src", "content"]],
    "required_one_of": [["src", "content"]],
}
