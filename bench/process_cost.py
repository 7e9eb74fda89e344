"""What a process costs, as the system counts it."""

import os


def status_of(pid, label):
    """A figure of the process's status, in the unit that stands there: kB, where it is memory."""
    with open(f"/proc/{pid}/status", encoding="ascii") as status:
        return next(int(line.split()[1]) for line in status if line.startswith(label))


def resident(pid):
    """Megabytes in memory."""
    return status_of(pid, "VmRSS") / 1024


def switches(pid):
    """How often its threads have been given a processor or taken from one."""
    total = 0
    for task in os.listdir(f"/proc/{pid}/task"):
        with open(f"/proc/{pid}/task/{task}/status", encoding="ascii") as status:
            total += sum(int(line.split()[1]) for line in status if "ctxt_switches" in line)
    return total
