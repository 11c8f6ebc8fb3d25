# SPDX-License-Identifier: MIT
"""Makes what lists the tool's options from its one list: the completions and the options of the manual page.

    make_tables.py PRINT_TABLE           writes the files
    make_tables.py PRINT_TABLE --check   only says which of them differ
"""

import difflib
import json
import re
import subprocess
import sys
import textwrap
from pathlib import Path

TOOLS = Path(__file__).resolve().parents[1]
ROOT = TOOLS.parent
MADE = "made by tools/tables/make_tables.py"


def words_of(option):
    """The words that a value can be, or none; a word in capitals stands for any."""
    return [word for word in option["values"].split("|") if word.islower()]


def kind(option):
    """How a shell completes the value."""
    if not option["values"]:
        return "switch"
    if words_of(option):
        return "words"
    return {"FILE": "file", "DIR": "folder", "SHAPE": "shape"}.get(option["values"], "nothing")


SHAPES = ["line:", "square:"]  # the rest is typed behind them
NAMES = sorted(path.stem for path in (ROOT / "arrays").glob("*.conf"))


class Table:
    def __init__(self, text):
        table = json.loads(text)
        self.commands = table["commands"]
        self.options = [option for option in table["options"] if option["commands"]]

    def of(self, command):
        return [option for option in self.options if command["name"] in option["commands"]]

    def names(self):
        return [command["name"] for command in self.commands]


# The shells


def bash(table):
    lists = []
    for command in table.commands:
        text = " ".join(["--help", *("--" + option["name"] for option in table.of(command))])
        lists.append(textwrap.fill(f"[{command['name']}]='{text}'", 110, initial_indent="    ",
                                   subsequent_indent="      ", break_long_words=False, break_on_hyphens=False))
    arms = []

    def arm(options, *lines):
        cases = " | ".join(f"*--{option['name']}" for option in options)
        pattern = textwrap.fill(cases, 110, initial_indent="    ", subsequent_indent="      ", break_on_hyphens=False)
        arms.append("\n".join([re.sub(r" *\n", " \\\\\n", pattern) + ")", *(" " * 6 + line for line in [*lines, "return", ";;"])]))

    def reply(words):
        return f"mapfile -t COMPREPLY < <(compgen {words} -- \"$word\")"

    by_kind = {}
    for option in table.options:
        by_kind.setdefault(kind(option), []).append(option)
    arm(by_kind["file"], "compopt -o filenames", reply("-f"))
    arm(by_kind["folder"], "compopt -o filenames", reply("-d"))
    arm(by_kind["shape"], reply(f"-W '{' '.join([*SHAPES, *NAMES])}'"), "[[ ${COMPREPLY[0]} != *: ]] || compopt -o nospace")
    for option in by_kind["words"]:
        arm([option], reply(f"-W '{' '.join(words_of(option))}'"))
    arm(by_kind["nothing"], "COMPREPLY=()")
    names = table.names()
    files = " | ".join(command["name"] for command in table.commands if command["files"])
    return f"""\
# SPDX-License-Identifier: MIT
# Completion of vekbf for bash, {MADE}.

_vekbf() {{
  local word=${{COMP_WORDS[COMP_CWORD]}} before=${{COMP_WORDS[COMP_CWORD - 1]}} subcommand=none i
  # bash takes --option=value and line:4:35mm apart at = and :.
  if [[ $word == : || $before == : ]]; then
    return
  elif [[ $word == = ]]; then
    word=
  elif [[ $before == = ]]; then
    before=${{COMP_WORDS[COMP_CWORD - 2]}}
  fi
  for ((i = 1; i < COMP_CWORD; i++)); do
    case ${{COMP_WORDS[i]}} in
      {' | '.join(names)})
        subcommand=${{COMP_WORDS[i]}}
        break
        ;;
    esac
  done

  local -A options=(
    [none]='--help --version'
{chr(10).join(lists)}
  )

  # A value that is wrong for the subcommand does no harm: the option is not offered there.
  case $subcommand$before in
    none*) ;;
{chr(10).join(arms)}
  esac

  if [[ $word == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "${{options[$subcommand]}}" -- "$word")
    return
  fi
  case $subcommand in
    none) mapfile -t COMPREPLY < <(compgen -W '{' '.join(names)}' -- "$word") ;;
    {files})
      compopt -o filenames
      mapfile -t COMPREPLY < <(compgen -f -- "$word")
      ;;
  esac
}}

complete -F _vekbf vekbf
"""


def zsh(table):
    def quoted(text):
        return text.replace("'", "'\\''")

    shapes = f'{{compadd -S "" -- {" ".join(SHAPES)}; compadd -- {" ".join(NAMES)}}}'.replace(":", "\\:")

    def spec(option):
        brief = quoted(option["brief"]).replace("]", "\\]").replace(":", "\\:")
        repeats = "*" if option["repeats"] else ""
        if kind(option) == "switch":
            return f"'--{option['name']}[{brief}]'"
        action = {"file": "_files", "folder": "_path_files -/", "shape": shapes,
                  "words": f"({' '.join(words_of(option))})", "nothing": " "}[kind(option)]
        message = "word" if words_of(option) else option["values"].lower()
        return f"'{repeats}--{option['name']}=[{brief}]:{message}:{action}'"

    described = " ".join(f'{c["name"]}\\:"{quoted(c["purpose"])}"' for c in table.commands)
    cases = []
    for command in table.commands:
        specs = [spec(option) for option in table.of(command)]
        if command["files"]:
            specs.append("'*:file:_files'")
        body = " \\\n".join(f"        {s}" for s in ["'(- *)'{-h,--help}'[print the options]'", *specs])
        cases.append(f"    {command['name']})\n      _arguments \\\n{body}\n      ;;")
    return f"""\
#compdef vekbf
# SPDX-License-Identifier: MIT
# Completion of vekbf for zsh, {MADE}.

_vekbf() {{
  local context state state_descr line
  typeset -A opt_args

  _arguments -C \\
    '(- *)'{{-h,--help}}'[print the options]' \\
    '(- *)--version[print the version]' \\
    '1:subcommand:(({described}))' \\
    '*::argument:->arguments' && return

  [[ $state == arguments ]] || return 1

  case $words[1] in
{chr(10).join(cases)}
  esac
}}

_vekbf "$@"
"""


def fish(table):
    def quoted(text):
        return "'" + text.replace("\\", "\\\\").replace("'", "\\'") + "'"

    lines = []
    for option in table.options:
        seen = quoted(f"__fish_seen_subcommand_from {' '.join(option['commands'])}")
        action = {"switch": "", "file": " -r -F", "folder": " -x -a '(__fish_complete_directories)'",
                  "shape": f" -x -a '{' '.join([*SHAPES, *NAMES])}'", "words": f" -x -a '{' '.join(words_of(option))}'",
                  "nothing": " -x"}[kind(option)]
        lines.append(f"complete -c vekbf -n {seen} -l {option['name']}{action} -d {quoted(option['brief'])}")
    names = " ".join(table.names())
    files = " ".join(command["name"] for command in table.commands if command["files"])
    described = [f"complete -c vekbf -n $none -f -a {c['name']} -d {quoted(c['purpose'])}" for c in table.commands]
    return f"""\
# SPDX-License-Identifier: MIT
# Completion of vekbf for fish, {MADE}.

set -l none 'not __fish_seen_subcommand_from {names}'

# Files are arguments of some subcommands only.
complete -c vekbf -n 'not __fish_seen_subcommand_from {files}' -f

{chr(10).join(described)}
complete -c vekbf -n $none -l version -d 'Print the version'
complete -c vekbf -s h -l help -d 'Print the options'

{chr(10).join(lines)}
"""


# The documents


def between(text, name, content, comment):
    """The text with new content between the lines that mark the part `name`."""
    begin, end = comment(f"{name}: {MADE}"), comment("end")
    head, found, rest = text.partition(begin + "\n")
    tail = rest.partition(end + "\n")[2]
    if not found or not tail:
        raise SystemExit(f"there is no part '{begin}' ... '{end}'")
    return head + begin + "\n" + content + end + "\n" + tail


def sentences(option):
    parts = [option["help"] + "."]
    if option["details"]:
        parts += re.split(r"(?<=\.) ", option["details"])
    if option["initial"]:
        parts.append(f"The default is {option['initial']}.")
    return [part[0].upper() + part[1:] if re.match(r"[a-z]+ ", part) else part for part in parts]


def roff(sentence):
    """Lines of mdoc: options and sections are marked up."""
    lines = []
    # Text, then what is marked up, then text, and so on.
    parts = re.split(r"((?:--[a-z-]+|(?<=See )[A-Z]{3,}(?: [A-Z]{3,})*)[.,;:)]?)(?: |$)", sentence)
    for text, marked in zip(parts[::2], parts[1::2] + [None]):
        text = re.sub(r"(^| )-(?=\d)", r"\1\\-", text.replace("\\", "\\e"))
        lines += textwrap.wrap(text, 78, break_long_words=False, break_on_hyphens=False)
        if marked:
            name, sign = re.fullmatch(r"(.*?)([.,;:)]?)", marked).groups()
            macro = f".Fl -{name[2:]}" if name.startswith("--") else f".Sx {name}"
            lines.append(f"{macro} {sign}".strip())
    return [f"\\&{line}" if line.startswith("'") else line for line in lines]


def manual(table, command):
    earlier = table.commands[: table.commands.index(command)]
    lines = [".It Fl h , Fl -help", "Prints the options."]
    for option in table.of(command):
        values = f" Ar {option['values'].lower().replace('|', ' | ')}" if option["values"] else ""
        lines.append(f".It Fl -{option['name']}{values}")
        if any(option in table.of(other) for other in earlier):
            lines += [f"The default is {option['initial']}."] if option["initial"] else []
        else:
            lines += [line for sentence in sentences(option) for line in roff(sentence)]
    return "\n".join(lines) + "\n"


def results(table):
    page = (TOOLS / "man" / "vekbf.1").read_text()
    for command in table.commands:
        page = between(page, f"options of {command['name']}", manual(table, command), lambda text: f'.\\" {text}')
    return {
        TOOLS / "completion" / "vekbf.bash": bash(table),
        TOOLS / "completion" / "_vekbf": zsh(table),
        TOOLS / "completion" / "vekbf.fish": fish(table),
        TOOLS / "man" / "vekbf.1": page,
    }


def main(program, check):
    table = Table(subprocess.run([program], check=True, capture_output=True, text=True).stdout)
    differ = 0
    for path, text in results(table).items():
        old = path.read_text() if path.exists() else ""
        if text == old:
            continue
        differ += 1
        name = str(path.relative_to(ROOT))
        if check:
            sys.stdout.writelines(difflib.unified_diff(old.splitlines(True), text.splitlines(True), name, "made"))
        else:
            path.write_text(text)
            print(f"wrote {name}")
    if check and differ:
        print(f"{differ} files differ from the list of options: cmake --build BUILD --target tables")
    return 1 if check and differ else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1], sys.argv[2:] == ["--check"]))
