"""Comments in a configuration, which the parser accepts or rejects depending on the version of jsoncpp."""

import subprocess


def takes_comments(lanfab):
    """Whether the parser of this program accepts a comment above a key."""
    done = subprocess.run([lanfab, "check", "--offline", "-"], input='{\n// comment\n"dns": {}}', text=True,
                          stdout=subprocess.DEVNULL, check=False)
    return done.returncode != 2
