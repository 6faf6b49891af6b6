#!/usr/bin/env bash
# A random user on both screens: the model alone and the window must print the
# same and leave the same archive.
#
#   casuale.sh PROGRAMS SEED ACTIONS
set -u
here=$(cd "$(dirname "$0")" && pwd)
dir=$(mktemp -d) || exit 1
trap 'rm -rf "$dir"' EXIT

# A province that is wider than its panel, which gets a horizontal scroll bar.
wide="UPDATE TABMIN_PROV SET descprov = descprov || hex(zeroblob(30)) WHERE codprov = 'RM'"
echo "$wide;" | cat "$here/scenari/base.sql" - >"$dir/base.sql"
"$1/utente_casuale" --scenario "$2" "$3" "$dir/base.sql" >"$dir/mani.scenario" || exit 1
echo "#@ sh sqlite3 \"\$A\" \"$wide\"" >>"$dir/mani.scenario"
echo '#@ after sqlite3 "$A" "SELECT * FROM PERCPARCELLE; SELECT CFP FROM QUADROLAUT; PRAGMA integrity_check"' \
  >>"$dir/mani.scenario"

# Nothing is expected of the first run: all that it prints is what comes back.
"$here/scenario.sh" "$1" none "$dir/mani.scenario" >"$dir/model"
if ! grep '^> ' "$dir/model" >"$dir/expected" || grep -v '^> \|^0a1,\|differs here$' "$dir/model"; then
  echo 'the model alone has failed'
  exit 1
fi
cat "$dir/mani.scenario" "$dir/expected" >"$dir/due.scenario"
"$here/scenario.sh" "$1" qt "$dir/due.scenario"
