#!/usr/bin/env python3
"""Users at work on one archive, each with a program of its own.

    due_utenti.py [--server] [--users N] PROGRAMS [STEPS [SEED]]

Each program runs behind its own pipes. At each step one of the users, by chance, does something or
answers the question that it has left open. Then the archive is looked into: what has changed must
be what that user has asked for, and must have taken nothing that he hasn't seen without a question.
Now and then a user is killed. Exit status 0: all of that holds.

On a server of the test's own several users take their steps at the same moment; what each of them
has written, and on what, is told by a history that the server keeps. It is killed now and then, or
one of its connections is. What the program then says of it must be true."""
import argparse
import json
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

from server import Server, Session, programs as server_programs

FIELDS = [1, 2, 3, 4, 5, 6, 7, 8, 9, 11, 12, 13, 14, 16, 17]
TYPED = {1: 30, 2: 20, 5: 40, 7: 40, 11: 30}  # fields typed into, and their widths
LOOKS = ['FrmSelezione.Visible', 'Frmmoduli(0).Visible', 'FrameCambiaCf.Visible', 'FlagVariazioni',
         'FlagErroreCampi', 'CFCorrente', 'StatusBar1.Panels(2)', *(f'Text1({f})' for f in TYPED), 'Focus']
ANYWAY = r'\r\rRegistrare ugualmente quello che è sullo schermo ?'
GONE = (r"Il percettore non è più nell'archivio: è stato cancellato o ha cambiato codice."
        r'\r\rRegistrarlo di nuovo ?')
CHANGED = 'La scheda è stata modificata da un altro programma dopo che è stata aperta.' + ANYWAY
TAKEN = "Il codice fiscale è già nell'archivio: è stato inserito da un altro programma." + ANYWAY
CLASHES = (GONE, CHANGED, TAKEN)
# Nothing else may go wrong, but for a broken connection.
BROKEN = "server dell'archivio"
REFUSALS = ("non è più nell'archivio", "è già nell'archivio", 'codice fiscale esistente !!!!')
STRIKES = .01  # at a server, of all steps
YES, NO, CANCEL = 6, 7, 2
TABLES = ('percparcelle', 'quadrolaut')
BLANK = {f: '00000000' if f == 4 else '' for f in FIELDS}
CHECKPOINTER = "SELECT pid FROM pg_stat_activity WHERE backend_type = 'checkpointer'"
HISTORY = """
CREATE SCHEMA storia;
CREATE TABLE storia.s (n bigint GENERATED ALWAYS AS IDENTITY PRIMARY KEY, x xid8, who text, t text,
                       row bigint, now jsonb);
CREATE FUNCTION storia.f() RETURNS trigger LANGUAGE plpgsql AS $$BEGIN
  INSERT INTO storia.s (x, who, t, row, now) VALUES (pg_current_xact_id(),
    current_setting('application_name'), TG_TABLE_NAME, coalesce(NEW.numero_riga, OLD.numero_riga), to_jsonb(NEW));
  RETURN NULL; END$$;
CREATE TRIGGER storia AFTER INSERT OR UPDATE OR DELETE ON percparcelle
  FOR EACH ROW EXECUTE FUNCTION storia.f();
CREATE TRIGGER storia AFTER INSERT OR UPDATE OR DELETE ON quadrolaut
  FOR EACH ROW EXECUTE FUNCTION storia.f()"""


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
        self.env = dict(os.environ, MORVENNA_REGISTRO=folder + '/registro.reg', PGAPPNAME=name,
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
        self.asked_of = None  # the question that this step's action answers
        self.struck = self.failed = False  # its connection in this step
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
                broken = ' flags=16 ' in line and BROKEN in line
                self.failed = self.failed or broken
                assert ' flags=16 ' not in line or any(part in line for part in REFUSALS) or (
                    broken and self.struck), f'{self.name}: {line}'
                asked = re.match(r'Question flags=(\d+) text="(.*)"', line)
                if asked:
                    self.question = int(asked[1]), asked[2]
        return False

    def on(self, frame):
        return self.look[frame] == '1'

    def code(self):
        return self.look['CFCorrente'].strip()

    def screen(self):
        return (self.loaded or BLANK | self.inserted) | self.typed

    def load(self, row):
        """The screen shows this row of the archive."""
        self.loaded, self.typed = row, {}
        self.shows(row)

    def shows(self, row):
        assert all(self.look[f'Text1({f})'] == row[f] for f in TYPED), f'not {row} but {self.look}'


class File:
    def __init__(self, folder):
        self.path = folder + '/S7702015.MDB'
        shutil.copy(folder + '/SQ4RXXXX.MDB', self.path)

    def run(self, sql):
        db = sqlite3.connect(self.path, isolation_level=None)
        db.executescript(f'BEGIN IMMEDIATE; {sql}; COMMIT')
        db.close()

    def read(self):
        """Of each table all rows by number, each a dictionary."""
        db = sqlite3.connect(self.path)
        tables = {}
        for table in TABLES:
            rows = db.execute(f'SELECT _rowid_, * FROM {table}')
            names = [column[0].lower() for column in rows.description[1:]]
            tables[table] = {row[0]: dict(zip(names, row[1:])) for row in rows}
        db.close()
        return tables

    def history(self, tables, user):
        """What has been written since `tables`: by whom, and what there was then."""
        now = self.read()
        return [(user.name, now)] if now != tables else []

    def settle(self, user):
        pass


class OnServer:
    """The same on a server, which can be struck."""

    def __init__(self, folder, programs):
        self.server = Server()
        self.run = Session(self.server)
        uri = f'postgresql:///postgres?host={self.server.folder}&user=postgres'
        for words in ['pubblica', folder + '/SQ4RXXXX.MDB', uri], ['collega', folder, uri]:
            subprocess.run([programs + '/anagparc-archivio', *words], check=True, stdout=subprocess.DEVNULL)
        self.run(HISTORY)
        self.last = 0
        self.crashed = None  # the server's processes in a crash, by one of them

    def read(self):
        self.last = int(self.run('SELECT coalesce(max(n), 0) FROM storia.s')[0][0])
        return {table: {row['numero_riga']: row for row in (
            json.loads(text) for text, in self.run(f'SELECT to_jsonb(t) FROM {table} t'))} for table in TABLES}

    def history(self, tables, _):
        found, last_x = [], None
        for n, x, who, table, row, now in self.run(
                f"SELECT n, x, who, t, row, coalesce(now::text, '') FROM storia.s WHERE n > {self.last} ORDER BY n"):
            if x != last_x:
                tables = {table: dict(tables[table]) for table in TABLES}
                found.append((who, tables))
            self.last, last_x = int(n), x
            if now:
                tables[table][int(row)] = json.loads(now)
            else:
                del tables[table][int(row)]
        return found

    def strike(self, how, user):
        if how == 'connection ended':
            self.run(f"SELECT pg_terminate_backend(pid, 9000) FROM pg_stat_activity WHERE application_name = '{user.name}'")
            return
        if how == 'crash':  # of the process for one connection, which takes down all of them
            self.crashed = self.run(CHECKPOINTER)
            os.kill(int(self.run('SELECT pg_backend_pid()')[0][0]), signal.SIGKILL)
        else:
            self.server.stop(signal.SIGKILL)
        self.run.close()

    def recover(self):
        """Returns when a server that was struck works again."""
        if not self.server.process:
            self.server.start()
        while self.crashed:
            try:
                if self.run(CHECKPOINTER) != self.crashed:
                    self.crashed = None
            except RuntimeError:
                time.sleep(.01)

    def settle(self, user):
        """Waits for what the program of a user who has gone has left to the server."""
        while self.run('SELECT 1 FROM pg_stat_activity WHERE pid <> pg_backend_pid() AND '
                       f"backend_type = 'client backend' AND (state <> 'idle' OR application_name = '{user.name}')"):
            time.sleep(.002)


class World:
    def __init__(self, programs, seed, users, server):
        self.random = random.Random(seed)
        self.folder = tempfile.mkdtemp(dir='/dev/shm' if os.path.isdir('/dev/shm') else None)
        subprocess.run([programs + '/anagparc-archivio', 'crea', self.folder], check=True,
                       stdout=subprocess.DEVNULL)
        with open(self.folder + '/registro.reg', 'w', encoding='ascii') as file:
            file.write('REGEDIT4\n\n[HKEY_CURRENT_USER\\SOFTWARE\\CALVENZA\\MORVENNA]\n'
                       f'"PERCORSOARCHIVI"="{self.folder}"\n"PERCORSOPROGRAMMI"="{self.folder}"\n')
        self.server = server
        self.archive = OnServer(self.folder, programs) if server else File(self.folder)
        self.codes = list(codes())
        self.token = 0
        self.certified = 0
        self.tables = self.archive.read()
        self.parent()
        self.users = [User(f'utente{n}', programs, self.folder) for n in range(users)]
        self.log = []
        self.counts = {}

    def close(self):
        for user in self.users:
            user.process.kill()
        if self.server:
            self.archive.server.close()
        shutil.rmtree(self.folder)

    def count(self, what):
        self.counts[what] = self.counts.get(what, 0) + 1

    def parent(self):
        """The suite's other program adds recipients where they are few, and certifications."""
        rows, certificates = self.state(self.tables)
        there, sql = list(rows), []
        free = [c for c in self.codes if c not in there]
        for code in self.random.sample(free, max(0, 3 - len(there))):
            row = BLANK | {f: self.new_text() for f in TYPED}
            sql.append('INSERT INTO PERCPARCELLE (CFP, ' + ', '.join(f'APARC_{f}' for f in row) +
                       f") VALUES ('{code}', " + ', '.join(f"'{text}'" for text in row.values()) + ')')
            there.append(code)
        for code in there:
            if code not in certificates.values():
                self.certified += 1
                sql += [f"INSERT INTO QUADROLAUT (CFP, CAUSALE) VALUES ('{code}', '{self.certified}')"] * 2
        self.archive.run(';'.join(sql))
        self.tables = self.archive.read()

    def new_text(self):
        self.token += 1
        return f'T{self.token}'

    def state(self, tables):
        """Recipients by code, and the owner's number of each certification with its codes."""
        rows = {}
        for row in tables['percparcelle'].values():
            code = row['cfp'].strip()
            assert code not in rows, f'{code} twice'
            rows[code] = {f: row[f'aparc_{f}'] for f in FIELDS}
        certificates = {}
        for row in tables['quadrolaut'].values():
            certificates.setdefault(row['causale'], []).append(row['cfp'].strip())
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
            other = pick.choice([each for each in self.users if each is not user])
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

    def changed(self, user, before, after, code):
        """Holds the difference between two states of the archive against what the user has done."""
        (rows_before, certified), (rows, certificates) = before, after
        gone = [c for c in rows_before if c not in rows]
        new = [c for c in rows if c not in rows_before]
        other = [c for c in rows if c in rows_before and rows[c] != rows_before[c]]
        lost = {c for o, c in certified.items() if o not in certificates}
        moved = {(c, certificates[o]) for o, c in certified.items()
                 if o in certificates and certificates[o] != c}
        told = '\n'.join(user.told)
        assert before == after or 'non eseguit' not in told, 'written, and told otherwise'
        if user.did in ('save', 'move', 'leave'):
            assert not gone and not lost and not moved and len(new + other) <= 1, f'{gone} {new} {other}'
            for c in new + other:
                assert c == code, f'{c} was written, {code} is on screen'
                was = rows_before.get(c)
                assert was == user.loaded or was in user.seen, (
                    f'written over without a question: {was}, read was {user.loaded}')
                assert rows[c] == user.screen(), f'written {rows[c]}, meant {user.screen()}'
                self.count('written')
        elif user.did == 'delete':
            assert not new and not other and not moved and len(gone) <= 1, f'{gone} {new} {other}'
            assert gone or 'Cancellazione effettuata' not in told, 'not deleted'
            for c in gone:
                row = rows_before[c]
                assert c == code and f'{c} {row[1]} {row[2]}'.strip() in user.asked, (
                    f'{c} {row} deleted, asked was {user.asked}')
                self.count('deleted')
            assert lost <= set(gone), f'certifications of {lost} lost'
        elif user.did == 'change' and not gone + new:
            assert not other and not lost and not moved and (
                'Cambio codice fiscale eseguito' not in told or not user.there), 'not changed'
        elif user.did == 'change':
            assert len(gone) == len(new) == 1 and not other and not lost, f'{gone} {new} {other} {lost}'
            assert (gone[0], new[0]) == (code, user.wanted) and rows[new[0]] == rows_before[code]
            assert moved <= {(code, user.wanted)}
            self.count('changed')
        else:
            assert not gone + new + other and not lost and not moved, f'{gone} {new} {other} {lost} {moved}'

    def differences(self, user, now, text):
        """The question tells what the archive has and what the screen, of five fields at most."""
        screen = user.screen()
        differ = [(now[f], screen[f]) for f in FIELDS if now[f] != screen[f]] if now else []
        told = re.findall(r'ora \\"(.*?)\\", sullo schermo \\"(.*?)\\"', text)
        assert len(told) == min(5, len(differ)) and set(told) <= set(differ), f'{told}, not {differ}'

    def settled(self, user, code, rows, own):
        """What the screen shows now, and whether a question was due, by these rows of the archive.
        `own`: as the user left them."""
        if user.question:
            text = user.question[1]
            if user.question[0] == 292:
                now = rows.get(code)
                self.differences(user, now, text)
                text = re.sub(r'\\r\\r[^\\]*: ora \\".*(\\r\\rRegistrare)', r'\1', text)
                assert now != user.loaded and now not in user.seen, f'asked for nothing: {text}'
                due = GONE if now is None else TAKEN if user.loaded is None else CHANGED
                assert text == due or user.seen and text in CLASHES, f'{due} was due: {text}'
                user.question, user.told_of = (292, text), now
            user.asked = text
            return
        saved = user.look['FlagErroreCampi'] == '0'
        ignored = any(line.startswith('ignored') for line in user.told)
        if user.did == 'open' and not ignored and not user.failed and not user.on('Frmmoduli(0).Visible'):
            assert user.look['StatusBar1.Panels(2)'] + r'\r\rRegistrarlo di nuovo ?' == GONE, user.look
        if not user.on('Frmmoduli(0).Visible') or user.did == 'insert':
            user.loaded, user.typed = None, {}
        elif user.failed:
            if own and 'Non si sa se' not in ' '.join(user.told):
                user.load(own[code])
        elif user.did == 'open':
            assert user.code() in rows, 'opened, and not there'
            user.load(rows[user.code()])
        elif user.did == 'save' and saved or (
                user.did == 'move' and not ignored and user.look['FlagVariazioni'] == '0'):
            # What was saved may have been deleted by another user at once.
            row = rows.get(user.code()) or own and own.get(user.code())
            assert row or user.did == 'move', 'saved, and not there'
            if row:
                user.load(row)
            else:
                user.shows(user.screen())
        if user.did != 'type':
            user.seen = []

    def step(self, kills):
        """Returns how many actions it were."""
        pick = self.random
        users = pick.sample(self.users, pick.choice([1, 1, 2, len(self.users)]) if self.server else 1)
        for user in users:
            user.asked_of = user.question and user.question[1]
            user.did, lines = self.choose(user)
            if not user.asked_of:
                user.there = None
            self.log = self.log[-31:] + [[user.name, user.did, lines]]
            user.entry, user.before = self.log[-1], user.code()
            if user.asked_of and user.answer == YES and user.asked_of in CLASHES:
                user.seen = [user.told_of]
            user.question, user.told, user.failed = None, [], False
            user.struck = ''
            user.lines = lines if user.asked_of else ['answer ?'] + lines
        begun, killed = time.monotonic(), None
        for user in users:
            user.send(*user.lines)
        if pick.random() < kills * len(users):
            time.sleep(pick.random() * .003)
            killed = users[0]
            killed.process.kill()
        how = pick.choice(['connection ended'] * 3 + ['crash', 'server killed'])
        if self.server and pick.random() < STRIKES:
            time.sleep(pick.random() * .003)
            for user in users[:1] if how == 'connection ended' else users:
                user.struck = how
            self.archive.strike(how, users[0])
            self.count(how)
            if pick.random() < .5:
                self.archive.recover()
        ended = []
        for user in users:
            if user is killed or not user.read():
                user.process.stdout.read()
                user.process.wait()
                ended.append(user)
            user.entry += (user.struck, user.told, user.look)
        assert time.monotonic() - begun < 10, 'took long'
        if users[0].struck:
            self.archive.recover()
        for user in ended:
            self.archive.settle(user)
        history = self.archive.history(self.tables, users[0])
        states = [self.state(tables) for tables in [self.tables] + [tables for _, tables in history]]
        assert {who for who, _ in history} <= {user.name for user in users}, history
        for user in users:
            mine = [n for n, (who, _) in enumerate(history) if who == user.name]
            assert len(mine) <= 1, f'{user.name} has written {len(mine)} times'
            before, after = states[mine[0]:mine[0] + 2] if mine else states[-1:] * 2
            self.finish(user, before, after, states, user in ended)
        if history:
            self.tables = history[-1][1]
        return len(users)

    def finish(self, user, before, after, states, ended):
        code = user.before
        if user.did in ('delete', 'change') and not ended:
            code = user.code()  # of the row selected just now
        if ended and user.did in ('delete', 'change') and not user.asked_of:
            assert before == after, 'done without an answer'
        self.changed(user, before, after, code)
        if ended:
            status = user.process.returncode
            assert status in (0, -signal.SIGKILL), f'ended with {status}: {user.told}'
            self.count('user killed' if status else 'ended')
            user.start()
            return
        if user.question and user.there is None:
            user.there = all(code in rows for rows, _ in states)
        own = before != after and after[0]
        for n, (rows, _) in enumerate(reversed(states)):  # by which the user has read them
            was = user.loaded, user.typed
            try:
                self.settled(user, code, rows, own)
                break
            except AssertionError:
                user.loaded, user.typed = was
                if n == len(states) - 1:
                    raise
        self.count(user.did)
        if user.question:
            self.count('asked: ' + re.sub(r'.*(?=Vuoi)|\\r.*', '', user.question[1]))
        if user.failed:
            self.count('told: ' + re.sub(r'.*text="(.*?)(\\r|\.).*', r'\1', user.told[-1]))

    def run(self, steps):
        self.n = parent = 0
        while self.n < steps:
            signal.alarm(60)
            self.n += self.step(.002)
            if self.n >= parent:
                assert self.tables == self.archive.read(), 'written by nobody'
                self.parent()
                parent = self.n + 40


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument('--server', action='store_true')
    parser.add_argument('--users', type=int, default=2)
    parser.add_argument('programs')
    parser.add_argument('steps', type=int, nargs='?', default=20000)
    parser.add_argument('seed', type=int, nargs='?', default=1)
    words = parser.parse_args()
    if words.server and not server_programs():
        print('skipped: no PostgreSQL server is installed')
        sys.exit(77)
    world = World(words.programs, words.seed, words.users, words.server)
    signal.signal(signal.SIGALRM, lambda *_: (_ for _ in ()).throw(TimeoutError('no answer')))
    begun = time.monotonic()
    try:
        world.run(words.steps)
    except Exception as error:  # all that was done of late helps
        for entry in world.log:
            print(*entry)
        print(f'step {world.n}, seed {words.seed}: {type(error).__name__}: {error}')
        raise SystemExit(1) from error
    finally:
        world.close()
    print(f'{words.steps} steps, {time.monotonic() - begun:.0f} s:',
          ', '.join(f'{n} {what}' for what, n in sorted(world.counts.items())))


main()
