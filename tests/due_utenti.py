#!/usr/bin/env python3
"""Two users at work on one archive, each with a program of its own.

    due_utenti.py PROGRAMS [STEPS [SEED]]

Each program runs behind its own pipes. At each step one of the two, by chance, does something or
answers the question that it has left open. Then the archive is looked into: what has changed must
be what that user has asked for, and must have taken nothing that he hasn't seen without a question.
Now and then one of the two is killed. Exit status 0: all of that holds."""
import os
import random
import re
import shutil
import signal
import sqlite3
import subprocess
import sys
import tempfile
import time

FIELDS = [1, 2, 3, 4, 5, 6, 7, 8, 9, 11, 12, 13, 14, 16, 17]
TYPED = {1: 30, 2: 20, 5: 40, 7: 40, 11: 30}  # fields typed into, and their widths
LOOKS = ['FrmSelezione.Visible', 'Frmmoduli(0).Visible', 'FrameCambiaCf.Visible', 'FlagVariazioni',
         'FlagErroreCampi', 'CFCorrente', 'StatusBar1.Panels(2)', 'Focus']
ANYWAY = r'\r\rRegistrare ugualmente quello che è sullo schermo ?'
GONE = (r"Il percettore non è più nell'archivio: è stato cancellato o ha cambiato codice."
        r'\r\rRegistrarlo di nuovo ?')
CHANGED = 'La scheda è stata modificata da un altro programma dopo che è stata aperta.' + ANYWAY
TAKEN = "Il codice fiscale è già nell'archivio: è stato inserito da un altro programma." + ANYWAY
CLASHES = (GONE, CHANGED, TAKEN)
# Nothing else may go wrong.
REFUSALS = ("non è più nell'archivio", "è già nell'archivio", 'codice fiscale esistente !!!!')
YES, NO, CANCEL = 6, 7, 2


def codes():
    """VAT numbers that are good, fiscal codes that aren't and bring another question."""
    for n in range(7):
        first = f'{n:07}015'
        total = sum(int(c) if i % 2 == 0 else sum(divmod(2 * int(c), 10)) for i, c in enumerate(first))
        yield first + str(-total % 10)
        yield f'RSSMRA80A01H50{n}0'


class User:
    def __init__(self, name, programs, folder):
        self.name, self.program = name, programs + '/anagparc-script'
        self.env = dict(os.environ, MORVENNA_REGISTRO=folder + '/registro.reg',
                        XDG_RUNTIME_DIR=f'{folder}/{name}', XDG_STATE_HOME=f'{folder}/{name}')
        os.mkdir(f'{folder}/{name}', 0o700)
        self.start()

    def start(self):
        self.question = None  # (flags, text) of one left open
        self.loaded = None    # the row that the screen was filled from
        self.seen = []        # the row that a question has told him of and he has agreed to
        self.typed = {}
        self.there = None     # whether the recipient in hand was there at the first question
        self.did, self.wanted = 'start', '00000000158'
        # A child of one that was killed may keep the session's lock for a moment.
        for _ in range(100):
            self.process = subprocess.Popen([self.program], env=self.env, text=True, bufsize=1,
                                            stdin=subprocess.PIPE, stdout=subprocess.PIPE)
            try:
                self.send()
            except BrokenPipeError:
                pass
            if self.read():
                return
            self.process.wait()
            time.sleep(.01)
        raise RuntimeError('does not start')

    def send(self, *lines):
        shows = 'list List1\n' + ''.join(f'show {look}\n' for look in LOOKS)
        self.process.stdin.write(''.join(line + '\n' for line in lines) + shows)
        self.process.stdin.flush()

    def read(self):
        """All that has come out; the state on screen in self.look. False when the program has ended."""
        self.told, self.look, self.list = [], {}, []
        for line in self.process.stdout:
            line = line.rstrip('\n')
            name, sign, value = line.partition(' = ')
            if line.startswith('Focus ='):
                return True
            if sign and name in LOOKS:
                self.look[name] = value.strip('"')
            elif line.startswith('List1('):
                self.list.append(value[1:17].strip())
            else:
                self.told.append(line)
                assert ' flags=16 ' not in line or any(part in line for part in REFUSALS), line
                asked = re.match(r'Question flags=(\d+) text="(.*)"', line)
                if asked:
                    self.question = int(asked[1]), asked[2]
        return False

    def on(self, frame):
        return self.look[frame] == '1'

    def code(self):
        return self.look['CFCorrente'].strip()


class World:
    def __init__(self, programs, seed):
        self.random = random.Random(seed)
        self.folder = tempfile.mkdtemp(dir='/dev/shm' if os.path.isdir('/dev/shm') else None)
        subprocess.run([programs + '/anagparc-archivio', 'crea', self.folder], check=True,
                       stdout=subprocess.DEVNULL)
        self.archive = self.folder + '/S7702015.MDB'
        shutil.copy(self.folder + '/SQ4RXXXX.MDB', self.archive)
        with open(self.folder + '/registro.reg', 'w', encoding='ascii') as file:
            file.write('REGEDIT4\n\n[HKEY_CURRENT_USER\\SOFTWARE\\CALVENZA\\MORVENNA]\n'
                       f'"PERCORSOARCHIVI"="{self.folder}"\n"PERCORSOPROGRAMMI"="{self.folder}"\n')
        self.codes = list(codes())
        self.token = 0
        self.certified = 0
        self.parent()
        self.rows, self.certificates = self.look()
        self.users = [User(name, programs, self.folder) for name in ('uno', 'due')]
        self.log = []
        self.counts = {}

    def count(self, what):
        self.counts[what] = self.counts.get(what, 0) + 1

    def parent(self):
        """The suite's other program adds recipients where they are few, and certifications."""
        with sqlite3.connect(self.archive, isolation_level=None) as db:
            db.execute('BEGIN IMMEDIATE')
            there = [row[0] for row in db.execute('SELECT CFP FROM PERCPARCELLE')]
            free = [c for c in self.codes if c not in [t.strip() for t in there]]
            for code in self.random.sample(free, max(0, 3 - len(there))):
                db.execute('INSERT INTO PERCPARCELLE (CFP, ' + ', '.join(f'APARC_{f}' for f in FIELDS) +
                           ') VALUES (?' + ', ?' * len(FIELDS) + ')',
                           [code] + [self.new_text() if f in TYPED else '00000000' if f == 4 else ''
                                     for f in FIELDS])
                there.append(code)
            for code in there:
                if not db.execute('SELECT 1 FROM QUADROLAUT WHERE CFP = ?', [code]).fetchone():
                    self.certified += 1
                    db.executemany('INSERT INTO QUADROLAUT (CFP, CAUSALE) VALUES (?, ?)',
                                   [(code, str(self.certified))] * 2)
            db.execute('COMMIT')
        db.close()

    def new_text(self):
        self.token += 1
        return f'T{self.token}'

    def look(self):
        """Recipients by code, and the owner's number of each certification with its codes."""
        db = sqlite3.connect(self.archive)
        rows = {}
        for row in db.execute('SELECT CFP, ' + ', '.join(f'APARC_{f}' for f in FIELDS) +
                              ' FROM PERCPARCELLE'):
            code = row[0].strip()
            assert code not in rows, f'{code} twice'
            rows[code] = dict(zip(FIELDS, row[1:]))
        certificates = {}
        for code, owner in db.execute('SELECT CFP, CAUSALE FROM QUADROLAUT'):
            certificates.setdefault(owner, []).append(code.strip())
        db.close()
        for owner, found in certificates.items():
            assert len(found) == 2 and found[0] == found[1], f'certifications of {owner}: {found}'
            assert found[0] in rows, f'orphan certifications of {found[0]}'
        return rows, {owner: found[0] for owner, found in certificates.items()}

    # --- What a user can do. The lines of an action, of which only the last one may ask.

    def choose(self, user):
        pick = self.random
        if user.question:
            flags, _ = user.question
            buttons = [YES, YES, NO] + ([CANCEL] if flags & 15 == 3 else [])
            user.answer = pick.choice(buttons)
            return user.did, [f'answer {user.answer} ?']
        if user.on('FrameCambiaCf.Visible'):
            return 'look', ['click CmdAnnullaCF']
        if user.on('FrmSelezione.Visible'):
            other = self.users[user is self.users[0]]
            row = pick.randrange(1, max(2, len(user.list)))
            if other.code() in user.list and pick.random() < .7:  # so that the two meet
                row = user.list.index(other.code())
            did = pick.choice(['look', 'open', 'open', 'open', 'insert', 'insert', 'delete', 'change', 'change'])
            if other.question and other.did in ('delete', 'change') and pick.random() < .5:
                did = pick.choice(['delete', 'change'])
            if did == 'look':
                return did, [f'click Option1({pick.randint(0, 1)})', 'click cmduscita(1)' if pick.random() < .02
                             else 'key Tab']
            if did == 'open':
                return did, [f'dblclick List1 {row}']
            code = pick.choice([pick.choice(self.codes), pick.choice(self.codes), other.wanted])
            if did == 'insert':
                user.wanted, user.inserted = code, {1: self.new_text(), 2: self.new_text()}
                return did, ['dblclick List1 0', f'type "{code}"', 'focus TextCOGNO',
                             f'type "{user.inserted[1]}"', 'focus TextNOME', f'type "{user.inserted[2]}"',
                             'click CmdInserimento(0)']
            if did == 'delete':
                return did, [f'click List1 {row}', 'click Cmdcancella']
            user.wanted = code
            return did, [f'click List1 {row}', 'click CmdCambia', f'type "{code}"', 'click CmdConfermaCF']
        if pick.random() < .5:
            field, text = pick.choice(list(TYPED)), self.new_text()
            user.typed[field] = text
            return 'type', [f'focus Text1({field})', 'key CtrlA', f'type "{text}"']
        return pick.choice([('save', ['click cmdmemorizza'])] * 20 + [
            ('move', ['click cmdparcprec']), ('move', ['click cmdparcsuc'])] * 6 + [
                ('leave', ['click cmdselprec'])] * 12 + [
                    ('leave', ['click cmduscita(0)']), ('close', ['close'])])

    # --- What may have come of it.

    def changed(self, user, rows, certificates, code):
        """Holds the difference between two looks at the archive against what the user has done."""
        gone = [c for c in self.rows if c not in rows]
        new = [c for c in rows if c not in self.rows]
        other = [c for c in rows if c in self.rows and rows[c] != self.rows[c]]
        lost = {c for o, c in self.certificates.items() if o not in certificates}
        moved = {(c, certificates[o]) for o, c in self.certificates.items()
                 if o in certificates and certificates[o] != c}
        told = '\n'.join(user.told)
        if user.did in ('save', 'move', 'leave'):
            assert not gone and not lost and not moved and len(new + other) <= 1, f'{gone} {new} {other}'
            for c in new + other:
                assert c == code, f'{c} was written, {code} is on screen'
                before = self.rows.get(c)
                assert before == user.loaded or before in user.seen, (
                    f'written over without a question: {before}, read was {user.loaded}')
                blank = {f: '00000000' if f == 4 else '' for f in FIELDS}
                meant = (user.loaded or blank | user.inserted) | user.typed
                assert rows[c] == meant, f'written {rows[c]}, meant {meant}'
                self.count('written')
        elif user.did == 'delete':
            assert not new and not other and not moved and len(gone) <= 1, f'{gone} {new} {other}'
            assert gone or 'Cancellazione effettuata' not in told, 'not deleted'
            for c in gone:
                row = self.rows[c]
                assert c == code and f'{c} {row[1]} {row[2]}'.strip() in user.asked, (
                    f'{c} {row} deleted, asked was {user.asked}')
                self.count('deleted')
            assert lost <= set(gone), f'certifications of {lost} lost'
        elif user.did == 'change' and not gone + new:
            assert not other and not lost and not moved and (
                'Cambio codice fiscale eseguito' not in told or not user.there), 'not changed'
        elif user.did == 'change':
            assert len(gone) == len(new) == 1 and not other and not lost, f'{gone} {new} {other} {lost}'
            assert (gone[0], new[0]) == (code, user.wanted) and rows[new[0]] == self.rows[code]
            assert moved <= {(code, user.wanted)}
            self.count('changed')
        else:
            assert not gone + new + other and not lost and not moved, f'{gone} {new} {other} {lost} {moved}'

    def differences(self, user, now, text):
        """The question tells what the archive has and what the screen, of five fields at most."""
        blank = {f: '00000000' if f == 4 else '' for f in FIELDS}
        screen = (user.loaded or blank | user.inserted) | user.typed
        differ = [(now[f], screen[f]) for f in FIELDS if now[f] != screen[f]] if now else []
        told = re.findall(r'ora \\"(.*?)\\", sullo schermo \\"(.*?)\\"', text)
        assert len(told) == min(5, len(differ)) and set(told) <= set(differ), f'{told}, not {differ}'

    def settled(self, user, code):
        """What the screen shows now, and whether a question was due."""
        if user.question:
            text = user.asked = user.question[1]
            if user.there is None:
                user.there = code in self.rows
            if user.question[0] == 292:
                now = self.rows.get(code)
                self.differences(user, now, text)
                text = user.asked = re.sub(r'\\r\\r[^\\]*: ora \\".*(\\r\\rRegistrare)', r'\1', text)
                self.count('clash')
                assert now != user.loaded and now not in user.seen, f'asked for nothing: {text}'
                due = GONE if now is None else TAKEN if user.loaded is None else CHANGED
                assert text == due or user.seen and text in CLASHES, f'{due} was due: {text}'
                user.question, user.told_of = (292, text), now
            return
        saved = user.look['FlagErroreCampi'] == '0'
        ignored = any(line.startswith('ignored') for line in user.told)
        if user.did == 'open' and not ignored and not user.on('Frmmoduli(0).Visible'):
            assert user.look['StatusBar1.Panels(2)'] + r'\r\rRegistrarlo di nuovo ?' == GONE, user.look
            self.count('opened a deleted one')
        if not user.on('Frmmoduli(0).Visible'):
            user.loaded, user.typed = None, {}
        elif user.did in ('open', 'insert'):
            user.loaded, user.typed = self.rows.get(user.code()) if user.did == 'open' else None, {}
        elif user.did == 'save' and saved or (
                user.did == 'move' and not ignored and user.look['FlagVariazioni'] == '0'):
            assert user.did == 'move' or user.code() in self.rows, 'saved, and not there'
            if user.code() in self.rows:
                user.loaded, user.typed = self.rows[user.code()], {}
        if user.did != 'type':
            user.seen = []

    def step(self, kills):
        user = self.random.choice(self.users)
        asked_of = user.question and user.question[1]
        user.did, lines = self.choose(user)
        if not asked_of:
            user.there = None
        self.log = self.log[-11:] + [(user.name, user.did, lines)]
        code = user.code()
        if asked_of and user.answer == YES and asked_of in CLASHES:
            user.seen = [user.told_of]
        user.question, user.told = None, []
        user.send(*lines if asked_of else ['answer ?'] + lines)
        if self.random.random() < kills:
            time.sleep(self.random.random() * .003)
            user.process.kill()
            running = False
        else:
            running = user.read()
            self.log[-1] += (user.told, user.look)
            if running and user.did in ('delete', 'change'):
                code = user.code()  # of the row selected just now
        if not running:
            user.process.stdout.read()
            user.process.wait()
        rows, certificates = self.look()
        if not running and user.did in ('delete', 'change') and not asked_of:
            assert rows == self.rows, 'done without an answer'
        self.changed(user, rows, certificates, code)
        self.rows, self.certificates = rows, certificates
        if running:
            self.settled(user, code)
            self.count(user.did)
        else:
            ended = user.process.returncode
            assert ended in (0, -signal.SIGKILL), f'ended with {ended}: {user.told}'
            self.count('killed' if ended else 'ended')
            user.start()

    def run(self, steps):
        for n in range(steps):
            self.n = n
            signal.alarm(60)
            self.step(.002)
            if n % 40 == 0:
                self.parent()
                self.rows, self.certificates = self.look()


def main():
    programs, steps, seed = sys.argv[1], int((sys.argv + [0, 20000])[2] if len(sys.argv) > 2 else 20000), 1
    if len(sys.argv) > 3:
        seed = int(sys.argv[3])
    world = World(programs, seed)
    signal.signal(signal.SIGALRM, lambda *_: (_ for _ in ()).throw(TimeoutError('no answer')))
    try:
        world.run(steps)
    except Exception as error:  # all that was done of late helps
        for entry in world.log:
            print(*entry)
        print(f'step {world.n}, seed {seed}: {type(error).__name__}: {error}')
        raise SystemExit(1) from error
    finally:
        for user in world.users:
            user.process.kill()
        shutil.rmtree(world.folder)
    print(f'{steps} steps:', ', '.join(f'{n} {what}' for what, n in sorted(world.counts.items())))


main()
