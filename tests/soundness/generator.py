"""Random configurations: mixtures of those of the examples and the scenarios, some of them with a few invalid
values."""

import copy
import functools
import json
import random

from fuzz.shape import VALUES
from hostile.texts import value_at
from lib import case
from lib.checkout import EXAMPLES
from lib.runner import paths_of

KNOWN_VALUES = [value for values in VALUES.values() for value in values]
# Strings and numbers that replace a valid value.
ODD_TEXTS = (
    *(value for value in KNOWN_VALUES if isinstance(value, str)),
    " ",
    "192.168.1.256",
    "10.0.0.1/24",
    "fd00::5",
    "fe80::5%eth0",
    "300",
    "my host",
    "-",
    "#",
    "a#b",
    "1,2",
    "a,b",
    "a=b",
    "infinite",
    "12h",
    "1m",
    "90s",
    "3x",
    "-5",
    "00:00:5E:00:53:10",
    "00-00-5e-00-53-10",
    "5e:00:53",
    "*:*:*:*:*:*",
    "set:x",
    "tag:x",
    "ignore",
    "id:*",
    "%",
    "[x]",
    "\u00e4",
    "x" * 64,
)
ODD_NUMBERS = (*(value for value in KNOWN_VALUES if type(value) is int), 67, 68, 1280, 4095)
ODD_VALUES = (None, [], {}, True, False, 1.5)


@functools.cache
def seeds():
    """Returns the configurations of the examples and of the scenarios, each once."""
    texts = [path.read_text() for path in sorted(EXAMPLES.glob("*/network.json"))]
    for path in paths_of("scenarios"):
        texts += case.configurations(path)
    return [configuration for configuration in map(parsed, dict.fromkeys(texts)) if configuration]


def parsed(text):
    """Returns the JSON object in a string; None if there is none."""
    try:
        value = json.loads(text)
    except ValueError:
        return None
    return value if isinstance(value, dict) else None


def mix(config, other, rng):
    """Adds random parts of another configuration, which may replace existing ones."""
    for key, value in other.items():
        if isinstance(value, dict) and isinstance(config.get(key), dict) and rng.random() < 0.7:
            mix(config[key], value, rng)
        elif rng.random() < 0.5:
            config[key] = copy.deepcopy(value)


def mixture(rng):
    """Returns a random mixture of up to three configurations."""
    config = copy.deepcopy(rng.choice(seeds()))
    for _ in range(rng.randrange(3)):
        mix(config, rng.choice(seeds()), rng)
    return config


def leaves(value, path=()):
    """Yields the path of every member and element, after those inside it."""
    items = value.items() if isinstance(value, dict) else enumerate(value) if isinstance(value, list) else ()
    for key, inner in items:
        yield from leaves(inner, (*path, key))
        yield (*path, key)


def spoil(config, rng):
    """Replaces, removes or repeats the value at a random path of the configuration, or does nothing."""
    *parents, key = rng.choice(list(leaves(config)))
    holder = value_at(config, parents)
    value = holder[key]
    what = rng.random()
    if what < 0.12:
        del holder[key]
    elif what < 0.2 and isinstance(holder, list):
        holder.append(copy.deepcopy(value))
    elif isinstance(value, bool):
        holder[key] = not value
    elif isinstance(value, int):
        holder[key] = rng.choice(ODD_NUMBERS)
    elif isinstance(value, str):
        holder[key] = rng.choice(ODD_TEXTS)
    elif what > 0.9:
        holder[key] = rng.choice(ODD_VALUES + ODD_TEXTS + ODD_NUMBERS)


def configurations(count, seed):
    """Yields `count` configurations; half of them have up to three invalid values."""
    for number in range(count):
        rng = random.Random(f"{seed}-{number}")
        config = mixture(rng)
        for _ in range(rng.choice((0, 0, 0, 1, 1, 2, 3))):
            if config:
                spoil(config, rng)
        yield config
