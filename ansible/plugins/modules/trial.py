#!/usr/bin/python
# Copyright: 2026 the lanfab maintainers
"""Runs the steps of lanfab.gateway.config on the gateway."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type

DOCUMENTATION = r"""
module: trial
short_description: Run a step of lanfab.gateway.config on the gateway
version_added: "1.1.0"
description:
  - The action plugin of M(lanfab.gateway.config) runs this module on the gateway. Do not use it in playbooks,
    since it confirms a configuration without a test of the new network.
options:
  stage:
    description: Whether to begin a trial, to query its state, or to confirm it.
    type: str
    choices: [begin, look, confirm]
    required: true
  content:
    description: The configuration, in base64.
    type: str
    default: ""
  host:
    description: The present address of the gateway.
    type: str
    default: ""
extends_documentation_fragment:
  - lanfab.gateway.options
  - lanfab.gateway.options.trial
"""

EXAMPLES = r"""
- name: Query the state of the trial of this roll-out
  lanfab.gateway.trial:
    stage: look
  become: true
"""

RETURN = r"""
state:
  description:
    - C(running) until the trial is active, C(active) until the module has C(confirmed) it or it has
      C(ended); C(refused) if it cannot be confirmed, for example because it is being rolled back.
  returned: stage look or confirm
  type: str
findings:
  description: The messages of lanfab.
  returned: stage look
  type: list
  elements: str
differences:
  description: New differences from the configuration, or another reason why it was not confirmed.
  returned: stage confirm
  type: list
  elements: str
"""

import base64
import json
import os
import re
import shutil

from ansible.module_utils.basic import AnsibleModule
from ansible_collections.lanfab.gateway.plugins.module_utils.lanfab import (
    ask_lanfab, drift_lines, find_lanfab, last_line, problem_lines)
from ansible_collections.lanfab.gateway.plugins.module_utils.options import EXECUTABLE, TRIAL

INSTALLED = "/etc/lanfab/network.json"
STATE = "/run/lanfab/trial.json"
OUTCOME = "/run/lanfab/outcome.json"
# In memory, and only for root: configurations have keys.
DIRECTORY = "/run/lanfab-rollout"
FILE = DIRECTORY + "/network.json"
OUTPUT = DIRECTORY + "/output"
STATUS = DIRECTORY + "/status"
BEFORE = DIRECTORY + "/before.json"

# Starts after the module and its connection have ended, since the trial may cut the connection. The output is
# complete once there is an exit status.
SCRIPT = 'sleep 1; "$@" >%s 2>&1; echo $? >%s.new; mv %s.new %s' % (OUTPUT, STATUS, STATUS, STATUS)


def read(path):
    """Returns the bytes of a file; none if there is no such file."""
    try:
        with open(path, "rb") as file:
            return file.read()
    except FileNotFoundError:
        return b""


def write(path, content):
    with open(path, "wb") as file:
        file.write(content)


def values_of(value, path=()):
    """Yields each string, number and boolean of a JSON value, with its path."""
    if isinstance(value, (dict, list)):
        for key, member in value.items() if isinstance(value, dict) else enumerate(value):
            for found in values_of(member, path + (key,)):
                yield found
    else:
        yield path, value


def parse(content):
    """Returns the values of a configuration by their paths; a configuration may have comments."""
    text = re.sub(r'("(?:\\.|[^"\\])*")|//[^\n]*|/\*.*?\*/', lambda match: match.group(1) or "",
                  content.decode("utf-8", "replace"), flags=re.DOTALL)
    try:
        return dict(values_of(json.loads(text)))
    except (ValueError, RecursionError):
        return {}


def find_new_host(old, new, host):
    """Returns the string that replaces the address in the configuration, or the address itself."""
    new_values = parse(new)
    for path, value in parse(old).items():
        if value == host and isinstance(new_values.get(path), str):
            return new_values[path]
    return host


def check_gateway(module):
    """Fails the task unless a trial can begin here. Returns what `lanfab status` prints."""
    if os.geteuid() != 0:
        module.fail_json(msg="this module must run as root: set become to true")
    lanfab = find_lanfab(module)
    if module.run_command([lanfab, "try", "--help"])[0] != 0:
        module.fail_json(msg=lanfab + " is too old, it has no command try: upgrade the package lanfab-tools")
    status = ask_lanfab(module, "status")
    if status.get("trial"):
        module.fail_json(msg="a trial is in progress: " + status["trial"])
    return status


def lay_files(module, content, status):
    """Writes the files for the trial, and removes those of a roll-out whose controller was killed."""
    if module.run_command(["systemctl", "is-active", "--quiet", "lanfab-rollout.service"])[0] == 0:
        module.fail_json(msg="another roll-out is in progress on this gateway")
    shutil.rmtree(DIRECTORY, ignore_errors=True)
    os.mkdir(DIRECTORY, 0o700)
    write(FILE, content)
    write(BEFORE, json.dumps(drift_lines(status)).encode())


def find_changes(module):
    """Fails the task if `lanfab check` finds an error. Returns the change summary and the diff."""
    errors = problem_lines(ask_lanfab(module, "check", FILE))
    if errors:
        shutil.rmtree(DIRECTORY)
        module.fail_json(msg=errors[0], findings=errors)
    changes = ask_lanfab(module, "diff", FILE)
    lines = changes["sentences"] + [one["sentence"] for one in changes["interrupts"]]
    texts = ["".join("# %s\n" % line for line in lines)] + [one["diff"] for one in changes["files"]]
    return {"summary": lines, "diff": {"prepared": "".join(texts)}}


def start(module):
    """Starts the trial in its own service, which outlives the connection."""
    words = ["systemd-run", "--quiet", "--collect", "--unit=lanfab-rollout"]
    for name in ("SUDO_USER", "SSH_CONNECTION"):
        if os.environ.get(name):
            words.append("--setenv=%s=%s" % (name, os.environ[name]))
    words += ["sh", "-c", SCRIPT, "sh", find_lanfab(module), "try"]
    words += ["--timeout", str(module.params["timeout"])]
    for probe in module.params["probes"]:
        words += ["--probe", probe]
    if not module.params["verify"]:
        words.append("--no-verify")
    status, _, err = module.run_command(words + [FILE])
    if status != 0:
        module.fail_json(msg="could not start the trial: " + last_line(err))


def begin(module, content):
    status = check_gateway(module)
    drift = drift_lines(status)
    installed = read(INSTALLED)
    if content == installed and not drift:
        return {"changed": False, "drift": []}
    lay_files(module, content, status)
    result = dict(find_changes(module), changed=True, drift=drift)
    if module.check_mode:
        shutil.rmtree(DIRECTORY)
        return result
    if module.params["backup"] and installed:
        result["backup_file"] = module.backup_local(INSTALLED)
    start(module)
    return dict(result, host=find_new_host(installed, content, module.params["host"]))


def read_own(path):
    """Returns the JSON object in a file of lanfab, if it is about the trial of this roll-out; or nothing."""
    try:
        value = json.loads(read(path).decode())
    except ValueError:
        return {}
    return value if value.get("file") == FILE else {}


def look(module, _):
    if not os.path.exists(DIRECTORY):
        module.fail_json(msg="the trial is gone: the gateway was rebooted, or has rolled back")
    findings = read(OUTPUT).decode("utf-8", "replace").splitlines()
    status = read(STATUS).decode().strip()
    if not status:
        return {"changed": False, "state": "running", "findings": findings}
    if status == "0" and read_own(STATE):
        return {"changed": False, "state": "active", "findings": findings}
    ended = ask_lanfab(module, "status").get("last_trial") if status == "0" else None
    shutil.rmtree(DIRECTORY)
    return {"changed": False, "state": "ended", "findings": findings + ([ended] if ended else [])}


def confirm(module, _):
    if read_own(OUTCOME).get("ending") == "confirmed":
        # The result of an earlier confirmation was lost.
        return {"changed": True, "state": "confirmed", "differences": []}
    if not read_own(STATE):
        return {"changed": False, "state": "ended", "differences": []}
    if module.params["verify"]:
        before = json.loads(read(BEFORE).decode())
        differences = [line for line in drift_lines(ask_lanfab(module, "status")) if line not in before]
        if differences:
            return {"changed": False, "state": "active", "differences": differences}
    words = ["-m", module.params["comment"]] if module.params["comment"] else []
    status, _, err = module.run_command([find_lanfab(module), "confirm"] + words)
    if status == 1:
        # The trial has ended since its state was read, for example.
        reason = last_line(err).replace("lanfab: ", "", 1)
        return {"changed": False, "state": "refused", "differences": [reason]}
    if status != 0:
        module.fail_json(msg=last_line(err))
    shutil.rmtree(DIRECTORY)
    return {"changed": True, "state": "confirmed", "differences": []}


def main():
    module = AnsibleModule(
        argument_spec=dict(
            EXECUTABLE, stage={"type": "str", "choices": ["begin", "look", "confirm"], "required": True},
            content={"type": "str", "default": "", "no_log": True}, host={"type": "str", "default": ""},
            **TRIAL),
        supports_check_mode=True)
    stage = {"begin": begin, "look": look, "confirm": confirm}[module.params["stage"]]
    try:
        result = stage(module, base64.b64decode(module.params["content"]))
    except OSError as error:
        module.fail_json(msg="%s: %s" % (error.filename or DIRECTORY, error.strerror))
    module.exit_json(**result)


if __name__ == "__main__":
    main()
