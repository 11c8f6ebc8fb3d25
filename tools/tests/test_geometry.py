# SPDX-License-Identifier: MIT
"""`vekbf geometry`: the plan agrees with plane geometry, and with what the library does at the angles that it shows."""

import math
import os
import re
import subprocess
import unittest
from pathlib import Path

from support import TOOL, ToolTest, noise, read_wav, write_wav

RATE = 48000
SPEED = 343.0
LINE = {"--array": "line:4:40mm"}
LINE_POSITIONS = [(0.04 * m, 0.0) for m in range(4)]
RADIUS = 0.08 / math.sqrt(2)
SQUARE_POSITIONS = [(RADIUS, 0.0), (0.0, RADIUS), (-RADIUS, 0.0), (0.0, -RADIUS)]


def mic_arguments(positions):
    return [f"--mic={x},{y}" for x, y in positions]


class Plan:
    """The picture as a reader measures it: marks and microphones by their places on the page."""

    def __init__(self, text):
        self.text = text
        self.lines = text.split("\n\nx to the right")[0].splitlines()
        self.cells = []  # (text, x, y), a line counting as two columns, y upwards
        for row, line in enumerate(self.lines):
            for match in re.finditer(r"\[.\]|\(\d+\)|[0-9]+|[x*#]", line):
                self.cells.append((match[0], (match.start() + match.end() - 1) / 2, -2.0 * row))
        scale = re.search(r"One column is (\S+) (mm|m)", text)
        self.scale = float(scale[1]) * {"mm": 1e-3, "m": 1}[scale[2]] if scale else None

    def of(self, pattern):
        return [(text, x, y) for text, x, y in self.cells if re.fullmatch(pattern, text)]

    def middle(self):
        """Of the ring: halfway between opposite marks."""
        marks = {text: (x, y) for text, x, y in self.of(r"\d+|\(\d+\)")}
        below = marks.get("270") or marks["(90)"]
        return (marks["0"][0] + marks["180"][0]) / 2, (marks["90"][1] + below[1]) / 2

    def direction(self, x, y):
        cx, cy = self.middle()
        return math.degrees(math.atan2(y - cy, x - cx)) % 360

    def microphones(self):
        """Metres from the middle, by number."""
        cx, cy = self.middle()
        return {int(t[1]): ((x - cx) * self.scale, (y - cy) * self.scale) for t, x, y in self.of(r"\[\d\]")}


def turned(a, b):
    """Degrees between two directions."""
    return abs((a - b + 180) % 360 - 180)


class GeometryTest(ToolTest):
    def plan(self, *arguments):
        result = self.run_tool("geometry", *arguments)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertTrue(result.stdout.isascii())
        self.assertLessEqual(max(map(len, result.stdout.splitlines())), 80)
        self.assertFalse(re.search(r" $|\n\Z\n", result.stdout, re.MULTILINE))
        return Plan(result.stdout)


class MarksTest(GeometryTest):
    def test_the_installed_arrays_are_drawn(self):
        """By their files; each names its channels where not every channel of the device is a microphone."""
        arrays = sorted((Path(__file__).resolve().parents[2] / "arrays").glob("*.conf"))
        self.assertGreater(len(arrays), 2)
        for array in arrays:
            plan = self.plan("--array", str(array))
            channels = re.search(r"^channels = (.*)$", array.read_text(), re.MULTILINE)
            line = channels and f"The microphones are the channels {channels[1].replace(',', ', ')} of the sound."
            self.assertEqual(line in plan.text if line else "the channels" not in plan.text, True, array)
            self.assertNotIn("on the command line", plan.text, array)

    def test_a_square_has_marks_all_around(self):
        plan = self.plan("--array", "square:80mm")
        marks = plan.of(r"\d+")
        self.assertEqual(sorted(int(text) for text, _, _ in marks), list(range(0, 360, 30)))
        for text, x, y in marks:
            self.assertLess(turned(plan.direction(x, y), int(text)), 4, text)

    def test_a_line_has_the_same_marks_on_both_sides(self):
        plan = self.plan("--array", "line:4:40mm")
        front, back = plan.of(r"\d+"), plan.of(r"\(\d+\)")
        self.assertEqual(sorted(int(text) for text, _, _ in front), list(range(0, 181, 30)))
        self.assertEqual(sorted(int(text[1:-1]) for text, _, _ in back), list(range(30, 151, 30)))
        for text, x, y in front:
            self.assertLess(turned(plan.direction(x, y), int(text)), 4, text)
        for text, x, y in back:
            self.assertLess(turned(plan.direction(x, y), -int(text[1:-1])), 4, text)

    def test_the_look_direction_is_where_the_angle_says(self):
        for angle in (*range(-360, 721, 7), -(2**31), 2**31 - 1):
            (star,) = self.plan("--array", "square:80mm", "--angle", angle).of(r"\*")
            plan = self.plan("--array", "square:80mm", "--angle", angle)
            self.assertLess(turned(plan.direction(*star[1:]), angle), 4, angle)
        for angle in (10, 60, 170, 2**31 - 1):
            plan = self.plan("--array", "line:4:40mm", "--angle", angle)
            directions = sorted(plan.direction(x, y) for _, x, y in plan.of(r"\*"))
            self.assertEqual(len(directions), 2)
            self.assertLess(turned(directions[0], angle), 4)
            self.assertLess(turned(directions[1], -angle), 4)


class PositionsTest(GeometryTest):
    def expect_places(self, plan, expected):
        found = plan.microphones()
        self.assertEqual(sorted(found), list(range(len(expected))))
        for m, (x, y) in enumerate(expected):
            # Half a column, half a line of two columns, and the three digits of the scale.
            self.assertAlmostEqual(found[m][0], x, delta=0.55 * plan.scale + 0.01 * abs(x))
            self.assertAlmostEqual(found[m][1], y, delta=1.1 * plan.scale + 0.01 * abs(y))

    def test_a_line_is_drawn_around_its_middle(self):
        self.expect_places(self.plan("--array", "line:4:40mm"), [(0.04 * m - 0.06, 0) for m in range(4)])
        uneven = [(-0.113, 0), (0.036, 0), (0.076, 0), (0.113, 0)]
        self.expect_places(self.plan(*mic_arguments(uneven)), uneven)
        # The order is that of the channels, and a line parallel to the x axis is a line.
        backwards = [(0.1, 7), (0, 7), (-0.1, 7)]
        self.expect_places(self.plan(*mic_arguments(backwards)), [(0.1, 0), (0, 0), (-0.1, 0)])

    def test_a_square_is_drawn_around_its_centre(self):
        self.expect_places(self.plan("--array", "square:80mm"), SQUARE_POSITIONS)
        three = [*mic_arguments(SQUARE_POSITIONS[:3]), "--geometry", "triangle"]
        self.expect_places(self.plan(*three), SQUARE_POSITIONS[:3])

    def test_any_size(self):
        for size in (1e-30, 1e-6, 0.0123, 1, 99, 1e6, 3e38):
            plan = self.plan("--mic=0,0", f"--mic={size},0")
            self.assertEqual(sorted(text for text, _, _ in plan.of(r"\[.\]")), ["[0]", "[1]"])
            plan = self.plan(f"--mic={-size},0", f"--mic={size},0", "--geometry", "triangle")
            self.assertEqual(sorted(text for text, _, _ in plan.of(r"\[.\]")), ["[0]", "[1]"])
            self.assertLess(turned(plan.direction(*plan.of(r"\[1\]")[0][1:]), 90), 4)

    def test_close_neighbours_lose_their_brackets_and_several_in_one_place_become_one_mark(self):
        plan = self.plan("--mic=0,0", "--mic=0.01,0", "--mic=0.1,0")
        inner = next(line for line in plan.lines if line.lstrip().startswith("180"))
        self.assertRegex(inner, r"^ *180 +0-1-+2 +0$")
        plan = self.plan("--mic=0,0", "--mic=0.0001,0", "--mic=0.1,0", "--mic=0.2,0")
        inner = next(line for line in plan.lines if line.lstrip().startswith("180"))
        self.assertRegex(inner, r"^ *180 +#-+2-+3 +0$")
        self.assertIn("#  several microphones", plan.text)

    def test_microphones_in_one_place_have_no_look_direction(self):
        for arguments in (["--mic=0.3,0"], ["--mic=1,0", "--mic=1,0"], ["--mic=0,1", "--mic=0,2"],
                          ["--mic=0,1", "--mic=0,2", "--geometry", "triangle"]):
            plan = self.plan(*arguments, "--angle", 60)
            self.assertEqual(plan.of(r"\*"), [])
            self.assertIn("every direction sounds alike", plan.text)

    def test_microphones_that_the_library_moves_are_crossed_where_they_were_given(self):
        plan = self.plan("--mic=0.05,0", "--mic=-0.05,0", "--mic=0,0.08", "--geometry", "triangle")
        self.assertEqual([turned(plan.direction(x, y), a) < 4 for (_, x, y), a in zip(plan.of(r"\[\d\]"), (90, 180, 0))],
                         [True] * 3)
        # The other cross lies under microphone 2.
        ((_, x, y),) = plan.of("x")
        self.assertLess(turned(plan.direction(x, y), 90), 4)
        self.assertIn("Microphone 1 is at (-0.05, 0) on the command line.", plan.text)
        self.assertIn("Microphone 2 is at (0, 0.08) on the command line.", plan.text)
        self.assertRegex(plan.text, r"\n1 +\(0, 0\.05\) ")
        plan = self.plan("--mic=0,0", "--mic=0.05,0.05")
        ((_, x, y),) = plan.of("x")
        found = plan.microphones()
        self.assertAlmostEqual((x - plan.middle()[0]) * plan.scale, found[1][0], delta=0.1 * 0.05)
        self.assertGreater(y, plan.middle()[1])


def plane_wave(positions, angle, frames=4800):
    """Four tones from `angle` as the microphones hear them, interleaved: sound from +u reaches x earlier by x.u / c."""
    u = math.cos(math.radians(angle)), math.sin(math.radians(angle))
    leads = [(x * u[0] + y * u[1]) / SPEED for x, y in positions]
    return delayed(leads, frames)


def delayed(leads, frames=4800):
    tones = (700, 1300, 1900, 2300)
    return [round(sum(3000 * math.sin(2 * math.pi * f * (n / RATE + lead)) for f in tones)) for n in range(frames)
            for lead in leads]


class SameAsTheLibraryTest(GeometryTest):
    def power(self, samples, channels, arguments, angle):
        """Of the beam, between its ends."""
        write_wav(self.input, samples, channels, RATE)
        result = self.run_tool("process", self.input, self.output, *arguments, "--angle", angle)
        self.assertEqual(result.returncode, 0, result.stderr)
        out = read_wav(self.output)[2][1000:-1000]
        return sum(s * s for s in out) / len(out)

    def test_the_beam_towards_a_mark_is_loudest_for_sound_from_where_the_mark_stands(self):
        for arguments in (["--array", "line:4:40mm"], ["--array", "square:80mm"]):
            plan = self.plan(*arguments)
            places = plan.microphones()
            positions = [places[m] for m in range(4)]
            marks = {int(text): plan.direction(x, y) for text, x, y in plan.of(r"\d+")}
            for mark, direction in marks.items():
                samples = plane_wave(positions, direction)
                powers = {angle: self.power(samples, 4, arguments, angle) for angle in marks}
                self.assertEqual(max(powers, key=powers.get), mark, arguments)

    def test_sound_that_comes_as_the_table_says_is_in_phase_in_the_beam(self):
        alone = sum(s * s for s in delayed([0.0])[1000:-1000]) / (4800 - 2000)
        for arguments, angle in ((["--array", "line:4:40mm"], 35), (["--array", "line:4:40mm"], 140),
                                 (["--array", "square:80mm"], 200), (["--array", "square:80mm", "--sound-speed", 300], -20),
                                 (["--mic=0.1,0", "--mic=0,0", "--mic=0.02,0"], 75)):
            text = self.plan(*arguments, "--angle", angle).text
            rows = re.findall(r"^\d +\([^)]*\) +(?:([\d.e+-]+) us (earlier|later)|with the reference)$", text, re.MULTILINE)
            leads = [float(micros or 0) * (-1e-6 if way == "later" else 1e-6) for micros, way in rows]
            heard = self.power(delayed(leads), len(leads), arguments, angle)
            # The level of a signal from the look direction.
            self.assertAlmostEqual(10 * math.log10(heard / alone), 20 * math.log10(0.7948), delta=0.02)
            turned_away = self.power(delayed([-lead for lead in leads]), len(leads), arguments, angle)
            self.assertLess(turned_away, 0.9 * heard)

    def test_half_a_wavelength(self):
        for arguments, gap in ((["--array", "line:4:35mm"], 0.035), (["--mic=0.3,0", "--mic=0,0", "--mic=0.1,0"], 0.2),
                               (["--array", "square:64mm"], 0.064)):
            text = self.plan(*arguments).text
            hertz = float(re.search(r"half a wavelength apart below (\S+) Hz", text)[1])
            self.assertAlmostEqual(SPEED / hertz, 2 * gap, delta=0.001 * gap)


class RefusalTest(GeometryTest):
    def refuse(self, arguments, *fragments, status=2):
        result = self.run_tool("geometry", *arguments)
        self.assert_refused(result, status, *fragments)

    def test_geometries_without_steering_are_refused_unless_forced(self):
        for name in ("rectangle", "circular"):
            arguments = ["--mic=0,0", "--mic=0.1,0", "--mic=0.1,0.05", "--geometry", name]
            self.refuse(arguments, "silence", "use triangle", "force accepts it")
            plan = self.plan(*arguments, "--force")
            self.assertIn("gives silence", " ".join(plan.text.split()))
            self.assertEqual(len(plan.of(r"\[\d\]")), 3)
            self.assertEqual(plan.of(r"\*"), [])
            self.assertNotIn("earlier", plan.text)

    def test_wrong_command_lines(self):
        for arguments, fragment in (([], "array is missing"), (["--array", "ring:3"], "--array"), (["--mic", "0"], "--mic"),
                                    (["--mic=0,0", "--angle", "up"], "--angle"), (["--mic=0,0", "in.wav"], "in.wav"),
                                    (["--mic=0,0", "--json"], "--json"), (["--mic=0,0", "--sound-speed", 0], "--sound-speed"),
                                    (["--mic=0,0"] * 5, "at most 4"), (["--mic=0,0", "--config", ""], "--config")):
            self.refuse(arguments, fragment)

    def test_a_reader_that_went_away_is_one_line(self):
        with open("/dev/full", "w") as full:
            result = subprocess.run([TOOL, "geometry", "--mic", "0,0"], stdout=full, stderr=subprocess.PIPE, text=True)
        self.assertEqual((result.returncode, result.stderr), (1, "vekbf: cannot write standard output: No space left on device\n"))


class ConfigTest(GeometryTest):
    def setUp(self):
        super().setUp()
        self.config = self.folder / "desk.ini"

    def test_the_file_of_process_will_do(self):
        self.config.write_text('array = "line:4:40mm"\nangle = 20\nalgorithm = adaptive\npre-gain = -3\n')
        text = self.plan("--config", self.config).text
        self.assertEqual(text, self.plan("--array", "line:4:40mm", "--angle", 20).text)
        self.assertNotEqual(text, self.plan("--array", "line:4:40mm").text)
        write_wav(self.input, noise(400), 4)
        self.assertEqual(self.run_tool("process", self.input, self.output, "--config", self.config).returncode, 0)

    def test_the_command_line_wins(self):
        self.config.write_text('mic = ["0,0", "0.05,0"]\nangle = 20\nsound-speed = 300\n')
        text = self.plan("--config", self.config, "--angle", 40).text
        self.assertEqual(text, self.plan("--mic=0,0", "--mic=0.05,0", "--angle", 40, "--sound-speed", 300).text)
        text = self.plan("--config", self.config, "--mic=0,0", "--mic=0.1,0", "--mic=0.2,0").text
        self.assertEqual(text, self.plan("--mic=0,0", "--mic=0.1,0", "--mic=0.2,0", "--angle", 20, "--sound-speed", 300).text)

    def test_bad_files(self):
        for content in (b"", b"colour = red\n", b"angle = east\n", b"[other]\nangle = 1\n", bytes(range(256)) * 100):
            self.config.write_bytes(content)
            self.assert_refused(self.run_tool("geometry", "--mic=0,0", "--config", self.config), 2)
        for path in (self.folder, self.folder / "none.ini"):
            self.assert_refused(self.run_tool("geometry", "--mic=0,0", "--config", path), 2, os.path.basename(path))


if __name__ == "__main__":
    unittest.main()
