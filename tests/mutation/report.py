# SPDX-License-Identifier: MIT
"""What a run found, as the tables of docs/mutation.md."""
from __future__ import annotations

from pathlib import Path

from mutants import Mutant
from workshop import Outcome

Judged = dict[str, list[tuple[Mutant, Outcome]]]
_COLUMNS = ("module", "generated", "drawn", "no compile", "same code", "mutants", "killed", "hang", "survived")


def table(every: list[Mutant], judged: Judged) -> str:
    rows = []
    for module, entries in judged.items():
        verdicts = [outcome.verdict for _, outcome in entries]
        count = {v: verdicts.count(v) for v in ("broken", "same", "killed", "hang", "survived")}
        rows.append([sum(m.module == module for m in every), len(entries), count["broken"], count["same"],
                     count["killed"] + count["hang"] + count["survived"], count["killed"], count["hang"],
                     count["survived"]])  # fmt: skip
    names = [*judged, "all"]
    rows.append([sum(column) for column in zip(*rows)])
    lines = ["| " + " | ".join(_COLUMNS) + " |", "|---|" + "---:|" * (len(_COLUMNS) - 1)]
    lines += [f"| {name} | " + " | ".join(str(value) for value in row) + " |" for name, row in zip(names, rows)]
    return "\n".join(lines)


def survivors(root: Path, judged: Judged) -> str:
    """Every survivor with the line that it changes."""
    blocks = []
    for entries in judged.values():
        for mutant, outcome in entries:
            if outcome.verdict == "survived":
                blocks.append(f"{mutant.id}\n{mutant.shown((root / mutant.path).read_text(encoding='utf-8'))}")
    return "\n\n".join(blocks) if blocks else "no survivors"
