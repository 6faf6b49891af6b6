#!/usr/bin/env python3
"""The program on an archive that lies on a server: how many round trips its operations take, and
what becomes of them where the line is cut.

    rete.py PROGRAMS [STEP]

The line is cut at every STEPth byte of what goes either way in a save, an insertion, a deletion and
a change of code, and falls silent at messages; with 1 at each byte and each message. At last the
server is killed. Whatever happens, the operation ends within 10 seconds, what is told of it is true,
nothing is there by half, and the next try succeeds. Exit status 0: all of that holds."""
import collections
import concurrent.futures
import os
import signal
import subprocess
import sys
import tempfile
import time

from server import Line, Server, Session, programs as server_programs

PROGRAMS, STEP = sys.argv[1], int(sys.argv[2]) if len(sys.argv) > 2 else 401
MARIO, NEW = 'RSSMRA80A01H501U', '01234567897'
ROWS = ("SELECT string_agg(cfp || '|' || aparc_5, ',' ORDER BY cfp) FROM percparcelle UNION ALL "
        "SELECT string_agg(cfp::text || '|' || n, ',' ORDER BY cfp) FROM "
        '(SELECT cfp, count(*) AS n FROM quadrolaut GROUP BY cfp) AS q')
SCHEMA = """
CREATE SCHEMA salva; CREATE TABLE salva.p AS SELECT * FROM percparcelle;
CREATE TABLE salva.q AS SELECT * FROM quadrolaut"""
RESTORE = """
DELETE FROM percparcelle; DELETE FROM quadrolaut;
INSERT INTO percparcelle OVERRIDING SYSTEM VALUE SELECT * FROM salva.p;
INSERT INTO quadrolaut OVERRIDING SYSTEM VALUE SELECT * FROM salva.q"""
PARTS = 8  # of the cases: the silent ones wait most of their time
failed = 0


def check(good, *what):
    global failed
    if not good:
        failed += 1
        print(*what)


class Program:
    def __init__(self, folder):
        with open(folder + '/registro.reg', 'w', encoding='ascii') as file:
            file.write('REGEDIT4\n\n[HKEY_CURRENT_USER\\Software\\Calvenza\\Morvenna]\n'
                       f'"PERCORSOARCHIVI"="{folder}"\n"PERCORSOPROGRAMMI"="{folder}"\n')
        self.process = subprocess.Popen(
            [PROGRAMS + '/anagparc-script'], text=True, bufsize=1, stdin=subprocess.PIPE,
            stdout=subprocess.PIPE, env=dict(os.environ, MORVENNA_REGISTRO=folder + '/registro.reg',
                                             XDG_RUNTIME_DIR=folder, XDG_STATE_HOME=folder))
        self.do('')

    def do(self, script):
        """The message boxes that the lines, divided by semicolons, bring up, and the seconds."""
        begun = time.monotonic()
        self.process.stdin.write(script.replace(';', '\n') + '\nshow Focus\n')
        self.process.stdin.flush()
        boxes, self.painted = [], []
        for line in self.process.stdout:
            if line.startswith('Focus ='):
                return boxes, time.monotonic() - begun
            check(not line.startswith('ignored'), line)
            if line.startswith('MsgBox'):
                boxes.append(line)
            elif line.startswith('Painted'):
                self.painted.append(line.partition(' = ')[2].strip())
        raise RuntimeError(f'the program has ended: {boxes}')


def publish(folder, server):
    subprocess.run([PROGRAMS + '/anagparc-archivio', 'crea', folder], check=True, stdout=subprocess.DEVNULL)
    file, base = folder + '/SQ4RXXXX.MDB', os.path.dirname(os.path.abspath(__file__)) + '/scenari/base.sql'
    with open(base, encoding='utf-8') as sql:
        subprocess.run(['sqlite3', '-bail', file], check=True, stdin=sql)
    subprocess.run([PROGRAMS + '/anagparc-archivio', 'pubblica', file,
                    f'postgresql:///postgres?host={server.folder}&user=postgres'],
                   check=True, stdout=subprocess.DEVNULL)
    with open(folder + '/S7702015.MDB', 'w', encoding='ascii') as file:
        file.write(f'postgresql:///postgres?host={server.folder}/line&user=postgres\n')
    server.sql(SCHEMA)


def row_of(program, code):
    program.process.stdin.write('list List1\nshow Focus\n')
    program.process.stdin.flush()
    row = None
    for line in program.process.stdout:
        if line.startswith('Focus ='):
            return row
        if line.partition('= "')[2].startswith(code):
            row = int(line[6:line.index(')')])


def counted(line):
    """Round trips, bytes up and down, connections, since the last time."""
    counts = [int(n) for n in line.command('count').split()]
    line.command('reset')
    return counts


def count_trips(program, line, server):
    server.sql(f"INSERT INTO quadrolaut (cfp) SELECT '{MARIO}' FROM generate_series(1, 10000)")
    line.command('reset')
    for most, what, script in [
            (2, 'a recipient opened', 'dblclick List1 5'),
            (2, 'to the next one', 'click cmdparcsuc'), (2, 'to the end', 'click cmdparcsuc'),
            (2, 'and back', 'click cmdparcprec'), (2, 'the municipalities', 'click CMDAPRILIST(5)'),
            (0, 'closed', 'key Escape'),
            (2, 'typed, and the municipalities again', 'focus Text1(5);type "X"'),
            (6, 'a save with two provinces', 'click cmdmemorizza'),
            (3, 'the list by name', 'click cmdselprec;click Option1(1)'),
            (3, 'and by code', 'click Option1(0)'),
            (1, 'a new VAT number', 'dblclick List1 0;focus TEXTCF;type "' + NEW +
             '";focus TextCOGNO;type "BETA";click CmdInserimento(0)'),
            (4, 'its first save', 'click cmdmemorizza'),
            (3, 'the list', 'click cmdselprec'),
            (8, 'a deletion and the list', 'click List1 2;answer 6;click Cmdcancella'),
            (40, 'a change of code', f'click List1 4;click CmdCambia;type "{NEW}";answer 6;'
             'click CmdConfermaCF')]:
        boxes, _ = program.do(script)
        trips = counted(line)[0]
        print(f'{trips:>3} of {most:>2}  {what}')
        check(trips <= most and not any('flags=16 answer=1' in box for box in boxes), what, boxes)


def wait(program, line):
    """The user reads what a slow line makes the program wait for."""
    line.command('delay 700')
    program.do('watch StatusBar1.Panels(2);dblclick List1 1;watch;click cmdselprec')
    check('"In attesa del server"' in program.painted, 'no word of waiting', program.painted)
    line.command('delay 0')


def messages(passed):
    """Where each message begins."""
    at = 0
    while at < len(passed):
        yield at
        at += 1 + int.from_bytes(passed[at + 1:at + 5], 'big')


def cut(program, line, sql, part):
    """Each operation whole, then cut; what is told, beside what the server has."""
    counts = collections.Counter()
    back = 'click cmdselprec'
    operations = {
        'save': (f'dblclick List1 @{MARIO};focus Text1(5);type "X"', 'click cmdmemorizza', back),
        'insertion': ('dblclick List1 0;focus TEXTCF;type "' + NEW + '";focus TextCOGNO;type "BETA";'
                      'click CmdInserimento(0)', 'click cmdmemorizza', back),
        'deletion': (f'click List1 @{MARIO}', 'answer 6;click Cmdcancella', ''),
        'change': (f'click List1 @{MARIO};click CmdCambia;type "{NEW}"',
                   'answer 6;click CmdConfermaCF', '')}
    for what, (prepare, act, leave) in operations.items():
        def ready():
            line.command('end')  # so that each time the same is sent
            sql(RESTORE)
            program.do('click Option1(1);click Option1(0)')
            program.do(prepare.replace('@' + MARIO, str(row_of(program, MARIO))))
            line.command('reset')
        ready()
        before = sql(ROWS)
        line.passed = collections.defaultdict(bytes)
        program.do(act)
        passed, line.passed = line.passed, None
        after = sql(ROWS)
        program.do(leave)
        for way, data in passed.items():
            counts[f'bytes {way} in {what}'] = len(data)
            cases = [('cut', n) for n in range(0, len(data), STEP)]
            cases += [('silence', n) for n in list(messages(data))[::STEP // 12 + 1]]
            for how, n in cases[part::PARTS]:
                ready()
                line.command(f'{how} {way} {n}')
                boxes, seconds = program.do(act)
                check(line.fate is None, what, how, way, n, 'not cut')
                counts[how] += 1
                found = sql(ROWS)
                where = (what, how, way, n, boxes)
                told = ' '.join(boxes)
                unknown = 'text="Non si sa se' in told
                undone = 'non eseguit' in told or 'Operazione non riuscita' in told
                check(seconds < 10, *where, seconds)
                check(found in (before, after), *where, 'by half')
                check(unknown or undone == (found == before), *where, 'untrue')
                line.command('reset')
                if undone:
                    again, _ = program.do(act)
                    check(sql(ROWS) == after, *where, 'again', again)
                elif unknown and leave:
                    program.do('answer 6;click cmdmemorizza')
                elif unknown and what == 'change':
                    program.do('click CmdAnnullaCF')
                program.do(leave)
                counts['told: ' + (told and boxes[-1].split('text="')[1].split('\\r')[0])] += 1
    return counts


def fail_over(one, folder):
    """The first server is killed, the second takes its place, and the program goes on."""
    with Server(standby_of=one) as two:
        one.sql(RESTORE)
        one.sql("ALTER SYSTEM SET synchronous_standby_names = '*'")
        one.sql('SELECT pg_reload_conf()')
        with open(folder + '/S7702015.MDB', 'w', encoding='ascii') as file:
            file.write(f'postgresql:///postgres?host={one.folder},{two.folder}&user=postgres'
                       '&target_session_attrs=read-write\n')
        program = Program(folder)
        program.do(f'dblclick List1 {row_of(program, MARIO)};focus Text1(5);type "X"')
        boxes, _ = program.do('click cmdmemorizza')
        check(not boxes, 'replicated', boxes)
        one.stop(signal.SIGKILL)
        boxes, _ = program.do('focus Text1(5);type "Y";click cmdmemorizza')
        check('Registrazione non eseguita' in ' '.join(boxes), 'no server', boxes)
        two.promote()
        two.sql("ALTER SYSTEM SET synchronous_standby_names = ''")
        two.sql('SELECT pg_reload_conf()')
        boxes, _ = program.do('click cmdmemorizza')
        check(not boxes, 'promoted', boxes)
        saved = two.sql(f"SELECT aparc_5 FROM percparcelle WHERE cfp = '{MARIO}'")
        check(saved == 'ROMAXY\n', 'after the promotion', saved)


def cut_part(part):
    """The cases of one part, with a server and a program of its own."""
    with Server() as server, tempfile.TemporaryDirectory() as folder:
        line = Line(server)
        publish(folder, server)
        program = Program(folder)
        counts = cut(program, line, Session(server), part)
        program.process.kill()
        return counts, failed


def main():
    with concurrent.futures.ProcessPoolExecutor(PARTS) as pool:
        parts = list(pool.map(cut_part, range(PARTS)))
    for what in sorted(set().union(*(counts for counts, _ in parts))):
        numbers = [counts[what] for counts, _ in parts]
        print(max(numbers) if what.startswith('bytes') else sum(numbers), what)
    with Server() as server, tempfile.TemporaryDirectory() as folder:
        line = Line(server)
        publish(folder, server)
        program = Program(folder)
        trips = counted(line)[0]
        print(f'{trips:>3} of 12  the start, to the list')
        check(trips <= 12, 'the start')
        count_trips(program, line, server)
        wait(program, line)
        program.process.kill()
        program.process.wait()
        fail_over(server, folder)
    return 1 if failed or any(bad for _, bad in parts) else 0


if __name__ == '__main__':
    if not server_programs():
        print('skipped: no PostgreSQL server is installed')
        sys.exit(77)
    sys.exit(main())
