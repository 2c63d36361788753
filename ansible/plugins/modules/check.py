#!/usr/bin/python
# Copyright: 2026 the lanfab maintainers
"""Checks configurations on the controller."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type

DOCUMENTATION = r"""
module: check
short_description: Check configurations before they are sent to gateways
version_added: "1.1.0"
description:
  - Runs C(lanfab check) on files, and fails if one of them has an error.
  - Use it with C(delegate_to=localhost), so that an invalid file stops the play before it connects to a
    gateway.
  - This module changes nothing, with or without check mode.
options:
  files:
    description: Paths of the configurations, on the machine where the module runs.
    type: list
    elements: path
    required: true
  strict:
    description: Whether warnings count as errors.
    type: bool
    default: false
extends_documentation_fragment:
  - lanfab.gateway.options
"""

EXAMPLES = r"""
- name: Check the configuration of this gateway on the controller
  lanfab.gateway.check:
    files:
      - "rendered/{{ inventory_hostname }}.json"
  delegate_to: localhost
"""

RETURN = r"""
files:
  description: The name and the findings of each file, as C(lanfab check --format json) prints them.
  returned: always
  type: list
  elements: dict
errors:
  description: A line for each error.
  returned: always
  type: list
  elements: str
"""

from ansible.module_utils.basic import AnsibleModule
from ansible_collections.lanfab.gateway.plugins.module_utils.lanfab import ask_lanfab, problem_lines
from ansible_collections.lanfab.gateway.plugins.module_utils.options import EXECUTABLE


def main():
    module = AnsibleModule(
        argument_spec=dict(
            EXECUTABLE, files={"type": "list", "elements": "path", "required": True},
            strict={"type": "bool", "default": False}),
        supports_check_mode=True)
    if not module.params["files"]:
        module.exit_json(changed=False, files=[], errors=[])
    files = ask_lanfab(module, "check", *module.params["files"])
    errors = problem_lines(files, module.params["strict"])
    if errors:
        more = " (and %d more)" % (len(errors) - 1) if len(errors) > 1 else ""
        module.fail_json(msg=errors[0] + more, files=files, errors=errors)
    module.exit_json(changed=False, files=files, errors=[])


if __name__ == "__main__":
    main()
