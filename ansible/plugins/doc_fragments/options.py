# Copyright: 2026 the lanfab maintainers
"""The documentation of options that several modules have; module_utils/options.py has their types."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type


class ModuleDocFragment(object):
    DOCUMENTATION = r"""
options:
  executable:
    description: The program lanfab, unless it is where programs are looked for.
    type: path
requirements:
  - lanfab (package lanfab-tools)
author:
  - the lanfab maintainers (@lanfab)
"""

    # Of a configuration that a gateway tries.
    TRIAL = r"""
options:
  timeout:
    description: Seconds after which the gateway goes back to the old configuration unless it is confirmed.
    type: int
    default: 120
  probes:
    description: Shell commands that must succeed on the gateway while the new configuration is active.
    type: list
    elements: str
    default: []
  verify:
    description: Whether a difference that C(lanfab status) did not find before prevents the confirmation.
    type: bool
    default: true
  backup:
    description: Whether to keep a copy of the installed file beside it.
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
