#!/usr/bin/env bash
# The archive tool as a process: output that can't be written, full disks, signals,
# kills, and what an earlier run has left.
#
#   archivio.sh PROGRAMS
set -u
tool=$(realpath "$1")/anagparc-archivio formato=$(realpath "${0%/*}/../docs/formato.md") || exit 1
place=/tmp
[ -w /dev/shm ] && place=/dev/shm
dir=$(mktemp -d "$place/anagparc.XXXXXX") || exit 1
trap 'rm -rf "$dir"' EXIT
cd "$dir" || exit 1
failed=0

fail() { # WHAT...
  printf 'archivio.sh: %s\n' "$*"
  failed=1
}

# What the command must say, on whichever stream, and its status.
expect() { # STATUS TEXT COMMAND...
  local status=$1 text=$2 said
  shift 2
  said=$("$@" 2>&1)
  local got=$?
  # shellcheck disable=SC2053 # a pattern
  if [ "$got" != "$status" ] || [[ $said != $text ]]; then
    fail "$*: $got, not $status: $said"
  fi
}

# Nothing hidden and nothing of that name.
gone() { # NAME...
  local name
  for name in "$@" .anagparc-*; do
    [ ! -e "$name" ] || fail "$name is there"
  done
}

rows() { # ARCHIVE
  sqlite3 "$1" 'SELECT * FROM PERCPARCELLE; SELECT * FROM QUADROLAUT'
}

"$tool" crea uno --dimostrazione 500 >/dev/null || exit 1
archive=uno/S7702015.MDB
"$tool" esporta tutti.csv $archive >/dev/null || exit 1
cp $archive prima

# --- docs/formato.md names every table, column and index, in their order
sqlite3 $archive "SELECT '| \`' || t.name || '\` | ' ||
    (SELECT group_concat(name, ' ') FROM pragma_table_info(t.name)) || ' | ' ||
    coalesce((SELECT group_concat(substr(l.name, length(t.name) + 2) ||
        iif(l.\"unique\", ' (unique)', '') || ': ' ||
        (SELECT group_concat(name, ' ') FROM pragma_index_info(l.name)), '; ')
      FROM (SELECT * FROM pragma_index_list(t.name) ORDER BY name) AS l), '') || ' |'
  FROM sqlite_schema AS t WHERE t.type = 'table'" |
  diff <(grep -E '^\| `[A-Z].* \|.* \|.* \|.*\|$' "$formato" | grep -oE '^(\|[^|]*){3}\|') - ||
  fail "docs/formato.md isn't the archive"

# --- Output that can't be written
expect 1 "Impossibile scrivere sull'uscita: lo spazio sul disco /dev è esaurito." \
  sh -c '"$0" verifica "$1" >/dev/full' "$tool" $archive
closed() { # COMMAND... : its output is a pipe that nobody reads
  (
    exec 3<>chiusa
    exec 4>chiusa
    exec 3<&-
    "$@" >&4
  )
}
mkfifo chiusa
expect 1 "Impossibile scrivere sull'uscita: il programma che riceveva i dati ha smesso di leggerli." \
  closed "$tool" verifica $archive
"$tool" crea vuoto >/dev/null && mv vuoto/SQ4RXXXX.MDB nuovo
cp nuovo nuovo.prima
sed '2s/"/"x/' tutti.csv >dubbio.csv  # its line in the report can't be told
expect 1 "L'archivio resta com'era.*" \
  sh -c '"$0" importa dubbio.csv nuovo --salta >/dev/full' "$tool"
cmp nuovo nuovo.prima || fail "written without a report"

# --- A file that may not grow, a disk without room
limited() { (trap '' XFSZ; ulimit -f 50; "$@"); }
expect 1 "*" limited "$tool" crea due/tre --dimostrazione 5000
gone due
expect 1 "Impossibile creare il file x.csv: il file è troppo grande per questo disco, o per il limite posto all'utente." \
  limited "$tool" esporta x.csv $archive
gone x.csv
# Room for one copy and a half.
size=$(($(stat -c %s $archive) * 3 / 2))
mkdir disco
script='mount -t tmpfs -o size=$2 tmpfs disco || exit 77
  "$0" copia "$1" disco || exit 1
  "$0" copia "$1" disco/altra 2>&1 && exit 2
  head -c 9M /dev/zero 2>/dev/null >disco/altro
  "$0" esporta disco/x.csv "$1" 2>&1 && exit 3
  ls -A disco'
said=$(unshare -rm bash -c "$script" "$tool" $archive $size)
case $?:$said in
77:* | 1:) ;; # not allowed here
"0:"*"Disco pieno: impossibile scrivere nel file disco/altra, sul disco $dir/disco."*"lo spazio sul disco $dir/disco è esaurito."*$'\n'S7702015.MDB$'\n'altro) ;;
*) fail "full disk: $said" ;;
esac

# --- Signals
# Each ends what waits: for a lock of another program, for more of a pipe.
mkfifo pipe
interrupt() { # SIGNAL STATUS TEXT COMMAND...
  local signal=$1 status=$2 text=$3
  shift 3
  env --default-signal=INT "$tool" "$@" >said 2>&1 &
  local process=$!
  if [ "$1" = importa ]; then
    exec 3>pipe
    head -n 300 tutti.csv >&3
    sqlite3 nuovo 'BEGIN IMMEDIATE' || fail "an import that still reads locks the archive"
  else
    until compgen -G '.anagparc-*' >/dev/null; do sleep .01; done
  fi
  kill "-$signal" $process
  wait $process
  local got=$?
  [ "$1" != importa ] || exec 3>&-
  if [ "$got" != "$status" ] || [ "$(cat said)" != "$text" ]; then
    fail "$* and $signal: $got $(cat said)"
  fi
  gone x
}
for signal in INT:130 TERM:143 HUP:129; do
  interrupt ${signal%:*} ${signal#*:} "Interrotto: l'archivio è come prima." importa pipe nuovo
  cmp nuovo nuovo.prima || fail "an import that was interrupted has written"
done
interrupt TERM 143 "Interrotto: non è stato scritto niente." crea . --dimostrazione 1000000
gone SQ4RXXXX.MDB
mkfifo sql
sqlite3 $archive <sql &
exec 4>sql
echo 'BEGIN EXCLUSIVE;
.shell touch preso' >&4
until [ -e preso ]; do sleep .01; done
interrupt INT 130 "Interrotto: non è stato scritto niente." copia $archive x
interrupt TERM 143 "Interrotto: non è stato scritto niente." esporta x $archive
exec 4>&-
wait

# --- Kills
# What another run holds stays; what a killed one has left goes with the next.
"$tool" crea . --dimostrazione 1000000 &
process=$!
until compgen -G '.anagparc-*' >/dev/null; do sleep .01; done
kill -STOP $process
left=$(compgen -G '.anagparc-*')
"$tool" esporta y $archive >/dev/null
[ -e "$left" ] || fail "a living run's file is gone"
kill -KILL $process
wait $process 2>/dev/null
"$tool" copia $archive x >/dev/null
gone

# A write cut off half done: the copy, and the import, undo it.
ln -s $archive legame
for command in copia importa; do
  words=(legame z)  # through a link, whose journal lies beside the file
  [ $command = copia ] || words=(tutti.csv "$archive" --aggiorna)
  cp prima $archive
  # shellcheck disable=SC2016 # for the shell below sqlite3
  (printf '%s\n' 'PRAGMA cache_size = 1; BEGIN;' \
    'UPDATE PERCPARCELLE SET APARC_1 = hex(zeroblob(500));' '.shell kill -KILL $PPID' |
    sqlite3 $archive) 2>/dev/null
  cmp -s prima $archive && fail "nothing was cut off"
  expect 1 "*una scrittura è stata interrotta*" "$tool" verifica $archive
  expect 1 "*una scrittura è stata interrotta*" "$tool" esporta mai.csv $archive
  gone mai.csv
  expect 0 "Annullata la scrittura interrotta nel file *" "$tool" $command "${words[@]}"
  [ "$(rows $archive)" = "$(rows prima)" ] || fail "$command: not undone"
done
[ "$(rows z)" = "$(rows prima)" ] || fail "the copy isn't the archive from before"
exit $failed
