#!/usr/bin/python
# Copyright: 2026 the lanfab maintainers
"""Documents lanfab.gateway.config. The action plugin of the same name implements it."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type

DOCUMENTATION = r"""
module: config
short_description: Apply a configuration to a gateway, and confirm it only if the gateway can be reached
version_added: "1.1.0"
description:
  - Starts C(lanfab try) on the gateway, drops the connection, and connects again through the new network.
  - Confirms the configuration only if the new connection works and C(lanfab status) finds no new difference.
  - Otherwise the gateway rolls back to the previous configuration on its own, even if the controller has
    crashed or lost the network.
  - Does nothing if the gateway already has this configuration and C(lanfab status) finds no difference.
  - In check mode, the gateway checks the configuration and reports what it would change.
  - With C(--diff), the output has the changes of the gateway's files below the change summary, without keys.
options:
  src:
    description: Path of the configuration on the controller. The file is sent unchanged.
    type: path
  content:
    description:
      - The configuration as a string.
      - Ansible may convert the output of a template to an object before it passes it to the module. The
        object is then serialized again, which hides errors such as a trailing comma. Render templates to a
        file instead, as the playbooks do.
    type: raw
  new_host:
    description:
      - Address of the gateway while the new configuration is active.
      - By default, this is the value that replaces the present address of the gateway in its configuration,
        or the present address if nothing replaces it. The host key must be the one of the old address.
    type: str
extends_documentation_fragment:
  - lanfab.gateway.options.trial
notes:
  - Requires a connection of the type C(ssh), and root. Use C(become) unless the user is root.
seealso:
  - module: lanfab.gateway.check
  - module: lanfab.gateway.status
"""

EXAMPLES = r"""
- name: Apply the configuration
  lanfab.gateway.config:
    src: "rendered/{{ inventory_hostname }}.json"
    comment: second uplink
    probes:
      - ping -c 1 -W 2 192.0.2.5
  become: true

- name: Move the gateway to another address
  lanfab.gateway.config:
    src: moved.json
    new_host: 10.20.0.1
    timeout: 300
  become: true
"""

RETURN = r"""
summary:
  description: The change summary, one sentence per change.
  returned: when something changes
  type: list
  elements: str
findings:
  description: The findings of C(lanfab check) or the messages of C(lanfab try).
  returned: when it fails
  type: list
  elements: str
drift:
  description: Differences from the previous configuration before the change.
  returned: success
  type: list
  elements: str
host:
  description: Address at which the configuration was confirmed. If it is new, update the inventory.
  returned: when the configuration was confirmed
  type: str
backup_file:
  description: Path of the copy of the file that was replaced.
  returned: with I(backup)
  type: str
"""

from ansible.module_utils.basic import AnsibleModule
from ansible_collections.lanfab.gateway.plugins.module_utils.options import CONFIG


def main():
    module = AnsibleModule(supports_check_mode=True, **CONFIG)
    module.fail_json(msg="lanfab.gateway.config runs on the controller only")


if __name__ == "__main__":
    main()
