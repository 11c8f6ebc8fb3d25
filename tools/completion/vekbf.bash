# SPDX-License-Identifier: MIT
# Completion of vekbf for bash.

_vekbf() {
  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} subcommand=none i
  # bash takes --option=value and line:4:35mm apart at = and :.
  if [[ $word == : || $before == : ]]; then
    return
  elif [[ $word == = ]]; then
    word=
  elif [[ $before == = ]]; then
    before=${COMP_WORDS[COMP_CWORD - 2]}
  fi
  for ((i = 1; i < COMP_CWORD; i++)); do
    case ${COMP_WORDS[i]} in
      process | geometry)
        subcommand=${COMP_WORDS[i]}
        break
        ;;
    esac
  done

  local -A options=(
    [none]='--help --version'
    [process]='--help --join --out-dir --config --channels --rate --raw-channels --array --mic --geometry
      --sound-speed --force --algorithm --angle --angle-track --vad-threshold --intensity --pre-gain --keep-time
      --find-pre-gain --json --verbose'
    [geometry]='--help --config --array --mic --geometry --sound-speed --force --angle'
  )

  case $subcommand$before in
    process--out-dir)
      compopt -o filenames
      mapfile -t COMPREPLY < <(compgen -d -- "$word")
      return
      ;;
    process--config | process--angle-track | geometry--config)
      compopt -o filenames
      mapfile -t COMPREPLY < <(compgen -f -- "$word")
      return
      ;;
    process--geometry | geometry--geometry)
      mapfile -t COMPREPLY < <(compgen -W 'linear triangle rectangle circular' -- "$word")
      return
      ;;
    process--algorithm)
      mapfile -t COMPREPLY < <(compgen -W 'fixed adaptive' -- "$word")
      return
      ;;
    process--array | geometry--array)
      compopt -o nospace
      mapfile -t COMPREPLY < <(compgen -W 'line: square:' -- "$word")
      return
      ;;
    process--channels | process--rate | process--raw-channels | *--mic | *--sound-speed | *--angle | \
      process--vad-threshold | process--intensity | process--pre-gain)
      # A number: nothing to offer.
      COMPREPLY=()
      return
      ;;
  esac

  if [[ $word == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "${options[$subcommand]}" -- "$word")
  elif [[ $subcommand == none ]]; then
    mapfile -t COMPREPLY < <(compgen -W 'process geometry' -- "$word")
  elif [[ $subcommand == process ]]; then
    compopt -o filenames
    mapfile -t COMPREPLY < <(compgen -f -- "$word")
  fi
}

complete -F _vekbf vekbf
