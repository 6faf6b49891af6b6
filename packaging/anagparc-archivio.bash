# shellcheck shell=bash
# Completion of anagparc-archivio. Commands and options are read from its help.

_anagparc_archivio() {
  local word=${COMP_WORDS[COMP_CWORD]} command=${COMP_WORDS[1]} words
  COMPREPLY=()
  if [ "$COMP_CWORD" -eq 1 ]; then
    words=$(anagparc-archivio --help 2>/dev/null |
      sed -n 's/^  anagparc-archivio \([a-z]*\|--[a-z]*\)\( .*\)\?$/\1/p')
    mapfile -t COMPREPLY < <(compgen -W "$words --help" -- "$word")
  elif [[ $word == -* ]]; then
    words=$(anagparc-archivio "$command" --help 2>/dev/null |
      sed -n 2p | grep -o -e '--[a-z]*')
    mapfile -t COMPREPLY < <(compgen -W "$words --help" -- "$word")
  elif [ "${COMP_WORDS[COMP_CWORD - 1]}" != --dimostrazione ]; then
    compopt -o filenames
    local kind=-f
    case $command in crea | prepara | collega) kind=-d ;; esac
    mapfile -t COMPREPLY < <(compgen $kind -- "$word")
  fi
}
complete -F _anagparc_archivio anagparc-archivio
