# SPDX-License-Identifier: MIT
"""WAV files that are wrong, each in its own way, and files that are none."""

import array
import random
import struct

RATE = 16000


def samples(frames, channels=1, seed=5):
    rng = random.Random(seed)
    return array.array("h", [rng.randint(-8000, 8000) for _ in range(frames * channels)]).tobytes()


def chunk(name, body, size=None):
    """A chunk of RIFF; `size` is what its head says where that is not so."""
    return name + struct.pack("<I", len(body) if size is None else size) + body + b"\0" * (len(body) % 2)


def fmt(channels=1, rate=RATE, bits=16, tag=1, align=None, size=None):
    align = channels * bits // 8 if align is None else align
    body = struct.pack("<HHIIHH", tag, channels & 0xFFFF, rate, rate * align & 0xFFFFFFFF, align & 0xFFFF, bits)
    return chunk(b"fmt ", body, size)


def riff(*chunks, size=None, name=b"RIFF"):
    body = b"WAVE" + b"".join(chunks)
    return name + struct.pack("<I", len(body) if size is None else size) + body


AUDIO = samples(1000)
WHOLE = riff(fmt(), chunk(b"data", AUDIO))


def rf64(promised, audio, *before):
    """The form for more than 4 GB, whose lengths stand in a chunk of their own."""
    ds64 = chunk(b"ds64", struct.pack("<QQQI", promised + 80, promised, promised // 2, 0))
    return riff(ds64, fmt(), *before, chunk(b"data", audio, 2**32 - 1), size=2**32 - 1, name=b"RF64")


def rifx(audio):
    """Every number the other way around."""
    turned = array.array("h", audio)
    turned.byteswap()
    head = struct.pack(">IHHIIHH", 16, 1, 1, RATE, 2 * RATE, 2, 16)
    body = b"WAVEfmt " + head + b"data" + struct.pack(">I", len(audio)) + turned.tobytes()
    return b"RIFX" + struct.pack(">I", len(body)) + body


# More than libsndfile's own log of what it read can hold.
NOTES = chunk(b"LIST", b"INFO" + b"".join(chunk(b"ICMT", b"%02d" % n + b"x" * 200) for n in range(50)))


NO_AUDIO = {
    "empty": b"",
    "one byte": b"R",
    "zeros": bytes(5000),
    "text": b"This is a letter, not a recording.\n" * 50,
    "bytes": bytes(range(256)) * 20,
    "RIFF of another kind": b"RIFF" + struct.pack("<I", 4004) + b"AVI " + bytes(4000),
    "FLAC": b"fLaC" + bytes(range(256)) * 8,
    "Ogg": b"OggS" + bytes(range(256)) * 8,
    "AIFF": b"FORM" + struct.pack(">I", 4050) + b"AIFFCOMM" + struct.pack(">IhIh", 18, 1, 1000, 16)
    + bytes.fromhex("400cfa00000000000000") + b"SSND" + struct.pack(">III", 2008, 0, 0) + AUDIO,
    "no fmt chunk": riff(chunk(b"data", AUDIO)),
    "no data chunk": riff(fmt()),
    "data without a sample": riff(fmt(), chunk(b"data", b"")),
}
HEADERS = {
    "no channel": riff(fmt(channels=0, align=0), chunk(b"data", AUDIO)),
    "65535 channels": riff(fmt(channels=65535), chunk(b"data", AUDIO)),
    "1024 channels": riff(fmt(channels=1024), chunk(b"data", AUDIO * 2)),
    "two channels": riff(fmt(channels=2), chunk(b"data", AUDIO)),
    "rate 0": riff(fmt(rate=0), chunk(b"data", AUDIO)),
    "rate 1": riff(fmt(rate=1), chunk(b"data", AUDIO)),
    "rate 7999": riff(fmt(rate=7999), chunk(b"data", AUDIO)),
    "rate 48001": riff(fmt(rate=48001), chunk(b"data", AUDIO)),
    "rate 2^31": riff(fmt(rate=2**31), chunk(b"data", AUDIO)),
    "rate 2^32 - 1": riff(fmt(rate=2**32 - 1), chunk(b"data", AUDIO)),
    "8 bits": riff(fmt(bits=8), chunk(b"data", AUDIO)),
    "4 bits of ADPCM": riff(fmt(bits=4, tag=2, align=256), chunk(b"data", AUDIO)),
    "65535 bits": riff(fmt(bits=65535, align=2), chunk(b"data", AUDIO)),
    "unknown format tag": riff(fmt(tag=0x7777), chunk(b"data", AUDIO)),
    "fmt chunk of 4 GB": riff(fmt(size=2**32 - 1), chunk(b"data", AUDIO)),
    "fmt chunk of 2 GB": riff(fmt(size=2**31 - 2), chunk(b"data", AUDIO)),
    "chunk of 4 GB before the data": riff(fmt(), chunk(b"LIST", bytes(100), 2**32 - 2), chunk(b"data", AUDIO)),
    "RF64 of 2^61 frames": rf64(2**62, AUDIO),
}
CUT = {f"cut off after {n} bytes": WHOLE[:n] for n in (3, 4, 11, 12, 19, 20, 35, 36, 43, 44, 45, 46, 500, len(WHOLE) - 1)}
CUT["cut off, of 24 bits"] = riff(fmt(bits=24), chunk(b"data", samples(1500)))[:-100]
CUT["cut off within a chunk before the data"] = riff(fmt(), chunk(b"LIST", bytes(4000)), chunk(b"data", AUDIO))[:2000]
CUT["cut off behind long notes"] = riff(fmt(), NOTES, chunk(b"data", AUDIO))[:-100]
CUT["cut off behind a chunk of odd length"] = riff(fmt(), chunk(b"note", b"odd"), chunk(b"data", AUDIO))[:-100]
CUT["cut off RIFX"] = rifx(AUDIO)[:-100]
CUT["cut off RF64"] = rf64(2000, AUDIO[:-100])
CUT["data of 3 GB promised"] = riff(fmt(), chunk(b"data", AUDIO, 3 << 30), size=(3 << 30) + 36)
CUT["data of 2 GB promised"] = riff(fmt(), chunk(b"data", AUDIO, 2**31 - 2**21), size=2**31 - 2**21 + 36)

# What is whole, with all 1000 frames, although it looks odd.
WHOLE_AFTER_ALL = {
    "plain": WHOLE,
    "RF64": rf64(2000, AUDIO),
    "RIFX": rifx(AUDIO),
    "behind long notes": riff(fmt(), NOTES, chunk(b"data", AUDIO)),
    "behind a chunk of odd length": riff(fmt(), chunk(b"note", b"odd"), chunk(b"data", AUDIO)),
    "with something behind the audio": riff(fmt(), chunk(b"data", AUDIO), chunk(b"LIST", b"INFO" + bytes(100))),
    "with a wrong length of the file": riff(fmt(), chunk(b"data", AUDIO), size=17),
    "of unknown length, largest": riff(fmt(), chunk(b"data", AUDIO, 2**32 - 1), size=2**32 - 1),
    "of unknown length, largest with its header": riff(fmt(), chunk(b"data", AUDIO, 2**32 - 37), size=2**32 - 1),
    "of unknown length, largest signed": riff(fmt(), chunk(b"data", AUDIO, 2**31 - 37), size=2**31 - 1),
}
DAMAGED = {**NO_AUDIO, **HEADERS, **CUT}
