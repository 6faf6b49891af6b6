# The tests under Wine: unit tests, every scenario on the model, in the window and on a display,
# a random user, kills, two users, old archives, and a round of the installer. What differs there
# by nature is named in differenze.txt, with its reason. Read by ./windows.
# shellcheck shell=bash disable=SC2154

wine=$PWD/packaging/windows/wine.sh
wrappers=$PWD/build/windows/prova
log=$PWD/build/windows/prova.log
passed=0 failed=() known=()

# Programs as the scripts of tests/ call them.
make_wrappers() {
  mkdir -p "$wrappers"
  for name in anagparc anagparc-archivio anagparc-script utente_casuale; do
    printf '#!/bin/sh\nexec "%s" "%s" "$@"\n' "$wine" "$PWD/$build/bin/$name.exe" \
      >"$wrappers/$name"
    chmod +x "$wrappers/$name"
  done
}

# One test's end. A line of differenze.txt excuses it: the test, a tab, what of it (a case, a
# start, * for all), a tab, the lines that are missing (* for any), a tab, and why.
tell() { # PASSED? TEST PART LINES
  local test part lines why
  if [ "$1" = 0 ]; then
    passed=$((passed + 1))
    return
  fi
  while IFS=$'\t' read -r test part lines why; do
    # shellcheck disable=SC2053 # a pattern
    if [[ $2 == $test ]] && [[ $3 == $part ]] && [[ $lines = '*' || $lines = "$4" ]]; then
      known+=("$2: $3 ($why)")
      return
    fi
  done <packaging/windows/differenze.txt
  failed+=("$2: $3 $4")
}

# A test of one piece.
try() { # NAME COMMAND...
  local name=$1 said
  shift
  echo "--- $name" >>"$log"
  timeout 1800 "$@" >>"$log" 2>&1 && said=0 || said=$?
  tell $said "$name" '*' "exit status $said"
}

# A program of unit tests, case by case.
unit() { # NAME FILE
  local name=$1 said case out=$wrappers/out before=${#failed[@]}
  timeout 1800 "$wine" "$2" >"$out" 2>&1 && said=0 || said=$?
  { echo "--- $name"; cat "$out"; } >>"$log"
  tr -d '\r' <"$out" >"$out.n"
  passed=$((passed + $(grep -c '^\[       OK \] ' "$out.n")))
  while read -r case; do
    tell 1 "$name" "$case" ''
    said=0
  done < <(sed -nE 's/^\[  (FAILED|SKIPPED) \] ([A-Za-z_0-9.\/]+)( \(.*)?,? ?.*$/\2/p' "$out.n" | sort -u)
  if [ $said != 0 ] && [ ${#failed[@]} = "$before" ]; then
    tell 1 "$name" '' "exit status $said"
  fi
}

# A scenario, start by start. What fails prints its lines, then the start.
scenario() { # SCREEN SHOWN FILE
  local name starts line lines=
  name=$(basename "$3" .scenario).$2
  starts=$(grep -c '^#@ start' "$3" || true)
  echo "--- scenario.$name" >>"$log"
  local out=$wrappers/out
  if timeout 1800 tests/scenario.sh "$wrappers" "$1" "$3" >"$out" 2>&1; then
    passed=$((passed + (starts > 0 ? starts : 1)))
    return
  fi
  cat "$out" >>"$log"
  [ "$starts" -gt 0 ] || echo '# start *' >>"$out"
  passed=$((passed + starts - $(grep -c '^# start ' "$out")))
  while IFS= read -r line; do
    case $line in
    '# start '*)
      tell 1 "scenario.$name" "${line#\# start }" "$lines"
      lines=
      ;;
    '< '*) lines+=${lines:+ / }${line#< } ;;
    esac
  done <"$out"
}

scenarios() { # SCREEN SHOWN
  for file in tests/scenari/*.scenario; do
    scenario "$1" "$2" "$file"
  done
}

# Beside its programs, what they need.
complete() {
  qt_parts "$build/bin" platforms/qwindows platforms/qoffscreen styles/qwindowsvistastyle
  mapfile -t found < <(echo "$libpq_folder/bin/libpq.dll" &&
    dlls "$build"/bin/*.exe "$build"/bin/plugins/*/*.dll "$libpq_folder/bin/libpq.dll")
  cp "${found[@]}" "$build/bin"
  make_wrappers
}

units() {
  local file name
  for file in "$PWD/$build"/bin/*_test.exe; do
    name=$(basename "$file" .exe)
    case $name in
    crash_test | vista_test) ;;
    *) unit "$name" "$file" ;;
    esac
  done
  [ -n "${qt_folder:-}" ] || return 0
  QT_QPA_PLATFORM=windows unit desktop_test.display "$PWD/$build/bin/desktop_test.exe"
  # The screens' descriptions are named from their folder.
  file=$PWD/$build/bin/vista_test.exe
  pushd "$build/tests" >/dev/null || return
  for name in 1366x768 1920x1080 3840x2160 800x600; do
    QT_QPA_PLATFORM=offscreen:configfile=schermo_$name.json unit "vista_test.$name" "$file"
  done
  popd >/dev/null || return
}

on_display() {
  # Wine's scale per monitor isn't all of Windows', which Qt remarks upon.
  export ANAGPARC_WINE_DISPLAY=$DISPLAY QT_QPA_PLATFORM=offscreen
  export QT_LOGGING_RULES=qt.qpa.windows.warning=false
  begin "unit tests"
  units
  if [ -n "${qt_folder:-}" ]; then
    begin "scenarios in the window, on a display"
    QT_QPA_PLATFORM=windows:verbose=0 scenarios qt display
    begin "installer"
    try installatore packaging/windows/installatore.sh
  fi
}

begin() { # PART
  printf '%s (%s s so far)\n' "$1" $((SECONDS - started))
}

report() {
  local all=$((passed + ${#known[@]} + ${#failed[@]}))
  echo "Under Wine: $passed of $all passed, ${#known[@]} differ by nature, ${#failed[@]} failed."
  [ ${#known[@]} = 0 ] || printf '  differs: %s\n' "${known[@]}"
  [ ${#failed[@]} = 0 ] || printf '  FAILED:  %s\n' "${failed[@]}"
  [ ${#failed[@]} = 0 ]
}

run_tests() {
  started=$SECONDS
  export WINEPREFIX=$PWD/build/windows/wine QT_QPA_PLATFORM=offscreen
  complete
  : >"$log"
  begin "scenarios on the model"
  scenarios none none
  begin "the archive tool, kills, users"
  try crash "$wine" "$build/bin/crash_test.exe" 30
  try due_utenti tests/due_utenti.py "$wrappers" 1500
  try converti tests/converti.py "$wrappers"
  try console packaging/windows/console.py "$wrappers"
  begin "archives on a server"
  try server packaging/windows/server.py "$wrappers"
  for seed in 1 2; do
    try utente_casuale "$wrappers/utente_casuale" $seed 20000 tests/scenari/base.sql
  done
  if [ -n "${qt_folder:-}" ]; then
    begin "scenarios in the window"
    scenarios qt offscreen
    try casuale tests/casuale.sh "$wrappers" 1 500
  fi
  # Wine's own desktop is without a display until it begins anew.
  /usr/lib/wine/wineserver64 -k || true
  . tools/display.sh on_display
  report
}
