"""What a command runs under, outside the sandbox, to find other programs than those of the system.

As root, lanfab trusts no PATH, so other directories take the place of the system's: in namespaces, of which
the command is root.
"""

NAMESPACES = ("unshare", "--user", "--map-root-user", "--mount", "sh", "-ec")


def with_first(directory):
    """Returns a command prefix under which programs in the directory precede those of the system."""
    line = 'mount -t overlay -o "lowerdir=$0:/usr/sbin" tools /usr/sbin; exec "$@"'
    return (*NAMESPACES, line, str(directory))


def with_none(directory):
    """Returns a command prefix under which no program is found. The directory is an empty one."""
    line = 'mount --bind "$0" /usr/sbin; mount --bind "$0" /usr/bin; exec "$@"'
    return (*NAMESPACES, line, str(directory))
