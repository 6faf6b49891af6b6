#!/usr/bin/env python3
"""Counts the keys that a bookkeeper presses for whole jobs: twelve Italian persons entered, three
addresses corrected. The hands press one key at a time in anagparc-script, the eyes look at what it
shows in between, as far as an eye would: which row is found, where the focus is. What then stands
in the archive is compared with what should. A key with Ctrl or Shift counts as one.

    benchmarks/tasti.py PROGRAMS [--solo-tab]

PROGRAMS is a build's bin folder. With --solo-tab the hands know Tab, letters, F4 and Ctrl+S only,
as before there were keys that jump and fill."""

import os
import shutil
import sqlite3
import subprocess
import sys
import tempfile

PERSONS = [  # code, surname, name, sex, birth, municipality, province; domicile and its code
    ("RSSMRA70C15H501K", "ROSSI", "MARIO", "M", "19700315", "ROMA", "RM", "FIUMICINO", "RM", "M297"),
    ("FRRLCU82E62F205I", "FERRARI", "LUCIA", "F", "19820522", "MILANO", "MI", "MONZA", "MB", "F704"),
    ("RSSGNR65A01F839U", "RUSSO", "GENNARO", "M", "19650101", "NAPOLI", "NA", "POZZUOLI", "NA", "G964"),
    ("BNCPLA58P70L219D", "BIANCHI", "PAOLA", "F", "19580930", "TORINO", "TO", "RIVOLI", "TO", "H355"),
    ("SPSNNA91T44A662R", "ESPOSITO", "ANNA", "F", "19911204", "BARI", "BA", "ALTAMURA", "BA", "A225"),
    ("RMNLGU49L17D612U", "ROMANO", "LUIGI", "M", "19490717", "FIRENZE", "FI", "PRATO", "PO", "G999"),
    ("CLMMRT77M51A794Z", "COLOMBO", "MARTA", "F", "19770811", "BERGAMO", "BG", "TREVIGLIO", "BG", "L400"),
    ("RCCSFN86B28A271N", "RICCI", "STEFANO", "M", "19860228", "ANCONA", "AN", "JESI", "AN", "E388"),
    ("GLLLSE73H48G224J", "GALLO", "ELISA", "F", "19730608", "PADOVA", "PD", "ABANO TERME", "PD", "A001"),
    ("CNTFNC54R19E715L", "CONTI", "FRANCO", "M", "19541019", "LUCCA", "LU", "VIAREGGIO", "LU", "L833"),
    ("DLCSRA89D53C351G", "DE LUCA", "SARA", "F", "19890413", "CATANIA", "CT", "CATANIA", "CT", "C351"),
    ("GRCPTR61B26E506S", "GRECO", "PIETRO", "M", "19610226", "LECCE", "LE", "GALLIPOLI", "LE", "D883"),
]
ADDRESSES = [  # code; the new domicile, province, municipality's code and street
    ("RSSMRA70C15H501K", "CERVETERI", "RM", "C552", "VIA ROMA 12"),
    ("SPSNNA91T44A662R", "MONOPOLI", "BA", "F376", "VIA GARIBALDI 7"),
    ("GRCPTR61B26E506S", "GALATINA", "LE", "D862", "CORSO MAZZINI 104"),
]
STREET_BEFORE = "VIA VERDI 3"


class Hands:
    def __init__(self, programs, folder):
        environment = dict(os.environ, MORVENNA_REGISTRO=folder + "/registro.reg",
                           XDG_RUNTIME_DIR=folder, XDG_STATE_HOME=folder)
        self.process = subprocess.Popen([programs + "/anagparc-script"], text=True, env=environment,
                                        stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self.keys = 0

    def line(self, text):
        self.process.stdin.write(text + "\n")
        self.process.stdin.flush()

    def look(self, name):
        """What the eyes see; what the program has said meanwhile was not expected."""
        self.line("show " + name)
        answer = self.process.stdout.readline().rstrip("\n")
        found, sign, value = answer.partition(" =")
        if found != name or not sign:
            sys.exit(f"inatteso: {answer}")
        return value.strip().strip('"')

    def press(self, *names):
        for name in names:
            self.line("key " + name)
            self.keys += 1

    def type(self, text):
        self.line(f'type "{text}"')
        self.keys += len(text)

    def go(self, control):
        while self.look("Focus") != control:
            self.press("Tab")

    def find(self, text, listbox, wanted):
        """Letters until the row is seen that the eyes look for."""
        for letter in text:
            if wanted(self.look(listbox)):
                return
            self.type(letter)
        if not wanted(self.look(listbox)):
            sys.exit(f"non trovato: {text}")

    def fill(self, control, text):
        """In place of what the field holds."""
        if self.look(control):
            self.press("CtrlA")
        self.type(text)

    def end(self):
        self.line("close")
        self.process.stdin.close()
        self.process.stdout.read()
        self.process.wait()


def enter(hands, person, shortcuts):
    code, surname, name, sex, birth, town, province, home, homes, number = person
    hands.press(*(["CtrlN"] if shortcuts else ["Home", "Enter"]))
    for text, key in (code, "Tab"), (surname, "Tab"), (name, "Enter"):
        hands.type(text)
        hands.press(key)
    if shortcuts:
        hands.press("F6", "Ctrl2")
    else:
        for field, text in (3, sex), (4, birth[6:] + birth[4:6] + birth[:4]), (5, town), (6, province):
            hands.go(f"Text1({field})")
            hands.type(text)
        hands.go("Text1(7)")
    hands.type(home)
    hands.go("Text1(8)")
    hands.type(homes)
    pick(hands, home, number, shortcuts, "Down")
    leave(hands, shortcuts)


def pick(hands, home, number, shortcuts, key):
    hands.go("Text1(17)")
    hands.press("F4")
    if shortcuts:
        hands.press(key)
    hands.find(home, "ListTabmin", lambda row: row.endswith(number))
    hands.press("Enter")


def leave(hands, shortcuts):
    hands.press("CtrlS")
    if shortcuts:
        hands.press("Escape")
    else:
        hands.go("cmdselprec")
        hands.press("Enter")


def correct(hands, address, surname, shortcuts):
    code, home, homes, number, street = address
    hands.find(surname, "List1", lambda row: row.startswith(code))
    hands.press("Enter")
    if shortcuts:
        hands.press("Ctrl2")
    hands.go("Text1(7)")
    hands.fill("Text1(7)", home)
    hands.go("Text1(8)")
    if hands.look("Text1(8)") != homes:
        hands.fill("Text1(8)", homes)
    pick(hands, home, number, shortcuts, "F3")
    if shortcuts:
        hands.press("Ctrl3")
    hands.go("Text1(13)")
    hands.fill("Text1(13)", street)
    leave(hands, shortcuts)


def check(archive, persons):
    with sqlite3.connect(archive) as database:
        for person in persons:
            row = database.execute("SELECT trim(CFP), APARC_1, APARC_2, APARC_3, APARC_4, APARC_5, "
                                   "APARC_6, APARC_7, APARC_8, APARC_17, APARC_13 FROM PERCPARCELLE "
                                   "WHERE CFP = ?", person[:1]).fetchone()
            if row != person:
                sys.exit(f"nell'archivio: {row}, non {person}")


def main():
    programs, *rest = sys.argv[1:]
    shortcuts = rest != ["--solo-tab"]
    folder = tempfile.mkdtemp()
    try:
        archives = folder + "/archivi"
        subprocess.run([programs + "/anagparc-archivio", "crea", archives, "--dimostrazione", "200"],
                       check=True, stdout=subprocess.DEVNULL)
        with open(folder + "/registro.reg", "w", encoding="utf-8") as registry:
            registry.write("REGEDIT4\n\n[HKEY_CURRENT_USER\\SOFTWARE\\CALVENZA\\MORVENNA]\n"
                           f'"PERCORSOARCHIVI"="{archives}"\n"PERCORSOPROGRAMMI"="{folder}"\n')
        archive = archives + "/S7702015.MDB"
        hands = Hands(programs, folder)
        for person in PERSONS:
            enter(hands, person, shortcuts)
        hands.end()
        check(archive, [person + ("",) for person in PERSONS])
        print(f"{len(PERSONS)} persone: {hands.keys} tasti, {hands.keys / len(PERSONS):.1f} l'una")

        with sqlite3.connect(archive) as database:
            database.execute("UPDATE PERCPARCELLE SET APARC_13 = ?", (STREET_BEFORE,))
        hands = Hands(programs, folder)
        after = []
        for address in ADDRESSES:
            before = hands.keys
            [person] = [p for p in PERSONS if p[0] == address[0]]
            correct(hands, address, f"{person[1]} {person[2]}", shortcuts)
            after.append(person[:7] + address[1:])
            print(f"  {address[1]}, {address[4]}: {hands.keys - before}")
        hands.end()
        check(archive, after)
        print(f"{len(ADDRESSES)} indirizzi: {hands.keys} tasti, {hands.keys / len(ADDRESSES):.1f} l'uno")
    finally:
        shutil.rmtree(folder)


if __name__ == "__main__":
    main()
