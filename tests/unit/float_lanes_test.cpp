// SPDX-License-Identifier: MIT
//
// Every operation of the lane layer, for every backend of this build, against plain arithmetic on
// one value at a time.
#include "simd/lanes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

#include "simd/magnitude.h"
#include "support/backends.h"
#include "support/bits.h"
#include "support/random.h"

namespace vekbf::test {
namespace {

constexpr float kInf = std::numeric_limits<float>::infinity();
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kMax = std::numeric_limits<float>::max();

// Where something special happens: signed zeros, subnormals, the limits of the range, halves, the
// limits of the integers, neighbours of 1, infinities and not-a-number.
const std::vector<float>& special_values() {
  static const std::vector<float> values = [] {
    const float positive[] = {0.0f,           0x1p-149f,
                              0x1p-127f,      0x1.fffffcp-127f,
                              0x1p-126f,      0x1.8p-126f,
                              0x1p-100f,      0x1p-63f,
                              0.001f,         0.5f,
                              0x1.fffffep-1f, 1.0f,
                              0x1.000002p0f,  1.5f,
                              2.5f,           3.0f,
                              32767.0f,       32767.5f,
                              32768.0f,       65535.5f,
                              65536.0f,       0x1.fffffep23f,
                              0x1p24f,        0x1.fffffep30f,
                              0x1p31f,        0x1.000002p31f,
                              0x1p32f,        0x1p63f,
                              0x1p64f,        0x1.fffffep125f,
                              0x1p126f,       0x1p127f,
                              kMax,           kInf};
    std::vector<float> all;
    for (const float x : positive) {
      all.push_back(x);
      all.push_back(-x);
    }
    all.push_back(kNan);
    all.push_back(std::bit_cast<float>(0xffc12345u));
    return all;
  }();
  return values;
}

struct Operands {
  std::vector<float> a;
  std::vector<float> b;
};

// All pairs of special values, then random bit patterns; in every lane, with mixed neighbours.
const Operands& operands() {
  static const Operands all = [] {
    Operands o;
    for (const float a : special_values()) {
      for (const float b : special_values()) {
        o.a.push_back(a);
        o.b.push_back(b);
      }
    }
    Random random(0x5eed);
    for (int i = 0; i < 20000; ++i) {
      o.a.push_back(random.any_float());
      // Half of them of similar size, so that sums cancel and comparisons are close.
      o.b.push_back(i % 2 == 0 ? random.any_float()
                               : o.a.back() * (1.0f + random.unit() * 0x1p-20f));
    }
    return o;
  }();
  return all;
}

// Runs op(V, V) -> V over all operands, each pair in every lane position, and compares with
// expected(float, float) -> float.
template <class V, class Op, class Expected>
void check_binary(Op op, Expected expected) {
  const Operands& o = operands();
  const size_t count = o.a.size() - V::kLanes;
  for (size_t start = 0; start < count; ++start) {
    float result[V::kLanes];
    op(V::load(&o.a[start]), V::load(&o.b[start])).store(result);
    for (size_t lane = 0; lane < V::kLanes; ++lane) {
      const float a = o.a[start + lane];
      const float b = o.b[start + lane];
      ASSERT_PRED2(same_bits, result[lane], expected(a, b))
          << "lane " << lane << " of " << std::hexfloat << a << ", " << b;
    }
  }
}

// The IEEE single result of an operation whose exact value `exact` tells whether it is tiny; a
// flushing unit looks at the value before it is rounded.
template <class V>
float rounded(float result, double exact) {
  if (kFlushes<V> && exact != 0.0 && std::fabs(exact) < 0x1p-126) {
    return std::copysign(0.0f, result);
  }
  return result;
}

template <class V>
float operand(float x) {
  return kFlushes<V> ? flush_operand(x) : x;
}

template <class V>
class AnyLane : public ::testing::Test {};
TYPED_TEST_SUITE(AnyLane, AllLaneTypes, LaneTypeNames);

TEST(Backends, TheNativeOneIsTestedWhereThereIsOne) {
#if defined(VEKBF_PORTABLE)
  EXPECT_FALSE(kHasNative);
#elif defined(__x86_64__) || defined(__aarch64__) || defined(__ARM_NEON)
  EXPECT_TRUE(kHasNative);
#endif
  EXPECT_EQ(f32x4::kLanes, 4);
  EXPECT_EQ(f32x1::kLanes, 1);
}

TYPED_TEST(AnyLane, LoadAndStoreKeepEveryBitAtAnyAddressAndTouchNothingElse) {
  constexpr int kLanes = TypeParam::kLanes;
  // Quiet and signalling not-a-numbers, subnormals: a move is no arithmetic.
  const uint32_t patterns[] = {0x7fa00001u, 0xff812345u, 0x00000001u, 0x807fffffu,
                               0x80000000u, 0x7f800000u, 0x12345678u, 0xffffffffu};
  for (int offset = 0; offset < 4; ++offset) {
    constexpr int kCount = 16;
    alignas(32) float in[kCount];
    alignas(32) float out[kCount];
    uint32_t before[kCount];
    uint32_t after[kCount];
    for (int i = 0; i < kCount; ++i) before[i] = patterns[i % 8];
    std::memcpy(in, before, sizeof in);
    std::memset(out, 0x55, sizeof out);
    TypeParam::load(in + offset).store(out + offset + 1);
    std::memcpy(after, out, sizeof after);
    for (int i = 0; i < kCount; ++i) {
      const bool written = i > offset && i <= offset + kLanes;
      EXPECT_EQ(after[i], written ? before[i - 1] : 0x55555555u) << i;
    }
  }
}

TYPED_TEST(AnyLane, SplatFillsEveryLane) {
  for (const float x : special_values()) {
    float out[TypeParam::kLanes];
    TypeParam::splat(x).store(out);
    for (const float lane : out) EXPECT_PRED2(same_bits, lane, x);
  }
}

TYPED_TEST(AnyLane, Sum) {
  check_binary<TypeParam>([](auto a, auto b) { return a + b; },
                          [](float a, float b) {
                            const float x = operand<TypeParam>(a), y = operand<TypeParam>(b);
                            return rounded<TypeParam>(x + y, double{x} + double{y});
                          });
}

TYPED_TEST(AnyLane, Difference) {
  check_binary<TypeParam>([](auto a, auto b) { return a - b; },
                          [](float a, float b) {
                            const float x = operand<TypeParam>(a), y = operand<TypeParam>(b);
                            return rounded<TypeParam>(x - y, double{x} - double{y});
                          });
}

TYPED_TEST(AnyLane, Product) {
  check_binary<TypeParam>([](auto a, auto b) { return a * b; },
                          [](float a, float b) {
                            const float x = operand<TypeParam>(a), y = operand<TypeParam>(b);
                            return rounded<TypeParam>(x * y, double{x} * double{y});
                          });
}

// Exact on every build, subnormals too: 32-bit ARM divides in its scalar unit.
TYPED_TEST(AnyLane, Quotient) {
  check_binary<TypeParam>([](auto a, auto b) { return a / b; },
                          [](float a, float b) { return a / b; });
}

TYPED_TEST(AnyLane, AProductIsRoundedBeforeItIsAdded) {
  // (1 + e)^2 - (1 + 2e) is e^2 unrounded and 0 once the product is rounded. Volatile: the compiler
  // itself must not work it out.
  volatile float e = 0x1p-23f;
  float x[TypeParam::kLanes], y[TypeParam::kLanes];
  for (int i = 0; i < TypeParam::kLanes; ++i) {
    x[i] = 1 + e;
    y[i] = 1 + 2 * e;
  }
  const auto factor = TypeParam::load(x);
  float out[TypeParam::kLanes];
  (factor * factor - TypeParam::load(y)).store(out);
  for (const float lane : out) EXPECT_EQ(lane, 0.0f);
}

// One instruction on 32-bit ARM, which must round the product as the two others do.
TYPED_TEST(AnyLane, PlusAndMinusProductEqualTheProductAddedAndSubtracted) {
  const Operands& o = operands();
  constexpr size_t kLanes = TypeParam::kLanes;
  Random random(0xadd);
  for (size_t start = 0; start + kLanes <= o.a.size(); start += kLanes) {
    float addends[kLanes];
    for (float& addend : addends) {
      // Some of the size of the product, so that the sum cancels and shows its last bits.
      const float near = -o.a[start] * o.b[start] * (1.0f + random.unit() * 0x1p-20f);
      addend = random.below(2) == 0 ? random.any_float() : near;
    }
    const auto a = TypeParam::load(addends);
    const auto b = TypeParam::load(&o.a[start]);
    const auto c = TypeParam::load(&o.b[start]);
    float plus[kLanes], minus[kLanes], sum[kLanes], difference[kLanes];
    plus_product(a, b, c).store(plus);
    minus_product(a, b, c).store(minus);
    (a + b * c).store(sum);
    (a - b * c).store(difference);
    ASSERT_TRUE(same_floats(plus, sum, kLanes)) << start;
    ASSERT_TRUE(same_floats(minus, difference, kLanes)) << start;
  }
}

TYPED_TEST(AnyLane, GreaterIsFalseForNotANumberAndForEqualZeros) {
  check_binary<TypeParam>(
      [](auto a, auto b) {
        return select(greater(a, b), TypeParam::splat(1.0f), TypeParam::splat(2.0f));
      },
      [](float a, float b) { return operand<TypeParam>(a) > operand<TypeParam>(b) ? 1.0f : 2.0f; });
}

TYPED_TEST(AnyLane, GreaterOrEqualIsFalseForNotANumber) {
  check_binary<TypeParam>(
      [](auto a, auto b) {
        return select(greater_equal(a, b), TypeParam::splat(1.0f), TypeParam::splat(2.0f));
      },
      [](float a, float b) {
        return operand<TypeParam>(a) >= operand<TypeParam>(b) ? 1.0f : 2.0f;
      });
}

TYPED_TEST(AnyLane, SelectCopiesValuesUnchanged) {
  check_binary<TypeParam>(
      [](auto a, auto b) { return select(greater(a, b), a, b); },
      [](float a, float b) { return operand<TypeParam>(a) > operand<TypeParam>(b) ? a : b; });
}

TYPED_TEST(AnyLane, MagnitudeIsThatOfTheScalarFunction) {
  check_binary<TypeParam>([](auto a, auto b) { return simd::magnitude(a, b); },
                          [](float a, float b) { return vekbf::magnitude(a, b); });
}

TYPED_TEST(AnyLane, PairsAreSplitAndJoined) {
  constexpr int kLanes = TypeParam::kLanes;
  const std::vector<float>& values = special_values();
  std::vector<Complex> in(values.size());
  for (size_t i = 0; i < values.size(); ++i) in[i] = {values[i], values[values.size() - 1 - i]};
  for (size_t start = 0; start + kLanes <= in.size(); ++start) {
    const auto pairs = TypeParam::load_pairs(&in[start]);
    float re[kLanes], im[kLanes];
    pairs.re.store(re);
    pairs.im.store(im);
    Complex out[kLanes + 2] = {};
    out[kLanes + 1] = {7.0f, 8.0f};
    store_pairs(out + 1, pairs);
    for (size_t lane = 0; lane < kLanes; ++lane) {
      EXPECT_PRED2(same_bits, re[lane], in[start + lane].re);
      EXPECT_PRED2(same_bits, im[lane], in[start + lane].im);
    }
    EXPECT_TRUE(same_spectra(out + 1, &in[start], kLanes));
    EXPECT_EQ(out[0].re, 0.0f);
    EXPECT_EQ(out[0].im, 0.0f);
    EXPECT_EQ(out[kLanes + 1].re, 7.0f);
    EXPECT_EQ(out[kLanes + 1].im, 8.0f);
  }
}

TYPED_TEST(AnyLane, AlignedLoadsGiveWhatOthersGive) {
  constexpr size_t kLanes = TypeParam::kLanes;
  const std::vector<float>& values = special_values();
  for (size_t start = 0; start + kLanes <= values.size(); ++start) {
    alignas(64) float in[2 * kLanes] = {};
    std::copy_n(&values[start], kLanes, in + kLanes);
    EXPECT_TRUE(same_bits(simd::load_aligned<TypeParam>(in + kLanes), TypeParam::load(in + kLanes)))
        << start;
  }
}

TYPED_TEST(AnyLane, BinsAndWhatLiesBesideThemHaveOneOrderAndComeBack) {
  constexpr int kLanes = TypeParam::kLanes;
  Complex in[kLanes], copy[kLanes], out[kLanes];
  float re[kLanes], im[kLanes], back[kLanes];
  for (int i = 0; i < kLanes; ++i) {
    re[i] = static_cast<float>(i);
    im[i] = static_cast<float>(100 + i);
    in[i] = {re[i], im[i]};
  }
  const auto bins = simd::load_bins<TypeParam>(in);
  EXPECT_TRUE(same_bits(bins.re, simd::load_beside<TypeParam>(re)));
  EXPECT_TRUE(same_bits(bins.im, simd::load_beside<TypeParam>(im)));
  const auto copied = simd::copy_bins<TypeParam>(copy, in);
  EXPECT_TRUE(same_spectra(copy, in, kLanes));
  EXPECT_TRUE(same_bits(copied.re, bins.re) && same_bits(copied.im, bins.im));
  simd::store_bins(out, bins);
  EXPECT_TRUE(same_spectra(out, in, kLanes));
  simd::store_beside(back, bins.im);
  EXPECT_TRUE(same_floats(back, im, kLanes));
}

// The low 16 bits of acc + v in exact arithmetic: v truncated toward zero, saturated to 32 bits,
// not-a-number as 0.
int16_t added_truncated(int16_t acc, float v) {
  double whole = v == v ? std::trunc(double{v}) : 0.0;
  whole = std::fmin(std::fmax(whole, -2147483648.0), 2147483647.0);
  const int64_t sum = acc + static_cast<int64_t>(whole);
  const int64_t low = ((sum % 65536) + 65536) % 65536;
  return static_cast<int16_t>(low >= 32768 ? low - 65536 : low);
}

TYPED_TEST(AnyLane, AddTruncatedSaturatesTo32BitsAndWrapsTo16) {
  constexpr int kLanes = TypeParam::kLanes;
  std::vector<float> values = special_values();
  Random random(16);
  for (int i = 0; i < 20000; ++i) {
    // Patterns of every size, and those around the limits of the two integer types.
    values.push_back(random.any_float());
    values.push_back(random.unit() * 0x1p17f);
    values.push_back(random.unit() * 0x1p32f);
  }
  for (size_t start = 0; start + kLanes <= values.size(); ++start) {
    int16_t acc[kLanes + 2];
    int16_t before[kLanes + 2];
    for (int i = 0; i < kLanes + 2; ++i) acc[i] = before[i] = random.sample();
    add_truncated(acc + 1, TypeParam::load(&values[start]));
    EXPECT_EQ(acc[0], before[0]);
    EXPECT_EQ(acc[kLanes + 1], before[kLanes + 1]);
    for (size_t lane = 0; lane < kLanes; ++lane) {
      ASSERT_EQ(acc[1 + lane], added_truncated(before[1 + lane], values[start + lane]))
          << "lane " << lane << ": " << before[1 + lane] << " + " << values[start + lane];
    }
  }
}

TYPED_TEST(AnyLane, RepeatedPairsFillEveryLane) {
  constexpr int kLanes = TypeParam::kLanes;
  constexpr int kBlock = kLanes > 4 ? 4 : kLanes;
  Complex in[kBlock], out[kLanes];
  for (int i = 0; i < kBlock; ++i) in[i] = {static_cast<float>(i), -static_cast<float>(i)};
  store_pairs(out, simd::load_repeated<TypeParam, kBlock>(in));
  for (int i = 0; i < kLanes; ++i) {
    EXPECT_EQ(out[i].re, static_cast<float>(i % kBlock));
    EXPECT_EQ(out[i].im, -static_cast<float>(i % kBlock));
  }
}

TYPED_TEST(AnyLane, AnyAndAnyNanSeeEveryLane) {
  constexpr int kLanes = TypeParam::kLanes;
  const auto zero = TypeParam::splat(0.0f);
  EXPECT_FALSE(any(greater(zero, zero)));
  EXPECT_FALSE(any_nan(zero));
  for (int i = 0; i < kLanes; ++i) {
    float above[kLanes] = {}, nan[kLanes] = {};
    above[i] = 1.0f;
    nan[i] = kNan;
    EXPECT_TRUE(any(greater(TypeParam::load(above), zero))) << i;
    EXPECT_TRUE(any_nan(TypeParam::load(nan))) << i;
  }
}

TYPED_TEST(AnyLane, ColumnsTakeFourNeighboursFromEachRow) {
  constexpr int kLanes = TypeParam::kLanes;
  float table[80];
  for (int i = 0; i < 80; ++i) table[i] = static_cast<float>(i) + 0.25f;
  const size_t offsets[8] = {4 * 7, 0, 4 * 76, 4 * 12, 4 * 13, 4 * 3, 4 * 50, 4 * 1};
  TypeParam columns[4];
  load_columns(table, offsets, columns[0], columns[1], columns[2], columns[3]);
  for (size_t c = 0; c < 4; ++c) {
    float out[kLanes];
    columns[c].store(out);
    for (size_t i = 0; i < kLanes; ++i) EXPECT_EQ(out[i], table[offsets[i] / 4 + c]);
  }
}

// Values that any move must keep: 0, 1, ... with special ones among them.
template <int kCount>
struct Numbered {
  Numbered() {
    for (int i = 0; i < kCount; ++i) values[i] = static_cast<float>(i);
    values[0] = -0.0f;
    values[kCount - 1] = 0x1p-149f;
    if (kCount > 2) values[2] = kNan;
  }
  float values[kCount];
};

TYPED_TEST(AnyLane, ReverseTurnsTheLanesAround) {
  constexpr int kLanes = TypeParam::kLanes;
  const Numbered<kLanes> in;
  float out[kLanes];
  reverse(TypeParam::load(in.values)).store(out);
  for (int i = 0; i < kLanes; ++i) {
    EXPECT_PRED2(same_bits, out[i], in.values[kLanes - 1 - i]) << i;
  }
}

// Row r of `kRows` vectors holds the values r kLanes, ...; taken in blocks of kBlock, first block
// of every row, second block of every row, ...
template <int kRows, int kLanes>
void expect_interleaved(const float (&out)[kRows * kLanes], int block) {
  const Numbered<kRows * kLanes> in;
  for (int i = 0; i < kRows * kLanes; ++i) {
    const int row = i / block % kRows;
    const int lane = i / block / kRows * block + i % block;
    EXPECT_PRED2(same_bits, out[i], in.values[row * kLanes + lane])
        << "block " << block << ", " << i;
  }
}

TYPED_TEST(AnyLane, InterleaveTakesALaneOfEachRowAndDeinterleaveUndoesIt) {
  constexpr int kLanes = TypeParam::kLanes;
  const Numbered<4 * kLanes> in;
  const auto row = [&](int r) { return TypeParam::load(in.values + r * kLanes); };
  auto a = row(0), b = row(1), c = row(2), d = row(3);
  interleave(a, b, c, d);
  float out[4 * kLanes];
  a.store(out);
  b.store(out + kLanes);
  c.store(out + 2 * kLanes);
  d.store(out + 3 * kLanes);
  expect_interleaved<4, kLanes>(out, 1);

  const Numbered<2 * kLanes> two;
  a = TypeParam::load(two.values);
  b = TypeParam::load(two.values + kLanes);
  interleave(a, b);
  float pair[2 * kLanes];
  a.store(pair);
  b.store(pair + kLanes);
  expect_interleaved<2, kLanes>(pair, 1);
  deinterleave(a, b);
  a.store(pair);
  b.store(pair + kLanes);
  EXPECT_TRUE(same_floats(pair, two.values, 2 * kLanes));
}

TYPED_TEST(AnyLane, BlocksAreInterleavedWhole) {
  constexpr int kLanes = TypeParam::kLanes;
  if constexpr (kLanes > 4) {
    const Numbered<4 * kLanes> in;
    const auto row = [&](int r) { return TypeParam::load(in.values + r * kLanes); };
    auto a = row(0), b = row(1), c = row(2), d = row(3);
    interleave<4>(a, b, c, d);
    float out[4 * kLanes];
    a.store(out);
    b.store(out + kLanes);
    c.store(out + 2 * kLanes);
    d.store(out + 3 * kLanes);
    expect_interleaved<4, kLanes>(out, 4);

    const Numbered<2 * kLanes> two;
    a = TypeParam::load(two.values);
    b = TypeParam::load(two.values + kLanes);
    interleave<4>(a, b);
    float pair[2 * kLanes];
    a.store(pair);
    b.store(pair + kLanes);
    expect_interleaved<2, kLanes>(pair, 4);
  }
}

#if defined(__arm__) && defined(__ARM_NEON) && !defined(VEKBF_PORTABLE)
// The reason for the allowance that other tests make: without this, it would have to go.
TEST(NeonF32x4, FlushesSubnormalsTo0AsItsUnitDoes) {
  const float subnormal = 0x1p-127f;
  float out[4];
  (f32x4::splat(subnormal) + f32x4::splat(subnormal)).store(out);
  EXPECT_EQ(out[0], 0.0f);
  (f32x4::splat(0x1p-126f) * f32x4::splat(0.5f)).store(out);
  EXPECT_EQ(out[0], 0.0f);
}
#endif

}  // namespace
}  // namespace vekbf::test
