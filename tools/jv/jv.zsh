#compdef jv
# Completion of jv for zsh: commands and options are those that `jv --help` lists.

_jv_listed() {  # what a help text lists below a title: names, and behind a colon what it says of each
  awk -v title=$1 '
    function put() { for (i = 1; i <= count; i++) print names[i] ":" about; count = 0 }
    $0 == title { on = 1; next }
    /^[^ ]/ { put(); on = 0 }
    on && /^  [^ ]/ { put(); count = split($1, names, ","); about = "" }
    on && /^  [^ ]/ && match($0, /[^ ]   */) { about = substr($0, RSTART + RLENGTH) }
    on && about == "" && /^    / { about = $0; sub(/^ */, "", about) }
    END { put() }'
}

_jv() {
  local -a command listed
  local word help
  for word in "${(@)words[2,CURRENT-1]}"; do
    if [[ $word == -- ]]; then
      _files
      return
    fi
    [[ $word == [a-z]* && ( $#command -eq 0 || $command == keychain ) ]] && command+=("$word")
  done
  help=$($words[1] $command --help 2>/dev/null) || help=$($words[1] $command[1] --help 2>/dev/null)
  if [[ $words[CURRENT] == -* ]]; then
    listed=("${(@f)$(_jv_listed Options: <<<$help)}")
    _describe -o option listed
  elif listed=(${(f)"$(_jv_listed Subcommands: <<<$help)"}) && (( $#listed )); then
    _describe command listed
  else
    _files
  fi
}

_jv "$@"
