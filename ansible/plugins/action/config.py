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

# After the end of a trial the gateway may need this long until it can be asked how it ended.
ROLLBACK_SECONDS = 30
# A connection whose other end has gone must not hang.
KEEP_ALIVE = "-o ServerAliveInterval=5 -o ServerAliveCountMax=2"


def complaint(error):
    """Returns what ssh or Ansible complained about, in one line."""
    return re.sub("^.* (?:over|via) ssh: ", "", last_line(to_text(error)))


class Failure(Exception):
    """Why the task fails, in one line, and what else its result has."""

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
            result.update(failed=True, msg="%s: %s" % (self._old_host, complaint(error)))
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
                raise Failure("%s: %s" % (options["src"], complaint(error)))
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
        # What the gateway's own clock ends begins a moment later.
        end = time.monotonic() + options["timeout"] + ROLLBACK_SECONDS
        self._await_force(new_host, end)
        self._confirm(new_host, options, end)
        return dict(begun, host=new_host)

    def _await_force(self, new_host, end):
        """Returns when the trial is active and the gateway can be reached at its new address."""
        hosts = [new_host] if new_host == self._old_host else [new_host, self._old_host]
        trouble = "its trial did not come into force"
        while time.monotonic() < end:
            for host in hosts:
                self._connect_to(host)
                try:
                    seen = self._ask("look")
                except AnsibleError as error:
                    trouble = complaint(error)
                    continue
                if seen["state"] == "ended":
                    raise Failure(self._reason(seen["findings"]), findings=seen["findings"])
                if seen["state"] == "in_force" and host == new_host:
                    return
            time.sleep(0.5)
        raise Failure("not reached at %s through the new network, so not confirmed: the gateway rolls back "
                      "by itself (%s)" % (new_host, trouble))

    @staticmethod
    def _reason(findings):
        """Returns what `lanfab try` complained about, and how the trial ended."""
        complaints = [line for line in findings if line.startswith("lanfab: ")]
        lines = complaints or findings[-1:] or ["the trial has ended without a message"]
        return "not confirmed: " + "; ".join(line.replace("lanfab: ", "", 1) for line in lines)

    def _confirm(self, new_host, options, end):
        """Confirms the trial through a connection that did not exist before it was active."""
        differences = ["its trial has ended"]
        while True:
            self._connect_to(new_host)
            try:
                done = self._ask("confirm", verify=options["verify"], comment=options["comment"])
            except AnsibleError as error:
                done = {"state": "unknown", "differences": [complaint(error)]}
            if done["state"] == "confirmed":
                return
            differences = done["differences"] or differences
            if done["state"] == "ended" or time.monotonic() > end - ROLLBACK_SECONDS:
                raise Failure("not confirmed, the gateway rolls back by itself: " + differences[0],
                              findings=differences)
            time.sleep(1)

    def _ask(self, stage, **arguments):
        """Runs a stage on the gateway. Returns its result; the task fails if it does."""
        done = self._execute_module(module_name="lanfab.gateway.trial", task_vars=self._variables,
                                    module_args=dict(arguments, stage=stage))
        done.pop("invocation", None)
        if done.get("failed"):
            said = done.pop("module_stderr", "") or done.pop("module_stdout", "")
            raise Failure(last_line(said) if said else done["msg"], findings=done.get("findings", []))
        return done

    def _option(self, name):
        try:
            return self._connection.get_option(name)
        except KeyError:
            return None

    def _connect_to(self, host, is_new_connection=True):
        """Has the next module run at this address, which must have the host key of the old one."""
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
        """Has the next task connect as its inventory says."""
        for name, value in self._old_options.items():
            if self._old_options["host"]:
                self._connection.set_option(name, value)
