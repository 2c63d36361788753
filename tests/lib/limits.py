"""The limits on time that tests set. There are two kinds, and a test sets no other.

HANG_SECONDS ends a wait for an event that never comes. It is wall-clock time, at least ten times the longest
wait on an idle machine, so a busy machine does not reach it. CTest ends a whole test in the same way, after
1500 s unless the test has another TIMEOUT.

`processor_limit` ends a command that computes for too long. It limits the processor time of the command,
which other processes do not use up.
"""

HANG_SECONDS = 300


def processor_limit(seconds):
    """Returns a command prefix that ends a command with SIGXCPU after this much processor time."""
    return ("prlimit", f"--cpu={seconds}")
