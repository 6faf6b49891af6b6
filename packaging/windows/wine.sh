#!/usr/bin/env bash
# Runs a program for Windows under Wine, for the tests: with a user's folder of its own, without
# Wine's remarks, and on the display that ANAGPARC_WINE_DISPLAY names, if any.
#
#   wine.sh PROGRAM WORDS...
export WINEPREFIX=${WINEPREFIX:-$(realpath "${0%/*}/../..")/build/windows/wine} WINEDEBUG=${WINEDEBUG:--all}
# Words and file names are UTF-8.
export LC_ALL=C.UTF-8
[ -z "${ANAGPARC_WINE_DISPLAY:-}" ] || export DISPLAY=$ANAGPARC_WINE_DISPLAY
exec /usr/lib/wine/wine64 "$@"
