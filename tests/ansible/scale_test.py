#!/usr/bin/env python3
"""Rolls a configuration out to 200 simulated gateways, of which 5 fail at random. The arguments are lanfab,
cmd_lanfab, and perhaps the number of gateways and a seed.
"""

import random
import resource
import sys
import time

from fleet import Fleet, configuration, skip_without_ansible, wait_until

FAILING = 5
# What Ansible makes of [1, 5, "10%", "50%", "100%"].
WAVES = (0.1, 0.5, 1)
MOST_SECONDS_EACH = 3


def waves_of(names):
    """Returns the gateways of each wave."""
    sizes = [1, 5] + [int(part * len(names)) for part in WAVES]
    waves = []
    for size in sizes:
        waves.append(names[:size])
        names = names[size:]
    return [wave for wave in waves if wave]


def controller_seconds():
    """Returns the processor's time of all processes that have ended and this one waited for."""
    used = resource.getrusage(resource.RUSAGE_CHILDREN)
    return used.ru_utime + used.ru_stime


def measured_play(fleet, server):
    """Rolls out, and prints what it took. Returns the exit status, what was printed, and the seconds."""
    for gateway in fleet.gateways:
        fleet.want(gateway.name, configuration(gateway.address, server))
    begin, used = time.monotonic(), controller_seconds()
    status, printed = fleet.play("rollout.yml", lanfab_timeout=60, lanfab_probes=["test ! -e /run/fails"])
    seconds, used = time.monotonic() - begin, controller_seconds() - used
    kept, failed = printed.count("changed: ["), printed.count("fatal: [")
    print(f"{kept} gateways kept it, {failed} failed: {seconds:.0f} s, {seconds / (kept + failed):.2f} s "
          f"each; the controller used {used / (kept + failed):.2f} s of processor time each", flush=True)
    return status, printed, seconds


def expect(condition, what, printed=""):
    if not condition:
        sys.exit(f"{what}\n{printed}")


def main():
    skip_without_ansible()
    words = [word for word in sys.argv[1:] if not word.startswith("-")]
    number = int(words[2]) if len(words) > 2 else 200
    seed = int(words[3]) if len(words) > 3 else random.randrange(1 << 32)
    print(f"seed {seed}", flush=True)
    fleet = Fleet(words[0], words[1], number)
    # The gateways that fail are in one wave, the one that is drawn: the play ends after the first failure.
    waves = waves_of(fleet.gateways)
    draw = random.Random(seed)
    unlucky = draw.choice([wave for wave in waves if len(wave) > FAILING])
    failing = draw.sample(unlucky, FAILING)
    for gateway in failing:
        gateway.path("/run/fails").touch()
    status, printed, _ = measured_play(fleet, "8.8.8.8")
    expect(status == 2, "the roll-out did not fail", printed)
    is_after = False
    for wave in waves:
        for gateway in wave:
            wanted = None if is_after else "rolled back" if gateway in failing else "kept"
            wait_until(lambda one=gateway: not one.is_on_trial())
            expect(gateway.outcome() == wanted, f"{gateway.name}: {gateway.outcome()}, not {wanted}", printed)
            expect(('"8.8.8.8"' in gateway.installed()) == (wanted == "kept"), gateway.name, printed)
        is_after = is_after or wave is unlucky
    for gateway in failing:
        gateway.path("/run/fails").unlink()
    status, printed, seconds = measured_play(fleet, "8.8.4.4")
    expect(status == 0, "the second roll-out failed", printed)
    expect(all('"8.8.4.4"' in gateway.installed() for gateway in fleet.gateways), "not all kept it", printed)
    expect(seconds < MOST_SECONDS_EACH * number, f"more than {MOST_SECONDS_EACH} s for each gateway")
    fleet.end()


main()
