#!/usr/bin/env bash
# Runs a command on a display of its own, 1366 x 768 with a window manager and Qt's xcb
# platform:
#
#   display.sh COMMAND...
#
# Its exit status is the command's, 77 where Xvfb or openbox isn't installed.
set -u
for tool in Xvfb openbox; do
  command -v "$tool" >/dev/null || { echo "skipped, missing: $tool"; exit 77; }
done
home=$(mktemp -d) || exit 1
mkdir -m 700 "$home/run"
exec {number}<> <(:)
Xvfb -noreset -screen 0 1366x768x24 -displayfd "$number" >/dev/null 2>&1 &
servers=($!)
trap 'kill "${servers[@]}" 2>/dev/null; wait; rm -rf "$home"' EXIT
read -r -t 30 -u "$number" display || exit 1
export DISPLAY=:$display QT_QPA_PLATFORM=xcb XDG_RUNTIME_DIR=$home/run XDG_STATE_HOME=$home/state
unset WAYLAND_DISPLAY
HOME=$home openbox --startup "touch $home/up" >/dev/null 2>&1 &
servers+=($!)
for _ in {1..300}; do [ -e "$home/up" ] && break; sleep 0.1; done
"$@"
