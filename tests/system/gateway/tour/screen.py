"""Prints the output of the tour."""

import os

MOST_LINES = 50
LONGEST_LINE = 160

_negative_answers = []


def style(code, text):
    return f"\033[{code}m{text}\033[0m" if os.environ.get("GATEWAY_COLOUR") else text


def heading(text):
    print(f"\n{style('1;34', f'== {text}')}\n", flush=True)


def title(text):
    print(style("1", text), flush=True)


def space():
    print(flush=True)


def answer(text, good):
    """Prints a line that begins with yes or no; returns whether it is yes.

    A "no" means that the gateway does not work as configured: the demo will exit with status 1.
    """
    if not good:
        _negative_answers.append(text)
    print(f"    {style('32', 'yes') if good else style('31', 'no '):<3}  {text}", flush=True)
    return bool(good)


def exit_status(status):
    """Returns the demo's exit status after a program run with `status`; prints why it is not 0."""
    if status != 0:
        print(f"The demo exits with the status of cmd_lanfab: {status}.")
    elif _negative_answers:
        status = 1
        print('The gateway does not work as configured. The failed checks ("no" above):')
        indented(_negative_answers)
    return status


def note(text):
    print(f"         {text}", flush=True)


def indented(lines, most=MOST_LINES):
    """Prints the first lines, shortened if very long, and the number of the others."""
    for line in lines[:most]:
        short = line if len(line) <= LONGEST_LINE else line[:LONGEST_LINE] + "..."
        print(f"    {short}".rstrip())
    if len(lines) > most:
        print(f"    ... and {len(lines) - most} more lines")
    print(end="", flush=True)
