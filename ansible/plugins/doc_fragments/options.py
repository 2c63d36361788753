# Copyright: 2026 the lanfab maintainers
"""Documents the options that several modules share; module_utils/options.py has their types."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type


class ModuleDocFragment(object):
    DOCUMENTATION = r"""
options:
  executable:
    description: Path of lanfab, if it is not in a standard directory for programs.
    type: path
requirements:
  - lanfab (package lanfab-tools)
author:
  - the lanfab maintainers (@lanfab)
"""

    # Options of a trial.
    TRIAL = r"""
options:
  timeout:
    description: Seconds after which the gateway rolls back unless the new configuration is confirmed.
    type: int
    default: 120
  probes:
    description: Shell commands that must succeed on the gateway while the new configuration is active.
    type: list
    elements: str
    default: []
  verify:
    description: Whether a new difference in C(lanfab status) prevents the confirmation.
    type: bool
    default: true
  backup:
    description: Whether to keep a copy of the installed file next to it.
    type: bool
    default: false
  comment:
    description: A comment for C(lanfab history).
    type: str
    default: ""
requirements:
  - lanfab (package lanfab-tools)
  - systemd on the gateway
author:
  - the lanfab maintainers (@lanfab)
"""
