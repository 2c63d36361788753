"""The network cards of the gateways and of the hosts around them, and the cables between the cards."""

import dataclasses


@dataclasses.dataclass
class Card:
    """A network card of a gateway, or of a host around it, which is a namespace in the gateway."""

    gateway: str
    name: str
    mac_address: str
    namespace: str | None = None
    addresses: tuple[str, ...] = ()

    @property
    def socket(self):
        """The path of the socket for its packets, relative to the directory of any gateway."""
        return f"../{self.gateway}/{self.namespace or 'own'}-{self.name}"


def one_gateway():
    """Returns the cables of a gateway `a` with a host behind each of its two ports."""
    return [
        (Card("a", "eth0", "02:00:5e:00:00:10"), Card("a", "lan0", "02:00:5e:00:01:10", "lan0")),
        (Card("a", "eth1", "02:00:5e:00:00:11"), Card("a", "lan1", "02:00:5e:00:01:11", "lan1")),
    ]


def two_gateways():
    """Returns the cables of `a` and `b`: each has a host behind eth0, and their eth1 are connected.

    Another cable, invisible to both gateways, lets `a` send commands to `b`.
    """
    return [
        (Card("a", "eth0", "02:00:5e:00:00:10"), Card("a", "lan0", "02:00:5e:00:01:10", "lan0")),
        (Card("b", "eth0", "02:00:5e:00:00:20"), Card("b", "lan0", "02:00:5e:00:01:20", "lan0")),
        (Card("a", "eth1", "02:00:5e:00:00:11"), Card("b", "eth1", "02:00:5e:00:00:21")),
        (
            Card("a", "control", "02:00:5e:00:02:10", "control", ("198.18.0.1/24",)),
            Card("b", "control", "02:00:5e:00:02:20", "control", ("198.18.0.2/24",)),
        ),
    ]


LAYOUTS = {1: one_gateway, 2: two_gateways}
