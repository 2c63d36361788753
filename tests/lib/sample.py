"""Chooses the sample of the cases that CI runs; it is the same every time."""


STEP = 10


def stratified(cases, class_of):
    """Returns the first case of each class and every tenth of the others, in order."""
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
