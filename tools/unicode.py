#!/usr/bin/env python3
"""Writes src/platform/text/letters.h: capitals and plain forms of characters, so that names
are in the same order on every system. With --check it only compares; Python's Unicode data
must be of the header's version for that, and is left aside otherwise."""
import pathlib
import re
import sys
import unicodedata

HEADER = pathlib.Path(__file__).resolve().parents[1] / "src/platform/text/letters.h"
PLAIN = range(0x80, 0x2000)  # the scripts with capitals, and accents

# Plain forms that follow from neither a decomposition nor a name.
SIGNS = {"\u00a0": " ", "¡": "!", "¢": "C", "£": "GBP", "¥": "JPY", "¦": "|", "©": "(C)",
         "«": "<<", "¬": "!", "\u00ad": "-", "®": "(R)", "±": "+-", "´": "'", "·": ".", "¸": ",",
         "»": ">>", "¼": " 1/4", "½": " 1/2", "¾": " 3/4", "×": "X", "÷": "/", "ß": "SS",
         "ẞ": "SS", "Ŀ": "L", "ŀ": "L", "ŉ": "'N", "ʼ": "'", "ˆ": "^", "ˈ": "'", "ˋ": "`",
         "ˍ": "_", "ː": ":", "˜": "~", "˝": "''"}
NAMED = {"ETH": "D", "THORN": "TH", "ENG": "N", "KRA": "Q", "IOTA": "I", "HENG": "H", "YR": "R"}
NAME = re.compile(r"LATIN (?:CAPITAL |SMALL )?(?:CAPITAL )?(?:LETTER|LIGATURE) (?:SMALL CAPITAL )?"
                  r"(?:OPEN |SCRIPT |DOTLESS |AFRICAN |BARRED |MIDDLE-WELSH |LONG )?"
                  r"([A-Z]{1,2}|ETH|THORN|ENG|KRA|IOTA|HENG)(?: DIGRAPH| BAR)?(?: WITH .*)?")


def upper(c):
    """By the simple mapping. Python has the full one; where that is longer, the title case."""
    for mapped in c.upper(), c.title():
        if len(mapped) == 1:
            return mapped if mapped <= "\uffff" else c
    return c


def letters(c):
    """ASCII that stands for a character, in capitals; None if there is none."""
    if c in SIGNS or c < "\x80":
        return SIGNS.get(c, c.upper())
    if "\u0300" <= c < "\u0370":
        return ""
    parts = [x for x in unicodedata.normalize("NFKD", c) if not unicodedata.combining(x)]
    if parts != [c]:
        parts = [letters(x) for x in parts]
        if None not in parts and "".join(parts).strip():
            return "".join(parts)
    name = NAME.fullmatch(unicodedata.name(c, ""))
    return name and NAMED.get(name[1], name[1])


def upper_runs():
    """[first, last, step, capital of the first] of codes whose capitals follow each other."""
    runs = []
    for code in range(0x80, 0x10000):
        capital = ord(upper(chr(code)))
        if capital == code:
            continue
        if runs:
            first, last, step, to = runs[-1]
            if capital - code == to - first and code - last in ((1, 2) if first == last else (step,)):
                runs[-1][1:3] = code, code - last
                continue
        runs.append([code, code, 1, capital])
    return runs


def plain_forms():
    """The characters of each form, as pairs: first and last of a run."""
    forms = {}
    for c in map(chr, PLAIN):
        form = letters(c)
        if form is not None and form != upper(c):
            runs = forms.setdefault(form, [])
            if runs and ord(runs[-1]) == ord(c) - 1:
                runs[-1] = c
            else:
                runs += c, c
    return sorted(forms.items())


def quoted(text):
    return 'u"' + "".join(
        c if c.isascii() and c not in '"\\' or unicodedata.category(c)[0] == "L" else f"\\u{ord(c):04X}"
        for c in text) + '"'


def filled(items):
    """Lines of at most 100 columns."""
    lines = [" "]
    for item in items:
        if len(lines[-1]) + len(item) > 98:
            lines.append(" ")
        lines[-1] += f" {item},"
    return "\n".join(lines)


def plain_row(form, runs):
    parts = [runs[at:at + 80] for at in range(0, len(runs), 80)]
    return f'    {{{quoted(form)}, ' + "\n     ".join(quoted("".join(part)) for part in parts) + "},"


TEXT = f"""\
// Made by tools/unicode.py from Unicode {unicodedata.unidata_version}; internal to text.cpp.
#pragma once

#include <string_view>

// clang-format off
namespace text {{

// The codes from `first` to `last` in steps; their capitals are `upper` and, in the same
// steps, those that follow.
struct UpperRun {{
  char16_t first, last, step, upper;
}};
inline constexpr UpperRun kUpperRuns[] = {{
{filled(f"{{0x{a:X}, 0x{b:X}, {step}, 0x{to:X}}}" for a, b, step, to in upper_runs())}
}};

// What is left of characters between kFirstPlain and kEndPlain where case and accents don't
// count. `runs` has the first and the last of each run of them.
struct PlainForm {{
  std::u16string_view letters, runs;
}};
inline constexpr char16_t kFirstPlain = 0x{PLAIN.start:X}, kEndPlain = 0x{PLAIN.stop:X};
inline constexpr PlainForm kPlainForms[] = {{
{chr(10).join(plain_row(*form) for form in plain_forms())}
}};

}}  // namespace text
"""

if sys.argv[1:] == ["--check"]:
    now = HEADER.read_text(encoding="utf-8")
    if f"Unicode {unicodedata.unidata_version};" in now and now != TEXT:
        sys.exit(f"{HEADER.name} isn't what tools/unicode.py makes")
else:
    HEADER.write_text(TEXT, encoding="utf-8", newline="\n")
