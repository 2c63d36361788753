"""Command prefixes with which lanfab finds other programs than those of the system, outside the sandbox.

As root, lanfab ignores the caller's PATH, so these prefixes mount other directories over those of the system,
in namespaces in which the command is root.
"""

NAMESPACES = ("unshare", "--user", "--map-root-user", "--mount", "sh", "-ec")


def with_first(directory):
    """Returns a command prefix under which programs in the directory precede those of the system."""
    line = 'mount -t overlay -o "lowerdir=$0:/usr/sbin" tools /usr/sbin; exec "$@"'
    return (*NAMESPACES, line, str(directory))


def with_none(directory):
    """Returns a command prefix under which no program is found. The directory must be empty."""
    line = 'mount --bind "$0" /usr/sbin; mount --bind "$0" /usr/bin; exec "$@"'
    return (*NAMESPACES, line, str(directory))
