# SPDX-License-Identifier: MIT
# Completion of vekbf for bash, made by tools/tables/make_tables.py.

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
      process | geometry | track | angle)
        subcommand=${COMP_WORDS[i]}
        break
        ;;
    esac
  done

  local -A options=(
    [none]='--help --version'
    [process]='--help --join --out-dir --config --rate --raw-channels --array --mic --geometry --sound-speed
      --force --channels --algorithm --intensity --vad-threshold --angle --angle-track --angle-start --sector
      --hold --focus --pre-gain --keep-time --angle-track-out --find-pre-gain --json --verbose'
    [geometry]='--help --config --array --mic --geometry --sound-speed --force --angle'
    [track]='--help --join --config --rate --raw-channels --array --mic --geometry --sound-speed --channels
      --sector --hold --focus --pre-gain --every --picture --json --verbose'
    [angle]='--help --angle-file'
  )

  # A value that is wrong for the subcommand does no harm: the option is not offered there.
  case $subcommand$before in
    none*) ;;
    *--config | *--angle-track | *--angle-track-out | *--angle-file | *--picture)
      compopt -o filenames
      mapfile -t COMPREPLY < <(compgen -f -- "$word")
      return
      ;;
    *--out-dir)
      compopt -o filenames
      mapfile -t COMPREPLY < <(compgen -d -- "$word")
      return
      ;;
    *--array)
      mapfile -t COMPREPLY < <(compgen -W 'line: square: chime3-tablet matrix-creator respeaker-pi-4mic respeaker-usb-4mic' -- "$word")
      [[ ${COMPREPLY[0]} != *: ]] || compopt -o nospace
      return
      ;;
    *--geometry)
      mapfile -t COMPREPLY < <(compgen -W 'linear triangle' -- "$word")
      return
      ;;
    *--algorithm)
      mapfile -t COMPREPLY < <(compgen -W 'fixed adaptive' -- "$word")
      return
      ;;
    *--angle)
      mapfile -t COMPREPLY < <(compgen -W 'auto' -- "$word")
      return
      ;;
    *--rate | *--raw-channels | *--mic | *--sound-speed | *--channels | *--intensity | *--vad-threshold | \
      *--angle-start | *--sector | *--hold | *--focus | *--pre-gain | *--every)
      COMPREPLY=()
      return
      ;;
  esac

  if [[ $word == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "${options[$subcommand]}" -- "$word")
    return
  fi
  case $subcommand in
    none) mapfile -t COMPREPLY < <(compgen -W 'process geometry track angle' -- "$word") ;;
    process | track)
      compopt -o filenames
      mapfile -t COMPREPLY < <(compgen -f -- "$word")
      ;;
  esac
}

complete -F _vekbf vekbf
