#!/usr/bin/env bash
# A second start ends at once, with 0, and brings the minimised window of the first one back.
#
#   tools/display.sh tests/secondo_avvio.sh PROGRAMS
set -eu
command -v xdotool >/dev/null || { echo "skipped, missing: xdotool"; exit 77; }
dir=$XDG_RUNTIME_DIR/prova
"$1/anagparc-archivio" crea "$dir" >/dev/null
printf '%s\n' 'REGEDIT4' '' '[HKEY_CURRENT_USER\SOFTWARE\CALVENZA\MORVENNA]' \
  "\"PERCORSOARCHIVI\"=\"$dir\"" >"$dir.reg"
export MORVENNA_REGISTRO=$dir.reg
# The form, not the window that stands there while the list is read.
active_form() {
  for _ in {1..200}; do
    window=$(xdotool getactivewindow 2>/dev/null) &&
      xdotool getwindowgeometry "$window" 2>/dev/null | grep -q 'x583$' && return
    sleep 0.2
  done
  exit 1
}

"$1/anagparc" &
active_form
first=$window
xdotool windowminimize --sync "$window"
"$1/anagparc"
active_form
kill $!
wait $! || true
[ "$window" = "$first" ]
