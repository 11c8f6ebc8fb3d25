// SPDX-License-Identifier: MIT
#include "direction/groups.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace vekbf::direction {

namespace {

constexpr double kLeastDistance = 0.001;   // metres; nearer pairs see hardly any phase difference
constexpr double kSameDistance = 0.00001;  // metres
constexpr double kSqrt2 = 1.4142135623730951;

void append(Group& group, int ahead, int behind) {
  group.pairs[group.pairCount++] = {static_cast<uint8_t>(ahead), static_cast<uint8_t>(behind)};
}

Groups groups_of_line(const VekBfInit& array) {
  Groups all = {};
  for (int i = 0; i < array.micNum; ++i) {
    for (int j = i + 1; j < array.micNum; ++j) {
      const double step = static_cast<double>(array.micCoordinate[j][0]) -
                          static_cast<double>(array.micCoordinate[i][0]);
      const double distance = std::fabs(step);
      if (!(distance >= kLeastDistance)) continue;
      Group* end = all.groups + all.count;
      Group* group = std::find_if(all.groups, end, [=](const Group& g) {
        return std::fabs(distance - g.distance) <= kSameDistance;
      });
      if (group == end) {
        *group = {};
        group->distance = distance;
        ++all.count;
      }
      append(*group, step > 0 ? j : i, step > 0 ? i : j);
    }
  }
  // (Not by std::sort, whose code for long lists gcc 12 warns about.)
  for (int g = 1; g < all.count; ++g) {
    for (int i = g; i > 0 && all.groups[i].distance < all.groups[i - 1].distance; --i) {
      std::swap(all.groups[i], all.groups[i - 1]);
    }
  }
  all.rowSetCount = all.count;
  for (int g = 0; g < all.count; ++g) {
    all.groups[g].rowSet = g;
    all.groups[g].accumulator = 0;
    all.rowDistances[g] = all.groups[g].distance;
  }
  return all;
}

// The four sides have one length and the two diagonals another, so two sets of rows serve four
// groups.
Groups groups_of_square(const VekBfInit& array) {
  struct Lines {
    SquareGroup group;
    int rowSet;
    MicPair pairs[2];
    int pairCount;
  };
  constexpr Lines kLines[] = {{kAcross135, 0, {{1, 0}, {2, 3}}, 2},
                              {kAcross0, 1, {{0, 2}}, 1},
                              {kAcross45, 0, {{0, 3}, {1, 2}}, 2},
                              {kAcross90, 1, {{1, 3}}, 1}};
  Groups all = {};
  const double radius = std::fabs(static_cast<double>(array.micCoordinate[0][0]));
  all.rowDistances[0] = radius * kSqrt2;
  all.rowDistances[1] = 2.0 * radius;
  all.rowSetCount = 2;
  if (!(all.rowDistances[0] >= kLeastDistance)) return all;
  for (const Lines& lines : kLines) {
    Group group = {};
    group.distance = all.rowDistances[lines.rowSet];
    group.rowSet = lines.rowSet;
    group.accumulator = lines.group;
    for (int p = 0; p < lines.pairCount; ++p) {
      const MicPair pair = lines.pairs[p];
      if (std::max(pair.ahead, pair.behind) < array.micNum) append(group, pair.ahead, pair.behind);
    }
    if (group.pairCount == 0) continue;
    all.groups[all.count++] = group;
  }
  return all;
}

}  // namespace

Groups groups_of(const VekBfInit& array) {
  return array.geometry == VEK_BF_UNIFORM_LINEAR_ARRAY ? groups_of_line(array)
                                                       : groups_of_square(array);
}

}  // namespace vekbf::direction
