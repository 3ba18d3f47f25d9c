# Completion for the command vexa, for bash.

_vexa() {
  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD-1]} subcommand=${COMP_WORDS[1]}
  local words="" backend="--home --data --database --table --output --log --missing --env --options"
  COMPREPLY=()
  case $before in
    --home) compopt -o dirnames 2> /dev/null; return ;;
    --data | --output | --log | --chrome | --junit | --blocks) compopt -o default 2> /dev/null; return ;;
    --database | --table | --missing | --env | --options | --width | --function | --process | --slower | --mask | --session | --within | --language | --set) return ;;
  esac
  if [ "$COMP_CWORD" -eq 1 ]; then
    COMPREPLY=($(compgen -W "run shell doctor trace prove --help --version" -- "$word"))
    return
  fi
  case $subcommand in
    run)
      COMPREPLY=($(compgen -W "$backend --keep-going --json --width --help" -- "$word"))
      [[ $word == -* ]] || compopt -o default 2> /dev/null
      ;;
    shell) COMPREPLY=($(compgen -W "$backend --help" -- "$word")) ;;
    doctor) COMPREPLY=($(compgen -W "--home --clean --no-round-trip --json --help" -- "$word")) ;;
    trace)
      if [ "$COMP_CWORD" -eq 2 ]; then
        COMPREPLY=($(compgen -W "show serve diff --help" -- "$word"))
        return
      fi
      case ${COMP_WORDS[2]} in
        show) words="--home --function --process --slower --summary --json --chrome --no-times --stable --whole --mask --no-masks --help" ;;
        serve) words="--home --any-order --languages --mask --no-masks --backend --session --help" ;;
        diff) words="--home --json --whole --mask --no-masks --help" ;;
      esac
      COMPREPLY=($(compgen -W "$words" -- "$word"))
      [[ $word == -* ]] || compopt -o default 2> /dev/null
      ;;
    prove)
      if [ "$COMP_CWORD" -eq 2 ]; then
        COMPREPLY=($(compgen -W "backend language --help" -- "$word"))
        return
      fi
      [ "${COMP_WORDS[2]}" = backend ] || backend="--home --language --set --blocks"
      COMPREPLY=($(compgen -W "$backend --junit --within --help" -- "$word"))
      [[ $word == -* ]] || compopt -o default 2> /dev/null
      ;;
  esac
}
complete -F _vexa vexa
