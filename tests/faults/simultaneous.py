"""Starts many runs at the same instant, inside the sandbox, and sees whether two hold the lock at once.

The log tells: a run says "set lock" when it has found no lock, and "clear lock" before it deletes its own.
So between the two lines of one run there is no other one's. The kernel adds the sender to each line, and
keeps their order.
"""

import argparse
import os
import selectors
import socket
import struct
import subprocess
import sys

from faults import gateway
from lib.sandbox import RECORDED_COMMANDS

ROUNDS_OF_SAMPLE = 15
ROUNDS = 50
RUNS = 20
ACTIONS = ("dnsmasq", "wwan_apply")
CREDENTIALS = struct.Struct("3i")


def overlaps(events):
    """The senders, in pairs, whose sections overlap; an event is a sender and "set" or "clear"."""
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


class Log:
    """The collector of the log, which also knows the senders."""

    def __init__(self, collector):
        self.socket = collector
        self.socket.setsockopt(socket.SOL_SOCKET, socket.SO_PASSCRED, 1)
        self.events = []

    def receive(self):
        while True:
            try:
                line, extra, _, _ = self.socket.recvmsg(65536, socket.CMSG_SPACE(CREDENTIALS.size))
            except BlockingIOError:
                return
            sender = CREDENTIALS.unpack(extra[0][2])[0]
            for event in ("set", "clear"):
                if line.endswith(f"cmd_lanfab {event} lock".encode()):
                    self.events.append((sender, event))


def play_round(program, environment, log):
    """Returns what is wrong with the round."""
    log.events = []
    RECORDED_COMMANDS.write_text("")
    # Each run is held back at its start until all are there.
    gate, opener = os.pipe()
    command = ["/bin/sh", "-c", 'read -r line <&"$1"; exec "$2" "$3"', "sh", str(gate), program]
    runs = [subprocess.Popen([*command, ACTIONS[index % len(ACTIONS)]], env=environment, pass_fds=[gate],
                             stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            for index in range(RUNS)]
    os.close(gate)
    os.write(opener, b"\n" * RUNS)
    os.close(opener)
    wait_for(runs, log)
    wrong = [f"{first} and {second} held the lock at once" for first, second in overlaps(log.events)]
    if sorted(log.events) != sorted((run.pid, event) for run in runs for event in ("set", "clear")):
        wrong.append("not every run took the lock and gave it back")
    wrong += [f"{run.args[-1]} ended with {run.returncode}" for run in runs if run.returncode != 0]
    return wrong


def wait_for(runs, log):
    with selectors.DefaultSelector() as selector:
        selector.register(log.socket, selectors.EVENT_READ)
        ends = {os.pidfd_open(run.pid): run for run in runs}
        for end in ends:
            selector.register(end, selectors.EVENT_READ)
        while ends:
            ready = selector.select(gateway.HANG_SECONDS)
            log.receive()
            if not ready:
                raise SystemExit("the runs do not end")
            for key, _ in ready:
                if key.fd in ends:
                    ends.pop(key.fd).wait()
                    selector.unregister(key.fd)
                    os.close(key.fd)
    log.receive()


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--program", required=True)
    parser.add_argument("--exhaustive", action="store_true")
    arguments = parser.parse_args()
    rounds = ROUNDS if arguments.exhaustive else ROUNDS_OF_SAMPLE
    os.umask(0o022)
    laid = gateway.Gateway(arguments.program)
    before = laid.prepare()
    expected = {action: laid.run(action) for action in ACTIONS}
    laid.lay(before)
    log = Log(laid.syslog.socket)
    short_sleep = os.path.join(os.path.dirname(arguments.program), "libshort_sleep.so")
    if not os.path.exists(short_sleep):
        raise SystemExit(f"there is no {short_sleep}")
    environment = laid.environment("new", "simultaneous") | {"LD_PRELOAD": short_sleep}
    bad = 0
    for number in range(1, rounds + 1):
        wrong = play_round(arguments.program, environment, log)
        wrong += wrong_files(laid.snapshot(), expected)
        bad += bool(wrong)
        for text in wrong:
            print(f"round {number}: {text}")
    print(f"{rounds} rounds of {RUNS} simultaneous runs, {bad} of them wrong")
    return 1 if bad else 0


def wrong_files(files, expected):
    """What both actions leave is there, as after one run of each."""
    conf = "/run/dnsmasq.conf"
    unit = "/run/systemd/network/10-wwan0.network"
    return [f"{path} is wrong" for path, action in ((conf, "dnsmasq"), (unit, "wwan_apply"))
            if files.get(path) != expected[action].files[path]]


if __name__ == "__main__":
    sys.exit(main())
