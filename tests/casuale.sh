#!/usr/bin/env bash
# Random hands: the model alone and the window must print the same and leave the
# same archive.
#
#   casuale.sh PROGRAMS SEED ROUNDS              in the fields of the records
#   casuale.sh PROGRAMS SEED ACTIONS everywhere  on the whole form
#
# A round is a field, some keys in it and, now and then, a button.
set -u
here=$(cd "$(dirname "$0")" && pwd)
dir=$(mktemp -d) || exit 1
trap 'rm -rf "$dir"' EXIT

least=$3
if [ "${4-}" = everywhere ]; then
  least=1  # such hands may soon end the program
  "$1/utente_casuale" --scenario "$2" "$3" "$here/scenari/base.sql" >"$dir/mani.scenario" || exit 1
  echo '#@ after sqlite3 "$A" "SELECT * FROM PERCPARCELLE; SELECT CFP FROM QUADROLAUT; PRAGMA integrity_check"' \
    >>"$dir/mani.scenario"
else
awk -v seed="$2" -v rounds="$3" '
function upTo(n) { return int(rand() * n) }
function one(list, n, items) { n = split(list, items, " "); return items[1 + upTo(n)] }
function characters(n, s) {
  for (s = ""; n > 0; n--) s = s (rand() < .4 ? upTo(10) : substr(some, 1 + upTo(length(some)), 1))
  return s
}
function word(n, s) {
  for (s = ""; n > 0; n--) s = s one("à È ß ÿ € 𝄞 \\\" \\\\ \\r \\n x Y 7")
  return s
}
function look(field) {
  print "show Focus"
  print "show " field ".Text"
  print "show " field ".SelStart"
}
BEGIN {
  srand(seed)
  some = "abcdefmMfFRMEEtozZ  //,.-+"
  fields = "1 2 3 4 4 4 4 4 5 6 7 8 9 11 12 13 14 14 16 17"
  printf "answer"
  for (i = 0; i < rounds * 3; i++) printf " %s", one("2 6 7")
  print "\ndblclick List1 " 1 + upTo(6)
  for (i = 0; i < rounds; i++) {
    field = "Text1(" one(fields) ")"
    print "focus " field
    look(field)
    for (k = 2 + upTo(9); k > 0; k--) {
      what = rand()
      if (what < .45) print "type \"" characters(1 + upTo(field ~ /4/ ? 9 : 4)) "\""
      else if (what < .53) print "type \"" word(2) "\""
      else if (what < .85) print "key " one("Backspace Backspace Delete Delete Delete Left Right Home End Up Down Enter Escape")
      else if (what < .95) print "caret " upTo(13)
      else print "paste \"" characters(upTo(8)) word(upTo(5)) "\""
      look(field)
    }
    what = rand()
    if (what < .4) print "key " one("Tab Tab ShiftTab")
    else if (what < .55) print "click cmdmemorizza"
    else if (what < .75) print "click " one("cmdparcprec cmdparcsuc")
    else if (what < .85) print "click cmdselprec\ndblclick List1 " 1 + upTo(6)
    else if (what < .95) {
      print "click CMDAPRILIST(" upTo(6) ")\nclick ListTabmin " upTo(7)
      print "key " one("Enter Enter Escape Down Home Tab")
    } else print "click " one("Text1(4) Text1(13) Frmmoduli(0)")
    print "show Focus\nshow CFCorrente\nshow FlagVariazioni\nshow FlagErroreCampi\nshow Text1(4).BackColor"
  }
  split("0 1 2 3 4 5 6 7 8 9 11 12 13 14 16 17", all, " ")
  for (i = 1; i in all; i++) print "show Text1(" all[i] ")"
  print "#@ after sqlite3 \"$A\" \"SELECT * FROM PERCPARCELLE; PRAGMA integrity_check\""
}' >"$dir/mani.scenario"
fi

# Nothing is expected of the first run: all that it prints is what comes back.
"$here/scenario.sh" "$1" none "$dir/mani.scenario" >"$dir/model"
grep '^> ' "$dir/model" >"$dir/expected"
if [ "$(wc -l <"$dir/expected")" -lt "$least" ] || grep -v '^> \|^0a1,' "$dir/model"; then
  echo 'the model alone has failed'
  exit 1
fi
cat "$dir/mani.scenario" "$dir/expected" >"$dir/due.scenario"
"$here/scenario.sh" "$1" qt "$dir/due.scenario"
