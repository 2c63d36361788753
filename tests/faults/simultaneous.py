"""Starts many runs at the same time, inside the sandbox, and checks that no two hold the lock at once.

A run logs "set lock" when it has found no lock, and "clear lock" before it deletes its own, so no such line
of another run may be between the two. The kernel adds the sender to each line, and keeps the lines in order.
"""

import os
import socket
import struct
import subprocess

from faults import gateway
from lib.limits import HANG_SECONDS
from lib.sandbox import RECORDED_COMMANDS, Syslog, lay, snapshot

ROUNDS_OF_SAMPLE = 15
ROUNDS = 50
RUNS = 20
ACTIONS = ("dnsmasq", "wwan_apply")
# Shortens a wait of 1 s to 50 ms, because runs that wait for each other would take minutes. The limit of 10 s
# for the guard of the lock becomes 0.5 s, which is enough for a touch even on a busy machine.
SHORT_WAITS = {"LD_PRELOAD": "/usr/$LIB/faketime/libfaketime.so.1", "FAKETIME": "+0 x20"}
CREDENTIALS = struct.Struct("3i")


def overlaps(events):
    """Returns the pairs of senders that held the lock at once; an event is a sender and "set" or "clear"."""
    found = []
    holder = None
    for sender, event in events:
        if event == "set":
            if holder is not None:
                found.append((holder, sender))
            holder = sender
        elif sender == holder:
            holder = None
    return found


class SenderLog(Syslog):
    """Reads the log as events: the sender's PID and "set" or "clear"."""

    def __init__(self, collector):
        self.socket = collector
        self.socket.setsockopt(socket.SOL_SOCKET, socket.SO_PASSCRED, 1)

    def receive(self):
        events = []
        while True:
            try:
                line, extra, _, _ = self.socket.recvmsg(65536, socket.CMSG_SPACE(CREDENTIALS.size))
            except BlockingIOError:
                return events
            sender = CREDENTIALS.unpack(extra[0][2])[0]
            events += [(sender, event) for event in ("set", "clear")
                       if line.endswith(f"cmd_lanfab {event} lock".encode())]


def play_round(program, environment, log):
    """Runs one round; returns its errors."""
    RECORDED_COMMANDS.write_text("")
    # Each run waits for a line from `gate`, which is written when all of them exist. All inherit `held_open`,
    # so reading `ended` reaches the end of the file when the last one has exited.
    gate, opener = os.pipe()
    ended, held_open = os.pipe()
    command = ["/bin/sh", "-c", 'read -r line <&"$1"; exec "$2" "$3"', "sh", str(gate), program]
    runs = [subprocess.Popen([*command, ACTIONS[index % len(ACTIONS)]], env=environment,
                             pass_fds=[gate, held_open], stdin=subprocess.DEVNULL,
                             stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            for index in range(RUNS)]
    os.close(gate)
    os.write(opener, b"\n" * RUNS)
    os.close(opener)
    os.close(held_open)
    events = []
    log.follow(events, ended, lambda: False)
    os.close(ended)
    statuses = [run.wait(HANG_SECONDS) for run in runs]
    wrong = [f"{first} and {second} held the lock at once" for first, second in overlaps(events)]
    if sorted(events) != sorted((run.pid, event) for run in runs for event in ("set", "clear")):
        wrong.append("not every run took the lock and gave it back")
    return wrong + [f"a run ended with {status}" for status in statuses if status != 0]


def play(arguments):
    """Yields the errors."""
    rounds = ROUNDS if arguments.exhaustive else ROUNDS_OF_SAMPLE
    laid = gateway.Gateway(arguments.program)
    before = laid.prepare()
    expected = {action: laid.run(action) for action in ACTIONS}
    lay(before)
    log = SenderLog(laid.syslog.socket)
    environment = laid.environment("new", "simultaneous") | SHORT_WAITS
    for number in range(1, rounds + 1):
        wrong = play_round(arguments.program, environment, log) + wrong_files(snapshot(), expected)
        yield from (f"round {number}: {text}" for text in wrong)
    print(f"{rounds} rounds of {RUNS} simultaneous runs")


def wrong_files(files, expected):
    """Returns an error for each file that differs from that of a single run of its action."""
    conf = "/run/dnsmasq.conf"
    unit = "/run/systemd/network/10-wwan0.network"
    return [f"{path} is wrong" for path, action in ((conf, "dnsmasq"), (unit, "wwan_apply"))
            if files.get(path) != expected[action].files[path]]
