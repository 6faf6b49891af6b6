#!/usr/bin/env python3
"""Archives on a server, with the programs for Windows under Wine: published, worked in and copied
back over TLS, then the scenarios.

    server.py PROGRAMS

The server is one of tests/server.py; it listens on this computer's own address."""
import glob
import os
import pwd
import socket
import subprocess
import sys
import tempfile

ROOT = os.path.realpath(os.path.dirname(__file__) + "/../..")
sys.path.insert(0, ROOT + "/tests")
import server  # noqa: E402

PROGRAMS = os.path.abspath(sys.argv[1])
if not server.programs():
    sys.exit(77)


def certificate(folder, name, subject):
    """One that vouches for itself; its key can be read by the server's user alone."""
    subprocess.run(["openssl", "req", "-new", "-x509", "-days", "2", "-nodes", "-subj",
                    f"/CN={subject}", "-addext", f"subjectAltName=DNS:{subject}", "-keyout",
                    f"{folder}/{name}.key", "-out", f"{folder}/{name}.crt"],
                   check=True, capture_output=True)
    if os.geteuid() == 0:
        nobody = pwd.getpwnam("nobody")
        os.chown(f"{folder}/{name}.key", nobody.pw_uid, nobody.pw_gid)


def tool(status, part, name, *words, **more):
    """Runs a program, which must end with that status and say that."""
    done = subprocess.run([f"{PROGRAMS}/{name}", *words], capture_output=True, text=True, **more)
    said = done.stdout + done.stderr
    assert done.returncode == status and part in said, (words, done.returncode, said)


def dump(file):
    return subprocess.run(["sqlite3", file, ".dump"], check=True, capture_output=True).stdout


def over_tls(folder):
    port = os.environ["PGPORT"]
    own = f"postgresql://postgres@localhost:{port}/postgres?sslmode=verify-full&sslrootcert={folder}/"
    tool(0, "", "anagparc-archivio", "crea", "uno", "--dimostrazione", "200")
    tool(1, "certificat", "anagparc-archivio", "pubblica", "uno/S7702015.MDB", own + "altro.crt")
    tool(0, "", "anagparc-archivio", "pubblica", "uno/S7702015.MDB", own + "server.crt")
    tool(0, "", "anagparc-archivio", "prepara", "due")
    tool(0, "", "anagparc-archivio", "collega", "due", own + "server.crt")
    tool(0, "ListCount = 201", "anagparc-script", input="show List1.ListCount\n")
    tool(0, "", "anagparc-archivio", "verifica", "due/S7702015.MDB")
    tool(0, "", "anagparc-archivio", "copia", "due/S7702015.MDB", "copia.MDB")
    assert dump("copia.MDB") == dump("uno/S7702015.MDB"), "the copy isn't what was published"


with tempfile.TemporaryDirectory() as folder:
    os.chmod(folder, 0o755)
    os.chdir(folder)
    certificate(folder, "server", "localhost")
    certificate(folder, "altro", "localhost")
    with socket.socket() as free:
        free.bind(("127.0.0.1", 0))
        os.environ["PGPORT"] = str(free.getsockname()[1])
    with server.Server(listen_addresses="127.0.0.1", port=os.environ["PGPORT"], ssl="on",
                       ssl_key_file=folder + "/server.key", ssl_cert_file=folder + "/server.crt"):
        os.environ.update(PGUSER="postgres", PGDATABASE="postgres",
                          MORVENNA_REGISTRO=folder + "/registro.reg",
                          XDG_RUNTIME_DIR=folder, XDG_STATE_HOME=folder)
        over_tls(folder)
        print("published, worked in and copied back over TLS")
        os.environ["PGHOST"] = "127.0.0.1"
        failed = 0
        for name in sorted(glob.glob(ROOT + "/tests/scenari/*.scenario")):
            # What these two differ in has to do with files (differenze.txt).
            if os.path.basename(name) not in ("avvio.scenario", "vecchio.scenario"):
                failed |= subprocess.run([ROOT + "/tests/scenario.sh", PROGRAMS, "server", name],
                                         check=False).returncode
        sys.exit(failed)
