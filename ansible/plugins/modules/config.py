#!/usr/bin/python
# Copyright: 2026 the lanfab maintainers
"""Documents lanfab.gateway.config, which the action plugin of the same name carries out."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type

DOCUMENTATION = r"""
module: config
short_description: Apply a configuration to a gateway, and keep it only if the gateway can be reached
version_added: "1.1.0"
description:
  - Starts C(lanfab try) on the gateway, drops the connection, and connects again through the new network. The
    configuration is kept only if that works and nothing differs from it that was right before.
  - Otherwise nothing is confirmed, and the gateway goes back to the old configuration by itself, whatever
    becomes of the controller.
  - Nothing is done if the gateway has this configuration already and C(lanfab status) finds no difference.
  - In check mode the gateway checks the configuration and says what it would change.
  - With C(--diff) the difference of the gateway's files is shown below the change summary, without keys.
options:
  src:
    description: The configuration, a file on the controller. It is sent as it is.
    type: path
  content:
    description:
      - The configuration as a text.
      - Ansible may turn the text of a template into an object before the module gets it. It is then written
        anew, and an error such as a trailing comma is not found. Render templates to a file, as the playbooks
        do.
    type: raw
  new_host:
    description:
      - Where the gateway is to be reached when the new configuration is active.
      - Without it, this is the value that replaces the present address of the gateway in its configuration,
        if there is one. The host key must be the one that is known for the old address.
    type: str
extends_documentation_fragment:
  - lanfab.gateway.options.trial
notes:
  - The connection is C(ssh). The task needs root, so C(become) unless the user is root.
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
  description: What the configuration changes, in sentences.
  returned: when something changes
  type: list
  elements: str
findings:
  description: What C(lanfab check) or C(lanfab try) found.
  returned: when it fails
  type: list
  elements: str
drift:
  description: What differed from the old configuration before.
  returned: success
  type: list
  elements: str
host:
  description: Where the gateway was confirmed. Put it into the inventory if it is another one.
  returned: when the configuration was confirmed
  type: str
backup_file:
  description: The copy of the file that was replaced.
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
