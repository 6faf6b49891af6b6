"""Archives of the old engine's format (Jet 4), made from a small one: other rows
for a table, in pages of their own at the file's end.

    vecchio_archivio.py FILE ROWS

writes one with that many recipients, and as many certifications."""

import lzma
import os
import struct
import sys

PAGE = 4096
MOVED = 0x4000  # a row that has left a pointer where it was
GONE = 0x8000  # a row that is deleted, or met by its pointer


def text(value):
    """A text as the engine stores it: a byte for each character where it can."""
    units = value.encode("utf-16-le", "surrogatepass")
    if len(units) > 4 and not any(units[1::2]) and all(units[::2]):
        return b"\xff\xfe" + units[::2]
    return units


def row(fixed, texts, columns=None, marks=None):
    """`fixed`: the bytes of the columns of fixed width. `texts`: those of the others,
    None for Null. `marks`: the bits of the columns that aren't Null, by column;
    without it all columns are texts."""
    columns = len(texts) if columns is None else columns
    if marks is None:
        marks = sum(1 << i for i, value in enumerate(texts) if value is not None)
    head = struct.pack("<H", columns) + fixed
    places, data = [], b""
    for value in texts:
        places.append(len(head) + len(data))
        data += value or b""
    tail = [len(head) + len(data)] + places[::-1] + [len(texts)]
    return (head + data + struct.pack(f"<{len(tail)}H", *tail)
            + marks.to_bytes((columns + 7) // 8, "little"))


class Archive:
    def __init__(self, data):
        self.data = bytearray(data)

    def table(self, column):
        """The page of the table that has a column of this name."""
        name = column.encode("utf-16-le")
        for page in range(len(self.data) // PAGE):
            here = self.data[page * PAGE:(page + 1) * PAGE]
            if here[:2] == b"\x02\x01" and name in here:
                return page
        raise KeyError(column)

    def rows_of(self, table):
        """The rows in the table's pages: where each begins and ends."""
        for page in range(len(self.data) // PAGE):
            start = page * PAGE
            if self.data[start] == 1 and self._number(start + 4) == table:
                end = PAGE
                for i in range(struct.unpack_from("<H", self.data, start + 12)[0]):
                    place = struct.unpack_from("<H", self.data, start + 14 + 2 * i)[0] & 0x1FFF
                    yield start + place, start + end
                    end = place

    def set_rows(self, table, rows, count=None):
        """`rows`: bytes, or bytes and the mark of their place. A number in place of
        the bytes is a pointer to the row of that number. `count`: how many the table
        says it has."""
        rows = [r if isinstance(r, tuple) else (r, 0) for r in rows]
        first = len(self.data) // PAGE
        pages, places, room = [[]], [], 0
        for content, _ in rows:
            size = (4 if isinstance(content, int) else len(content)) + 2
            if room + size > PAGE - 14 or len(pages[-1]) == 255:
                pages.append([])
                room = 0
            places.append((first + len(pages) - 1) << 8 | len(pages[-1]))
            pages[-1].append(len(places) - 1)
            room += size
        for numbers in pages:
            self._add_page(table, [rows[n] for n in numbers], places)
        live = sum(1 for _, mark in rows if mark in (0, MOVED))
        struct.pack_into("<I", self.data, table * PAGE + 16, live if count is None else count)
        self._own(table, range(first, first + len(pages)))

    def _number(self, at):
        return struct.unpack_from("<I", self.data, at)[0]

    def _add_page(self, table, rows, places):
        page, end = bytearray(PAGE), PAGE
        struct.pack_into("<BBHIIH", page, 0, 1, 1, 0, table, 0, len(rows))
        for i, (content, mark) in enumerate(rows):
            if isinstance(content, int):
                content = struct.pack("<I", places[content])
            end -= len(content)
            page[end:end + len(content)] = content
            struct.pack_into("<H", page, 14 + 2 * i, end | mark)
        self.data += page

    def _own(self, table, pages):
        """The map of the table's pages: a list of pages of bits."""
        pointer = self._number(table * PAGE + 55)
        start, index = (pointer >> 8) * PAGE, pointer & 0xFF
        place = start + (struct.unpack_from("<H", self.data, start + 14 + 2 * index)[0] & 0x1FFF)
        each = (PAGE - 4) * 8
        maps = {}
        for page in pages:
            bits = maps.setdefault(page // each, bytearray(PAGE - 4))
            bits[page % each // 8] |= 1 << (page % 8)
        numbers = [0] * 17
        for number, bits in maps.items():
            numbers[number] = len(self.data) // PAGE
            self.data += b"\x05\x01\x00\x00" + bits
        self.data[place:place + 69] = struct.pack("<B17I", 1, *numbers)


def small():
    """The bytes of the small archive."""
    return lzma.open(os.path.join(os.path.dirname(os.path.abspath(__file__)),
                                  "../tests/dati/archivio_piccolo.mdb.xz")).read()


def main(file, rows):
    archive = Archive(small())
    names = ["ROSSI", "D'ANGELO", "SALÀ", "MÜLLER-LÜDENSCHEIDT", "SOCIETÀ “LA QUERCIA” S.R.L."]
    recipients, certifications = [], []
    for n in range(rows):
        code = f"RSS{n % 1000:03}60B29{n // 1000:05}"
        recipients.append(row(b"", [text(v) if v is not None else None for v in (
            code, f"{names[n % 5]} {n}", "ANNA MARIA", "F", "19751201", "MILANO", "MI",
            "L'AQUILA", "AQ", "", None, "", "", "", "", None, "1", "A345")]))
        fixed = struct.pack("<hhqqqdd", 1, 2014, 12345600 + n, 12345600, 2469100, 41729.0, 20.0)
        certifications.append(row(fixed, [text(code), text("A")], 10, 0x1FF))
    archive.set_rows(archive.table("APARC_1"), recipients)
    archive.set_rows(archive.table("ALIQUOTA"), certifications)
    with open(file, "wb") as out:
        out.write(archive.data)


if __name__ == "__main__":
    main(sys.argv[1], int(sys.argv[2]))
