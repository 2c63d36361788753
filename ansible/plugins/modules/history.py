#!/usr/bin/python
# Copyright: 2026 the lanfab maintainers
"""Lists the configurations that were confirmed on a gateway."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type

DOCUMENTATION = r"""
module: history
short_description: List the configurations that were confirmed on a gateway
version_added: "1.1.0"
description:
  - Returns the entries of C(lanfab history), the latest one first. This module changes nothing.
  - Only root can read the history; use C(become).
extends_documentation_fragment:
  - lanfab.gateway.options
"""

EXAMPLES = r"""
- name: List the confirmed configurations
  lanfab.gateway.history:
  become: true
  register: confirmed

- name: Show the comment of the latest one
  ansible.builtin.debug:
    msg: "{{ confirmed.entries[0].comment }}"
"""

RETURN = r"""
entries:
  description:
    - For each configuration the I(number), the I(time) in seconds since 1970, I(who) confirmed it, the
      I(comment) and the I(sha256). For a damaged entry, the I(number) and the I(damage).
  returned: always
  type: list
  elements: dict
"""

from ansible.module_utils.basic import AnsibleModule
from ansible_collections.lanfab.gateway.plugins.module_utils.lanfab import ask_lanfab
from ansible_collections.lanfab.gateway.plugins.module_utils.options import EXECUTABLE


def main():
    module = AnsibleModule(argument_spec=dict(EXECUTABLE), supports_check_mode=True)
    module.exit_json(changed=False, entries=ask_lanfab(module, "history")["entries"])


if __name__ == "__main__":
    main()
