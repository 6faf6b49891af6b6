#!/usr/bin/env python3
"""Time and memory of `anagparc-archivio converti` beside mdb-export of the same tables.

    converti.py PROGRAMS [ROWS]

ROWS recipients, 50,000 without it, and as many certifications, beside the small
archive's other tables. Best of five runs of each, by turns."""

import os
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
RUNS = 5


def measure(*commands):
    """Seconds and megabytes of the commands, one after the other."""
    start, peak = time.perf_counter(), 0
    for command in commands:
        process = subprocess.Popen(command, stdout=subprocess.DEVNULL)
        _, status, usage = os.wait4(process.pid, 0)
        if status != 0:
            sys.exit(f"{command}: status {status}")
        peak = max(peak, usage.ru_maxrss / 1024)
    return time.perf_counter() - start, peak


tool = os.path.join(os.path.abspath(sys.argv[1]), "anagparc-archivio")
rows = int(sys.argv[2]) if len(sys.argv) > 2 else 50_000
with tempfile.TemporaryDirectory() as folder:
    old, new = os.path.join(folder, "old.mdb"), os.path.join(folder, "new.mdb")
    # In a process of its own: its memory would be the floor of all those below.
    subprocess.run([sys.executable, os.path.join(HERE, "vecchio_archivio.py"), old, str(rows)],
                   check=True)
    tables = subprocess.run(["mdb-tables", "-1", old], check=True, capture_output=True, text=True)
    exports = [["mdb-export", old, table] for table in tables.stdout.split()]
    ours, theirs = [], []
    for _ in range(RUNS):
        ours.append(measure([tool, "converti", old, new]))
        os.remove(new)
        theirs.append(measure(*exports))
    print(f"{2 * rows} rows, {os.path.getsize(old) / 1e6:.0f} MB")
    for name, runs in [("converti", ours), ("mdb-export", theirs)]:
        print(f"{name:12}{min(r[0] for r in runs):8.3f} s{max(r[1] for r in runs):8.1f} MB")
    print(f"{'ratio':12}{min(r[0] for r in ours) / min(r[0] for r in theirs):8.2f}")
