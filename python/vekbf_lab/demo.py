# SPDX-License-Identifier: MIT
"""The demonstration: real speech in a four-microphone scene, through both beamformers.

    python3 -m vekbf_lab.demo --tool PATH/TO/vekbf --out FOLDER [--picture FILE]
"""

import argparse
import subprocess
import time
from dataclasses import dataclass, replace
from pathlib import Path
from typing import Optional

import numpy as np

from . import demo_page, measures, plots, scene, simulate, speech, wav

ARRAY = scene.Array(positions=((0.0, 0.0), (0.08, 0.0), (0.16, 0.0), (0.24, 0.0)))
MICS = "; ".join(f"{x},{y}" for x, y in ARRAY.positions)
TALKER_ANGLE = 60
SECOND_TALKER_ANGLE = 150
TALKER_DB = -26.0  # of 16-bit full scale, while speaking
SECOND_TALKER_DB = TALKER_DB - 5.0
NOISE_DB = TALKER_DB - 10.0
LEAD_SECONDS = 1.0  # before the talker begins; also the second that the measures leave out
SEED = 20221129
INTENSITY = 3
TIMED_RUNS = 3
PICTURED = 9  # seconds into the scene: where the README's picture begins
PICTURED_SECONDS = 8
# Neighbouring samples of speech are never this far apart: the sum has wrapped around.
WRAP_STEP = 32768


@dataclass(frozen=True)
class Row:
    name: str
    si_sdr: float  # dB
    pause_power: float  # dB of full scale
    real_time_factor: Optional[float]  # processing time over duration


def make_scene():
    """Return (talker alone, mixture), both of shape (frames, microphones), in 16-bit steps."""
    lead = np.zeros(round(LEAD_SECONDS * speech.RATE))
    talker = speech.one_after_another(speech.load(speech.TALKER), gap_seconds=1.0)
    talker = scene.at_level(np.concatenate([lead, talker]), TALKER_DB)
    second = speech.one_after_another(speech.load(speech.SECOND_TALKER), gap_seconds=0.4)
    second = scene.at_level(np.resize(second, len(talker)), SECOND_TALKER_DB)
    (alone, _), mixture = simulate.compose(
        [simulate.Source(talker, TALKER_ANGLE), simulate.Source(second, SECOND_TALKER_ANGLE)],
        ARRAY,
        speech.RATE,
        sensor_db=NOISE_DB,
        seed=SEED,
    )
    return alone, mixture


def run_tool(tool, source, target, algorithm):
    """Run `vekbf process` and return the shortest of TIMED_RUNS running times in seconds."""
    command = [str(tool), "process", str(source), str(target)]
    command += [part for x, y in ARRAY.positions for part in ("--mic", f"{x},{y}")]
    command += ["--angle", str(TALKER_ANGLE), "--sound-speed", str(round(ARRAY.sound_speed))]
    command += ["--algorithm", algorithm, "--intensity", str(INTENSITY)]
    times = []
    for _ in range(TIMED_RUNS):
        start = time.perf_counter()
        subprocess.run(command, check=True)
        times.append(time.perf_counter() - start)
    return min(times)


def measure(name, reference, estimate, real_time_factor):
    skipped = round(LEAD_SECONDS * speech.RATE)
    reference, estimate = reference[skipped:], estimate[skipped:]
    return Row(
        name,
        measures.si_sdr(reference, estimate),
        measures.pause_power_db(reference, estimate, speech.RATE),
        real_time_factor,
    )


def table(rows):
    lines = [f"{'signal':<14}{'SI-SDR':>10}{'pause power':>15}{'real-time factor':>20}"]
    for row in rows:
        factor = "-" if row.real_time_factor is None else f"{row.real_time_factor:.4f}"
        lines.append(f"{row.name:<14}{row.si_sdr:>7.1f} dB{row.pause_power:>10.1f} dBFS{factor:>20}")
    return "\n".join(lines)


def rounded(row):
    """The row as printed, so that differences agree with the table."""
    return replace(row, si_sdr=round(row.si_sdr, 1), pause_power=round(row.pause_power, 1))


def compared(row, other):
    """What `row` gives against `other`."""
    gain = round(row.si_sdr - other.si_sdr, 1)
    hush = round(other.pause_power - row.pause_power, 1)
    quality = f"{abs(gain):.1f} dB {'more' if gain > 0 else 'less'} SI-SDR" if gain else "the same SI-SDR"
    pauses = f"pauses {abs(hush):.1f} dB {'quieter' if hush > 0 else 'louder'}" if hush else "pauses as quiet"
    return f"{quality} and {pauses}"


def verdict(microphone, fixed, adaptive):
    """What the figures say, in two sentences."""
    microphone, fixed, adaptive = rounded(microphone), rounded(fixed), rounded(adaptive)
    if adaptive.si_sdr < fixed.si_sdr:
        advice = "it harms the talker more than it takes away from the rest, so the fixed one is the better choice here"
    elif adaptive.si_sdr > fixed.si_sdr:
        advice = "it is the better choice here"
    else:
        advice = "the fixed one will do here"
    return (
        f"Against microphone 0 the fixed beamformer gives {compared(fixed, microphone)}.\n"
        f"Against the fixed beamformer the adaptive one gives {compared(adaptive, fixed)}: {advice}."
    )


def wraps(samples):
    return int(np.count_nonzero(np.abs(np.diff(samples)) > WRAP_STEP))


def main():
    parser = argparse.ArgumentParser(prog="demo")
    parser.add_argument("--tool", type=Path, required=True, help="the vekbf program")
    parser.add_argument("--out", type=Path, required=True, help="folder for the WAV files and the picture")
    parser.add_argument("--picture", type=Path, help="also write the picture of the README; needs the shared library")
    options = parser.parse_args()
    options.out.mkdir(parents=True, exist_ok=True)

    alone, mixture = make_scene()
    source = options.out / "microphones.wav"
    wav.write(source, speech.RATE, mixture)
    wav.write(options.out / "microphone0.wav", speech.RATE, mixture[:, 0])
    wav.write(options.out / "talker.wav", speech.RATE, alone[:, 0])

    # Measured on what was written, so that rounding to 16 bits counts for every signal alike.
    duration = len(mixture) / speech.RATE
    _, heard = wav.read(source)
    rows = [measure("microphone 0", alone[:, 0], heard[:, 0], None)]
    signals = {"microphone 0, before": heard[:, 0]}
    for algorithm in ("fixed", "adaptive"):
        target = options.out / f"{algorithm}.wav"
        seconds = run_tool(options.tool, source, target, algorithm)
        _, result = wav.read(target)
        if wraps(result[:, 0]) > 0:
            raise SystemExit(f"{target}: the output left the 16-bit range; the scene is too loud")
        rows.append(measure(algorithm, alone[:, 0], result[:, 0], seconds / duration))
        signals[f"{algorithm} beamformer, after"] = result[:, 0]
    signals["the talker alone"] = alone[:, 0]
    talkers = {"talker": TALKER_ANGLE, "second talker": SECOND_TALKER_ANGLE}
    page = demo_page.page(ARRAY, talkers, rows, signals, speech.RATE, verdict(*rows))
    plots.save(page, options.out / "demo.png")
    if options.picture:
        from . import arrays, beam_pattern  # they load the library

        pattern = beam_pattern.measure(arrays.from_settings({"mics": MICS}), speech.RATE, look=TALKER_ANGLE, step=3)
        part = slice(PICTURED * speech.RATE, (PICTURED + PICTURED_SECONDS) * speech.RATE)
        before, after = [signal[part] for signal in list(signals.values())[:2]]
        shown = {"Before: one microphone": before, "After: the fixed beamformer": after}
        plots.save(demo_page.front(ARRAY, talkers, pattern, shown, speech.RATE), options.picture)

    print(
        f"Four microphones in a line, 8 cm apart; a talker at {TALKER_ANGLE} degrees, a second one at "
        f"{SECOND_TALKER_ANGLE} degrees ({TALKER_DB - SECOND_TALKER_DB:.0f} dB softer), noise of the microphones "
        f"({TALKER_DB - NOISE_DB:.0f} dB softer); {duration:.1f} s at {speech.RATE} Hz.\n"
    )
    print(table(rows))
    print(
        "\nSI-SDR: scale-invariant signal-to-distortion ratio against the talker alone; more is better.\n"
        "Pause power: what is left while the talker is silent; less is better.\n"
        "Real-time factor: processing time over duration, the start of the program included.\n"
    )
    print(verdict(*rows))
    print(
        f"\nListen to {options.out}/microphone0.wav, then fixed.wav and adaptive.wav beside it; "
        "talker.wav is the talker alone. demo.png shows all of it on one page.\n"
        "Where to go next: docs/first-sound.md for a recording of your own, docs/live.md for a beam as a microphone of every "
        "program, README.md for the rest."
    )


if __name__ == "__main__":
    main()
