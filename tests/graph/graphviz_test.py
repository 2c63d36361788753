#!/usr/bin/env python3
"""Draws diagrams of `lanfab graph` with Graphviz: every example, two special cases, and random
configurations. Checks in some of the drawings that edges have right angles and cross no node.

Usage: graphviz_test.py PROGRAM [--exhaustive]
"""

import concurrent.futures
import itertools
import json
import os
import re
import shutil
import subprocess
import sys

from lib.checkout import EXAMPLES
from soundness import generator

SKIPPED = 77
# The number of random configurations, each of which is generated from its index.
SAMPLE = 100
ALL = 1000
# The number of drawings whose edges are checked. Each of these takes its own Graphviz process.
DRAWN_OF_SAMPLE = 20
DRAWN_OF_ALL = 200
# A string of one bracket, which Graphviz drops unless it is escaped.
BRACKET = {"tunnels": {"gre": [{"enable": True, "remote_ip": "]", "tunnel_local_ip": "10.9.0.1",
                                "tunnel_netmask": 30, "tunnel_remote_ip": "10.9.0.2"}]}}


def port(vlans):
    """Returns a port whose VLANs have these networks."""
    networks = [{"enable": True, "vid": vid, "network": network} for vid, network in enumerate(vlans, 1)]
    return {"enable": True, "network": {"mode": "router", "protocol": "static",
                                        "advanced": {"vlan": {"enable": True, "networks": networks}}}}


# Uplinks in two columns, so an edge to the Internet must pass the nodes of one column.
CLIENT, LAN = {"protocol": "dhcp_client"}, {"protocol": "static", "ipv4": "10.0.0.1", "netmask": 24}
CROWDED = {
    "wired": {"eth0": port([LAN, LAN, LAN]), "eth1": port([CLIENT, LAN, CLIENT])},
    "wireless": {"cell": {"enable": True},
                 "wifi": {"wlan0": {"client": {"enable": True, "network": CLIENT}}}},
    "tunnels": {"gre": [{"enable": True, "local_ip": "dynamic", "remote_ip": f"198.51.100.{number}",
                         "tunnel_local_ip": "10.9.0.1", "tunnel_netmask": 30, "tunnel_remote_ip": "10.9.0.2"}
                        for number in range(1, 5)]}}


def draw(program, configuration, form):
    done = subprocess.run([program, "graph", "-", "--format", form], input=configuration, text=True,
                          capture_output=True, check=False)
    assert (done.returncode, done.stderr) == (0, ""), (done.stderr, configuration)
    return done.stdout


def points_of(path):
    """Returns the points of a path of horizontal and vertical lines; fails for another path."""
    assert re.fullmatch(r"M-?[0-9.]+,-?[0-9.]+H-?[0-9.]+(V-?[0-9.]+H-?[0-9.]+)?", path), path
    x, y = map(float, re.match("M([^,]+),([^H]+)", path).groups())
    points = [(x, y)]
    for command, number in re.findall("([HV])([^HV]+)", path):
        x, y = (float(number), y) if command == "H" else (x, float(number))
        points.append((x, y))
    return points


def crosses(begin, end, box):
    """Whether a line between two points crosses the interior of a box."""
    left, top, right, bottom = box
    (x1, x2), (y1, y2) = sorted((begin[0], end[0])), sorted((begin[1], end[1]))
    return x1 < right - 0.1 and x2 > left + 0.1 and y1 < bottom - 0.1 and y2 > top + 0.1


def check_edges(svg):
    """Returns the number of edges in a drawing; fails if one has other than right angles or crosses a box."""
    boxes = []
    for group in re.findall(r'class="node">\n<polygon [^>]*points="([^"]*)"', svg):
        xs, ys = zip(*(map(float, point.split(",")) for point in group.split()))
        # Graphviz draws the bend of an edge as a tiny node.
        if max(xs) - min(xs) > 2:
            boxes.append((min(xs), min(ys), max(xs), max(ys)))
    paths = re.findall(r'class="edge">\n<path [^>]*d="([^"]*)"', svg)
    for path in paths:
        for (begin, end), box in itertools.product(itertools.pairwise(points_of(path)), boxes):
            assert not crosses(begin, end, box), (path, box, svg)
    return len(paths)


def main():
    if shutil.which("dot") is None:
        print("Graphviz is not installed")
        return SKIPPED
    program = os.path.abspath(sys.argv[1])
    is_exhaustive = "--exhaustive" in sys.argv[2:]
    count = ALL if is_exhaustive else SAMPLE
    shown = [path.read_text(encoding="utf-8") for path in sorted(EXAMPLES.glob("*/network.json"))]
    shown += map(json.dumps, (BRACKET, CROWDED))
    shown += map(json.dumps, generator.configurations(count, "graph"))
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        diagrams = list(pool.map(lambda configuration: draw(program, configuration, "dot"), shown))
        drawings = pool.map(lambda configuration: draw(program, configuration, "svg"),
                            shown[:DRAWN_OF_ALL if is_exhaustive else DRAWN_OF_SAMPLE])
        edges = sum(map(check_edges, drawings))
    # One process lays out all diagrams.
    done = subprocess.run(["dot", "-Tplain"], input="".join(diagrams), text=True, capture_output=True,
                          check=False)
    drawn = done.stdout.splitlines().count("stop")
    print(f"{len(shown)} diagrams, {drawn} drawn, {edges} edges without a crossing", done.stderr)
    return 0 if (done.returncode, done.stderr, drawn) == (0, "", len(shown)) and edges > 0 else 1


if __name__ == "__main__":
    sys.exit(main())
