// SPDX-License-Identifier: MIT
#include "stream/angle_track.h"

#include <stdlib.h>

#include <cstring>

#include "stream/file_text.h"
#include "stream/grown.h"

namespace vekbf::stream {

namespace {

constexpr size_t kLongestFile = size_t{1} << 26;  // bytes: weeks of turns
constexpr size_t kFirstTurns = 64;

bool is_space(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

// Removes the next word from the front of `rest` and returns it; empty if there is none.
Text next_word(Text& rest) {
  while (rest.size > 0 && is_space(rest.begin[0])) rest = without_first(rest, 1);
  size_t end = 0;
  while (end < rest.size && !is_space(rest.begin[end])) end++;
  const Text word = first_of(rest, end);
  rest = without_first(rest, end);
  return word;
}

bool parse_turn(Text line, Turn& turn) {
  const Text seconds = next_word(line);
  const Text angle = next_word(line);
  return next_word(line).size == 0 && parse_number(seconds, turn.seconds) &&
         parse_number(angle, turn.angle);
}

bool append(AngleTrack& track, size_t& room, const Turn& turn) {
  if (track.count == room) {
    room = room == 0 ? kFirstTurns : 2 * room;
    Turn* larger = grown(track.turns, track.count, room);
    if (larger == nullptr) return false;
    track.turns = larger;
  }
  track.turns[track.count++] = turn;
  return true;
}

bool parse_track(Text rest, AngleTrack& track, Message& message) {
  size_t room = 0;
  Text line{};
  for (int64_t number = 1; next_line(rest, line); number++) {
    const Text words = first_of(line, find(line, '#'));
    Text blank = words;
    if (next_word(blank).size == 0) continue;
    Turn turn{};
    const bool rising = parse_turn(words, turn) &&
                        (track.count == 0 || turn.seconds > track.turns[track.count - 1].seconds);
    if (!rising) {
      message << "line " << number
              << " is not a time in seconds, later than the one before, and a whole angle in "
                 "degrees, but ";
      message.quote(trimmed(words));
      return false;
    }
    if (!append(track, room, turn)) {
      message << kNoMemory;
      return false;
    }
  }
  if (track.count == 0) message << "has no line of seconds and degrees, such as 2.5 60";
  return track.count > 0;
}

}  // namespace

bool read_track(const char* path, AngleTrack& track, Message& message) {
  track = {nullptr, 0};
  FileText file{};
  if (!read_whole(path, kLongestFile, file, message)) return false;
  const bool read = parse_track({file.content, file.size}, track, message);
  free(file.content);
  if (!read) release(track);
  return read;
}

bool copy_track(const AngleTrack& from, AngleTrack& to) {
  to = {nullptr, 0};
  if (from.count == 0) return true;
  to.turns = static_cast<Turn*>(malloc(from.count * sizeof(Turn)));
  if (to.turns == nullptr) return false;
  std::memcpy(to.turns, from.turns, from.count * sizeof(Turn));
  to.count = from.count;
  return true;
}

void release(AngleTrack& track) {
  free(track.turns);
  track = {nullptr, 0};
}

int32_t angle_at(const AngleTrack& track, size_t& next, double seconds, int32_t before) {
  while (next < track.count && track.turns[next].seconds <= seconds) next++;
  return next == 0 ? before : track.turns[next - 1].angle;
}

}  // namespace vekbf::stream
