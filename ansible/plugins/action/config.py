# Copyright: 2026 the lanfab maintainers
"""Confirms a configuration only after the gateway was reached again through its new network."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type

import base64
import json
import re
import time

from ansible.errors import AnsibleError
from ansible.module_utils.common.text.converters import to_bytes, to_text
from ansible.plugins.action import ActionBase
from ansible_collections.lanfab.gateway.plugins.module_utils.lanfab import last_line
from ansible_collections.lanfab.gateway.plugins.module_utils.options import CONFIG

# Time after the end of a trial in which the gateway may not be reachable yet.
ROLLBACK_SECONDS = 30
# A connection to a host that is gone must not hang.
KEEP_ALIVE = "-o ServerAliveInterval=5 -o ServerAliveCountMax=2"


def reason_of(error):
    """Returns the reason that ssh or Ansible printed, in one line."""
    return re.sub("^.* (?:over|via) ssh: ", "", last_line(to_text(error)))


class Failure(Exception):
    """A failure of the task: the reason in one line, and further members of the result."""

    def __init__(self, message, **result):
        super(Failure, self).__init__(message)
        self.result = result


class ActionModule(ActionBase):
    _supports_check_mode = True
    _supports_async = False

    def run(self, tmp=None, task_vars=None):
        result = super(ActionModule, self).run(tmp, task_vars)
        dummy, options = self.validate_argument_spec(**CONFIG)
        self._variables = task_vars
        self._old_host = self._option("host") or self._play_context.remote_addr
        self._old_options = {name: self._option(name) or "" for name in ("host", "ssh_extra_args")}
        try:
            self._connect_to(self._old_host, is_new_connection=False)
            result.update(self._change(self._content(options), options))
        except AnsibleError as error:
            # With "unreachable" instead of "failed", Ansible might go on to the next wave.
            result.update(failed=True, msg="%s: %s" % (self._old_host, reason_of(error)))
        except Failure as failure:
            result.update(failure.result, failed=True, msg="%s: %s" % (self._old_host, failure))
        finally:
            self._leave()
        return result

    def _content(self, options):
        """Returns the bytes of the configuration."""
        content = options["content"]
        if content is None:
            try:
                path = self._loader.get_real_file(self._find_needle("files", options["src"]))
                with open(path, "rb") as file:
                    return file.read()
            except (AnsibleError, OSError) as error:
                raise Failure("%s: %s" % (options["src"], reason_of(error)))
        if isinstance(content, (dict, list)):
            content = json.dumps(content, indent=2) + "\n"
        return to_bytes(content)

    def _change(self, content, options):
        """Returns the result of the task."""
        passed = {name: options[name] for name in ("timeout", "probes", "verify", "backup")}
        begun = self._ask("begin", host=self._old_host, content=to_text(base64.b64encode(content)), **passed)
        new_host = options["new_host"] or begun.pop("host", "")
        if not begun["changed"] or self._task.check_mode:
            return begun
        # The gateway starts its own timer a moment later.
        end = time.monotonic() + options["timeout"] + ROLLBACK_SECONDS
        self._await_activation(new_host, end)
        self._confirm(new_host, options, end)
        return dict(begun, host=new_host)

    def _await_activation(self, new_host, end):
        """Waits until the trial is active and the gateway can be reached at its new address."""
        hosts = [new_host] if new_host == self._old_host else [new_host, self._old_host]
        reason = "the trial did not become active"
        while time.monotonic() < end:
            for host in hosts:
                self._connect_to(host)
                try:
                    seen = self._ask("look")
                except AnsibleError as error:
                    reason = reason_of(error)
                    continue
                if seen["state"] == "ended":
                    raise Failure(self._reason(seen["findings"]), findings=seen["findings"])
                if seen["state"] == "active" and host == new_host:
                    return
            time.sleep(0.5)
        raise Failure("not reached at %s through the new network, so not confirmed: the gateway rolls back "
                      "by itself (%s)" % (new_host, reason))

    @staticmethod
    def _reason(findings):
        """Returns the errors of `lanfab try`, and how the trial ended."""
        errors = [line for line in findings if line.startswith("lanfab: ")]
        lines = errors or findings[-1:] or ["the trial has ended without a message"]
        return "not confirmed: " + "; ".join(line.replace("lanfab: ", "", 1) for line in lines)

    def _confirm(self, new_host, options, end):
        """Confirms the trial through a connection that did not exist before it was active."""
        seen = []
        while True:
            self._connect_to(new_host)
            try:
                done = self._ask("confirm", verify=options["verify"], comment=options["comment"])
            except AnsibleError as error:
                done = {"state": "unknown", "differences": [reason_of(error)]}
            if done["state"] == "confirmed":
                return
            # What was seen before the rollback began is why there is one.
            has_ended = done["state"] in ("ended", "refused")
            if not has_ended or not seen:
                seen = done["differences"] or ["the trial has ended"]
            if has_ended or time.monotonic() > end - ROLLBACK_SECONDS:
                raise Failure("not confirmed, the gateway rolls back by itself: " + seen[0], findings=seen)
            time.sleep(1)

    def _ask(self, stage, **arguments):
        """Runs a stage on the gateway and returns its result; the task fails if the stage fails."""
        done = self._execute_module(module_name="lanfab.gateway.trial", task_vars=self._variables,
                                    module_args=dict(arguments, stage=stage))
        done.pop("invocation", None)
        if done.get("failed"):
            output = done.pop("module_stderr", "") or done.pop("module_stdout", "")
            raise Failure(last_line(output) if output else done["msg"], findings=done.get("findings", []))
        return done

    def _option(self, name):
        try:
            return self._connection.get_option(name)
        except KeyError:
            return None

    def _connect_to(self, host, is_new_connection=True):
        """Makes the next module run at this address, which must have the host key of the old one."""
        if self._old_options["host"] == "":
            return
        extra = [self._old_options["ssh_extra_args"], KEEP_ALIVE]
        if host != self._old_host:
            port = self._option("port") or 22
            alias = self._old_host if int(port) == 22 else "[%s]:%s" % (self._old_host, port)
            extra.append("-o HostKeyAlias=" + alias)
        if is_new_connection:
            self._connection.reset()
        self._connection.set_option("host", host)
        self._connection.set_option("ssh_extra_args", " ".join(extra).strip())

    def _leave(self):
        """Makes the next task connect as the inventory defines."""
        for name, value in self._old_options.items():
            if self._old_options["host"]:
                self._connection.set_option(name, value)
