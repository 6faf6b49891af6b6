#!/usr/bin/env python3
"""The archive tool at a console under Wine: its letters, and Ctrl+C.

    console.py PROGRAMS"""
import os
import pty
import re
import select
import sys
import tempfile
import time

TOOL = os.path.abspath(sys.argv[1]) + "/anagparc-archivio"


class Console:
    def __init__(self, *words):
        self.child, self.end = pty.fork()
        if self.child == 0:
            os.execv(TOOL, [TOOL, *words])
        self.said = b""

    def read(self, seconds):
        """What has come within so many seconds; None at the end."""
        if select.select([self.end], [], [], seconds)[0]:
            try:
                self.said += os.read(self.end, 65536)
            except OSError:
                return False
        return True

    def finish(self):
        while self.read(60):
            pass
        text = re.sub(r"\x1b\[[0-9;?]*[a-zA-Z]", "", self.said.decode(errors="replace"))
        return os.waitstatus_to_exitcode(os.waitpid(self.child, 0)[1]), "".join(text.split())


with tempfile.TemporaryDirectory() as folder:
    os.chdir(folder)
    status, said = Console("verifica", "è Ж.MDB").finish()
    assert status == 1 and "èЖ.MDB:ilfileolacartellanonesiste" in said, (status, said)

    console = Console("crea", "uno", "--dimostrazione", "1000000")
    deadline = time.time() + 60
    while not any(name.startswith(".anagparc-") for _, _, names in os.walk(".") for name in names):
        assert time.time() < deadline, console.said
        console.read(.05)
    os.write(console.end, b"\x03")
    status, said = console.finish()
    assert status == 130 and "Interrotto:nonèstatoscrittoniente." in said, (status, said)
    assert os.listdir(".") == [], os.listdir(".")
print("letters and Ctrl+C at a console")
