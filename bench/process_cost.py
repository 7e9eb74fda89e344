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
    """How often each of its threads has been given a processor or taken from one."""
    counts = {}
    for task in os.listdir(f"/proc/{pid}/task"):
        with open(f"/proc/{pid}/task/{task}/status", encoding="ascii") as status:
            counts[task] = sum(int(line.split()[1]) for line in status if "ctxt_switches" in line)
    return counts


def wake_ups(before, after):
    """What happened between two countings. A thread that has gone since woke once at least, to go."""
    gone = len(before.keys() - after.keys())
    return gone + sum(count - before.get(task, 0) for task, count in after.items())
