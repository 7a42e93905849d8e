# Completion of qvlctl's command line for bash. What there is to complete is read from the program's
# own help. Plain enough for bash 3.2, and needs nothing but bash, sed and tr.
# shellcheck shell=bash

# _qvlctl_reply KIND [WORDS]: the completions of $current, by compgen's letter for their kind.
_qvlctl_reply() {
  local line
  if [[ $1 == -W ]]; then
    while IFS= read -r line; do COMPREPLY+=("$line"); done < <(compgen -W "$2" -- "$current")
  else
    while IFS= read -r line; do COMPREPLY+=("$line"); done < <(compgen "$1" -- "$current")
    compopt -o filenames 2>/dev/null
  fi
}

# The names of all commands, the long options of a command, the formats that it writes.
_qvlctl_commands() { "$1" --help 2>/dev/null | sed -n '/^Commands:/,/^$/s/^  \([a-z-]*\) .*/\1/p'; }
_qvlctl_options() { sed -n 's/^  \(-.,\)*\(--[a-z-]*\).*/\2/p' <<<"$1"; }
_qvlctl_formats() {
  sed -n 's/.*How to write: \(.*\) (default.*/\1/p' <<<"$1" | tr -d ',' | sed 's/ or / /'
}

_qvlctl() {
  local program=$1 current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
  local command='' help i
  COMPREPLY=()
  for ((i = 1; i < COMP_CWORD; i++)); do
    if [[ ${COMP_WORDS[i]} != -* ]]; then
      command=${COMP_WORDS[i]}
      break
    fi
  done
  if [[ -z $command ]]; then
    _qvlctl_reply -W "$(_qvlctl_commands "$program") --help --version"
    return
  fi

  help=$("$program" "$command" --help 2>/dev/null)
  case $previous in
    -p | --policy | --with | --audits | --baseline | -f | --file | --process) _qvlctl_reply -f ;;
    --access) _qvlctl_reply -W 'read write any' ;;
    --format) _qvlctl_reply -W "$(_qvlctl_formats "$help")" ;;
    --color) _qvlctl_reply -W 'auto always never' ;;
    --fail-on) _qvlctl_reply -W 'newly-skipped newly-scanned any' ;;
    --platform) _qvlctl_reply -W "linux macos$([[ $command == lint ]] && echo ' auto')" ;;
    --from) _qvlctl_reply -W 'paths globs gitignore' ;;
    --base) _qvlctl_reply -d ;;
    --top) ;;
    *)
      if [[ $current == -* ]]; then
        _qvlctl_reply -W "$(_qvlctl_options "$help")"
      elif [[ $command == trace-level ]]; then
        _qvlctl_reply -W '0 1 4 5'
      elif [[ $command == audit || $command == diff || $command == inventory ]]; then
        _qvlctl_reply -d
      else
        _qvlctl_reply -f
      fi
      ;;
  esac
}

complete -F _qvlctl qvlctl
