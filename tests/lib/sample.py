"""Chooses the part of many cases that CI runs; it is the same part every time."""


STEP = 10


def stratified(cases, class_of):
    """Returns the first case of each class and every tenth of all others, in their order."""
    known, chosen, others = set(), [], 0
    for case in cases:
        key = class_of(case)
        if key not in known:
            known.add(key)
            chosen.append(case)
            continue
        others += 1
        if others % STEP == 0:
            chosen.append(case)
    return chosen
