#!/usr/bin/env bash
# Every promise in docs/dati.md names in its last column the tests that hold it: files of tests/
# without their ending, scenarios, or the beginning of a GoogleTest case ("Name…"). Names those
# that name none, or one that isn't there.
set -eu
cd "$(dirname "$0")/.."
bad=0
while IFS='|' read -r _ promise _ tests _; do
  mapfile -t names < <(grep -o '`[^`]*`' <<<"$tests" | tr -d '`')
  [ ${#names[@]} -gt 0 ] || { echo "no test:$promise" && bad=1; }
  for name in "${names[@]}"; do
    base=${name#tests/}
    base=${base%…}
    [ -e "tests/$base" ] || compgen -G "tests/$base.*" >/dev/null ||
      [ -e "tests/scenari/$base.scenario" ] ||
      grep -qE "^TEST(_F)?\([A-Za-z]+, $base" tests/*_test.cpp ||
      { echo "no test $name:$promise" && bad=1; }
  done
done < <(grep '^| \*\*' docs/dati.md)
exit $bad
