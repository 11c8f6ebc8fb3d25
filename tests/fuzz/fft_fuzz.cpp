// SPDX-License-Identifier: MIT
//
// The transform engine and its front end: any size and flags for the factors, sizes up to 2048 for
// everything else, any contents.
#include <stdlib.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "fft/fft.h"
#include "fuzz/target.h"
#include "reference/model.h"
#include "support/bits.h"
#include "support/random.h"

namespace {

using namespace vekbf::fuzz;
using vekbf::test::same_bits;

using Floats = std::vector<float>;

struct Free {
  void operator()(void* block) const { free(block); }
};
using Plan = std::unique_ptr<RealFftPlan, Free>;

constexpr int kMaxSize = 2048;

void expect_same(const Floats& actual, const Floats& expected, const char* what) {
  for (size_t i = 0; i < actual.size(); ++i) {
    if (!same_bits(actual[i], expected[i])) fail(what, std::to_string(i).c_str());
  }
}

// Mostly sizes that can be transformed.
int32_t read_size(Input& input) {
  const uint8_t what = input.byte();
  if (what < 160) return 32 << what % 7;
  if (what < 250) return static_cast<int32_t>(input.byte()) * 8 + what % 8;
  return input.number() % kMaxSize;
}

// Any bits for a while, then numbers of one size.
Floats read_floats(Input& input, size_t count) {
  Floats values(count);
  const size_t any = std::min<size_t>(input.byte() % 32, count);
  vekbf::test::Random random(input.word());
  const float size = static_cast<float>(1 << input.byte() % 16);
  for (float& value : values) value = size * random.unit();
  for (size_t i = 0; i < any; ++i) values[(i * 37) % count] = input.any_float();
#if defined(__arm__)
  // The vector unit flushes subnormals: the last bits of small numbers are not compared there.
  for (float& value : values) {
    if (!(std::abs(value) > 0x1p-20f && std::abs(value) < 0x1p40f)) value = 1.0f;
  }
#endif
  return values;
}

void factors(Input& input) {
  const int32_t n = input.below(2) == 0 ? input.number() : read_size(input);
  const int32_t flags = input.byte();
  tally("factor lists compared");
  int32_t ours[kFactorSlots];
  int32_t theirs[kFactorSlots];
  std::memset(ours, 0x33, sizeof ours);
  std::memset(theirs, 0x33, sizeof theirs);
  const int32_t result = fft_factor(n, ours, flags);
  expect(result == reference::fft_factor(n, theirs, flags), "another result", "fft_factor");
  expect(result != 0 || std::memcmp(ours, theirs, sizeof ours) == 0, "other factors", "fft_factor");
  expect(fft_factor(n, nullptr, flags) == -1, "not refused", "fft_factor");
}

Floats table(const Complex* values, int32_t count) {
  const float* first = reinterpret_cast<const float*>(values);
  return Floats(first, first + 2 * std::max(count, 0));
}

void engine(Input& input) {
  const int32_t size = read_size(input);
  const Plan ours(fft_plan_alloc(size));
  const Plan theirs(reference::fft_plan_alloc(size));
  expect((ours == nullptr) == (theirs == nullptr), "one plan is missing", "fft_plan_alloc");
  if (ours == nullptr) return;
  expect(ours->ncfft == theirs->ncfft, "another size", "fft_plan_alloc");
  const int32_t n = ours->ncfft;
  tally("engines compared");
  expect_same(table(ours->twiddles, n), table(theirs->twiddles, n), "twiddles");
  expect_same(table(ours->superTwiddles, n / 2), table(theirs->superTwiddles, n / 2),
              "superTwiddles");

  const auto samples = static_cast<size_t>(size);
  const Floats in = read_floats(input, samples);
  Floats spectrum(samples + 2, 7.0f);
  Floats expected = spectrum;
  fft_real_forward(reinterpret_cast<Complex*>(spectrum.data()), in.data(), ours.get());
  reference::fft_real_forward(reinterpret_cast<Complex*>(expected.data()), in.data(), theirs.get());
  expect_same(spectrum, expected, "fft_real_forward");

  const Floats bins = read_floats(input, samples + 2);
  Floats out(samples, 7.0f);
  Floats wanted = out;
  fft_real_inverse(out.data(), reinterpret_cast<const Complex*>(bins.data()), ours.get());
  reference::fft_real_inverse(wanted.data(), reinterpret_cast<const Complex*>(bins.data()),
                              theirs.get());
  if (kPlanted && size > 128) out[2] = -out[2];
  expect_same(out, wanted, "fft_real_inverse");

  const int32_t direction = input.byte() % 2;
  const auto* points = reinterpret_cast<const Complex*>(bins.data());
  const ComplexFftConfig config{n, ours->factors, ours->twiddles, ours->buffer + n};
  const ComplexFftConfig same{n, theirs->factors, theirs->twiddles, theirs->buffer + n};
  fft_complex(reinterpret_cast<Complex*>(out.data()), points, &config, direction);
  reference::fft_complex(reinterpret_cast<Complex*>(wanted.data()), points, &same, direction);
  expect_same(out, wanted, "fft_complex");
}

// Whatever is missing, nothing is written and nothing else happens.
void refusals(const FftState* state) {
  Floats in(2, 3.0f);
  Floats out(2, 7.0f);
  expect(fft_init(nullptr) == nullptr, "not refused", "fft_init");
  do_fft(nullptr, in.data(), out.data(), kForward);
  FftState unusable = *state;
  unusable.initFlag = 0;
  do_fft(&unusable, in.data(), out.data(), kForward);
  expect(!fft_analyse(&unusable, in.data(), out.data(), out.data()), "not refused", "fft_analyse");
  expect(!fft_synthesise(nullptr, in.data(), out.data()), "not refused", "fft_synthesise");
  fft_free(nullptr);
  expect(in == Floats(2, 3.0f) && out == Floats(2, 7.0f), "a refused call wrote", "do_fft");
}

// What do_fft does, by the functions that leave the frame alone.
void transform_without_copies(FftState* state, Floats& in, Floats& out, int32_t direction) {
  if (direction == kForward) {
    const Floats kept = in;
    Floats windowed = in;
    expect(fft_analyse(state, in.data(), windowed.data(), out.data()), "refused", "fft_analyse");
    expect_same(in, kept, "fft_analyse's frame");
    in = windowed;
  } else if (direction == kInverse) {
    expect(fft_synthesise(state, in.data(), out.data()), "refused", "fft_synthesise");
  } else {
    do_fft(state, in.data(), out.data(), direction);
  }
}

void front_end(Input& input) {
  const int32_t size = read_size(input);
  const int32_t symmetric = input.byte() % 3 - 1;
  const uint8_t kind = input.byte();
  const int32_t type = kind % 6 - 1;
  const FftInitParams params{symmetric, size, 0, type};
  // In memory of the heap, or in exactly the bytes that it asks its caller for.
  const size_t bytes = kind / 6 % 2 == 0 ? 0 : fft_bytes(params);
  const std::unique_ptr<std::byte[]> memory(new std::byte[bytes]);
  FftState* ours = bytes == 0 ? fft_init(&params) : fft_lay_out(memory.get(), params);
  FftState* theirs = reference::fft_init(&params);
  const auto count = static_cast<size_t>(std::max(size, 0));
  for (int call = 0; call < 3 && !input.empty(); ++call) {
    const int32_t direction = input.byte() % 4 - 1;
    tally("frames compared");
    Floats in = count == 0 ? Floats(2) : read_floats(input, count + 2);
    Floats same = in;
    Floats out(count + 2, 7.0f);
    Floats expected = out;
    if (call == 1) {
      transform_without_copies(ours, in, out, direction);
    } else {
      do_fft(ours, in.data(), out.data(), direction);
    }
    reference::do_fft(theirs, same.data(), expected.data(), direction);
    expect_same(in, same, "do_fft's input");
    expect_same(out, expected, "do_fft");
  }
  const auto sums = [&](const FftState* state) {
    return Floats(state->windowSqSum, state->windowSqSum + count);
  };
  if (count > 0) expect_same(sums(ours), sums(theirs), "windowSqSum");
  refusals(ours);
  if (bytes == 0) fft_free(ours);
  reference::fft_free(theirs);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input input(data, size);
  tally("inputs");
  for (int i = 0; i < 4 && !input.empty(); ++i) {
    switch (input.below(3)) {
      case 0:
        factors(input);
        break;
      case 1:
        engine(input);
        break;
      default:
        front_end(input);
    }
  }
  return 0;
}
