#!/usr/bin/python
# Copyright: 2026 the lanfab maintainers
"""Reports whether a gateway is as its configuration wants it."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type

DOCUMENTATION = r"""
module: status
short_description: Report whether a gateway is as its configuration wants it
version_added: "1.1.0"
description:
  - Returns what C(lanfab status) finds as facts. It changes nothing, with and without check mode.
  - Without C(become) the gateway shows what an ordinary user may see.
extends_documentation_fragment:
  - lanfab.gateway.options
"""

EXAMPLES = r"""
- name: Look at the gateway
  lanfab.gateway.status:

- name: Fail if it differs from its configuration
  ansible.builtin.assert:
    that: lanfab.drift == []
"""

RETURN = r"""
ansible_facts:
  description: The facts.
  returned: always
  type: dict
  contains:
    lanfab:
      description: What the gateway reports.
      returned: always
      type: dict
      contains:
        version:
          description: The version of lanfab.
          returned: always
          type: str
        drift:
          description: A line for each difference that is not pending.
          returned: always
          type: list
          elements: str
        leases:
          description: The DHCP leases; null if they cannot be read.
          returned: always
          type: list
          elements: dict
        runs:
          description: The last runs of cmd_lanfab; null if they cannot be read.
          returned: always
          type: list
          elements: dict
        trial:
          description: The trial that is under way, or null.
          returned: always
          type: str
        last_trial:
          description: How the last trial ended, or null.
          returned: always
          type: str
        status:
          description: All that C(lanfab status --format json) prints.
          returned: always
          type: dict
"""

from ansible.module_utils.basic import AnsibleModule
from ansible_collections.lanfab.gateway.plugins.module_utils.lanfab import (
    ask_lanfab, drift_lines, find_lanfab)
from ansible_collections.lanfab.gateway.plugins.module_utils.options import EXECUTABLE


def main():
    module = AnsibleModule(argument_spec=dict(EXECUTABLE), supports_check_mode=True)
    status = ask_lanfab(module, "status")
    _, version, _ = module.run_command([find_lanfab(module), "--version"])
    facts = {"status": status, "drift": drift_lines(status)}
    facts["version"] = version.replace("lanfab", "", 1).strip()
    for name in ("leases", "runs", "trial", "last_trial"):
        facts[name] = status.get(name)
    module.exit_json(changed=False, ansible_facts={"lanfab": facts})


if __name__ == "__main__":
    main()
