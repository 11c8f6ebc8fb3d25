// SPDX-License-Identifier: MIT
#include "array_options.h"

#include "array_shape.h"
#include "failure.h"

namespace vekbf_tool {

std::string refuse_empty(const std::string& text) {
  return text.empty() ? "a value is missing" : "";
}

void declare_array(CLI::App& app, RawArray& raw) {
  app.add_option("--array", raw.shape,
                 "line:N:SPACING from microphone 0 towards +x, or square:SIDE with microphones at "
                 "0, 90, 180, 270 degrees; lengths in mm, cm or m")
      ->type_name("SHAPE");
  // One value each: without this, it would swallow the file names after it.
  app.add_option("--mic", raw.mics,
                 "Position x,y of a microphone in metres; once per channel, in channel order")
      ->type_name("X,Y")
      ->type_size(1)
      ->allow_extra_args(false);
  app.add_option("--geometry", raw.geometry,
                 "linear: on the x axis; triangle: at 0, 90, 180, 270 degrees on a circle of "
                 "radius |x| of the first microphone")
      ->capture_default_str();
  app.add_option("--sound-speed", raw.done.soundSpeed, "Metres per second")
      ->check(refuse_empty)
      ->capture_default_str();
  app.add_flag("--force", raw.done.force,
               "Take a rectangle or a circle all the same, for which the library has no steering");
}

void declare_angle(CLI::App& app, std::int32_t& angle) {
  app.add_option("--angle", angle,
                 "Direction of the talker in degrees, from +x towards +y; a line hears 0 to 180, "
                 "90 is broadside")
      ->check(refuse_empty)
      ->capture_default_str();
}

void declare_config(CLI::App& app, std::string& path) {
  app.add_option("--config", path, "File of options, one per line: angle = 60")
      ->check(refuse_empty)
      ->type_name("FILE")
      ->configurable(false);
}

MicArray give_array_meaning(RawArray& raw) {
  MicArray& array = raw.done;
  array.geometry = parse_geometry(raw.geometry);
  if (!raw.shape.empty()) {
    if (!raw.mics.empty() || array.geometry != VEK_BF_UNIFORM_LINEAR_ARRAY) {
      throw UsageError("--array says it all: leave --mic and --geometry out");
    }
    set_shape(raw.shape, array);
  }
  for (const std::string& mic : raw.mics) array.mics.push_back(parse_position(mic));
  return array;
}

}  // namespace vekbf_tool
