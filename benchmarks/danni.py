#!/usr/bin/env python3
"""What `anagparc-archivio converti` says of a damaged small archive, and whether it is right.

    danni.py PROGRAMS [COUNT [SEED [FOLDER]]]

COUNT random damages, 20,000 without it, from SEED on, 0 without it; all the cuts within
the last pages, and every zeroed sector. With FOLDER the archives that were converted with
other contents, and more of them than damaged bytes explain, are left there."""

import collections
import os
import random
import sqlite3
import subprocess
import sys
import tempfile

from vecchio_archivio import PAGE, small

TOOL = os.path.join(os.path.abspath(sys.argv[1]), "anagparc-archivio")
COUNT = int(sys.argv[2]) if len(sys.argv) > 2 else 20_000
SEED = int(sys.argv[3]) if len(sys.argv) > 3 else 0
SMALL = small()


def contents(file):
    """Tables with their columns' names and their rows, and indexes, of a new archive."""
    base = sqlite3.connect(file)
    base.text_factory = bytes
    tables, indexes = {}, set()
    for kind, name, sql in base.execute("SELECT type, name, sql FROM sqlite_schema").fetchall():
        if kind == b"table":
            found = base.execute(f'SELECT * FROM "{name.decode()}" ORDER BY rowid')
            tables[name] = [c[0] for c in found.description], [
                tuple(map(repr, row)) for row in found.fetchall()]
        else:
            # By number: a column's other name isn't another index.
            keys = base.execute(f'PRAGMA index_info("{name.decode()}")').fetchall()
            indexes.add((name, b"UNIQUE" in sql, tuple(key[1] for key in keys)))
    base.close()
    return tables, indexes


def judged(old, new, damaged):
    """What differs between two archives' contents, after so many damaged bytes."""
    (old_tables, old_indexes), (new_tables, new_indexes) = old, new
    if old == new:
        return "same"
    if list(old_tables) != list(new_tables) or old_indexes != new_indexes:
        return "tables or indexes"
    names = values = 0
    for (old_names, old_rows), (new_names, new_rows) in zip(
            old_tables.values(), new_tables.values()):
        if len(old_names) != len(new_names) or len(old_rows) != len(new_rows):
            return "columns or rows"
        names += old_names != new_names
        values += sum(a != b for rows in zip(old_rows, new_rows) for a, b in zip(*rows))
    if names and not values:
        return "names of columns"
    return "values, as many" if values <= damaged else "values, more"


class Tool:
    def __init__(self, folder):
        self.old, self.new = os.path.join(folder, "old.mdb"), os.path.join(folder, "new.mdb")
        self.sound = None
        self.status(SMALL)
        with open(self.new, "rb") as file:
            self.sound_bytes = file.read()
        self.sound = contents(self.new)

    def status(self, data):
        if os.path.exists(self.new):
            os.remove(self.new)
        with open(self.old, "wb") as file:
            file.write(data)
        run = subprocess.run([TOOL, "converti", self.old, self.new], capture_output=True,
                             check=False)
        self.said = run.stdout.decode() + run.stderr.decode()
        return run.returncode

    def judge(self, data, damaged):
        if self.status(data) != 0:
            return "told" if "--conferma" in self.said else "refused"
        with open(self.new, "rb") as file:
            if file.read() == self.sound_bytes:
                return "same"
        return judged(self.sound, contents(self.new), damaged)


def damages():
    """Kind, name, bytes, how many were damaged."""
    written = [[i for i in range(PAGE) if SMALL[page + i]] for page in range(0, len(SMALL), PAGE)]
    for seed in range(SEED, SEED + COUNT):
        chance, data = random.Random(seed), bytearray(SMALL)
        count, together = chance.choice([1, 1, 2, 4]), chance.random() < 0.25
        for i in range(count):
            # Most of the file is empty; a page's first bytes and those that are written matter.
            if i == 0 or not together:
                page = chance.randrange(len(data) // PAGE)
                place = page * PAGE + chance.choice([
                    chance.choice(written[page]), chance.randrange(80), chance.randrange(PAGE)])
            else:
                place = min(place + 1, len(data) - 1)
            data[place] = chance.choice([0, 0xFF, data[place] ^ 1 << chance.randrange(8),
                                         (data[place] + 1) & 0xFF, chance.randrange(256)])
        yield "random", seed, bytes(data), sum(a != b for a, b in zip(data, SMALL))
    for size in range(1, 65):
        yield "cut", size, SMALL[:-size * 61], size * 61
    for sector in range(PAGE // 512, len(SMALL) // 512):
        yield "sector", sector, SMALL[:sector * 512] + bytes(512) + SMALL[sector * 512 + 512:], 512


def main():
    counts = collections.defaultdict(collections.Counter)
    if len(sys.argv) > 4:
        os.makedirs(sys.argv[4], exist_ok=True)
    with tempfile.TemporaryDirectory() as folder:
        tool = Tool(folder)
        for kind, name, data, damaged in damages():
            verdict = tool.judge(data, damaged)
            counts[kind][verdict] += 1
            if len(sys.argv) > 4 and verdict not in ("same", "told", "refused"):
                at = [f"{i // PAGE}:{i % PAGE}" for i in range(min(len(data), len(SMALL)))
                      if data[i] != SMALL[i]]
                print(kind, name, verdict, *at[:8])
                if verdict not in ("values, as many", "names of columns"):
                    with open(os.path.join(sys.argv[4], f"{kind}{name}.mdb"), "wb") as file:
                        file.write(data)
    for kind, verdicts in counts.items():
        print(f"{kind}: {verdicts.total()}")
        for verdict, count in sorted(verdicts.items()):
            print(f"  {verdict:20}{count:7}")


main()
