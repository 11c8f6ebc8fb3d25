// SPDX-License-Identifier: MIT
//
// The same instance twice: one of the library, one of the plain model, for comparisons of single
// operations.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <vector>

#include "reference/model.h"
#include "support/beam.h"
#include "support/records.h"

namespace vekbf::test {

class Twins {
 public:
  explicit Twins(const VekBfInit& init, const VekBfConfig& config = kConfig)
      : beam_(init), buffer_(0), model_(reference::init(buffer_.get(), &init)) {
    EXPECT_EQ(beam_.configure(config), VEK_BF_OK);
    EXPECT_EQ(reference::set_config(model_, &config), VEK_BF_OK);
  }
  ~Twins() { reference::free_instance(model_); }
  Twins(const Twins&) = delete;
  Twins& operator=(const Twins&) = delete;

  Instance& library() { return beam_.record(); }
  Instance& model() { return *model_; }

  // Makes the same change to both records.
  template <class Change>
  void change(Change&& change) {
    change(library());
    change(model());
  }
  testing::AssertionResult same(bool flushed = false) {
    const testing::AssertionResult instances = same_instances(library(), model(), flushed);
    if (!instances) return instances;
    const testing::AssertionResult transforms =
        same_transforms(library().fftState, model().fftState);
    if (!transforms) return transforms;
    // Subnormals are routine in the detector, and the vector unit of 32-bit ARM flushes them.
    return same_detectors(library().vadState, model().vadState, true);
  }

 private:
  Beam beam_;
  WorkBuffer buffer_;
  VekBfHandle model_;
};

// Spectra of every microphone, of parts up to `peak`.
inline void randomise_spectra(Instance& instance, Random& random, float peak) {
  for (auto& row : instance.micSpectrum) {
    for (Complex& bin : row) bin = {peak * random.unit(), peak * random.unit()};
  }
}

// A number of either sign between 2^low and 2^high, or, one time in sixteen, zero.
inline float any_size(Random& random, int low, int high) {
  if (random.below(16) == 0) return random.below(2) == 0 ? 0.0f : -0.0f;
  const float mantissa = 1.0f + static_cast<float>(random.next32() >> 9) * 0x1p-23f;
  const float value = std::ldexp(mantissa, low + random.below(high - low));
  return random.below(2) == 0 ? value : -value;
}

// A block of memory as bytes, for comparisons that see everything.
template <class T>
std::vector<uint8_t> bytes_of(const T& value) {
  const auto* first = reinterpret_cast<const uint8_t*>(&value);
  return std::vector<uint8_t>(first, first + sizeof value);
}

}  // namespace vekbf::test
