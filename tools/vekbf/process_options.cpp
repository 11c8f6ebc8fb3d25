// SPDX-License-Identifier: MIT
#include "process_options.h"

#include <algorithm>
#include <charconv>

#include "failure.h"

namespace vekbf_tool {

namespace {

void declare_files(CLI::App& app, RawProcess& raw) {
  app.add_option("IN.wav OUT.wav", raw.files,
                 "Recording (WAV, one channel per microphone) and result (16-bit mono WAV, as long "
                 "as the input and lined up with it); - is raw s16le on standard input or output")
      ->type_name("")
      ->configurable(false);
  app.add_flag("--join", raw.join, "All files but the last are mono, one per microphone, in order");
  app.add_option("--out-dir", raw.done.outDir,
                 "All files are recordings; the results go into this folder under the same names")
      ->check(refuse_empty)
      ->type_name("DIR");
  app.add_option("--channels", raw.channels,
                 "Channels of the recording to take, in microphone order; the first is 1")
      ->check(refuse_empty)
      ->type_name("N,...");
  app.add_option("--rate", raw.done.rate, "Sample rate of raw input in Hz, 8000 to 48000")
      ->check(refuse_empty);
  app.add_option("--raw-channels", raw.done.rawChannels,
                 "Channels of raw input, unless it has one per microphone")
      ->check(refuse_empty);
}

void split_inputs_and_output(RawProcess& raw) {
  Arguments& done = raw.done;
  done.inputs = raw.files;
  if (done.inputs.empty()) throw UsageError("IN.wav is missing");
  if (!done.outDir.empty()) {
    if (raw.join) throw UsageError("--join makes one result: give OUT.wav instead of --out-dir");
    if (std::count(done.inputs.begin(), done.inputs.end(), "-") > 0) {
      throw UsageError("--out-dir takes files, not -");
    }
    return;
  }
  done.output = done.inputs.back();
  done.inputs.pop_back();
  if (done.inputs.empty()) throw UsageError("OUT.wav is missing");
  if (done.inputs.size() == 1) return;
  if (!raw.join) {
    throw UsageError("one file too many: '" + done.output +
                     "'; --join is for mono files, --out-dir for several recordings");
  }
  if (std::count(done.inputs.begin(), done.inputs.end(), "-") > 0) {
    throw UsageError("--join takes files, not -");
  }
}

std::vector<int> parse_channels(const std::string& text) {
  std::vector<int> channels;
  const char* const end = text.data() + text.size();
  for (const char* next = text.data(); next < end;) {
    int number = 0;
    const auto [stop, error] = std::from_chars(next, end, number);
    const bool twice = std::count(channels.begin(), channels.end(), number) > 0;
    const bool last = stop == end;
    if (error != std::errc() || number < 1 || twice ||
        (!last && (*stop != ',' || stop + 1 == end))) {
      throw UsageError("--channels takes different numbers from 1, such as 1,3,5,7");
    }
    channels.push_back(number);
    next = last ? end : stop + 1;
  }
  return channels;
}

void check_channels(const Arguments& arguments) {
  const std::size_t mics = arguments.array.mics.size();
  const std::size_t channels = arguments.channels.size();
  if (channels != 0 && channels != mics) {
    throw UsageError("--channels takes one number per microphone: " + std::to_string(mics) +
                     ", not " + std::to_string(channels));
  }
}

void check_raw(const Arguments& arguments) {
  const bool raw = arguments.readsRaw();
  if (raw && (arguments.rate < 8000 || arguments.rate > 48000)) {
    throw UsageError("raw input needs --rate, a sample rate of 8000 to 48000 Hz");
  }
  if (!raw && arguments.rate != 0) {
    throw UsageError("--rate is for raw input; a WAV file names its own");
  }
  if (arguments.rawChannels < 0 || arguments.rawChannels > 64 ||
      (!raw && arguments.rawChannels != 0)) {
    throw UsageError("--raw-channels is for raw input, 1 to 64");
  }
}

}  // namespace

void declare_process(CLI::App& app, RawProcess& raw) {
  declare_files(app, raw);
  declare_config(app, raw.configFile);
  declare_array(app, raw.array);
  app.add_option(
         "--algorithm", raw.algorithm,
         "fixed: delay-and-sum; adaptive: also cancels steady noise, at some cost to the talker")
      ->capture_default_str();
  declare_angle(app, raw.done.angle);
  app.add_option("--angle-track", raw.done.angleTrack,
                 "File of lines SECONDS DEGREES: from each time on that angle holds")
      ->check(refuse_empty)
      ->type_name("FILE");
  app.add_option("--vad-threshold", raw.vadThreshold, "Detector threshold, 0 to 1")
      ->check(refuse_empty)
      ->capture_default_str();
  app.add_option("--intensity", raw.intensity,
                 "Strength of the adaptive beamformer's gate, 0 to 10")
      ->check(refuse_empty)
      ->capture_default_str();
  app.add_option("--pre-gain", raw.done.preGain,
                 "Gain in dB before the samples are rounded to 16 bits, -60 to 60")
      ->check(refuse_empty)
      ->capture_default_str();
  app.add_flag("--find-pre-gain", raw.done.findPreGain,
               "Where the output wraps around: try lower gains in steps of 3 dB, down to -24 dB, "
               "and name the first without; reads the recording anew for each");
  app.add_flag("--json", raw.done.json,
               "Report each finished file in a line of JSON on standard output, or on standard "
               "error where standard output carries the result");
  app.add_flag("--verbose", raw.done.verbose, "Show the library's own lines on standard error");
}

Arguments give_process_meaning(RawProcess& raw) {
  Arguments& done = raw.done;
  split_inputs_and_output(raw);
  done.configFile = raw.configFile;
  done.array = give_array_meaning(raw.array);
  check_array(done.array);
  if (raw.algorithm != "fixed" && raw.algorithm != "adaptive") {
    throw UsageError("--algorithm is fixed or adaptive, not '" + raw.algorithm + "'");
  }
  done.channels = parse_channels(raw.channels);
  check_channels(done);
  check_raw(done);
  done.algorithm = raw.algorithm == "adaptive" ? VEK_ADAPTIVE_BF : VEK_FIXED_BF;
  // Written so that not-a-number fails too.
  if (!(raw.vadThreshold >= 0.0 && raw.vadThreshold <= 1.0)) {
    throw UsageError("--vad-threshold is a number from 0 to 1");
  }
  if (!(done.preGain >= -60.0 && done.preGain <= 60.0)) {
    throw UsageError("--pre-gain is a number of decibels from -60 to 60");
  }
  if (raw.intensity < 0 || raw.intensity > 10) {
    throw UsageError("--intensity is a whole number from 0 to 10, not " +
                     std::to_string(raw.intensity));
  }
  done.config = {static_cast<float>(raw.vadThreshold), static_cast<std::uint32_t>(raw.intensity)};
  return done;
}

}  // namespace vekbf_tool
