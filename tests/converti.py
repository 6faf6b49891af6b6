#!/usr/bin/env python3
"""The conversion of old archives, from the outside.

    converti.py PROGRAMS [all]

`all` tries every prefix of the small archive in steps of 512 bytes and 2,000 random
corruptions; otherwise a fixed choice of them."""

import json
import lzma
import os
import random
import resource
import signal
import sqlite3
import struct
import subprocess
import sys
import tempfile
from decimal import Decimal

import jet3

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "../benchmarks"))
from vecchio_archivio import GONE, MOVED, PAGE, Archive, row, small, text  # noqa: E402

TOOL = os.path.join(os.path.abspath(sys.argv[1]), "anagparc-archivio")
SMALL = small()
CONTENT = json.load(lzma.open(os.path.join(HERE, "dati/archivio_piccolo.json.xz")))
failures = 0


def check(what, got, wanted):
    global failures
    if got != wanted:
        failures += 1
        print(f"{what}:\n   got    {got!r:.500}\n   wanted {wanted!r:.500}")


class Conversion:
    """One run on an archive of these bytes; it leaves nothing but a whole archive, or
    nothing at all, and the old one as it was."""

    def __init__(self, what, data, *options, room=None, beside=None):
        def limit():
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
            resource.setrlimit(resource.RLIMIT_FSIZE, (room, room))

        with tempfile.TemporaryDirectory() as folder:
            old, new = os.path.join(folder, "old.mdb"), os.path.join(folder, "new")
            with open(old, "wb") as file:
                file.write(data)
            os.mkdir(new)
            if beside:
                open(os.path.join(folder, beside), "wb").close()
            run = subprocess.run([TOOL, "converti", old, new, *options], capture_output=True,
                                 timeout=120, check=False, preexec_fn=limit if room else None)
            self.status, self.out = run.returncode, (run.stdout + run.stderr).decode()
            check(f"{what}: files left", os.listdir(new), [] if self.status else ["old.mdb"])
            check(f"{what}: the old file", open(old, "rb").read() == data, True)
            self.tables = {}
            if self.status == 0:
                verify = subprocess.run([TOOL, "verifica", os.path.join(new, "old.mdb")],
                                        capture_output=True, check=False)
                self.sound = verify.returncode == 0
                base = sqlite3.connect(os.path.join(new, "old.mdb"))
                base.text_factory = lambda b: b.decode()
                for (name,) in base.execute(
                        "SELECT name FROM sqlite_schema WHERE type = 'table'").fetchall():
                    found = base.execute(f'SELECT * FROM "{name}" ORDER BY rowid')
                    self.tables[name] = [c[0] for c in found.description], found.fetchall()
                self.unique = {name for (name,) in base.execute(
                    "SELECT name FROM sqlite_schema WHERE sql LIKE 'CREATE UNIQUE%'")}
                self.keys = {name: base.execute(f'PRAGMA index_info("{name}")').fetchall()[0][2]
                             for (name,) in base.execute(
                                 "SELECT name FROM sqlite_schema WHERE type = 'index'").fetchall()}
                base.close()


def plain(value):
    """A value of the new archive as the JSON has it, with its type."""
    value = value.hex() if isinstance(value, bytes) else value
    return type(value).__name__, value


def whole():
    """Everything in the small archive, value by value."""
    got = Conversion("small", SMALL)
    check("small: status, sound", (got.status, got.sound), (0, True))
    check("small: tables", list(got.tables), [t["name"] for t in CONTENT["tables"]])
    for table in CONTENT["tables"]:
        columns, rows = got.tables[table["name"]]
        check(table["name"], columns, [c["name"] for c in table["columns"]])
        check(table["name"], [list(map(plain, r)) for r in rows],
              [[plain(int(v) if isinstance(v, bool) else v) for v in r] for r in table["rows"]])
        told = f"Tabella {table['name']}: righe dichiarate {len(rows)}, lette {len(rows)}."
        check("report", told in got.out, True)


def recipients():
    """Rows as years of use leave them."""
    rows = [
        (row(b"", [text("A   ")] + [None] * 17), 0),
        (3, MOVED),
        (row(b"", [text("C")] + [text("")] * 17), 0),
        (row(b"", [text("B"), text("🏠 è 20 €")] + [None] * 16), GONE),
        (row(b"", [text("D"), text("TOLTA")] + [None] * 16), GONE | MOVED),
        (row(b"", [text("D"), text("TOLTA")] + [None] * 16), GONE),
        (row(b"", [text("E"), text("CON\0NUL"), text("CORTA")]), 0),
        (row(b"", [None] * 18), 0),
        (row(b"", [None] * 18), 0),
        (row(b"", [text("")] + [None] * 17), 0),
    ] + [(row(b"", [text(f"Z{n:04}")] + [text("LUNGO " * 5)] * 17), 0) for n in range(300)]
    archive = Archive(SMALL)
    archive.set_rows(archive.table("APARC_1"), rows)
    told = "riga 4, colonna APARC_1: il testo contiene un carattere nullo"
    got = Conversion("NUL", bytes(archive.data))
    check("NUL: told", (got.status, told in got.out), (1, True))
    got = Conversion("rows", bytes(archive.data), "--conferma")
    check("rows: status", (got.status, "righe dichiarate 307, lette 307" in got.out), (0, True))
    codes = [r[:3] for r in got.tables["PERCPARCELLE"][1]]
    check("rows", codes[:8], [
        ("A   ", None, None), ("B", "🏠 è 20 €", None), ("C", "", ""), ("E", "CON\0NUL", "CORTA"),
        (None, None, None), (None, None, None), ("", None, None), ("Z0000",) + ("LUNGO " * 5,) * 2])
    check("rows: number", len(codes), 307)

    # Columns that are younger than the row; a date before the first one, a half pair.
    archive = Archive(SMALL)
    archive.set_rows(archive.table("ALIQUOTA"), [
        row(struct.pack("<hhq", 1, -2, -5), [text("A"), b"\x00\xd8"], 5, 0xFF),
        row(struct.pack("<hhqqqdd", 1, 2, 3, 4, 5, -1.25, float("nan")), [text("B"), None], 10,
            0x3F7)])
    got = Conversion("young columns", bytes(archive.data))
    check("young columns", got.tables["QUADROLAUT"][1], [
        ("A", 1, -2, "\ufffd", "-0.0005", None, None, None, None, 0),
        ("B", 1, 2, None, "0.0003", "0.0004", "0.0005", "1899-12-29T06:00:00", "nan", 1)])


def doubts():
    """What is told before anything is written, and what --conferma does about it."""
    def wide(name):
        return name.encode("utf-16-le")

    def doubled():
        archive = Archive(SMALL)
        archive.set_rows(archive.table("APARC_1"), [
            row(b"", [text(code)] + [None] * 17) for code in ("AB", "AB  ", "CD", "", "")])
        return bytes(archive.data)

    def miscounted():
        data = bytearray(SMALL)
        data[35 * PAGE + 16] = 13
        return bytes(data)

    def linked():
        data = bytearray(SMALL)
        for start, end in Archive(SMALL).rows_of(2):
            if wide("TABAPPOSTAMPA") in data[start:end]:
                data[start + 10] = 6  # its type
        return bytes(data)

    def with_bytes(*places):
        data = bytearray(SMALL)
        for at, content in places:
            data[at:at + len(content)] = content
        return bytes(data)

    rows_of_35 = list(Archive(SMALL).rows_of(35))
    entries = [start for start, end in Archive(SMALL).rows_of(2)
               if any(wide(name) in SMALL[start:end] for name in ("TABMIN_SB", "TABMIN_SC"))]

    def torn():
        data = bytearray(SMALL)
        start, end = list(Archive(SMALL).rows_of(35))[3]
        data[end - 5:end - 3] = b"\xff\xff"  # how many texts it has
        return bytes(data)

    sound, mendable, hopeless = True, False, None
    for what, data, told, after in [
            ("table", SMALL.replace(wide("TABCOMUNI"), wide("TABCOMUNX")),
             "Tabella TABCOMUNI: manca.", sound),
            ("linked", linked(), "Tabella TABAPPOSTAMPA: manca (è collegata", sound),
            ("recipients", SMALL.replace(wide("PERCPARCELLE"), wide("PERCPARCELLX")),
             "Tabella PERCPARCELLE: manca.", hopeless),
            ("column", SMALL.replace(wide("APARC_9"), wide("APARC_X")),
             "Tabella PERCPARCELLE: manca la colonna APARC_9.", sound),
            ("code", SMALL[:35 * PAGE] + SMALL[35 * PAGE:36 * PAGE].replace(
                wide("CFP"), wide("CFX")) + SMALL[36 * PAGE:],
             "Tabella PERCPARCELLE: manca la colonna CFP.", hopeless),
            ("index", SMALL.replace(wide("CHIAVE2"), wide("CHIAVE3")),
             "Indice CHIAVE2 della tabella TABMIN_SG: manca.", sound),
            ("doubles", doubled(), 'lo stesso codice "AB" in 2 righe.', mendable),
            ("count", miscounted(),
             "Tabella PERCPARCELLE: righe dichiarate 13, lette 12.", sound),
            ("row", torn(), "Tabella PERCPARCELLE: righe illeggibili 1", sound),
            ("cut", SMALL[:-1], "Il file non è intero", sound),
            ("no columns", with_bytes((rows_of_35[3][0], bytes(2))), "righe illeggibili 1", sound),
            ("null with a length", with_bytes((rows_of_35[3][1] - 3, bytes(3))),
             "righe illeggibili 1", sound),
            ("owner", with_bytes((38 * PAGE + 4, b"\x27")), "pagine che non sono sue 1", sound),
            ("page's kind", with_bytes((38 * PAGE, b"\x04")), "pagine che non sono sue 1", sound),
            ("same page", with_bytes((entries[0] + 2, SMALL[entries[1] + 2:entries[1] + 6])),
             "sono la stessa", sound),
            ("hidden", with_bytes((entries[0] + 10, b"\x05")), "non la dice una tabella", sound),
            ("zeroed", with_bytes((125 * PAGE + 512, bytes(512))), "riga", sound),
            ("name", SMALL.replace(wide("cod_tmsb"), b"c\x60" + wide("od_tmsb")),
             "caratteri insoliti", sound)]:
        check(f"{what}: changed", data != SMALL, True)
        got = Conversion(what, data)
        check(f"{what}: told", (got.status, told in got.out), (1, True))
        check(f"{what}: hint", "--conferma" in got.out, after is not hopeless)
        got = Conversion(what, data, "--conferma")
        check(f"{what}: told again", told in got.out, True)
        check(f"{what}: confirmed", got.sound if got.status == 0 else None, after)

    names = SMALL.replace(wide("RELEASE"), wide("Release")).replace(wide("descprov"), wide("DESCprov"))
    got = Conversion("letter case", names)
    check("letter case", (got.status, "Release" in got.tables and got.sound), (0, True))
    extra = SMALL.replace(wide("PERCETTORI"), wide("PERCETTORX"))
    got = Conversion("extra", extra, "--conferma")
    check("other tables come too", (len(got.tables["PERCETTORX"][1]), got.unique),
          (3, {"PERCPARCELLE.CHIAVE"}))
    got = Conversion("lock", SMALL, beside="OLD.ldb")
    check("lock: told", (got.status, "c'è OLD.ldb" in got.out), (1, True))
    check("lock: confirmed", Conversion("lock", SMALL, "--conferma", beside="OLD.ldb").status, 0)
    got = Conversion("no room", SMALL, room=100_000)
    check("no room", (got.status, "non può crescere" in got.out), (1, True))
    for what, data, told in [
            ("later", SMALL[:20] + b"\x02" + SMALL[21:], "Access del 2007"),
            ("new", b"SQLite format 3\0" + bytes(4096), "non è un archivio del vecchio formato"),
            ("head", SMALL[:4096], "non si può convertire")]:
        got = Conversion(what, data)
        check(f"{what}: refused", (got.status, told in got.out), (1, True))


def decimals():
    """Sign, value and scale of exact numbers, in the columns after the first."""
    numbers = [0, 1, -1, 1234567890123456789012345678, -(10 ** 28 - 1)]
    for first in (0, 12):
        archive = Archive(SMALL)
        table = archive.table("APARC_1")
        for i in range(17):
            at = table * PAGE + 75 + 25 * (i + 1)
            archive.data[at] = 16  # its type
            archive.data[at + 11:at + 13] = bytes([28, first + i])
        stored = [bytes([128 * (n < 0)]) + b"".join(
            abs(n).to_bytes(16, "big")[i:i + 4][::-1] for i in range(0, 16, 4)) for n in numbers]
        archive.set_rows(table, [row(b"", [text(str(i))] + [value] * 17)
                                 for i, value in enumerate(stored)])
        got = Conversion("decimals", bytes(archive.data))
        check(f"decimals from {first}", [r[1:] for r in got.tables.get("PERCPARCELLE", [0, []])[1]], [
            tuple(f"{Decimal(n).scaleb(-scale):f}" for scale in range(first, first + 17))
            for n in numbers])


def indexes():
    """An index has its columns by its place, whatever number it has got when made anew."""
    for numbers in [(0, 1), (1, 0), (5, 2), (1, 7)]:
        data = bytearray(SMALL)
        for i, number in enumerate(numbers):
            struct.pack_into("<I", data, 114 * PAGE + 281 + 28 * i + 4, number)
        got = Conversion(f"indexes {numbers}", bytes(data))
        check(f"indexes {numbers}", {n: c for n, c in got.keys.items() if "TABMIN_SG" in n}, {
            "TABMIN_SG.CHIAVE1": "cod_tmsg", "TABMIN_SG.CHIAVE2": "descr_tmsg"})


def older():
    """Jet 3: one code page for all texts."""
    columns = [(b"CITT\xc0", jet3.TEXT)] + [(b"%c" % (64 + kind), kind) for kind in range(1, 13)]
    value = [b"Forl\xec", 1, 200, -3, 70000, -15000, 0.5, 1e-300, 42216.5, b"\0\1", b"\x80", b"",
             b"memo \x81"]
    data = jet3.archive([
        (b"PERCPARCELLE", [(b"CFP", jet3.TEXT)] + [(b"APARC_%d" % i, jet3.TEXT)
                                                  for i in range(1, 18)],
         [[b"A  ", b"", b"\xa3"] + [None] * 15, [None] * 18], [(b"CHIAVE", 0)]),
        (b"TUTTI", columns, [value, [None] * 13], [(b"CHIAVE", 0)]),
        (b"NUMERI", [(b"RowID", jet3.TEXT), (b"OID", jet3.TEXT), (b"_rowid_", jet3.TEXT),
                     (b"_ROWID_1", jet3.TEXT)], [[b"a", b"b", b"c", b"d"]], [(b"CHIAVE", 2)])], 1252)
    got = Conversion("Jet 3", data, "--conferma")
    check("Jet 3: status", (got.status, got.sound), (0, True))
    check("Jet 3: keys", got.unique, {"PERCPARCELLE.CHIAVE", "TUTTI.CHIAVE", "NUMERI.CHIAVE"})
    check("a row number is left", got.tables["NUMERI"], (["RowID", "OID", "_rowid_2", "_ROWID_1"],
                                                         [("a", "b", "c", "d")]))
    check("renamed", "la colonna _rowid_ si chiama ora _rowid_2" in got.out, True)
    check("Jet 3: columns", got.tables["TUTTI"][0][:3], ["CITTÀ", "A", "B"])
    check("Jet 3: rows", got.tables["TUTTI"][1], [
        ("Forlì", 1, 200, -3, 70000, "-1.5000", 0.5, 1e-300, "2015-07-31T12:00:00", b"\0\1", "€",
         b"", "memo \x81"), (None, 0) + (None,) * 11])
    check("Jet 3: recipients", [r[:4] for r in got.tables["PERCPARCELLE"][1]],
          [("A  ", "", "£", None), (None,) * 4])
    check("Jet 3: the program's", "Tabella QUADROLAUT: manca." in got.out, True)


def damaged(every):
    for size in range(0, len(SMALL), 512 if every else 512 * 23):
        yield f"first {size} bytes", SMALL[:size]
    for seed in range(2000 if every else 40):
        chance, data = random.Random(seed), bytearray(SMALL)
        for _ in range(chance.choice([1, 4, 16, 64])):
            # Most of the file is empty; what matters stands on the pages' first bytes.
            place = chance.randrange(len(data) // PAGE) * PAGE + int(PAGE * chance.random() ** 3)
            data[place] = chance.choice([0, 0xFF, chance.randrange(256)])
        yield f"seed {seed}", bytes(data)


def damages(every):
    """Nothing brings the tool down, and its answer is one of two."""
    statuses = {}
    for number, (what, data) in enumerate(damaged(every)):
        got = Conversion(what, data, *["--conferma"] * (number % 2))
        check(f"{what}: status", got.status in (0, 1), True)
        check(f"{what}: a word", got.out != "", True)
        statuses[got.status] = statuses.get(got.status, 0) + 1
    print("damaged archives:", statuses)


whole()
recipients()
doubts()
decimals()
indexes()
older()
damages(sys.argv[2:] == ["all"])
sys.exit(1 if failures else 0)
