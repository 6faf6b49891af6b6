#!/usr/bin/env bash
# Makes the manual's pictures, docs/figure/*.png, and docs/finestra.png from the real window on a
# demonstration archive, and the window at several scales. It needs no display.
#
#   tools/figure.sh [PROGRAMS]      PROGRAMS: folder of the programs, build/release/bin
set -eu
cd "$(dirname "$0")/.."
bin=$(cd "${1:-build/release/bin}" && pwd)
out=$PWD/docs/figure
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
export XDG_RUNTIME_DIR=$dir/session XDG_STATE_HOME=$dir/session MORVENNA_REGISTRO=$dir/registro.reg
export QT_LOGGING_RULES=default.warning=false  # the offscreen platform can't hint sizes
mkdir -p "$out"
cd "$out"
mkdir -m 700 "$XDG_RUNTIME_DIR"

"$bin/anagparc-archivio" crea "$dir/archivi" --dimostrazione 60
printf '%s\n' 'REGEDIT4' '' '[HKEY_CURRENT_USER\SOFTWARE\CALVENZA\MORVENNA]' \
  "\"PERCORSOARCHIVI\"=\"$dir/archivi\"" >"$dir/registro.reg"

# Recipients are found by the first letters of their row, so that the pictures
# stand even if the demonstration gets others before them. By keys alone: no button shows
# that the mouse is over it.
"$bin/anagparc-script" --screen qt --command-line '/R 15.2' >"$dir/said" <<SCRIPT
# The list, a recipient selected.
focus List1
type "MNTPTR"
screenshot elenco.png

# A record; the caret in the date of birth.
key Enter
screenshot ../finestra.png
focus Text1(4)
screenshot scheda.png

# Lookup panels.
focus Text1(6)
key F4
type "M"
screenshot pannello-province.png
focus Text1(16)
key F4
key Down
key Down
screenshot pannello-eventi.png
focus Text1(17)
key F4
type "SPERLO"
screenshot pannello-comuni.png
key Escape
key Escape

# A new recipient.
focus List1
key Home
key Enter
type "RSSMRA80A01H501U"
key Tab
type "ROSSI"
key Tab
type "MARIO"
screenshot inserimento.png
key Escape

# A change of code.
focus List1
type "MNTPTR"
access C
type "MNTPTR57M24F205H"
screenshot cambio-codice.png
access A

# A province that isn't there, refused on saving.
focus List1
key Enter
focus Text1(8)
key Backspace
key Backspace
type "XX"
key CtrlS
screenshot errore.png
SCRIPT

# The window on other screens: scala_100.png, _150, _200, and the small screen
# for which 150 percent is too much.
picture() { # NAME WIDTH HEIGHT SCALE
  printf '{"screens": [{"name": "schermo", "x": 0, "y": 0, "width": %s, "height": %s,
    "logicalDpi": 96, "logicalBaseDpi": 96, "dpr": 1}]}' "$2" "$3" >"$dir/schermo.json"
  QT_QPA_PLATFORM=offscreen:configfile=$dir/schermo.json QT_SCALE_FACTOR=$4 \
    "$bin/anagparc-script" --screen qt --command-line '/R 15.2' >>"$dir/said" <<SCRIPT
focus List1
type "MNTPTR"
key Enter
focus Text1(4)
screenshot $1.png
SCRIPT
}
picture scala_100 1366 768 1
picture scala_150 1920 1080 1.5
picture scala_200 3840 2160 2
picture schermo_1366x768_150 1366 768 1.5

# Whatever a user could not have done has left a wrong picture.
if grep '^ignored' "$dir/said"; then
  exit 1
fi

# The same in a palette takes a third of the room.
if command -v mogrify >/dev/null; then
  mogrify -strip +dither -colors 255 -define png:compression-level=9 ./*.png ../finestra.png
fi
