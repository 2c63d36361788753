"""The invariants after every disturbed run."""

import collections
import errno
import os
import re
import signal

from faults import exemptions
from faults.gateway import DATABASE, GUARD, LOCK, canonical

DNSMASQ_CONF = "/run/dnsmasq.conf"
STAGING = "/var/volatile/qel/.dnsmasq_conf"
LAST_LINE = b"\naddn-hosts=/var/run/hosts\n"
UNIT_DIR = "/run/systemd/network/"
INTERFACES_SCRIPT = "/run/.delete_interfaces"
HOSTS_FILE = "/run/hosts"
UNDO = ("/sbin/ip link delete ", "/sbin/ip route del ")
FAILED = 255
LEVELS_OF_NOTICE = ("emerg ", "alert ", "crit ", "err ", "warning ", "notice ")

# `invariant` is the name of the violated invariant. "exempt" is not a violation: its `text` is the name of an
# exemption that was needed.
Violation = collections.namedtuple("Violation", "invariant text")

# A run without a fault: the state before it and its outcome. `variants` has, by path, the contents that a
# file may also have if a value could not be read.
Reference = collections.namedtuple("Reference", "before after variants")


def is_database(path):
    return path.startswith(DATABASE)


def wrong_things(outcome, reference):
    """Returns the differences from a run without a fault: paths, "database", and "command: " with a
    command."""
    expected = reference.after
    things = sorted(path for path in expected.files.keys() | outcome.files.keys()
                    if not is_database(path) and expected.files.get(path) != outcome.files.get(path))
    if expected.database != outcome.database:
        things.append("database")
    counts = collections.Counter(expected.commands)
    counts.subtract(outcome.commands)
    return things + [f"command: {command}" for command, count in sorted(counts.items()) if count != 0]


def is_whole(path, file, reference):
    states = (reference.before, reference.after)
    wholes = [state.files[path].content for state in states if path in state.files]
    if path in (INTERFACES_SCRIPT, HOSTS_FILE):
        # These files are written line by line.
        known = set(b"".join(wholes).splitlines(keepends=True))
        return all(line in known for line in file.content.splitlines(keepends=True))
    return file.content in wholes or file.content in reference.variants.get(path, ())


def parts(outcome, reference):
    """Returns the paths of the files that are neither unchanged nor as after a run without a fault."""
    return sorted(path for path, file in outcome.files.items()
                  if not is_database(path) and path not in (LOCK, GUARD)
                  and not is_whole(path, file, reference))


def restarts_networkd(outcome):
    return any(re.match(r"systemctl (re)?start systemd-networkd", command) for command in outcome.commands)


def new_lines(outcome, reference):
    """Returns the log lines that a run without a fault does not write."""
    return list((collections.Counter(outcome.log) - collections.Counter(reference.after.log)).elements())


def is_said(pattern, reason, lines):
    """Whether a line contains both a match of the pattern and the error."""
    return any(re.search(pattern, canonical(line)) and reason in line for line in lines)


def is_heard_of(job, outcome, reference):
    """Whether a log line has the error or the path, or a tool has reported an error."""
    about, path = exemptions.what_failed(job.point)
    if about == "command" and outcome.stderr:
        return True
    # A program that could read only half of its data may report EIO instead of the error.
    words = (os.strerror(job.number), os.strerror(errno.EIO), path)
    return any(word in canonical(line) for line in new_lines(outcome, reference) for word in words)


def check_word(job, outcome, reference):
    """Checks that every difference after status 0 is reported."""
    if outcome.status != 0 or job.point is None or is_heard_of(job, outcome, reference):
        return
    things = wrong_things(outcome, reference)
    silence = exemptions.find_silence(job.point)
    if things and silence is None:
        yield Violation("silent", f"not a word about {', '.join(things)}")
    elif things:
        yield Violation("exempt", silence.name)


def check_status(job, outcome, reference):
    """Checks that nothing differs after status 0 without an exemption."""
    if outcome.status != 0:
        return
    for thing in wrong_things(outcome, reference):
        exemption = exemptions.find(job, thing)
        if exemption is None:
            yield Violation("status", f"status 0, but {thing} is wrong")
        else:
            yield Violation("exempt", exemption.name)


def check_end(_job, outcome, _reference):
    """Checks that the exit status is 0 or 255."""
    if outcome.status not in (0, FAILED):
        yield Violation("end", f"ended with {outcome.status}")


def check_parts(job, outcome, reference):
    """Checks that no file that is read by a service is truncated."""
    for path in parts(outcome, reference):
        exemption = exemptions.find(job, path)
        is_unread_unit = path.startswith(UNIT_DIR) and not restarts_networkd(outcome)
        if path == STAGING or is_unread_unit:
            continue
        if (exemption is not None and exemption.name == exemptions.COPY_OF_CONF
                and LAST_LINE not in outcome.files[path].content):
            yield Violation("exempt", exemption.name)
        else:
            yield Violation("part", f"{path} holds a part: {len(outcome.files[path].content)} bytes")


def check_lock(job, outcome, _reference):
    """Checks that no lock remains."""
    if LOCK not in outcome.files:
        return
    exemption = None if is_signal(job) else exemptions.find(job, LOCK)
    if exemption is None:
        yield Violation("lock", "the lock is there")
    else:
        yield Violation("exempt", exemption.name)


def check_said(job, outcome, reference):
    """Checks that a failure with an effect is logged, and that of a write with its path and the error."""
    things = wrong_things(outcome, reference)
    if not things and outcome.status == 0:
        return
    lines = new_lines(outcome, reference)
    if outcome.status != 0 and not lines and not outcome.stderr:
        yield Violation("said", f"status {outcome.status}, and not a word")
    elif job.point is None and outcome.status == 0:
        yield from check_causes_are_said(job, things, lines)
    elif job.point is not None and is_write_of_file(job.point):
        yield from check_write_is_said(job, things, lines)


def is_write_of_file(point):
    about, path = exemptions.what_failed(point)
    return about == "call" and point.name in ("write", "close") and path.startswith(("/run/", "/var/"))


def check_write_is_said(job, things, lines):
    found = (exemptions.find(job, thing) for thing in things)
    exemption = next((exemption for exemption in found if exemption is not None), None)
    _, path = exemptions.what_failed(job.point)
    reason = os.strerror(job.number)
    if (exemption is None or exemption.is_said) and not is_said(re.escape(path), reason, lines):
        yield Violation("said", f"no line has {path} and {reason!r}")


def check_causes_are_said(job, things, lines):
    """Checks that each file that differs on a full disk is in the log with the error, unless the log names
    another file on which it depends, or an exemption does not require a log line."""
    reason = os.strerror(errno.ENOSPC)
    for path in (thing for thing in things if thing.startswith("/")):
        causes = exemptions.find_all(job, path)
        if not any(not cause.is_said or is_said(cause.where, reason, lines) for cause in causes):
            if not is_said(re.escape(path), reason, lines):
                yield Violation("said", f"no line has {path} or what it follows from, and {reason!r}")


def is_signal(job):
    return job.how in ("signal", "group")


def check_end_by_signal(job, outcome, reference):
    """Checks that the signal terminates the run, and that no unexpected command was run."""
    if job.is_late and outcome.status == 0 and not wrong_things(outcome, reference):
        return
    if outcome.status != -job.number:
        yield Violation("end", f"ended with {outcome.status} instead of {signal.Signals(job.number).name}")
    expected = reference.after.commands
    if outcome.commands != expected[:len(outcome.commands)]:
        yield Violation("commands", f"went on: {outcome.commands[-2:]}")


def check_parts_after_signal(_job, outcome, reference):
    """Checks that dnsmasq does not read a truncated file: its service rejects one without the last line."""
    if DNSMASQ_CONF in parts(outcome, reference) and LAST_LINE in outcome.files[DNSMASQ_CONF].content:
        yield Violation("part", f"{DNSMASQ_CONF} holds a part, with its last line")


def check_not_started(_job, outcome, reference):
    """Checks that a program whose loader fails changes nothing."""
    if outcome.status != 0 and (outcome.files != reference.before.files or outcome.commands):
        yield Violation("end", "did not start, but changed something")


def checks_of(job):
    if is_signal(job):
        checks = [check_end_by_signal, check_parts_after_signal]
        return checks if job.number == signal.SIGKILL else [*checks, check_lock]
    if job.point is not None and job.point.is_main and job.point.phase == "loader":
        return [check_not_started, check_status, check_word]
    return [check_status, check_word, check_end, check_parts, check_lock, check_said]


def check(job, outcome, reference):
    """Returns all violations after the run."""
    if outcome.status is None:
        return [Violation("hang", "did not end")]
    return [violation for one in checks_of(job) for violation in one(job, outcome, reference)]


def without_undo(commands):
    return [command for command in commands if not command.startswith(UNDO)]


def notices(log):
    return [line for line in log if line.startswith(LEVELS_OF_NOTICE)]


def is_as_expected(path, expected, files):
    """Whether a file is as expected; the script that undoes interfaces may have a line twice."""
    if path == INTERFACES_SCRIPT and path in expected and path in files:
        return set(expected[path].content.splitlines()) == set(files[path].content.splitlines())
    return is_database(path) or expected.get(path) == files.get(path)


def check_next(following, reference):
    """Checks that the next run without a fault produces the expected files."""
    expected = reference.after
    if following.status != 0:
        return [Violation("next", f"the next run ends with {following.status}")]
    found = [Violation("next", f"after the next run {path} is wrong")
             for path in sorted(expected.files.keys() | following.files.keys())
             if not is_as_expected(path, expected.files, following.files)]
    if following.database != expected.database:
        found.append(Violation("next", "after the next run the database is wrong"))
    if without_undo(following.commands) != without_undo(expected.commands):
        found.append(Violation("next", "the next run runs other commands"))
    if notices(following.log) != notices(expected.log):
        found.append(Violation("next", "the next run logs something else"))
    return found
