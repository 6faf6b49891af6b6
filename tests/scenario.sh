#!/usr/bin/env bash
# Runs one scenario on one screen and compares what it prints.
#
#   scenario.sh PROGRAMS none|qt|reader|server FILE.scenario
#   scenario.sh PROGRAMS none|qt|reader|server FOLDER
#
# What a scenario holds is told in docs/anagparc-script.md. The archive has the
# recipients of base.sql. On the screen "reader" the script is one of reader.py: the
# program itself on a display. On "server" it is the one of "none", and the archive lies on the
# server that server.py runs this beside: published once it is set up, and copied into the file
# again before anybody looks into it. Lines "#@ file" mark what only a file can do.
set -u
programs=$(realpath "$1") screen=$2 scenario=$(realpath -e "$3") || exit 1
if [ -d "$scenario" ]; then
  failed=0
  for each in "$scenario"/*.scenario; do
    "$0" "$1" "$2" "$each" || failed=1
  done
  exit $failed
fi
name=${4:-$3} before=${5:-0} # of a single start: the whole scenario, and the lines before it
here=$(cd "$(dirname "$0")" && pwd)
dir=$(mktemp -d) || exit 1
trap 'chmod -R u+rwX "$dir"; rm -rf "$dir"' EXIT

failed=0
if grep -q '^#@ start' "$scenario"; then
  csplit -sz -f "$dir/" "$scenario" '/^#@ start/' '{*}' || exit 1
  sed -i 's/^#@ start/# start/' "$dir"/*
  for start in "$dir"/*; do
    "$0" "$1" "$2" "$start" "$name" "$before" || { head -n 1 "$start"; failed=1; }
    before=$((before + $(wc -l <"$start")))
  done
  exit $failed
fi
mkdir -m 700 "$dir/run"
export XDG_RUNTIME_DIR=$dir/run XDG_STATE_HOME=$dir/stato MORVENNA_REGISTRO=$dir/registro.reg
export A=$dir/archivi/S7702015.MDB DIR=$dir PROGRAMS=$programs HERE=$here
unset DISPLAY WAYLAND_DISPLAY

caption=' Gestione Modello 770/2015 (Semplificato) - Gestione percettori lavoro autonomo / Provvigioni / Redditi diversi'

directive() { sed -n "s/^#@ $1 //p" "$scenario"; }
only=$(directive screen)
if [ -n "$only" ] && [ "$only" != "$screen" ]; then exit 0; fi
server=
if [ "$screen" = server ]; then
  if grep -q '^#@ file' "$scenario"; then exit 0; fi
  screen=none server=postgresql:///postgres
fi

"$programs/anagparc-archivio" crea "$dir/archivi" >/dev/null || exit 1
cp "$dir/archivi/SQ4RXXXX.MDB" "$A" || exit 1
sqlite3 -bail "$A" <"$here/scenari/base.sql" || exit 1
cat >"$MORVENNA_REGISTRO" <<REG
REGEDIT4

[HKEY_CURRENT_USER\\Software\\Calvenza\\Morvenna]
"PERCORSOARCHIVI"="$dir/archivi"
"PERCORSOPROGRAMMI"="$dir/programmi"
REG
cd "$dir" || exit 1
while IFS= read -r command; do
  bash -c "$command" || { echo "set-up failed: $command"; exit 1; }
done < <(directive sh)

if [ -n "$server" ] && [ -f "$A" ] && head -c 15 "$A" | grep -q 'SQLite format 3'; then
  psql -qXc 'DROP SCHEMA public CASCADE; CREATE SCHEMA public' 2>/dev/null
  "$programs/anagparc-archivio" pubblica "$A" $server >"$dir/out" 2>&1 || { cat "$dir/out"; exit 1; }
  echo $server >"$A"
else
  server=
fi

sed -E -e 's/^>.*/#/' -e 's/^= ([^ ]+) .*/show \1/' "$scenario" >"$dir/script"
run=("$programs/anagparc-script" --screen "$screen" --command-line "$(directive arg)" "$dir/script")
if [ "$screen" = reader ]; then
  sed "s|@CAPTION@|$caption|" "$scenario" >"$dir/script"
  run=(/usr/bin/python3 "$here/reader.py" "$programs/anagparc" "$(directive arg)" "$dir/script")
fi
"${run[@]}" >"$dir/out" 2>"$dir/err"
status=$?
if [ "$status" = 77 ]; then
  cat "$dir/out"
  exit 77
fi
if [ -n "$server" ]; then
  rm "$A"
  "$programs/anagparc-archivio" copia $server "$A" >"$dir/copia" 2>&1 || cat "$dir/copia" >>"$dir/out"
fi
while IFS= read -r command; do
  bash -c "$command" >>"$dir/out" 2>&1
done < <(directive after)

sed -nE -e 's/^> ?//p' -e 's/^= ([^ ]+) (.*)/\1 = \2/p' "$scenario" >"$dir/expected"
sed -e "s|$caption|@CAPTION@|g" -e "s|$dir|@DIR@|g" -e "s|${dir//\//\\\\\\\\}|@DIR@|g" \
  -e "s|${dir//\//\\\\}|@DIR@|g" "$dir/out" >"$dir/got"
# Names have backslashes under Windows, double within quotes; part of the name everywhere is
# the one that the program puts between a folder and its file.
sed -i -E ':again; s|(@DIR@[A-Za-z0-9_./-]*)\\\\|\1/|; t again' "$dir/got" "$dir/expected"
if ! diff "$dir/expected" "$dir/got" >"$dir/diff"; then
  mapfile -t lines < <(grep -nE '^>|^= [^ ]+ ' "$scenario" | cut -d: -f1)
  first=$(sed -n '1s/[^0-9].*//p' "$dir/diff") # of the expected lines; 0: before all of them
  echo "$name:$((before + ${lines[first > 0 ? first - 1 : 0]:-1})): what comes out differs here"
  cat "$dir/diff"
  failed=1
fi
if [ "$status" != "$(directive status | grep . || echo 0)" ]; then
  echo "exit status $status"
  failed=1
fi
# Qt grumbles about its offscreen platform; anything else on standard error counts.
# A reader may ask for a row of a list that has just been filled anew.
if [ "$status" != 2 ] && grep -v 'This plugin does not support\|Accessible invalid' "$dir/err"; then failed=1; fi
exit $failed
