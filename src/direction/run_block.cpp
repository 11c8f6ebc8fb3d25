// SPDX-License-Identifier: MIT
//
// One block through the finder. At every second block the frames are transformed and the phases of
// the bins that count are gathered; at the first block after some transforms the map is computed
// and the tracker updated. No block does both, which bounds the most expensive one.
#include "direction/run_block.h"

#include "base/framing.h"

namespace vekbf::direction {

namespace {

constexpr uint64_t kFirstTransform = kFrameSize / kHopSize;  // the block that fills the frame
constexpr float kLeastActivity = 2.0f;  // sum of weights below which an update does not count
constexpr float kLeastLoudest = 1.0f;

void gather(Finder& finder) {
  float* power = next_power(finder.reliability, finder.constants);
  transform_signals(finder.signals, finder.mics, power);
  ++finder.transforms;
  const bool counts = update_reliability(finder.reliability, finder.constants);
  if (!counts || finder.paused) return;
  ReliableBins reliable;
  choose_bins(reliable, finder.reliability, finder.constants);
  gather_phases(finder.evidence, finder.signals.spectra, finder.mics, power,
                finder.reliability.late, reliable, finder.groups, finder.rows,
                finder.constants.firstBin);
}

// True if there is enough evidence and its level is within `focus` of the loudest recent level,
// which decays.
bool is_loud_enough(Finder& finder) {
  const Evidence& evidence = finder.evidence;
  finder.loudest = finder.loudest * finder.constants.levelFade;
  if (finder.loudest < kLeastLoudest) finder.loudest = kLeastLoudest;
  if (evidence.activity < kLeastActivity) return false;
  if (evidence.level > finder.loudest) finder.loudest = evidence.level;
  return !(evidence.level < finder.loudest * finder.focus);
}

// Returns true if the evidence counted.
bool update(Finder& finder) {
  if (!is_loud_enough(finder)) return false;
  if (finder.line) {
    draw_line(finder.map, finder.evidence.harmonics[0]);
  } else {
    draw_square(finder.map, finder.evidence.harmonics);
  }
  const Sector& sector = finder.sector;
  if (sector.everywhere == 0 &&
      !is_inside(sector, largest_inside(finder.map, kEverywhere, finder.tracker.degrees))) {
    return false;
  }
  if (follow(finder.tracker, finder.map, finder.evidence.activity, sector, finder.holdUpdates)) {
    finder.age = 0;
  }
  return true;
}

VekDirState state_of(const Finder& finder, bool heard) {
  return {finder.tracker.best, heard ? 1 : 0, finder.tracker.confidence, finder.age};
}

}  // namespace

void drop_evidence(Finder& finder) { finder.evidence = {}; }

VekDirState run_block(Finder& finder, const int16_t* in) {
  if (is_zero_block(in)) return state_of(finder, false);
  ++finder.blocks;
  take_block(finder.signals.history, in, finder.mics);
  if (finder.age < UINT32_MAX) ++finder.age;
  if (finder.blocks % kBlocksPerTransform == 0) {
    if (finder.blocks >= kFirstTransform) gather(finder);
  } else if (finder.transforms == finder.constants.transformsPerUpdate) {
    finder.heard = update(finder);
    finder.transforms = 0;
    drop_evidence(finder);
  }
  return state_of(finder, finder.heard);
}

}  // namespace vekbf::direction
