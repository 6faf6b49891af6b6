#!/usr/bin/env bash
# Runs a program for Windows under Wine, for the tests: with a user's folder of its own, and
# without Wine's remarks.
#
#   wine.sh PROGRAM WORDS...
export WINEPREFIX=${WINEPREFIX:-$(realpath "${0%/*}/../..")/build/windows/wine} WINEDEBUG=${WINEDEBUG:--all}
exec /usr/lib/wine/wine64 "$@"
