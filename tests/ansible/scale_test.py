#!/usr/bin/env python3
"""Rolls out a configuration to 200 simulated gateways, of which 5 at random fail: exactly these roll back,
and the rollout ends after their wave. Then rolls out to all of them: the controller may use at most 3 s of
processor time for each gateway. The arguments are lanfab, cmd_lanfab, and optionally the number of gateways
and a seed.
"""

import os
import random
import resource
import sys
import time

from fleet import Fleet, configuration, skip_without_ansible, wait_until

FAILING = 5
# The last waves, in percent: the waves of the playbook are [1, 5, "10%", "50%", "100%"].
WAVES = (10, 50, 100)
MOST_CONTROLLER_SECONDS = 3
# Shell commands that make every apply of a trial fail.
FAILURE = "[ ! -e /run/lanfab/network.json ] || exit 1\n"


def waves_of(gateways):
    """Returns the gateways of each wave."""
    sizes = [1, 5] + [len(gateways) * percent // 100 or 1 for percent in WAVES]
    waves = []
    for size in sizes:
        waves.append(gateways[:size])
        gateways = gateways[size:]
    return [wave for wave in waves if wave]


def controller_seconds(fleet):
    """Returns the processor time, in seconds, of the controller's processes that have ended."""
    # Orphans, such as the connections that a playbook left open, become children of this process, which is
    # PID 1 of its namespace.
    running = {gateway.process.pid for gateway in fleet.gateways}
    while True:
        ended = os.waitid(os.P_ALL, 0, os.WEXITED | os.WNOHANG | os.WNOWAIT)
        if ended is None or ended.si_pid in running:
            break
        os.waitpid(ended.si_pid, 0)
    used = resource.getrusage(resource.RUSAGE_CHILDREN)
    return used.ru_utime + used.ru_stime


def measured_play(fleet, server):
    """Runs a rollout and prints its duration. Returns the exit status, Ansible's output, and the controller's
    processor time in seconds for each gateway that was reached."""
    for gateway in fleet.gateways:
        fleet.want(gateway.name, configuration(gateway.address, server))
    begin, used = time.monotonic(), controller_seconds(fleet)
    status, printed = fleet.play("rollout.yml")
    seconds, used = time.monotonic() - begin, controller_seconds(fleet) - used
    kept, failed = printed.count("changed: ["), printed.count("fatal: [")
    reached = max(kept + failed, 1)
    print(f"{kept} gateways keep it, {failed} fail: {seconds:.0f} s, {seconds / reached:.2f} s for each; the "
          f"controller uses {used / reached:.2f} s of processor time for each", flush=True)
    return status, printed, used / reached


def expect(condition, what, printed=""):
    if not condition:
        sys.exit(f"{what}\n{printed}")


def expect_outcomes(waves, failing, printed):
    """Checks that exactly these gateways have rolled back, and that no wave after theirs has started."""
    has_ended = False
    for wave in waves:
        for gateway in wave:
            wanted = None if has_ended else "rolled back" if gateway in failing else "confirmed"
            wait_until(gateway.is_at_rest)
            expect(gateway.outcome() == wanted, f"{gateway.name}: {gateway.outcome()}, not {wanted}", printed)
            expect(('"8.8.8.8"' in gateway.installed()) == (wanted == "confirmed"), gateway.name, printed)
        has_ended = has_ended or failing[0] in wave


def main():
    skip_without_ansible()
    number = int(sys.argv[3]) if len(sys.argv) > 3 else 200
    seed = int(sys.argv[4]) if len(sys.argv) > 4 else random.randrange(1 << 32)
    print(f"{number} gateways, seed {seed}", flush=True)
    fleet = Fleet(sys.argv[1], sys.argv[2], number)
    waves = waves_of(fleet.gateways)
    draw = random.Random(seed)
    # All failing gateways are in one wave, because the rollout ends after it.
    failing = draw.sample(draw.choice([wave for wave in waves if len(wave) > FAILING]), FAILING)
    for gateway in failing:
        gateway.path("/run/before-apply").write_text(FAILURE)
    status, printed, _ = measured_play(fleet, "8.8.8.8")
    expect(status == 2, "the roll-out did not fail", printed)
    expect_outcomes(waves, failing, printed)
    for gateway in failing:
        gateway.path("/run/before-apply").unlink()
    status, printed, used = measured_play(fleet, "8.8.4.4")
    expect(status == 0, "the second roll-out failed", printed)
    expect(all('"8.8.4.4"' in gateway.installed() for gateway in fleet.gateways), "not all kept it", printed)
    expect(used <= MOST_CONTROLLER_SECONDS, f"the controller uses more than {MOST_CONTROLLER_SECONDS} s")
    fleet.end()


main()
