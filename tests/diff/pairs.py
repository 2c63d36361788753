"""Compares random configurations with `lanfab diff`, and checks for each pair that

- the differences are correct: patch(1), applied to the files of one configuration, produces those of the
  other;
- the summary leaves nothing out: it mentions every changed line, or counts it in "and N more lines".

The test decides what a sentence mentions by its words alone, generously: one about eth0 with the value
of a line mentions the line. The number of lines without such a sentence is thus a lower bound of N.
"""

import argparse
import copy
import ipaddress
import json
import os
import pathlib
import random
import re
import subprocess
import sys
import tempfile

from hostile.texts import value_at
from lib import patched
from lib.checkout import BUILD, answer, in_sandboxes
from lib.runner import programs_of
from soundness import generator

# The number of pairs, each of which is generated from its index.
ALL = 1000
SAMPLE = 20
ENOUGH_DIFFERENT = 0.6

HUNK = re.compile(r"@@ -\d+,(\d+) \+\d+,(\d+) @@")
UNIT = re.compile(r"/var/run/systemd/network/\d+-(.*)\.(?:network|netdev)")
COUNT = re.compile(r"(?:and )?(\d+) (?:more lines?|lines? differs?) in (.*)")
# Sentences that mention all lines with the name of one of their interfaces or tunnels.
WHOLE = re.compile(
    r"the tunnel .*|\S+ (?:is new(?:: .*)?|is gone(?:, .*)?|is no longer set up(?:, .*)?"
    r"|is switched off(?:, .*)?|is no longer switched off|is left behind in the kernel.*|joins .*|leaves .*"
    r"|is in pass-through now|is no longer in pass-through|is (?:no longer )?linked to a port.*)"
)
# Beginnings of lines, and the words in a sentence that mentions such a line.
ABOUT = (
    ("IPForward = yes", "forward"),
    ("CopyDSCP = yes", "DSCP"),
    ("/usr/bin/telnet-init", "the telnet service"),
)
# Sentences that mention the kernel's fallback device for GRE.
TUNNELS = re.compile(r"gre-tun\d+ is (?:new|gone|left)|the tunnel ")
# Lines that need not be mentioned: layout, comments, sections, and keys without a value.
LAYOUT = re.compile(r"$|#|\[|\w+ = $|echo OK$")


def is_element(path):
    return isinstance(path[-1], int)


def edit(config, rng):
    """Makes one random, plausible change to the configuration."""
    what = rng.random()
    if what < 0.3:
        generator.spoil(config, rng)
    elif what < 0.5:
        section, value = rng.choice(list(generator.mixture(rng).items()))
        config[section] = value
    elif what < 0.75:
        route = {
            "enable": True,
            "interface": rng.choice(("eth0", "eth1", "wwan0", "br-lan", "wlan0")),
            "ipv4": f"172.{rng.randrange(40, 60)}.0.0",
            "netmask": 16,
        }
        routes = config.get("static_routes")
        config["static_routes"] = (routes[: rng.randrange(4)] if isinstance(routes, list) else []) + [route]
    elif what < 0.85 and (elements := [path for path in generator.leaves(config) if is_element(path)]):
        *parents, index = rng.choice(elements)
        del value_at(config, parents)[index]
    else:
        config["firewall"] = {"general": {"router": rng.randrange(2)}}


def replace_odd_addresses(config):
    """Replaces malformed addresses: as words in a sentence, they would mislead the test."""
    for *parents, key in generator.leaves(config):
        holder = value_at(config, parents)
        if key == "ipv4" and not re.fullmatch(r"[0-9.]+", str(holder[key])):
            holder[key] = "192.168.77.1"


def pairs(count, seed):
    for number in range(count):
        rng = random.Random(f"{seed}-{number}")
        old = generator.mixture(rng)
        new = generator.mixture(rng) if rng.random() < 0.15 else copy.deepcopy(old)
        for _ in range(rng.randrange(1, 4)):
            if new:
                edit(new, rng)
        replace_odd_addresses(new)
        yield old, new, rng.choice(([], ["--cell=down"]))


def changed_lines(differences):
    """Yields the file and the text of each line that a unified difference adds or removes."""
    path, left = None, [0, 0]
    for line in differences.splitlines():
        if left == [0, 0]:
            if line.startswith(("--- ", "+++ ")) and not line.endswith(" /dev/null"):
                path = line[4:]
            if hunk := HUNK.fullmatch(line):
                left = [int(hunk[1]), int(hunk[2])]
            continue
        left[0] -= line[0] in " -"
        left[1] -= line[0] in " +"
        if line[0] in "+-":
            yield path, line[1:]


def derived(value):
    """Returns a value in a sentence and, if it is an address, the address, network and netmask as strings."""
    texts = {value}
    try:
        interface = ipaddress.ip_interface(value)
    except ValueError:
        return texts
    return texts | {str(interface.ip), str(interface.network), str(interface.netmask)}


def words_of(line):
    return set(re.split(r"[ =,]+", line)) | {line.split("=", 1)[-1].strip()}


def owners_of(lines):
    """Returns the interfaces whose units have changed lines with an address, by address."""
    owners = {}
    for path, line in lines:
        if (unit := UNIT.fullmatch(path)) and line.startswith("Address = "):
            owners[line[len("Address = ") :].split("/")[0]] = unit[1]
    return owners


def is_mentioned(path, line, sentences, owners):
    unit = UNIT.fullmatch(path)
    words = words_of(line)
    subjects = words | ({unit[1]} if unit else set())
    # The line of a relay has the address of its interface, but not its name.
    if line.startswith("dhcp-relay="):
        subjects |= {owners.get(word) for word in words}
    for sentence in sentences:
        if WHOLE.fullmatch(sentence):
            if subjects & set(re.split(r"[ ,]+", sentence)):
                return True
            continue
        if unit and sentence.split(" ")[0] != unit[1]:
            continue
        values = {text for word in re.split(r"[ ,]+|(?<=\d)-(?=\d)", sentence) for text in derived(word)}
        if words & values:
            return True
        if unit and is_consequence(line, sentence):
            return True
        served = re.match(r"dhcp-(?:range|option)=([^,]+),", line)
        begins = ("serves DHCP now: ", "no longer serves DHCP: ")
        if served and sentence.startswith(tuple(f"{served[1]} {begin}" for begin in begins)):
            return True
    return is_said_otherwise(line, sentences)


def is_said_otherwise(line, sentences):
    """Whether a sentence mentions the line without the name of its interface or its values."""
    if any(line.startswith(begin) and word in sentence for begin, word in ABOUT for sentence in sentences):
        return True
    # The kernel's fallback device is created with the first tunnel and removed with the last one.
    if " dev gre0 " in line:
        return any(TUNNELS.match(sentence) for sentence in sentences)
    # The routing table of the first tunnel is 308.
    if table := re.match(r"/usr/bin/route_table_(?:flush|add) (\d+)", line):
        name = f"gre-tun{int(table[1]) - 307}"
        return any(name in re.split(r"[ ,;:]+", sentence) for sentence in sentences)
    # A bridge has the ID of a VLAN in one line, and its interface name in another.
    if vlan := re.fullmatch(r"VLAN = (\d+)", line):
        return any(re.match(rf"\S+\.{vlan[1]} is ", sentence) for sentence in sentences)
    # This line reserves the port's own address before the DHCP range of a pass-through port.
    if line.startswith("dhcp-host="):
        return any("DHCP" in sentence or "pass-through" in sentence for sentence in sentences)
    return False


def is_consequence(line, sentence):
    """Whether the change of a unit's line follows from the change in a sentence about its interface."""
    key = line.split("=", 1)[0].strip()
    return (
        (key == "Destination" and (" gateway " in sentence or " address " in sentence))
        or (key in ("GatewayOnlink", "Scope", "Metric") and " route to " in sentence)
        or (line == "Gateway = " and " route to " in sentence)
        or (line in ("DHCP = ipv4", "Gateway = _dhcp") and "one from DHCP" in sentence)
    )


def counts_of(sentences):
    """Returns the number of lines that the summary counts for each file, and whether it counts any file
    twice."""
    counted = [count for line in sentences if (count := COUNT.fullmatch(line))]
    counts = {count[2]: int(count[1]) for count in counted}
    return counts, len(counts) < len(counted)


def short_name(path):
    return "the commands" if path == "commands" else path.rsplit("/", 1)[-1]


def judge(said):
    """Returns the errors in a change summary, given the output of `lanfab diff`; "" if there are none."""
    head, _, rest = said.partition("--- ")
    summary = head.partition("Interrupts:\n")[0].splitlines()
    counts, is_twice = counts_of(summary)
    if is_twice:
        return "it counts one file twice"
    sentences = [line for line in summary if line and not COUNT.fullmatch(line)]
    lines = list(changed_lines(f"--- {rest}"))
    owners = owners_of(lines)
    wrong = ""
    for path in {path for path, _ in lines}:
        of_file = [line for other, line in lines if other == path]
        count = counts.pop(short_name(path), 0)
        others = [
            line
            for line in of_file
            if not LAYOUT.match(line) and not is_mentioned(path, line, sentences, owners)
        ]
        if count > len(of_file):
            wrong += f"{count} lines of {path} are counted, but only {len(of_file)} differ\n"
        if count < len(others):
            wrong += f"{count} lines of {path} are counted, but not mentioned are:\n"
            wrong += "".join(f"{line}\n" for line in others)
        if not sentences and count != len(of_file):
            wrong += f"{count} lines of {path} are counted, but {len(of_file)} differ\n"
    return wrong + "".join(f"lines of {name} are counted, but none differ\n" for name in counts)


def compare(old, new, options, programs):
    """Returns the exit status of `lanfab diff` and the errors in its output; "" if there are none."""
    with tempfile.TemporaryDirectory() as directory:
        for name, config in (("old.json", old), ("new.json", new)):
            pathlib.Path(directory, name).write_text(json.dumps(config), encoding="utf-8")
        words = [*options, "old.json", "new.json"]
        command = [*programs["lanfab"], "diff", f"--program={programs['cmd_lanfab'][-1]}", *words]
        done = subprocess.run(command, cwd=directory, stdin=subprocess.DEVNULL, capture_output=True,
                              text=True, check=False)
        if done.returncode not in (0, 1):
            return done.returncode, ""
        wrong = patched.differences(words, done.stdout, programs, pathlib.Path(directory))
        problem = f"the patched files are other ones:\n{wrong}" if wrong else judge(done.stdout)
        return done.returncode, problem and f"{problem}\n{done.stdout}"


def main():
    parser = argparse.ArgumentParser(
        description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter
    )
    size = parser.add_mutually_exclusive_group()
    size.add_argument("--count", type=int, default=SAMPLE, help="default: %(default)s")
    size.add_argument("--exhaustive", dest="count", action="store_const", const=ALL, help=f"--count {ALL}")
    parser.add_argument("--seed", default="1")
    parser.add_argument("--build", type=os.path.abspath, default=BUILD)
    parser.add_argument("--inside", action="store_true", help=argparse.SUPPRESS)
    arguments = parser.parse_args()
    if arguments.inside:
        answer(lambda pair: compare(*pair, programs_of(arguments.build)))
        return 0
    cases = list(pairs(arguments.count, arguments.seed))
    found = in_sandboxes("diff.pairs", cases, "--inside", f"--build={arguments.build}")
    results = [(*pair, *result) for pair, result in zip(cases, found)]
    wrong = [result for result in results if result[-1]]
    for old, new, options, _, problem in wrong:
        print(f"{problem}\n{' '.join(options)}\n{json.dumps(old)}\n{json.dumps(new)}\n")
    different = sum(status == 1 for *_, status, _ in results)
    print(f"{len(results)} pairs, {different} different, {len(wrong)} wrong")
    return 1 if wrong or different < ENOUGH_DIFFERENT * len(results) else 0


if __name__ == "__main__":
    sys.exit(main())
