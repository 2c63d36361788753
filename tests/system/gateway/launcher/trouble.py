"""Why a gateway cannot be booted on this machine."""


class CannotBoot(Exception):
    """`cause` and `remedy`, one line each."""

    def __init__(self, cause, remedy):
        super().__init__(f"{cause}\n  {remedy}")


class NotInstalled(CannotBoot):
    """A package or the kernel that the package manager would fetch is missing."""
