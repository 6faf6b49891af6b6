#!/usr/bin/env bash
# The subjects of the commits, from the one that brought this script on: a sentence in the
# imperative of at most 72 characters. Names those that aren't; nothing without a history.
set -eu
cd "$(dirname "$0")/.."
first=$(git log --diff-filter=A --format=%H -- tools/commits.sh 2>/dev/null | tail -n 1)
[ -n "$first" ] || exit 0
git log --no-merges --format='%h %s' "$first^..HEAD" | awk '
  function tell(why) { print substr(subject, 1, 90) ": " why; bad = 1 }
  BEGIN {
    split("Access Address Bring Compress Cross Dismiss Embed Express Feed Focus Guess Need Pass " \
          "Press Process Proceed String Suppress", verbs)
    for (i in verbs) verb[verbs[i]] = 1
  }
  {
    subject = substr($0, index($0, " ") + 1)
    first = $2
    if (length(subject) > 72) tell("longer than 72 characters")
    if (subject ~ /\.$/) tell("ends with a full stop")
    if (first !~ /^[A-Z][a-z]+$/ || NF < 3) tell("does not begin with a verb")
    else if (first ~ /^(The|An?|This|That|What|Where|When|How|Some|No|All|Each|One|Only)$/ ||
             (first ~ /(ed|ing|s)$/ && !(first in verb))) tell("is not in the imperative")
  }
  END { exit bad }'
