# SPDX-License-Identifier: MIT
"""What the tool refuses, how it says so, and that it leaves nothing behind."""

import os
import resource
import stat
import subprocess
import unittest
import wave

from support import LINE, TOOL, ToolTest, line_of, noise, read_wav, write_wav

USAGE = 2
RUN = 1


class CommandLineTest(ToolTest):
    def refuse(self, arguments, *fragments):
        write_wav(self.input, noise(500))
        self.assert_refused(self.run_tool(*arguments), USAGE, *fragments)

    def refuse_option(self, options, *fragments):
        self.refuse(["process", self.input, self.output, *options], *fragments)

    def test_no_command(self):
        self.refuse([], "subcommand")

    def test_unknown_command(self):
        self.refuse(["polish", self.input, self.output])

    def test_unknown_option(self):
        self.refuse_option(["--mic", "0,0", "--loud"], "--loud")

    def test_missing_files(self):
        self.refuse(["process", "--mic", "0,0"], "IN.wav")
        self.refuse(["process", self.input, "--mic", "0,0"], "OUT.wav")

    def test_one_file_too_many(self):
        self.refuse_option(["third.wav", "--mic", "0,0"], "third.wav")

    def test_no_microphone(self):
        self.refuse_option([], "array is missing")

    def test_five_microphones(self):
        self.refuse_option([*LINE, "--mic", "0.2,0"], "at most 4", "'0.2,0'")

    def test_bad_coordinates(self):
        for text in ("0", "0;0", "a,b", "0,0,0", "nan,0", "0,inf", "", ",", "0x1,0", "0,0;1,0"):
            self.refuse_option(["--mic", text], "--mic")

    def test_bad_geometry(self):
        self.refuse_option(["--mic", "0,0", "--geometry", "spiral"], "--geometry", "spiral")

    def test_geometries_without_steering_are_refused_with_advice(self):
        for name in ("rectangle", "circular"):
            self.refuse_option(["--mic", "0,0", "--geometry", name], "silence", "use triangle", "force accepts it")

    def test_unless_they_are_forced(self):
        write_wav(self.input, noise(2 * 1000), 2)
        for name in ("rectangle", "circular"):
            result = self.run_tool("process", self.input, self.output, *line_of(2), "--geometry", name, "--force")
            self.assertEqual((result.returncode, result.stdout), (0, ""))
            self.assertRegex(result.stderr, r"\Avekbf: note: [^\n]*gives silence\n\Z")
            self.assertEqual(read_wav(self.output)[2], [0] * 1000)
            self.output.unlink()
        # It takes nothing else that is wrong.
        self.refuse_option(["--mic", "0,0", "--geometry", "spiral", "--force"], "--geometry")
        self.refuse_option([*LINE, "--mic", "0.2,0", "--force"], "at most 4")

    def test_bad_algorithm(self):
        self.refuse_option(["--mic", "0,0", "--algorithm", "magic"], "fixed or adaptive", "magic")

    def test_bad_angle(self):
        for text in ("east", "60.5", "99999999999", ""):
            self.refuse_option(["--mic", "0,0", "--angle", text], "--angle")

    def test_bad_sound_speed(self):
        for text in ("0", "-343", "fast", ""):
            self.refuse_option(["--mic", "0,0", "--sound-speed", text], "--sound-speed")

    def test_bad_threshold(self):
        for text in ("-0.01", "1.01", "nan", "inf", "high", ""):
            self.refuse_option(["--mic", "0,0", "--vad-threshold", text], "--vad-threshold")

    def test_bad_intensity(self):
        for text in ("-1", "11", "4294967296", "2.5", "much", ""):
            self.refuse_option(["--mic", "0,0", "--intensity", text], "--intensity")

    def test_an_option_given_twice(self):
        self.refuse_option(["--mic", "0,0", "--angle", "1", "--angle", "2"], "--angle")

    def test_an_option_without_its_value(self):
        self.refuse_option(["--mic", "0,0", "--angle"], "--angle")


class InputTest(ToolTest):
    def refuse(self, *fragments, mics=1, source=None):
        result = self.run_tool("process", source or self.input, self.output, *line_of(mics))
        self.assert_refused(result, RUN, *fragments)

    def test_missing_file(self):
        self.refuse("there is no file", "in.wav")

    def test_directory(self):
        self.refuse("is a directory", source=self.folder)

    def test_empty_file(self):
        self.input.write_bytes(b"")
        self.refuse("is empty")

    def test_file_without_a_sample(self):
        write_wav(self.input, [])
        self.refuse("holds no audio")

    def test_not_audio(self):
        self.input.write_text("This is a letter, not a recording.\n" * 50)
        self.refuse("as a WAV file")

    def test_raw_audio_without_a_header(self):
        self.input.write_bytes(bytes(range(256)) * 20)
        self.refuse("as a WAV file")

    def test_wrong_channel_counts(self):
        for channels, mics in ((1, 2), (2, 1), (4, 3), (3, 4), (6, 4), (8, 1)):
            write_wav(self.input, noise(200 * channels), channels)
            text = "1 channel:" if channels == 1 else f"{channels} channels:"
            self.refuse("in.wav'", f"has {mics} microphone", f"the sound {text}", mics=mics)

    def test_odd_rates(self):
        for rate in (1, 4000, 7999, 48001, 96000, 192000):
            write_wav(self.input, noise(500), rate=rate)
            self.refuse("in.wav'", "sample rate is 8000 to 48000 Hz", f"not {rate}")

    def test_rates_at_the_limits_are_fine(self):
        for rate in (8000, 11025, 48000):
            write_wav(self.input, noise(500), rate=rate)
            self.assertEqual(self.run_tool("process", self.input, self.output, "--mic", "0,0").returncode, 0)

    def test_other_sample_formats(self):
        with wave.open(str(self.input), "wb") as file:
            file.setparams((1, 1, 16000, 0, "NONE", ""))
            file.writeframes(bytes(range(240)))
        self.refuse("a WAV file of 16, 24 or 32-bit or float samples is needed", "8 bit")
        data = bytearray(self.input.read_bytes())
        data[20] = 7  # format tag: mu-law
        self.input.write_bytes(data)
        self.refuse("a WAV file of 16, 24 or 32-bit or float samples is needed", "U-Law")

    def test_truncated_anywhere(self):
        write_wav(self.input, noise(1000))
        whole = self.input.read_bytes()
        for length in (1, 3, 4, 11, 12, 20, 30, 36, 40, 43, 44, 45, 46, 100, 1000, len(whole) - 2, len(whole) - 1):
            self.input.write_bytes(whole[:length])
            self.refuse()
        self.input.write_bytes(whole[:1000])
        self.refuse("is cut off")

    def test_a_file_name_with_a_line_break_still_gives_one_line(self):
        self.refuse("there is no file", source=self.folder / "two\nlines.wav")


class OutputTest(ToolTest):
    """What may not be written over stands in test_overwriting.py."""

    def refuse(self, target, *fragments):
        write_wav(self.input, noise(500))
        result = self.run_tool("process", self.input, target, "--mic", "0,0")
        self.assert_refused(result, RUN, *fragments)

    def test_a_folder_that_is_not_there(self):
        self.refuse(self.folder / "nowhere" / "out.wav", "cannot write")

    def test_a_directory_is_not_replaced(self):
        (self.folder / "taken").mkdir()
        self.refuse(self.folder / "taken", "not a regular file")

    def test_a_pipe_is_not_replaced(self):
        os.mkfifo(self.folder / "pipe")
        self.refuse(self.folder / "pipe", "not a regular file")
        self.assertTrue(stat.S_ISFIFO((self.folder / "pipe").stat().st_mode))

    def test_a_full_disk_leaves_nothing(self):
        write_wav(self.input, noise(100000))

        def small_files_only():
            import signal

            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
            resource.setrlimit(resource.RLIMIT_FSIZE, (50000, 50000))

        result = subprocess.run(
            [TOOL, "process", self.input, self.output, "--mic", "0,0"],
            capture_output=True, text=True, timeout=60, check=False, preexec_fn=small_files_only,
        )
        self.assert_refused(result, RUN, "cannot write")


if __name__ == "__main__":
    unittest.main()
