#!/usr/bin/env bash
# Pictures of the program on a real display, between two events and in the middle of
# one, for the eye to judge:
#
#   tools/moments.sh FOLDER [PROGRAMS]      PROGRAMS: folder of the programs, build/release/bin
#
# Needs Xvfb, openbox, xdotool, sqlite3 and ImageMagick.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
if [ "${3:-}" != inside ]; then
  mkdir -p "$1"
  exec "$here/display.sh" "$0" "$1" "${2:-$here/../build/release/bin}" inside
fi
out=$(cd "$1" && pwd) bin=$(cd "$2" && pwd)
dir=$(mktemp -d)
trap 'kill $(jobs -p) 2>/dev/null || true; rm -rf "$dir"' EXIT
export MORVENNA_REGISTRO=$dir/registro.reg

"$bin/anagparc-archivio" crea "$dir/archivi" --dimostrazione 5000 >/dev/null
printf '%s\n' 'REGEDIT4' '' '[HKEY_CURRENT_USER\SOFTWARE\CALVENZA\MORVENNA]' \
  "\"PERCORSOARCHIVI\"=\"$dir/archivi\"" >"$dir/registro.reg"

keys() { xdotool key --delay 60 "$@"; sleep 0.8; }
text() { xdotool type --delay 60 "$1"; sleep 0.5; }
picture() { import -window root "$out/$1.png"; }

"$bin/anagparc" /R 15.2 &
xdotool search --sync --onlyvisible --name 'Redditi diversi' >/dev/null
sleep 1
text "mntptr"
picture elenco

# A field, a locked one, a panel over the form.
keys Return
picture campo
keys Tab Tab Tab Tab Tab Tab Tab
picture campo-bloccato
keys F4
text "b"
picture pannello
keys Escape

# A box, which takes no key at once.
keys shift+Tab shift+Tab x Prior
picture messaggio
keys Escape
keys ctrl+s

# Another program holds the archive for two seconds: the question just answered is off the
# screen, and the notice is on it.
xdotool mousemove 679 574 click 1  # Altra anagrafica
sleep 1
keys Down alt+c
text "rssmra80a01h501u"
keys Return
(printf 'BEGIN IMMEDIATE;\n'; sleep 3; printf 'ROLLBACK;\n') |
  sqlite3 "$dir/archivi/S7702015.MDB" &
sleep 0.5
keys s
picture attesa
sleep 3
picture cambiato
keys Return
picture dopo-il-cambio
