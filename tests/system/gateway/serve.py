"""Executes the operations of the first gateway's `OtherGateway`. Runs in the second gateway, once for each
connection."""

import pickle
import sys

import guest

gateway = guest.Gateway()
while True:
    try:
        operation, arguments, options = pickle.load(sys.stdin.buffer)
    except EOFError:
        break
    try:
        answer = getattr(gateway, operation)(*arguments, **options), None
    except Exception as error:
        answer = None, error
    pickle.dump(answer, sys.stdout.buffer)
    sys.stdout.flush()
