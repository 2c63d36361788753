"""The cases: each injects strings at some locations; some must be rejected."""

import dataclasses
import json

from hostile import texts
from lib import sample



@dataclasses.dataclass
class Case:
    name: str
    configuration: bytes
    runtime: dict
    is_refused: bool = False
    actions: tuple = ("APPLY", "WWAN_APPLY", "DNSMASQ")
    # The kind of string and of location; the sample has one case of each class.
    in_class: str = ""

    def as_json(self):
        runtime_files = {name: value.hex() for name, value in self.runtime.items()}
        return {"name": self.name, "configuration": self.configuration.hex(), "runtime": runtime_files,
                "is_refused": self.is_refused, "actions": self.actions}


def encode(configuration):
    """Returns a configuration as JSON in bytes; lone surrogates become bytes that are not valid UTF-8."""
    return json.dumps(configuration, ensure_ascii=False).encode("utf-8", "surrogateescape")


def runtime(**others):
    """Returns the content of the runtime files, by name: that of a connected link, except for `others`."""
    return {name: f"{value}\n".encode("latin-1") for name, value in {**texts.RUNTIME_FILES, **others}.items()}


def valid():
    for name, configuration in {**texts.configurations(), **texts.more_valid_configurations()}.items():
        yield Case(name, encode(configuration), runtime())


# Locations whose string decides which others are used: an injected string there would hide the others.
KEYWORDS = {"mode", "protocol", "source", "primary_interface"}
BRIDGE_MEMBER = ("wired", "bridge", "interfaces")


def everywhere():
    """Yields cases with one string at all paths where it is accepted, except keywords and bridge members."""
    for base, configuration in texts.configurations().items():
        for kind, text in texts.ACCEPTED.items():
            hostile = configuration
            for path in texts.paths(configuration):
                former = texts.value_at(configuration, path)
                is_keyword = path[-1] in KEYWORDS or path[:3] == BRIDGE_MEMBER
                if isinstance(former, str) and not is_keyword and not texts.is_refused(path, text):
                    hostile = texts.put(hostile, path, text)
            name = f"{base}, {kind} everywhere"
            yield Case(name, encode(hostile), runtime(), in_class=name)


def one_place_each(kinds):
    """Yields a case for each path, regardless of its type, with strings of these kinds in turn."""
    configuration = texts.configurations()["router"]
    for number, path in enumerate(texts.paths(configuration)):
        kind, text = list(kinds.items())[number % len(kinds)]
        yield Case(f"{kind} at {'.'.join(map(str, path))}", encode(texts.put(configuration, path, text)),
                   runtime(), texts.is_refused(path, text), ("APPLY", "WWAN_APPLY"),
                   in_class=f"{kind} in one place")


def members():
    """Yields cases with every string as a member of the bridge and as its primary member."""
    configuration = texts.configurations()["bridge"]
    for path in (BRIDGE_MEMBER + (0,), BRIDGE_MEMBER[:2] + ("primary_interface",)):
        for kind, text in texts.ACCEPTED.items():
            name = f"{kind} at {path[2]}"
            yield Case(name, encode(texts.put(configuration, path, text)), runtime(), in_class=name)


def shell_places():
    """Yields cases with every string at each path that reaches a shell."""
    configuration = texts.configurations()["router"]
    for path in texts.paths(configuration):
        if not texts.is_shell_path(path):
            continue
        for kind, text in {**texts.ACCEPTED, **texts.REFUSED}.items():
            yield Case(f"{kind} at {'.'.join(map(str, path))}", encode(texts.put(configuration, path, text)),
                       runtime(), texts.is_refused(path, text), in_class=f"{kind} for a shell")


def keys():
    """Yields cases with every string as an unknown key."""
    for kind, text in {**texts.ACCEPTED, **texts.REFUSED}.items():
        configuration = texts.put(texts.configurations()["router"], ("dns", text), "1.1.1.1")
        name = f"{kind} as a key"
        yield Case(name, encode(configuration), runtime(), text in texts.REFUSED.values(), in_class=name)


def runtime_files():
    """Yields cases with every string in the name of the cellular interface, and in all other runtime files at
    once."""
    names = list(texts.RUNTIME_FILES)
    for base in ("router", "pass-through", "automatic"):
        configuration = encode(texts.configurations()[base])
        for text in texts.RUNTIME_TEXTS:
            for changed in (names[:1], names[1:]):
                name = f"{text[:20]!r} in {' '.join(changed)}"
                yield Case(f"{base}, {name}", configuration, runtime(**dict.fromkeys(changed, text)),
                           actions=("WWAN_APPLY", "DNSMASQ"), in_class=name)


def few():
    """Returns a selection that takes a few seconds."""
    return [*everywhere(), *shell_places(), *keys(), *runtime_files()][::17]


def hostile():
    """Returns all cases."""
    return [*everywhere(), *shell_places(), *keys(), *runtime_files(), *members(),
            *one_place_each(texts.REFUSED), *one_place_each(texts.ACCEPTED)]


def sampled():
    """Returns one case of each class, and some of the others."""
    return sample.stratified(hostile(), lambda case: case.in_class)
