"""Errors of booting a gateway."""


class CannotBoot(Exception):
    """A gateway cannot be booted. The message is `cause` and `remedy`, one line each."""

    def __init__(self, cause, remedy):
        super().__init__(f"{cause}\n  {remedy}")


class NotInstalled(CannotBoot):
    """A package, or the kernel that a gateway would download, is not installed."""
