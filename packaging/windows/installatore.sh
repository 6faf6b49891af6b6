#!/usr/bin/env bash
# A whole round of the installer under Wine, for one user and for all: an older release installed,
# an archive prepared and worked in, an upgrade refused while the program runs, done after, and
# removed. Nothing of ours stays, nothing of the user's goes. On a display, and after ./windows.
#
#   installatore.sh
set -eu
cd "$(dirname "$0")/../.."
build=build/windows/programmi
. packaging/windows/libraries.sh
. packaging/windows/folder.sh
wine=packaging/windows/wine.sh
export WINEPREFIX=${WINEPREFIX:-$PWD/build/windows/wine} ANAGPARC_WINE_DISPLAY=$DISPLAY
unset MORVENNA_REGISTRO XDG_RUNTIME_DIR XDG_STATE_HOME XDG_CONFIG_HOME QT_QPA_PLATFORM
disk=$WINEPREFIX/drive_c
new=$(sed -n 's/^project(anagparc VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
work=$(mktemp -d)
trap 'rm -rf "$work"; kill $(jobs -p) 2>/dev/null || true' EXIT
key='Software\Microsoft\Windows\CurrentVersion\Uninstall\anagparc'
menu='Percettori 770-2015'

fail() { # WHAT...
  echo "installatore.sh: $*"
  exit 1
}

# What stands on the disk and in the registry, but for what Wine itself keeps there.
look() {
  (cd "$disk" && find . -path ./windows -prune -o -print | grep -v '/Temp\(/\|$\)' | sort)
  local root
  for root in HKCU HKLM; do
    "$wine" reg export "$root\\Software" "z:${work//\//\\}\\$root.reg" /y >/dev/null 2>&1
    iconv -f UTF-16 -t UTF-8 "$work/$root.reg" | tr -d '\r' |
      awk '/^\[/ { at = $0; print } /^["@]/ { print at " " $0 }' | grep -v '\\Wine\|Explorer\|MuiCache'
  done
}

# An older release, with a file that the new one lacks.
cp -r "build/windows/anagparc-$new" "$work/old"
echo x >"$work/old/manuale/di prima.txt"
version=0.9.0
make_installer "$work/old" "$work/old-setup.exe" >/dev/null

round() { # MODE HIVE
  local mode=$1 hive=$2 place archives='C:\Archivi dell'\''ufficio è' sums status
  look >"$work/before"
  "$wine" "$work/old-setup.exe" /S "$mode" || fail "$mode: the older release isn't installed"
  place=$(dirname "$(find "$disk" -name anagparc.exe | head -n 1)")
  [ -e "$place/manuale/di prima.txt" ] || fail "$mode: not whole: $(ls "$place")"
  "$wine" reg query "$hive\\$key" /v DisplayVersion | grep -q 0.9.0 || fail "$mode: isn't listed"
  [ "$(find "$disk" -name '*.lnk' -path "*$menu*" | wc -l)" = 4 ] || fail "$mode: no start menu"
  echo "mio" >"$place/appunti.txt"

  "$wine" "$place/anagparc-archivio.exe" crea "$archives" --dimostrazione 20 >/dev/null
  "$wine" "$place/anagparc-archivio.exe" prepara "$archives" >"$work/said"
  grep -q 'registro' "$work/said" || fail "prepara: $(cat "$work/said")"
  printf 'show List1.ListCount\ndblclick List1 1\nfocus Text1(7)\nkey CtrlA\ntype "NUOVO"\nclick cmdmemorizza\nshow FlagErroreCampi\nclose\n' >"$work/script"
  "$wine" "$place/anagparc-script.exe" --screen qt "$work/script" >"$work/said"
  grep -q 'ListCount = 21' "$work/said" || fail "work: $(cat "$work/said")"
  grep -q 'FlagErroreCampi = 0' "$work/said" || fail "work: $(cat "$work/said")"
  sqlite3 "$disk/Archivi dell'ufficio è/S7702015.MDB" \
    "SELECT count(*) FROM PERCPARCELLE WHERE APARC_7 = 'NUOVO'" | grep -qx 1 || fail "nothing saved"

  "$wine" "$place/anagparc.exe" &
  for _ in {1..300}; do
    ! xdotool search --name 'Gestione percettori' >/dev/null 2>&1 || break
    sleep 0.2
  done
  sums=$(cd "$place" && find . -type f -exec md5sum {} + | sort)
  status=0
  "$wine" "build/windows/anagparc-$new-setup.exe" /S "$mode" || status=$?
  [ $status = 1 ] || fail "$mode: an upgrade of what runs ends with $status"
  [ "$sums" = "$(cd "$place" && find . -type f -exec md5sum {} + | sort)" ] ||
    fail "$mode: an upgrade that was refused has changed something"
  "$wine" taskkill /im anagparc.exe >/dev/null 2>&1 || true
  wait $!

  "$wine" "build/windows/anagparc-$new-setup.exe" /S "$mode" || fail "$mode: no upgrade"
  "$wine" reg query "$hive\\$key" /v DisplayVersion | grep -q "$new" || fail "$mode: isn't listed"
  [ ! -e "$place/manuale/di prima.txt" ] || fail "$mode: an old file has stayed"
  cmp "$place/anagparc.exe" "build/windows/anagparc-$new/anagparc.exe" || fail "$mode: not the new one"
  "$wine" "$place/anagparc-archivio.exe" verifica >/dev/null 2>&1 || true
  "$wine" "$place/anagparc-archivio.exe" verifica "$archives\\S7702015.MDB" >/dev/null || fail "archive"

  "$wine" "$place/disinstalla.exe" /S
  for _ in {1..100}; do
    [ -e "$place/disinstalla.exe" ] || break
    sleep 0.2
  done
  sleep 1
  look >"$work/after"
  [ -e "$place/appunti.txt" ] || fail "$mode: the user's file is gone"
  rm -r "$place"
  diff "$work/before" "$work/after" | grep '^[<>]' |
    grep -vi 'Archivi dell\|\\Calvenza\|appunti.txt\|/AppData/Local/morvenna' >"$work/left" || true
  sed -i "\\|${place#"$disk"/}\$|d" "$work/left"
  [ ! -s "$work/left" ] || fail "$mode: stays, or is gone: $(cat "$work/left")"
  "$wine" reg query 'HKCU\Software\Calvenza\Morvenna' /v PERCORSOARCHIVI >/dev/null ||
    fail "$mode: the user's registry is gone"
  "$wine" reg delete 'HKCU\Software\Calvenza' /f >/dev/null
  rm -r "$disk/Archivi dell'ufficio è"
  echo "$mode: installed, worked in, upgraded, removed"
}
round /CurrentUser HKCU
round /AllUsers HKLM
