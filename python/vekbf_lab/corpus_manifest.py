# SPDX-License-Identifier: MIT
"""The list of recordings of a corpus, checked before any of them is processed."""

import csv
import json
from dataclasses import dataclass, field
from pathlib import Path, PurePosixPath

import vekbf

from .errors import LabError
from .recording import Recording

# The columns besides the settings.
FILES, OUTPUT = "files", "output"
# As the tool has it; the library's companion keeps time unless it is told.
DEFAULTS = {"keep-time": "no"}


@dataclass
class Row:
    line: int  # of the manifest, from 1
    output: str  # below the output folder
    files: list  # absolute paths
    settings: dict = field(default_factory=dict)  # in the words of the tool's option file
    bytes: int = 0  # of all files


class Faults(LabError):
    """Everything that is wrong with a manifest, a line each."""


def texts_of_csv(text, fault):
    """(line, {column: text}) of each row; an empty cell is none."""
    reader = csv.reader(text.splitlines(keepends=True), strict=True)
    names = None
    try:
        for cells in reader:
            if not any(cells):
                continue
            if names is None:
                names = [cell.strip() for cell in cells]
                for name in {name for name in names if names.count(name) > 1}:
                    fault(reader.line_num, f"column {name!r} stands there twice")
            elif len(cells) != len(names):
                fault(reader.line_num, f"{len(cells)} cells, but there are {len(names)} columns")
            else:
                yield reader.line_num, {name: cell.strip() for name, cell in zip(names, cells) if cell.strip()}
    except csv.Error as error:
        fault(reader.line_num, str(error))


def text_of(value):
    if isinstance(value, bool):
        return "yes" if value else "no"
    if isinstance(value, (int, float)):
        return repr(value)
    return value


def texts_of_json(text, fault):
    for number, line in enumerate(text.splitlines(), 1):
        if not line.strip():
            continue
        try:
            values = json.loads(line)
        except ValueError as error:
            fault(number, f"no JSON: {error}")
            continue
        if not isinstance(values, dict):
            fault(number, "no object of JSON")
            continue
        texts = {}
        for name, value in values.items():
            if value is None:
                continue
            if isinstance(value, list):
                parts = [text_of(part) for part in value]
                if name not in (FILES, "channels") or not all(isinstance(part, str) for part in parts):
                    fault(number, f"{name} is no list")
                    break
                # A file's name may hold any character.
                texts[name] = parts if name == FILES else ",".join(parts)
            elif isinstance(text_of(value), str):
                texts[name] = text_of(value)
            else:
                fault(number, f"{name} is no text or number")
                break
        else:
            yield number, texts


def output_name(texts, files):
    """Where the result goes, below the output folder."""
    name = texts.get(OUTPUT, "") or Path(files[0]).with_suffix(".wav").name
    path = PurePosixPath(name)
    if path.is_absolute() or ".." in path.parts or path.suffix.lower() != ".wav" or path.parts[0] == ".corpus":
        raise LabError(f"{OUTPUT} is the name of a .wav file below the output folder, not {name!r}")
    return str(path)


def settings_of(texts, folder):
    values = {**DEFAULTS, **{name: text for name, text in texts.items() if name not in (FILES, OUTPUT)}}
    if "angle-track" in values:
        values["angle-track"] = str(folder / values["angle-track"])
    return values


def make_settings(values):
    """The settings of a row for the library."""
    return vekbf.Settings(values)


def row_of(line, texts, folder, out):
    files = texts.get(FILES, "")
    if isinstance(files, str):
        files = [name.strip() for name in files.split(";") if name.strip()]
    if not files:
        raise LabError(f"{FILES} is missing: a recording, or mono files with ; between them")
    # Nothing of the name is resolved but the folder: what is a link on this machine is one on all of them.
    paths = [str(folder / name) for name in files]
    row = Row(line, output_name(texts, files), paths, settings_of(texts, folder))
    settings = make_settings(row.settings)
    with Recording(paths) as recording:
        settings.check(recording.rate, recording.channels)
    row.bytes = sum(Path(path).stat().st_size for path in paths)
    if any(Path(path).resolve() == (out / row.output).resolve() for path in paths):
        raise LabError(f"the result {row.output} would replace the recording")
    return row


def printable(text):
    """Of one line, whatever the names in it hold."""
    return "".join(letter if letter.isprintable() else "?" for letter in text)


def read(path, out, progress=iter):
    """The rows of a manifest; raises Faults."""
    path = Path(path)
    parser = {".csv": texts_of_csv, ".jsonl": texts_of_json, ".json": texts_of_json}.get(path.suffix.lower())
    if parser is None:
        raise LabError(f"{path}: a manifest is a file of comma-separated values, .csv, or of JSON lines, .jsonl")
    try:
        text = path.read_text(encoding="utf-8-sig")
    except UnicodeDecodeError:
        raise LabError(f"{path} is no text in UTF-8") from None
    faults, rows, outputs, inputs = [], [], {}, set()

    def fault(line, text):
        faults.append((line, text))

    folder = path.absolute().parent
    known = {FILES, OUTPUT, *vekbf.Settings.keys()} - {"mic"}
    named = set()  # unknown columns, each of which is named once
    for line, texts in progress(list(parser(text, fault))):
        for name in texts.keys() - known - named:
            named.add(name)
            fault(line, f"{name!r} is no column: there are {', '.join(sorted(known))}")
        if not texts.keys() <= known:
            continue
        try:
            row = row_of(line, texts, folder, out)
        except (LabError, vekbf.VekBfError) as error:
            fault(line, str(error))
            continue
        except OSError as error:
            fault(line, f"{error.filename or ''}: {error.strerror}")
            continue
        if row.output in outputs:
            fault(line, f"the result {row.output} is also that of line {outputs[row.output]}")
        outputs.setdefault(row.output, line)
        inputs.update(str(Path(name).resolve()) for name in row.files)
        rows.append(row)
    for row in rows:
        if str((out / row.output).resolve()) in inputs:
            fault(row.line, f"the result {row.output} would replace a recording")
    if faults:
        raise Faults("\n".join(printable(f"{path}:{line}: {text}") for line, text in sorted(set(faults))))
    if not rows:
        raise LabError(f"{path}: there is no recording in it")
    return rows
