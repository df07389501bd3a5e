#!/usr/bin/env python3
"""tools.py READER READKEY KEY: compares readkey's views with the library's own open() and read() of the same key.

Whole processes are compared: the median of their processor times, and the highest peak of their memory.
"""
import os
import statistics
import subprocess
import sys

RUNS = 9


def cost(*command):
    """Milliseconds and megabytes."""
    times = []
    memory = []
    for _ in range(RUNS):
        process = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        _, status, usage = os.wait4(process.pid, 0)
        if status != 0:
            sys.exit(f"{' '.join(command)} failed")
        times.append((usage.ru_utime + usage.ru_stime) * 1000)
        memory.append(usage.ru_maxrss / 1024)
    return statistics.median(times), max(memory)


reader, readkey, key = sys.argv[1:]
os.environ["TZ"] = "Europe/Berlin"
library, megabytes = cost(reader, key)
print("| view | ms | times the library | MB |\n|:---|---:|---:|---:|")
print(f"| open() and read() alone | {library:.0f} | | {megabytes:.0f} |")
for view in ("--utc", "--summary", "--json", "--csv", "--html=-", "--events"):
    milliseconds, megabytes = cost(readkey, view, key)
    name = "tables" if view == "--utc" else view
    print(f"| {name} | {milliseconds:.0f} | {milliseconds / library:.2f} | {megabytes:.0f} |")
