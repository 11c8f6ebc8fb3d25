// SPDX-License-Identifier: MIT
//
// Everything an instance remembers as a string of bytes that is the same on every machine: field
// by field in record order, little-endian, no pointers and no padding.
#pragma once

#include <cstdint>
#include <vector>

#include "base/instance.h"

namespace vekbf::test {

// The instance, then its transform, its detector and the detector's estimator.
//
// Every not-a-number has one pattern. A subnormal is written as a zero of its sign, because the
// vector unit of 32-bit ARM flushes them. For the same reason powerRatio is written as zero where
// smoothPower is subnormal or zero: the quotient then depends on what was flushed. Not written
// are: the reserved scalars, meanLogLikelihood before the first frame, slots of the factor list and
// of the twiddle table that the plan does not use, and the transform's scratch memory.
std::vector<uint8_t> serialise(const Instance& instance);

}  // namespace vekbf::test
