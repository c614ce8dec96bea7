# Completion of OstriaDiagnosticsCLI for bash.
_ostria_diagnostics() {
  local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]}
  COMPREPLY=()
  case $previous in
    --report | --config | --texts)
      mapfile -t COMPREPLY < <(compgen -f -- "$word")
      return ;;
    --assume)
      mapfile -t COMPREPLY < <(compgen -W "yes no" -- "$word")
      return ;;
    recover)
      mapfile -t COMPREPLY < <(compgen -W "scan repair filesystem filterDevices" -- "$word")
      return ;;
  esac
  case $word in
    -*)
      mapfile -t COMPREPLY < <(compgen -W "-Mstorage -Q -E --quick --extended --list --show
        --virtual --json --progress=json --report --read-only --redact --config --texts --assume --assume-write --record
        --history --help --version" -- "$word") ;;
    *)
      mapfile -t COMPREPLY < <(compgen -W "recover smart" -- "$word") ;;
  esac
}
complete -F _ostria_diagnostics OstriaDiagnosticsCLI
