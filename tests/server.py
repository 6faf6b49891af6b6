#!/usr/bin/env python3
"""A PostgreSQL server of the tests' own, and a line to it that can be slow or break.

    server.py run COMMAND...

runs the command beside a new server, with PGHOST, PGUSER and PGDATABASE in its environment. PGHOST
is the line's end, ANAGPARC_SERVER the server's own socket folder, ANAGPARC_LINE a socket that
takes the words of Line.command, one command in a line, and returns a line for each. The exit
status is the command's, 77 where no server is installed. Tests in Python import the classes. The
server and all its files are gone when either ends."""
import asyncio
import glob
import os
import pwd
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time

PORT = '.s.PGSQL.5432'  # what libpq looks for in a socket folder


def programs():
    """The folder of the newest server's programs; None without one."""
    found = glob.glob('/usr/lib/postgresql/*/bin/postgres')
    newest = max(found, key=lambda path: int(path.split('/')[4]), default=None)
    return newest and os.path.dirname(newest)


class Server:
    """A cluster in a temporary folder, which is its socket folder too. Whoever connects to the
    socket is trusted. It isn't synchronised: what survives is what survives its processes."""

    def __init__(self, standby_of=None, **settings):
        self.folder = tempfile.mkdtemp(prefix='anagparc.', dir='/tmp')  # sockets have short names
        self.data = self.folder + '/data'
        self.process = None
        # The server refuses to run as root. --pdeathsig: it ends however this process ends.
        self.user = ['setpriv', '--pdeathsig', 'QUIT']
        if os.geteuid() == 0:
            nobody = pwd.getpwnam('nobody')
            self.user += [f'--reuid={nobody.pw_uid}', f'--regid={nobody.pw_gid}', '--clear-groups']
            os.chown(self.folder, nobody.pw_uid, nobody.pw_gid)
        os.chmod(self.folder, 0o755)
        try:
            if standby_of:
                self.tool('pg_basebackup', '-D', self.data, '-R', '-c', 'fast', '--no-sync',
                          '-h', standby_of.folder, '-U', 'postgres')
            else:
                self.tool('initdb', '-D', self.data, '-A', 'trust', '-U', 'postgres', '-E', 'UTF8',
                          '--locale=C', '--no-sync')
            with open(self.data + '/postgresql.conf', 'a') as config:
                settings = {'listen_addresses': '', 'unix_socket_directories': self.folder,
                            'fsync': 'off', 'dynamic_shared_memory_type': 'mmap',
                            'shared_buffers': '16MB'} | settings
                config.writelines(f"{name} = '{value}'\n" for name, value in settings.items())
            self.start()
        except BaseException:
            self.close()
            raise

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def close(self):
        self.stop(signal.SIGQUIT)
        shutil.rmtree(self.folder, ignore_errors=True)

    def tool(self, name, *words, **more):
        """Runs a program of the server as its user; returns what it prints."""
        done = subprocess.run([*self.user, f'{programs()}/{name}', *words], cwd=self.folder,
                              stdin=subprocess.DEVNULL, capture_output=True, text=True, **more)
        if done.returncode:
            raise RuntimeError(f'{name}: {done.stderr}')
        return done.stdout

    def sql(self, text, database='postgres', user='postgres'):
        """Runs statements; returns rows as lines, columns apart by |."""
        return self.tool('psql', '-XAtq', '-v', 'ON_ERROR_STOP=1', '-h', self.folder, '-U', user,
                         '-d', database, '-c', text)

    def start(self):
        """Returns when the server takes connections."""
        limit = time.monotonic() + 60
        while not self.ready():
            if not self.process or self.process.poll() is not None:
                # After a kill its own processes may still have to end.
                if time.monotonic() > limit:
                    with open(self.folder + '/log') as log:
                        raise RuntimeError(log.read())
                with open(self.folder + '/log', 'a') as log:
                    self.process = subprocess.Popen(
                        [*self.user, programs() + '/postgres', '-D', self.data], cwd=self.folder,
                        stdin=subprocess.DEVNULL, stdout=log, stderr=log)
            time.sleep(.02)

    def ready(self):
        try:
            with open(self.data + '/postmaster.pid') as state:
                lines = state.read().split('\n')
            return int(lines[0]) == self.process.pid and lines[7].startswith('ready')
        except (OSError, ValueError, IndexError, AttributeError):
            return False

    def stop(self, how=signal.SIGINT):
        """SIGINT: breaks connections off and ends; SIGQUIT: as a crash; SIGKILL: the first process
        alone is killed, the others notice."""
        if self.process:
            self.process.send_signal(how)
            self.process.wait()
            self.process = None

    def promote(self):
        self.sql('SELECT pg_promote()')


class Session:
    """Statements over one connection, which stays. A failure ends it, and the next call has another."""

    def __init__(self, server):
        self.words = [programs() + '/psql', '-XAtq', '-F', '\t', '-v', 'ON_ERROR_STOP=1',
                      '-h', server.folder, '-U', 'postgres']
        self.process = None

    def __call__(self, text):
        """The rows of all statements, each a list of texts."""
        if not self.process:
            self.process = subprocess.Popen(self.words, text=True, bufsize=1, stdin=subprocess.PIPE,
                                            stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        self.process.stdin.write(text + ';\n\\echo <end>\n')
        rows = []
        for line in self.process.stdout:
            if line == '<end>\n':
                return rows
            rows.append(line.rstrip('\n').split('\t'))
        self.close()
        raise RuntimeError(f'{text}: {rows}')

    def close(self):
        if self.process:
            self.process.kill()
            self.process.communicate()
            self.process = None


class Line:
    """A socket folder whose connections lead to the server's, through this process. A round trip is
    counted where the server's answer reaches a client that has sent something since the last."""

    def __init__(self, server):
        self.server = server
        self.folder = server.folder + '/line'
        os.mkdir(self.folder)
        self.delay = 0      # seconds that a round trip takes longer
        self.fate = None    # (what, way, bytes): of the connections that there are then
        self.new = 'pass'   # what becomes of new ones: pass, cut or silence
        self.open = set()   # connections
        self.passed = None  # what has passed each way, where somebody wants it
        self.reset()
        self.loop = asyncio.new_event_loop()
        started = threading.Event()
        threading.Thread(target=self.run, args=(started,), daemon=True).start()
        started.wait()

    def reset(self):
        self.trips, self.bytes, self.connections = 0, {'up': 0, 'down': 0}, 0

    def command(self, text):
        """cut WAY N, silence WAY N: once N more bytes have gone that way, up or down, all
        connections are broken off, or nothing passes any more; with 0 at the next byte. With "stay"
        after it new ones from then on as well.
        new pass|cut|silence: new connections. end: breaks all off now. delay MS: for each round trip. reset: counts from 0,
        and the server learns of the end of silent connections.
        server stop|crash|kill|start. count: changes nothing.
        Returns "TRIPS BYTES_UP BYTES_DOWN CONNECTIONS"."""
        what, *words = text.split()
        if what in ('cut', 'silence'):
            self.fate = (what, words[0], self.bytes[words[0]] + int(words[1]))
            self.stays = words[2:] == ['stay']
        elif what == 'new':
            self.new = words[0]
        elif what == 'delay':
            self.delay = float(words[0]) / 1000
        elif what == 'reset':
            self.fate = None
            self.end([ends for ends in self.open if ends.silent])
            self.reset()
        elif what == 'end':
            self.end(list(self.open))
        elif what == 'server' and words[0] == 'start':
            self.server.start()
        elif what == 'server':
            self.server.stop({'stop': signal.SIGINT, 'crash': signal.SIGQUIT,
                              'kill': signal.SIGKILL}[words[0]])
        elif what != 'count':
            raise ValueError(text)
        return f'{self.trips} {self.bytes["up"]} {self.bytes["down"]} {self.connections}'

    def end(self, connections):
        for ends in connections:
            self.loop.call_soon_threadsafe(ends.strike, 'cut')

    def run(self, started):
        async def serve():
            for name, serve_one in ((PORT, self.connect), ('control', self.control)):
                await asyncio.start_unix_server(serve_one, f'{self.folder}/{name}')
                os.chmod(f'{self.folder}/{name}', 0o777)
            started.set()
        self.loop.create_task(serve())
        self.loop.run_forever()

    async def control(self, reader, writer):
        while text := await reader.readline():
            writer.write((self.command(text.decode()) + '\n').encode())
        writer.close()

    async def connect(self, reader, writer):
        self.connections += 1
        try:
            to_reader, to_writer = await asyncio.open_unix_connection(f'{self.server.folder}/{PORT}')
        except OSError:
            writer.close()
            return
        ends = Ends(writer, to_writer)
        self.open.add(ends)
        if self.new != 'pass':
            ends.strike(self.new)
        await asyncio.gather(self.pump('up', reader, to_writer, ends),
                             self.pump('down', to_reader, writer, ends))
        self.open.discard(ends)

    async def pump(self, way, reader, writer, ends):
        on_the_way = asyncio.Queue()

        async def read():
            data = b'-'
            while data:
                try:
                    data = await reader.read(1 << 16)
                except OSError:
                    data = b''
                await on_the_way.put((self.loop.time() + self.delay / 2, data))

        reading = self.loop.create_task(read())
        while True:
            due, data = await on_the_way.get()
            if due > self.loop.time():
                await asyncio.sleep(due - self.loop.time())
            what, fated, at = self.fate or (None, None, 0)
            part = data[:at - self.bytes[way]] if fated == way else data
            strikes = fated == way and data and self.bytes[way] + len(data) >= at
            if part and not ends.silent:
                self.count(way, len(part), ends)
                if self.passed is not None:
                    self.passed[way] += part
                try:
                    writer.write(part)
                    await writer.drain()
                except OSError:
                    pass
            if strikes:
                self.fate = None
                if self.stays:
                    self.new = what
                for each in list(self.open):
                    each.strike(what)
            if not data:
                break
        await reading
        if not ends.silent:
            ends.strike('cut')

    def count(self, way, size, ends):
        self.bytes[way] += size
        self.trips += way == 'down' and ends.asked
        ends.asked = way == 'up'


class Ends:
    """The two ends of a connection through the line."""

    def __init__(self, *writers):
        self.writers = writers
        self.silent = self.asked = False
        for writer in writers:
            writer.transport.set_write_buffer_limits(0)  # drain waits until all is handed over

    def strike(self, what):
        self.silent |= what == 'silence'
        if what == 'cut':
            for writer in self.writers:
                writer.transport.abort()


def run(command):
    for number in (signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, lambda *_: sys.exit(1))
    with Server() as server:
        line = Line(server)
        return subprocess.run(command, env=dict(
            os.environ, PGHOST=line.folder, PGUSER='postgres', PGDATABASE='postgres',
            ANAGPARC_SERVER=server.folder, ANAGPARC_LINE=line.folder + '/control')).returncode


if __name__ == '__main__':
    words = [word for word in sys.argv[1:] if word != '--']
    if words[:1] != ['run'] or len(words) < 2:
        sys.exit(__doc__)
    if not programs():
        print('skipped: no PostgreSQL server is installed')
        sys.exit(77)
    sys.exit(run(words[1:]))
