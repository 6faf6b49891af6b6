#!/usr/bin/env python3
"""Every command of docs/ufficio.md, as it stands there, on three computers: the server, its standby,
the bookkeeper's PC. Each is this machine with folders and a network of its own. Between the commands
stands what the text has the reader do by hand. Needs root and Debian's own package of the server;
status 77 without.

    ufficio.py PROGRAMS"""
import os
import re
import shutil
import subprocess
import sys

PROGRAMS = os.path.abspath(sys.argv[1])
DOCUMENT = os.path.dirname(os.path.dirname(os.path.abspath(__file__))) + '/docs/ufficio.md'
INSIDE = 'ANAGPARC_UFFICIO'
PLACE = '/run/ufficio'
EXPECTED = [('verifica', 'completo e integro'), ('pubblica', 'può lavorarci con il programma'),
            ('collega', 'Scritto il file'), ('copia ', 'Copiato'), ('sync_state', r'\bsync\b'),
            ('ALTER DATABASE s7702015 RENAME', 'ALTER DATABASE'), ('usename', 'client_addr')]


def sh(text, *enter, stdin=''):
    """What a script prints, without a terminal: passwords come from stdin."""
    done = subprocess.run(['setsid', *enter, 'bash', '-euc', text], input=stdin, text=True,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    if done.returncode:
        sys.exit(f'ufficio.py: {text}\n{done.returncode}: {done.stdout}')
    return done.stdout


class Computer:
    def __init__(self, name, address):
        self.process = subprocess.Popen(['unshare', '--mount', '--net', 'sleep', 'infinity'])
        own = '/proc/self/ns/net', f'/proc/{self.process.pid}/ns/net'
        while os.readlink(own[0]) == os.readlink(own[1]):
            pass
        self.enter = ['nsenter', f'--target={self.process.pid}', '--mount', '--net', '--wd=/']
        sh(f'''ip link add {name} type veth peer name eth0 netns {self.process.pid}
            ip link set {name} master ufficio up''')
        self.run(f'''
            ip link set lo up; ip link set eth0 up; ip address add {address}/24 dev eth0
            for folder in etc var home root srv; do
              mkdir -p {PLACE}/{name}/$folder {PLACE}/{name}/work/$folder
              mount -t overlay overlay /$folder -o \\
                lowerdir=/$folder,upperdir={PLACE}/{name}/$folder,workdir={PLACE}/{name}/work/$folder
            done
            rm -rf /etc/postgresql/* /var/lib/postgresql/* /root/.pgpass
            mount -t tmpfs tmpfs /run/postgresql && chown postgres /run/postgresql
            echo "192.168.1.10 archivi.ufficio
            192.168.1.11 riserva.ufficio" >>/etc/hosts''')

    def run(self, text, user='root'):
        home = '/root' if user == 'root' else f'/home/{user}'
        return sh(text, *self.enter, 'runuser', '-u', user, '--', 'env', '-i', f'HOME={home}', 'LC_ALL=C.UTF-8',
                  f'PATH={PROGRAMS}:/usr/sbin:/usr/bin:/sbin:/bin', stdin='segreta\n' * 2)


def main():
    os.makedirs('/run/postgresql')
    sh('ip link add ufficio type bridge; ip link set ufficio up')
    server = Computer('server', '192.168.1.10')
    standby = Computer('riserva', '192.168.1.11')
    pc = Computer('pc', '192.168.1.20')
    for computer in (server, standby):
        computer.run('pg_createcluster 15 main --port=5432 --start')  # as the package does
    pc.run('useradd --create-home anna; anagparc-archivio crea /srv/archivi --dimostrazione 50')
    made = f'{PLACE}/server/root/certificati'
    with open(DOCUMENT) as file:
        blocks = re.findall(r'^```sh (\w+)\n(.*?)^```$', file.read(), re.M | re.S)
    for where, text in blocks:
        if 'pubblica' in text:
            pc.run(f'install -m 644 {made}/ufficio.crt /etc/ssl')
        elif 'pg_basebackup' in text:
            standby.run(f'cp {made}/riserva.* {PLACE}/server/etc/postgresql/15/main/pg_hba.conf /root; '
                        f'install -m 644 {made}/ufficio.crt /etc/ssl')
        elif 'promote' in text:
            server.run('pg_ctlcluster 15 main stop -m immediate')
        user = 'anna' if where == 'anna' else 'root'
        # Each that asks for a password has the input for itself.
        parts = re.split(r'\n(?=runuser)', text) if '--pwprompt' in text else [text]
        said = ''.join({'server': server, 'riserva': standby}.get(where, pc).run(part, user) for part in parts)
        print(f'--- {where}\n{said}', flush=True)
        for command, result in EXPECTED:
            if command in text and not re.search(result, said):
                sys.exit(f'ufficio.py: {text}\ndoes not say {result}')
    # What was written on the PC in the end is an archive in a file.
    sh(f'test "$(head -c 13 {PLACE}/pc/home/anna/archivi/S7702015.MDB)" = "SQLite format"')


TRY = 'ip link add ufficio type bridge && ip link add prova type veth'
if os.geteuid() != 0 or not shutil.which('pg_createcluster') or subprocess.run(
        ['unshare', '--mount', '--net', '--pid', '--fork', 'sh', '-c', TRY], stderr=subprocess.DEVNULL).returncode:
    print('skipped: needs root, networks of its own and the package postgresql')
    sys.exit(77)
if INSIDE not in os.environ:
    # Whatever happens, all of it ends with this process.
    os.environ[INSIDE] = '1'
    os.execvp('unshare', ['unshare', '--mount', '--net', '--pid', '--fork', '--mount-proc', '--kill-child',
                          'sh', '-c', 'mount -t tmpfs tmpfs /run && exec "$0" "$@"', *sys.argv])
main()
