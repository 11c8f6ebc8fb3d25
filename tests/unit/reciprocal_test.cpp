// SPDX-License-Identifier: MIT
//
// The reciprocal against the rule of the ARM architecture, for every mantissa at several exponents,
// in every backend; on ARM also against the instructions themselves.
#include "base/reciprocal.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <limits>
#include <vector>

#include "support/backends.h"
#include "support/bits.h"
#include "support/random.h"

#if defined(__ARM_NEON)
#include <arm_neon.h>
#endif

namespace vekbf::test {
namespace {

constexpr float kInf = std::numeric_limits<float>::infinity();
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

// Biased exponents: the lowest normal one, 0.001 (the least divisor in use), around 1, large ones,
// and the last one of the domain.
constexpr int kExponents[] = {1, 63, 117, 126, 127, 150, 200, 252};
static_assert(std::bit_cast<uint32_t>(0.001f) >> 23 == 117);

// The table of the architecture: for a divisor in [a/512, (a+1)/512) the number of 256ths nearest
// to the reciprocal of the interval's middle. Found by search, so that no rounding rule is needed.
std::array<int, 256> table_256ths() {
  std::array<int, 256> table{};
  for (int a = 256; a < 512; ++a) {
    // The middle is (2a + 1) / 1024; its reciprocal in 256ths is 2^18 / (2a + 1).
    const auto distance = [a](int r) { return std::abs((1 << 18) - r * (2 * a + 1)); };
    int best = 256;
    for (int r = 256; r < 512; ++r) {
      if (distance(r) < distance(best)) best = r;
    }
    table[static_cast<size_t>(a - 256)] = best;
  }
  return table;
}

float expected_estimate(float d) {
  static const std::array<int, 256> table = table_256ths();
  const uint32_t bits = std::bit_cast<uint32_t>(d);
  // |d| = x 2^k with x in [1/2, 1).
  const int k = static_cast<int>((bits >> 23) & 0xff) - 126;
  // Both factors are powers of two or nine-bit numbers: the product is exact.
  const double power_of_two = std::bit_cast<double>(static_cast<uint64_t>(1023 - 8 - k) << 52);
  const double magnitude = table[(bits >> 15) & 0xff] * power_of_two;
  return static_cast<float>(std::signbit(d) ? -magnitude : magnitude);
}

// Each step r (2 - d r) with its product rounded first. The doubles hold the products and the
// difference exactly, so the casts are the only roundings.
float expected_two_step(float d, float r) {
  for (int step = 0; step < 2; ++step) {
    const float product = static_cast<float>(double{d} * double{r});
    const float correction = static_cast<float>(2.0 - double{product});
    r = static_cast<float>(double{r} * double{correction});
  }
  return r;
}

// Every mantissa of every exponent takes minutes under the emulator and long with sanitizers:
// without VEKBF_EXHAUSTIVE only every 31st is taken there, besides those at the borders of the
// table's entries. VEKBF_SAMPLED does the same everywhere.
#if !defined(__x86_64__) || defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSlowMachine = true;
#elif defined(__has_feature)
constexpr bool kSlowMachine = __has_feature(address_sanitizer) || __has_feature(thread_sanitizer);
#else
constexpr bool kSlowMachine = false;
#endif
constexpr uint32_t kMantissas = 1u << 23;
uint32_t stride() {
  const bool slow = kSlowMachine && std::getenv("VEKBF_EXHAUSTIVE") == nullptr;
  return slow || std::getenv("VEKBF_SAMPLED") != nullptr ? 31 : 1;
}

// Calls check(four divisors) over the mantissas of all exponents.
template <class Check>
void walk(Check check) {
  const uint32_t step = stride();
  for (const int exponent : kExponents) {
    const uint32_t base = static_cast<uint32_t>(exponent) << 23;
    float d[4];
    uint32_t filled = 0;
    const auto add = [&](uint32_t mantissa) {
      d[filled++] = std::bit_cast<float>(base | (mantissa & (kMantissas - 1)));
      if (filled == 4) {
        filled = 0;
        check(d);
      }
    };
    if (step > 1) {
      for (uint32_t border = 0; border < kMantissas; border += 1u << 15) {
        for (uint32_t near = 0; near < 4; ++near) add(border + near - 2);
      }
    }
    for (uint32_t mantissa = 0; mantissa < kMantissas; mantissa += step) {
      add(mantissa);
      if (::testing::Test::HasFailure()) return;
    }
    for (uint32_t last = 4; last > 0; --last) add(kMantissas - last);
  }
}

// The expected values for four divisors, made once for all backends.
struct Expected {
  float estimate[4];
  float two_step[4];

  explicit Expected(const float* d) {
    for (int i = 0; i < 4; ++i) {
      estimate[i] = expected_estimate(d[i]);
      two_step[i] = expected_two_step(d[i], estimate[i]);
    }
  }
};

template <class V>
void check_four(const float* d, const Expected& expected) {
  constexpr int kCount = V::kLanes > 4 ? V::kLanes : 4;
  float divisors[kCount];
  for (int i = 0; i < kCount; ++i) divisors[i] = d[i % 4];
  float estimates[kCount];
  float two_steps[kCount];
  for (int i = 0; i < kCount; i += V::kLanes) {
    reciprocal_estimate(V::load(divisors + i)).store(estimates + i);
    reciprocal_two_step(V::load(divisors + i)).store(two_steps + i);
  }
  // The last four, so that the upper lanes count.
  float estimate[4], two_step[4];
  for (int i = 0; i < 4; ++i) {
    estimate[i] = estimates[kCount - 4 + i];
    two_step[i] = two_steps[kCount - 4 + i];
  }
  // Neither may be a zero or a not-a-number here, so equal bits are what is asked.
  if (std::memcmp(estimate, expected.estimate, sizeof estimate) != 0 ||
      std::memcmp(two_step, expected.two_step, sizeof two_step) != 0) {
    for (int i = 0; i < 4; ++i) {
      ADD_FAILURE() << LaneTypeNames::GetName<V>(0) << std::hexfloat << ": 1 / " << d[i] << ": "
                    << estimate[i] << ", " << two_step[i] << " instead of " << expected.estimate[i]
                    << ", " << expected.two_step[i];
    }
  }
}

template <class V>
class Reciprocal : public ::testing::Test {};
TYPED_TEST_SUITE(Reciprocal, AllLaneTypes, LaneTypeNames);

TEST(ReciprocalRule, TheTableStartsAndEndsAsTheArchitectureSays) {
  EXPECT_EQ(expected_estimate(1.0f), 0x1.ffp-1f);     // 511 / 512
  EXPECT_EQ(expected_estimate(0x1.fffffep0f), 0.5f);  // 256 / 512
  EXPECT_EQ(expected_estimate(-0.5f), -0x1.ffp0f);
}

TEST(ReciprocalRule, HoldsForEveryMantissaInEveryBackend) {
  uint64_t checked = 0;
  walk([&](const float* d) {
    const Expected expected(d);
    check_four<f32x1>(d, expected);
    check_four<PortableF32x4>(d, expected);
    if (checked % 64 == 0) check_four<PortableF32x8>(d, expected);
    if constexpr (kHasNative) check_four<f32x4>(d, expected);
    checked += 4;
  });
  EXPECT_GE(checked, std::size(kExponents) * (kMantissas / stride()));
}

TYPED_TEST(Reciprocal, OfNegativeDivisorsIsTheNegative) {
  Random random(3);
  for (int i = 0; i < 100000; ++i) {
    float d[4];
    for (float& value : d) {
      const uint32_t exponent = 1 + static_cast<uint32_t>(random.below(252));
      value = std::bit_cast<float>(0x80000000u | (exponent << 23) | (random.next32() >> 9));
    }
    check_four<TypeParam>(d, Expected(d));
    if (::testing::Test::HasFailure()) return;
  }
}

TYPED_TEST(Reciprocal, IsWithinTwoUnitsInTheLastPlaceOfTheQuotient) {
  Random random(4);
  for (int i = 0; i < 20000; ++i) {
    const float d = std::bit_cast<float>((120u << 23) + (random.next32() >> 5));
    float r[TypeParam::kLanes];
    reciprocal_two_step(TypeParam::splat(d)).store(r);
    // Newton squares the table's relative error of 2^-8.5 twice: only roundings are left.
    ASSERT_NEAR(r[0] * double{d}, 1.0, 4 * 0x1p-24) << d;
  }
}

// From 2^126 on the quotient is subnormal, which the vector unit flushes.
TYPED_TEST(Reciprocal, IsASignedZeroFrom2To126OnAndForInfinity) {
  std::vector<float> huge = {
      0x1p126f, 0x1.000002p126f, 0x1.fffffep126f, 0x1p127f, std::numeric_limits<float>::max(),
      kInf};
  Random random(5);
  for (int i = 0; i < 10000; ++i) {
    huge.push_back(std::bit_cast<float>((253u << 23) + (random.next32() >> 8)));
  }
  for (const float d : huge) {
    ASSERT_GE(d, 0x1p126f);
    float r[TypeParam::kLanes];
    reciprocal_two_step(TypeParam::splat(d)).store(r);
    ASSERT_PRED2(same_bits, r[0], 0.0f) << d;
    reciprocal_two_step(TypeParam::splat(-d)).store(r);
    ASSERT_PRED2(same_bits, r[0], -0.0f) << d;
  }
}

TYPED_TEST(Reciprocal, NotANumberStaysNotANumber) {
  for (const float d : {kNan, -kNan, std::bit_cast<float>(0x7fc12345u)}) {
    float r[TypeParam::kLanes];
    reciprocal_two_step(TypeParam::splat(d)).store(r);
    for (const float lane : r) EXPECT_TRUE(std::isnan(lane));
  }
}

#if defined(__ARM_NEON)

float32x4_t table_instruction(float32x4_t d) {
  float32x4_t r;
#if defined(__aarch64__)
  __asm__("frecpe %0.4s, %1.4s" : "=w"(r) : "w"(d));
#else
  __asm__("vrecpe.f32 %q0, %q1" : "=w"(r) : "w"(d));
#endif
  return r;
}

TEST(ReciprocalInstruction, EstimateIsOurScalarEstimate) {
  walk([](const float* d) {
    float actual[4];
    vst1q_f32(actual, table_instruction(vld1q_f32(d)));
    for (int i = 0; i < 4; ++i) {
      if (!same_bits(actual[i], vekbf::reciprocal_estimate(d[i]))) ADD_FAILURE() << d[i];
    }
  });
}

#if defined(__arm__)

// The 64-bit unit's step instruction is fused, so only the 32-bit unit's is ours.
float32x4_t step_instruction(float32x4_t d, float32x4_t r) {
  float32x4_t correction;
  __asm__("vrecps.f32 %q0, %q1, %q2" : "=w"(correction) : "w"(d), "w"(r));
  return vmulq_f32(r, correction);
}

bool instructions_agree(const float* d) {
  const float32x4_t divisor = vld1q_f32(d);
  float32x4_t r = table_instruction(divisor);
  r = step_instruction(divisor, r);
  r = step_instruction(divisor, r);
  float actual[4];
  vst1q_f32(actual, r);
  bool same = true;
  for (int i = 0; i < 4; ++i) same &= same_bits(actual[i], vekbf::reciprocal_two_step(d[i]));
  return same;
}

TEST(ReciprocalInstruction, TwoStepsAreOurScalarReciprocal) {
  walk([](const float* d) {
    if (!instructions_agree(d)) ADD_FAILURE() << std::hexfloat << "one of four from " << d[0];
  });
}

TEST(ReciprocalInstruction, HugeAndInfiniteDivisorsGiveZeroAndNotANumberStays) {
  const float special[4] = {kInf, -kInf, kNan, 0x1p126f};
  EXPECT_TRUE(instructions_agree(special));
  Random random(6);
  for (int i = 0; i < 50000; ++i) {
    float d[4];
    for (float& value : d) {
      value = std::bit_cast<float>((253u << 23) + (random.next32() >> 8) +
                                   (random.next32() & 0x80000000u));
    }
    ASSERT_TRUE(instructions_agree(d)) << std::hexfloat << d[0];
  }
}

#endif
#endif

// 0 and subnormals are outside the domain. The only divisors are a smoothed power plus a
// regularizer of 0.001: a power is a square, so at least 0 (or not-a-number), smoothing keeps the
// sign, and rounding is monotone.
TEST(ReciprocalDomain, APowerPlusTheRegularizerIsAtLeastTheRegularizer) {
  const float regularizer = 0.001f;
  const float smoothing = 0.95f;
  Random random(8);
  for (int i = 0; i < 200000; ++i) {
    const float a = random.any_float();
    const float b = random.any_float();
    const float power = (1.0f - smoothing) * (a * a) + smoothing * (b * b);
    if (std::isnan(power)) continue;
    ASSERT_GE(power, 0.0f);
    ASSERT_GE(power + regularizer, regularizer);
  }
  EXPECT_EQ(0x1p-149f + regularizer, regularizer);
}

}  // namespace
}  // namespace vekbf::test
