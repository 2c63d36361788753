"""Reports why a file cannot be the configuration of a demo, with exit status 2; silent and 0 if it can be."""

import sys

import settings


def main(path):
    try:
        settings.load(path)
    except settings.Unusable as reason:
        print(f"{path}{reason}", file=sys.stderr)
        return 2
    return 0


sys.exit(main(sys.argv[1]))
