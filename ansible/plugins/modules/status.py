#!/usr/bin/python
# Copyright: 2026 the lanfab maintainers
"""Reports whether a gateway matches its configuration."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type

DOCUMENTATION = r"""
module: status
short_description: Report whether a gateway matches its configuration
version_added: "1.1.0"
description:
  - Returns the results of C(lanfab status) as facts. It changes nothing, with or without check mode.
  - Without C(become), facts that only root can read are missing.
extends_documentation_fragment:
  - lanfab.gateway.options
"""

EXAMPLES = r"""
- name: Query the gateway
  lanfab.gateway.status:

- name: Fail if the gateway differs from its configuration
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
      description: The status of the gateway.
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
          description: The trial in progress, or null.
          returned: always
          type: str
        last_trial:
          description: How the last trial ended, or null.
          returned: always
          type: str
        status:
          description: The whole output of C(lanfab status --format json).
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
