"""Checks the outputs of a run: except for values, they may only contain what valid configurations produce."""

import re

from hostile import texts

UNIT = re.compile(r"/run/systemd/network/\d\d-[^/]*\.(network|netdev)")
BACKUP = re.compile(r"/var/volatile/qel/\.wwan_unit_backup/[^/]*")
CONFIGURATIONS = ("/run/dnsmasq.conf", "/var/volatile/qel/.dnsmasq_conf")

# The lines of each script; WORD has no character that is special to a shell.
WORD = r"[\w.:/,@+-]*"
SCRIPTS = {
    "/run/.delete_interfaces": rf"/sbin/ip link delete dev {WORD}( type {WORD})?",
    "/run/.delete_static_routes": rf"#!/bin/sh|/sbin/ip route del {WORD} dev {WORD} 2>/dev/null",
    "/run/wwan0_static_routes": rf"#!/bin/sh|/sbin/ip route add {WORD}( gw {WORD})? dev wwan0",
    "/run/post_networkd_start_actions_script": rf"#!/bin/sh|echo OK|/sbin/ip route delete {WORD} dev eth[01]",
}
SCRIPTS = {path: re.compile(line) for path, line in SCRIPTS.items()}


def unit_keys(text):
    """Returns the sections and keys of a unit as systemd parses it: \\r and NUL also end a line, and \\ joins
    two lines."""
    found, section, joined = set(), "", ""
    for line in re.split(r"\r\n|[\n\r\0]", text):
        line = joined + line.strip()
        joined = line[:-1] + " " if line.endswith("\\") else ""
        if joined or not line or line[0] in "#;":
            continue
        if line[0] == "[":
            section = line
            found.add(section)
        else:
            found.add(f"{section} {line.partition('=')[0].strip()}")
    return found


def dnsmasq_directives(text):
    """Returns the directives of a configuration as dnsmasq parses it."""
    lines = (line.strip() for line in text.split("\n"))
    return {line.partition("=")[0].strip() for line in lines if line and line[0] != "#"}


def host_lines(text):
    return {"entry" if re.fullmatch(r"[^\n]* [^\n]*", line) else "odd" for line in text.split("\n")[:-1]}


def resolver_keywords(text):
    lines = (line for line in text.split("\n") if line)
    return {"#" if line[0] == "#" else line.partition(" ")[0] for line in lines}


def command_head(command):
    """Returns a command without its operands."""
    words = command.split(" ")
    return " ".join(words[:{"/sbin/ip": 3, "systemctl": 3}.get(words[0], 1)])


def vocabulary(run):
    """Returns the vocabulary of a run: its commands, unit keys, directives, and unusual lines of scripts. An
    injected string must not add to it."""
    words = {f"command {command_head(command)}" for command in run["commands"]}
    for path, text in run["files"].items():
        if UNIT.fullmatch(path) or BACKUP.fullmatch(path):
            words |= {f"unit key {key}" for key in unit_keys(text)}
        elif path in CONFIGURATIONS:
            words |= {f"dnsmasq directive {directive}" for directive in dnsmasq_directives(text)}
        elif path in SCRIPTS:
            words |= {f"line of {path}: {line}" for line in text.split("\n")[:-1]
                      if not SCRIPTS[path].fullmatch(line)}
        elif path == "/run/hosts":
            words |= {f"hosts line, {kind}" for kind in host_lines(text)}
        elif path == "/run/resolv.conf":
            words |= {f"resolver keyword {keyword}" for keyword in resolver_keywords(text)}
        else:
            words.add(f"file {path}")
    return words


def errors(result, known):
    """Yields the errors in the runs of a case."""
    for run in result["runs"]:
        where = f"{result['name']}, {run['action']}"
        if run["status"] not in (0, 255):
            yield f"{where}: status {run['status']}: {run['stderr'][-1000:]}"
        if run["processes"]:
            yield f"{where}: left {run['processes']} processes"
        for path in run["elsewhere"]:
            yield f"{where}: wrote {path}"
        if texts.MARKER in run["files"]:
            yield f"{where}: ran a command"
        for word in sorted(vocabulary(run) - known):
            yield f"{where}: {word!r}"
        if result["is_refused"]:
            yield from refusal_errors(run, where)


def refusal_errors(run, where):
    if run["status"] != 255 or not re.match(r"/\S+/network\.json:\d+:\d+: .+\n$", run["stderr"]):
        yield f"{where}: not refused: status {run['status']}, {run['stderr']!r}"
    if run["files"] or run["commands"]:
        yield f"{where}: refused, and yet there are {run['commands']}, {sorted(run['files'])}"
