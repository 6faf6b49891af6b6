#!/usr/bin/env bash
# 200 recipients to LibreOffice and back: exported, opened with Italian settings and
# "quoted fields as text", saved as a spreadsheet, from there as CSV with semicolons, with
# tabs, with commas, and imported. Needs libreoffice-calc.
#
#   tools/foglio.sh PROGRAMS
set -u
tool=$(realpath "$1")/anagparc-archivio || exit 1
if ! command -v soffice >/dev/null; then
  echo "foglio.sh: libreoffice-calc is missing" >&2
  exit 1
fi
dir=$(mktemp -d) || exit 1
trap 'rm -rf "$dir"' EXIT
cd "$dir" || exit 1

convert() { # FORMAT INPUT-FORMAT FILE
  soffice "-env:UserInstallation=file://$dir/profile" --headless --infilter="$2" \
    --convert-to "$1" "$3" >said 2>&1 || { cat said; exit 1; }
}

# The text columns, Null as the empty text: a cell of a spreadsheet holds no Null.
rows() { # ARCHIVE
  local columns="quote(CFP)" i
  for i in {1..17}; do
    columns+=",ifnull(APARC_$i,'')"
  done
  sqlite3 "$1" "SELECT $columns FROM PERCPARCELLE ORDER BY CFP"
}

"$tool" crea uno --dimostrazione 200 >/dev/null || exit 1
failed=0
for option in "" --leggibile; do
  rm -f percettori.*
  "$tool" esporta percettori.csv uno/S7702015.MDB $option >/dev/null || exit 1
  # Comma, quote, UTF-8, from line 1, no column formats, Italian, quoted fields as text.
  convert ods "CSV:44,34,76,1,,1040,true,false" percettori.csv
  for separator in 59 9 44; do
    rm -rf due percettori.csv
    # Cells as shown, texts in quotes or not, as separators go through the formats.
    convert "csv:Text - txt - csv (StarCalc):$separator,34,76,1,,1040,$([ $separator = 9 ] && echo false || echo true),true" \
      "calc8" percettori.ods
    "$tool" crea due --dimostrazione 0 >/dev/null || exit 1
    if ! "$tool" importa percettori.csv due/S7702015.MDB; then
      failed=1
    elif [ "$(rows uno/S7702015.MDB)" != "$(rows due/S7702015.MDB)" ]; then
      echo "foglio.sh: the recipients have changed on the way ($option $separator)"
      diff <(rows uno/S7702015.MDB) <(rows due/S7702015.MDB) | head
      failed=1
    fi
  done
done
exit $failed
