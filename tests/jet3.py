"""Small archives of the old engine's older format (Jet 3), from the public
description of its pages: one page of rows for each table, no row longer than 255
bytes."""

import struct

PAGE = 2048
BOOL, BYTE, INT, LONG, MONEY, SINGLE, DOUBLE, DATE, BINARY, TEXT, OLE, MEMO = range(1, 13)
FORM = {BOOL: "", BYTE: "B", INT: "h", LONG: "i", MONEY: "q", SINGLE: "f", DOUBLE: "d", DATE: "d"}


def scrambled(data):
    """RC4 with the key that every head of a file has."""
    key, state, out, j = b"\xc7\xda\x39\x6b", list(range(256)), bytearray(), 0
    for i in range(256):
        j = (j + state[i] + key[i % 4]) & 255
        state[i], state[j] = state[j], state[i]
    j = 0
    for i, byte in enumerate(data, 1):
        j = (j + state[i]) & 255
        state[i], state[j] = state[j], state[i]
        out.append(byte ^ state[(state[i] + state[j]) & 255])
    return bytes(out)


def row_page(owner, rows):
    page, end = bytearray(PAGE), PAGE
    struct.pack_into("<BBHIH", page, 0, 1, 1, 0, owner, len(rows))
    for i, row in enumerate(rows):
        end -= len(row)
        page[end:end + len(row)] = row
        struct.pack_into("<H", page, 10 + 2 * i, end)
    return bytes(page)


def encoded(columns, values):
    row, places, data, marks = bytes([len(columns)]), [], [], 0
    for i, ((_, kind), value) in enumerate(zip(columns, values)):
        marks |= (bool(value) if kind == BOOL else value is not None) << i
        if kind in FORM:
            row += struct.pack("<" + FORM[kind], *[value or 0] * len(FORM[kind]))
        elif kind in (MEMO, OLE) and value is not None:
            data.append(struct.pack("<III", len(value) | 0x80000000, 0, 0) + value)
        else:
            data.append(value or b"")
    for value in data:
        places.append(len(row))
        row += value
    return (row + bytes([len(row), *places[::-1], len(data)])
            + marks.to_bytes((len(columns) + 7) // 8, "little"))


def description(columns, rows, usage, keys):
    out = b"\x02\x01VC" + bytes(4) + struct.pack(
        "<IIIBHHHIIII", 0, rows, 0, 0x4E, len(columns), sum(k not in FORM for _, k in columns),
        len(columns), len(keys), len(keys), usage, usage) + bytes(8) * len(keys)
    place = number = 0
    for i, (_, kind) in enumerate(columns):
        width = struct.calcsize("<" + FORM[kind]) if kind in FORM else 0
        out += struct.pack("<BHHHHHHBHH", kind, i, number, i, 0, 0, 0, 3 if kind in FORM else 2,
                           place if kind in FORM else 0, width or 255)
        place, number = place + width, number + (kind not in FORM)
    out += b"".join(bytes([len(name)]) + name for name, _ in columns)
    for _, column in keys:
        out += struct.pack("<HB", column, 1) + b"\xff\xff\0" * 9 + bytes(8) + b"\1"
    for i in range(len(keys)):
        out += struct.pack("<IIBIIBBB", i, i, 0, 0xFFFFFFFF, 0, 0, 0, 0)
    return (out + b"".join(bytes([len(name)]) + name for name, _ in keys)).ljust(PAGE, b"\0")


def archive(tables, code_page):
    """`tables`: name, columns as pairs of name and type, rows, unique keys as pairs of
    name and column number; names and texts are bytes."""
    catalog = [(b"Id", LONG), (b"Name", TEXT), (b"Type", INT), (b"Flags", LONG)]
    entries = [[3 + 2 * i, table[0], 1, 0] for i, table in enumerate(tables, 1)]
    tables = [(b"MSysObjects", catalog, entries, [])] + tables
    places = [2] + [entry[0] for entry in entries]
    secret = bytes(36) + struct.pack("<H", code_page) + bytes(88)
    pages = {0: b"\0\1\0\0Standard Jet DB\0\0\0\0\0" + scrambled(secret), 1: b"",
             4: row_page(0, [bytes(5) + (2 << page).to_bytes(40, "little") for page in places])}
    for i, (page, (_, columns, rows, keys)) in enumerate(zip(places, tables)):
        pages[page] = description(columns, len(rows), 4 << 8 | i, keys)
        pages[page + 1] = row_page(page, [encoded(columns, row) for row in rows])
    return b"".join(pages[i].ljust(PAGE, b"\0") for i in range(len(pages)))
