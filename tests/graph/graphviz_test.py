#!/usr/bin/env python3
"""Shows pictures of `lanfab graph` to Graphviz: every example, one of a bracket, and random configurations.

Usage: graphviz_test.py PROGRAM [--exhaustive]
"""

import concurrent.futures
import json
import os
import shutil
import subprocess
import sys

from lib.checkout import EXAMPLES
from soundness import generator

SKIPPED = 77
# Each configuration is made of its own number, so the sample is the first ones of all.
SAMPLE = 100
ALL = 1000
# A text of one bracket is what Graphviz loses unless it is escaped.
BRACKET = {"tunnels": {"gre": [{"enable": True, "remote_ip": "]", "tunnel_local_ip": "10.9.0.1",
                                "tunnel_netmask": 30, "tunnel_remote_ip": "10.9.0.2"}]}}


def draw(program, configuration):
    done = subprocess.run([program, "graph", "-", "--format", "dot"], input=configuration, text=True,
                          capture_output=True, check=False)
    assert (done.returncode, done.stderr) == (0, ""), (done.stderr, configuration)
    return done.stdout


def main():
    if shutil.which("dot") is None:
        print("there is no Graphviz")
        return SKIPPED
    program = os.path.abspath(sys.argv[1])
    count = ALL if "--exhaustive" in sys.argv[2:] else SAMPLE
    shown = [path.read_text(encoding="utf-8") for path in sorted(EXAMPLES.glob("*/network.json"))]
    shown.append(json.dumps(BRACKET))
    shown += map(json.dumps, generator.configurations(count, "graph"))
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        pictures = list(pool.map(lambda configuration: draw(program, configuration), shown))
    # One process lays out all of them.
    done = subprocess.run(["dot", "-Tplain"], input="".join(pictures), text=True, capture_output=True,
                          check=False)
    drawn = done.stdout.splitlines().count("stop")
    print(f"{len(shown)} pictures, {drawn} drawn", done.stderr)
    return 0 if (done.returncode, done.stderr, drawn) == (0, "", len(shown)) else 1


if __name__ == "__main__":
    sys.exit(main())
