# The tests under Wine: unit tests, and every scenario on the model and in the window. What
# differs there by nature is named in differenze.txt. Read by ./windows.
# shellcheck shell=bash disable=SC2154

# Programs as the scripts of tests/ call them.
make_wrappers() { # FOLDER
  mkdir -p "$1"
  for name in anagparc anagparc-archivio anagparc-script utente_casuale; do
    printf '#!/bin/sh\nexec "%s" "%s" "$@"\n' "$PWD/packaging/windows/wine.sh" \
      "$PWD/$build/bin/$name.exe" >"$1/$name"
    chmod +x "$1/$name"
  done
}

run_tests() {
  local wrappers=$PWD/build/windows/prova log=$PWD/build/windows/prova.log passed=0 failed=() known=()
  local name screen screens=(none) said
  export WINEPREFIX=$PWD/build/windows/wine QT_QPA_PLATFORM=offscreen
  qt_parts "$build/bin" platforms/qwindows platforms/qoffscreen styles/qwindowsvistastyle
  mapfile -t found < <(dlls "$build"/bin/*.exe "$build"/bin/plugins/*/*.dll)
  cp "${found[@]}" "$build/bin"
  make_wrappers "$wrappers"
  : >"$log"
  tell() { # NAME STATUS
    if [ "$2" = 0 ]; then
      passed=$((passed + 1))
    elif grep -qx "$1" packaging/windows/differenze.txt; then
      known+=("$1")
    else
      failed+=("$1")
    fi
  }
  for name in "$build"/bin/*_test.exe; do
    packaging/windows/wine.sh "$name" >>"$log" 2>&1 && said=0 || said=$?
    tell "$(basename "$name" .exe)" $said
  done
  [ ! -e "$build/bin/anagparc.exe" ] || screens+=(qt)
  for name in tests/scenari/*.scenario; do
    for screen in "${screens[@]}"; do
      tests/scenario.sh "$wrappers" "$screen" "$name" >>"$log" 2>&1 && said=0 || said=$?
      tell "scenario.$(basename "$name" .scenario).$screen" $said
    done
  done
  echo "Under Wine: $passed passed, ${#known[@]} differ by nature (${known[*]}), ${#failed[@]} failed: ${failed[*]}"
  [ ${#failed[@]} -eq 0 ]
}
