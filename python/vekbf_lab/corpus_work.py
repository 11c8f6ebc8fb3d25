# SPDX-License-Identifier: MIT
"""One recording of a corpus through the beam: what a worker does."""

import hashlib
import json
import os
import time
import uuid
from pathlib import Path

import numpy as np
import soundfile
import vekbf

from .corpus_manifest import make_settings
from .errors import LabError
from .recording import Recording

PIECE = 1 << 16  # frames in memory at a time
FORMAT = 1  # of the results: another number makes all of them anew
# The size field of a WAV file leaves out the first 8 bytes; more audio takes the header of RF64 (EBU Tech 3306).
MOST_RIFF_BYTES = 0xFFFFFFFF + 8
HEADER_BYTES, SAMPLE_BYTES = 44, 2
LONGEST_REASON = 500
TRIES = 3  # of a recording whose worker is lost

DONE, SKIPPED, FAILED = "done", "skipped", "failed"


def new_hash(row, recording):
    """The settings and the form of the recording; its samples follow."""
    settings = make_settings(row.settings)
    values = {key: settings[key] for key in vekbf.Settings.keys()}
    if values["angle-track"]:
        values["angle-track"] = hashlib.blake2b(Path(values["angle-track"]).read_bytes()).hexdigest()
    head = [FORMAT, sorted(values.items()), recording.rate, recording.channels, recording.frames, recording.kind]
    return hashlib.blake2b(json.dumps(head).encode(), digest_size=20)


def key_of(row, recording):
    """What the result follows from: the content of the recording and the settings."""
    content = new_hash(row, recording)
    for piece in recording.pieces(PIECE):
        content.update(piece)
    return content.hexdigest()


def is_there(row, out, earlier):
    """Whether the result of an earlier run is still in its place."""
    try:
        return earlier is not None and (out / row.output).stat().st_size == earlier["size"]
    except OSError:
        return False


def lost_workers(row, parts):
    """How many workers have been lost while they worked on this row: each left a result that is not complete."""
    return sum(name.startswith(f"{row.line}.") for name in os.listdir(parts))


def expect_tries_left(row, parts):
    if lost_workers(row, parts) >= TRIES:
        raise LabError(f"its worker was lost {TRIES} times")


def open_part(path, recording):
    plain = HEADER_BYTES + SAMPLE_BYTES * recording.frames <= MOST_RIFF_BYTES
    # A new file: no other worker uses its name.
    descriptor = os.open(path, os.O_RDWR | os.O_CREAT | os.O_EXCL | os.O_CLOEXEC, 0o666)
    kind = "WAV" if plain else "RF64"
    return soundfile.SoundFile(descriptor, "w", recording.rate, 1, "PCM_16", format=kind, closefd=True)


def beamformed(row, recording, part):
    """Writes the result; (figures, key)."""
    content, angles = new_hash(row, recording), []
    beam = vekbf.Beamformer.from_settings(make_settings(row.settings), recording.rate, recording.channels)
    process = beam.process if recording.kind == "int16" else beam.process_float
    try:
        with beam, open_part(part, recording) as target:
            for piece in recording.pieces(PIECE):
                content.update(piece)
                target.write(process(piece))
                angles.append(beam.angle)
            target.write(beam.flush())
            counts = beam.counts
    except (soundfile.LibsndfileError, AssertionError) as error:  # asserted is that all has been written
        raise LabError(f"cannot write the result: {error or 'not all of it was taken'}") from None
    figures = {
        "duration_s": recording.frames / recording.rate,
        "blocks": counts.blocks,
        "zero_blocks": counts.zero_blocks,
        "clipped_samples": counts.clipped,
        "wraps": counts.wraps,
        "angle": int(np.median(angles)),
    }
    return figures, content.hexdigest()


def process_row(row, out, parts, earlier=None):
    """The report on one row; raises what went wrong. `earlier` is the report of an earlier run."""
    target = out / row.output
    part = parts / f"{row.line}.{uuid.uuid4().hex}.wav"
    expect_tries_left(row, parts)
    with Recording(row.files) as recording:
        if is_there(row, out, earlier) and key_of(row, recording) == earlier["key"]:
            return {**earlier, "status": SKIPPED, "files": row.files}
        begin = time.monotonic()
        try:
            figures, key = beamformed(row, recording, part)
            size = part.stat().st_size
            target.parent.mkdir(parents=True, exist_ok=True)
            os.replace(part, target)
        finally:
            part.unlink(missing_ok=True)
        factor = (time.monotonic() - begin) / figures["duration_s"]
    return {
        "output": row.output,
        "status": DONE,
        "files": row.files,
        **figures,
        "real_time_factor": factor,
        "size": size,
        "key": key,
    }


def reason_of(error):
    if isinstance(error, (LabError, vekbf.VekBfError)):
        return str(error)
    if isinstance(error, OSError) and error.strerror:
        return f"{error.filename}: {error.strerror}" if error.filename else error.strerror
    text = " ".join(str(error).split())
    return f"{type(error).__name__}: {text}"[:LONGEST_REASON]


def failed(row, reason):
    return {"output": row.output, "status": FAILED, "files": row.files, "reason": reason}


def process_batch(batch, out, parts):
    """Reports on [(row, earlier report or None)]. A row that fails does not stop the others."""
    reports = []
    for row, earlier in batch:
        try:
            reports.append(process_row(row, out, parts, earlier))
        except Exception as error:  # whatever it is, it concerns this file alone
            reports.append(failed(row, reason_of(error)))
    return reports


def readiness(parts):
    """What keeps a worker from working; None if nothing does."""
    try:
        vekbf.Settings()
    except vekbf.LibraryNotFound as error:
        return str(error)
    return None if parts.is_dir() else f"it does not see {parts}: all workers share one file system"
