# Completion of OstriaDiagnosticsCLI for bash.
_ostria_diagnostics_devices() {
  local device
  for device in /dev/sd[a-z] /dev/sd[a-z][a-z] /dev/nvme*n[0-9] /dev/mmcblk[0-9] /dev/disk/by-id/*; do
    [[ -e $device && $device != *-part* ]] && printf '%s\n' "$device"
  done
}
_ostria_diagnostics() {
  local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]}
  local -a quick=(m t r f s d u e o g a b i) extended=(r f s w l n c)
  local quick_names="smart-status targeted-read random-seek funnel-seek short-self-test drive-self-test
    default-self-test device-read-test smart-wearout controller-status smart-temperature
    smart-reliability smart-spare-space"
  local extended_names="random-seek funnel-seek extended-self-test device-write-test linear-read-test
    full-disk-scan-test conveyance-self-test"
  COMPREPLY=()
  case $previous in
    --report | --metrics | --capture | --config | --texts | -o)
      compopt -o filenames 2>/dev/null
      mapfile -t COMPREPLY < <(compgen -f -- "$word")
      return ;;
    --assume)
      mapfile -t COMPREPLY < <(compgen -W "yes no" -- "$word")
      return ;;
    --set)
      compopt -o nospace 2>/dev/null
      mapfile -t COMPREPLY < <(compgen -W "ENABLE_SMART_HEALTH_TEST= ENABLE_NVME_HEALTH_PREDICTION_TEST=
        SEC_NUM= SEC_COUNT= INITIAL_SIZE= CENTRAL_SIZE= FINAL_SIZE= WHOLE_DISK_READ=" -- "$word")
      return ;;
    --help)
      mapfile -t COMPREPLY < <(compgen -W "tests settings recover smart metrics capture jobs wake $quick_names $extended_names" -- "$word")
      return ;;
    recover)
      mapfile -t COMPREPLY < <(compgen -W "scan repair filesystem filterDevices" -- "$word")
      return ;;
  esac
  # "=" parts words: what stands behind it is a word of its own.
  if [[ $word == "=" || $previous == "=" ]]; then
    local option=${COMP_WORDS[COMP_CWORD-1]}
    [[ $previous == "=" ]] && option=${COMP_WORDS[COMP_CWORD-2]}
    [[ $word == "=" ]] && word=
    case $option in
      --virtual)
        compopt -o filenames 2>/dev/null
        mapfile -t COMPREPLY < <(compgen -f -- "$word") ;;
      --progress) mapfile -t COMPREPLY < <(compgen -W "json" -- "$word") ;;
      --quick) mapfile -t COMPREPLY < <(compgen -W "$quick_names" -- "$word") ;;
      --extended) mapfile -t COMPREPLY < <(compgen -W "$extended_names" -- "$word") ;;
    esac
    return
  fi
  case $word in
    -Q*) mapfile -t COMPREPLY < <(compgen -W "-Q ${quick[*]/#/-Q}" -- "$word") ;;
    -E*) mapfile -t COMPREPLY < <(compgen -W "-E ${extended[*]/#/-E}" -- "$word") ;;
    -*)
      mapfile -t COMPREPLY < <(compgen -W "-Mstorage -Q -E --quick --extended --list --show
        --virtual --json --progress=json --report --metrics --capture --jobs --wake --redact --read-only --config --set --texts --assume
        --assume-write -q -o --note --force-mounted --record --history --test --since --compare --help --version" -- "$word") ;;
    *)
      mapfile -t COMPREPLY < <(compgen -W "recover smart $(_ostria_diagnostics_devices)" -- "$word") ;;
  esac
}
complete -F _ostria_diagnostics OstriaDiagnosticsCLI
