"""Checks that a file can be the configuration of a demo; if not, prints why and exits with 2."""

import sys

import settings


def main(path):
    try:
        settings.load(path)
    except settings.Unusable as error:
        print(f"{path}{error}", file=sys.stderr)
        return 2
    return 0


sys.exit(main(sys.argv[1]))
