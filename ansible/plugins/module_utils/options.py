# Copyright: 2026 the lanfab maintainers
"""The types and defaults of options that several modules, or a module and its action plugin, have."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type

# Of every module that runs lanfab.
EXECUTABLE = {"executable": {"type": "path"}}

# Of a configuration that a gateway tries.
TRIAL = {
    "timeout": {"type": "int", "default": 120},
    "probes": {"type": "list", "elements": "str", "default": []},
    "verify": {"type": "bool", "default": True},
    "backup": {"type": "bool", "default": False},
    "comment": {"type": "str", "default": ""},
}

# All that lanfab.gateway.config accepts.
CONFIG = {
    "argument_spec": dict(TRIAL, src={"type": "path"}, content={"type": "raw"}, new_host={"type": "str"}),
    "mutually_exclusive": [["src", "content"]],
    "required_one_of": [["src", "content"]],
}
