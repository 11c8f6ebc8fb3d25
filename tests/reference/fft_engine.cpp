// SPDX-License-Identifier: MIT
//
// The transform engine: factors, plan, complex transform, and the step between a complex transform
// of N/2 points and a real one of N. The butterflies are those of docs/numerics.md, so that the
// results are the library's bit for bit.
#include <stdlib.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "reference/arithmetic.h"
#include "reference/model.h"
#include "reference/trigonometry.h"

namespace reference {

namespace {

constexpr int kMaxStages = 21;

// The list's pairs, counted from stage 1.
int32_t radix_of(const int32_t* factors, int32_t stage) { return factors[2 * stage]; }
int32_t size_after(const int32_t* factors, int32_t stage) { return factors[2 * stage + 1]; }

bool is_power_of_two(int32_t n) { return n > 0 && (n & (n - 1)) == 0; }

// A first pass of radix 4 or 8, then radix 4 only.
bool supported(int32_t n, const int32_t* factors) {
  if (n == 16) return true;
  if (n < 32 || !is_power_of_two(n)) return false;
  const int32_t stages = factors[0];
  for (int32_t i = 1; i < stages; ++i) {
    if (radix_of(factors, i) != 4) return false;
  }
  const int32_t first = radix_of(factors, stages);
  return first == 4 || first == 8;
}

struct Four {
  Complex y[4];
};

Four butterfly4(Complex t0, Complex t1, Complex t2, Complex t3) {
  const Complex a = add(t0, t2);
  const Complex b = subtract(t0, t2);
  const Complex c = add(t1, t3);
  const Complex d = subtract(t1, t3);
  return {{add(a, c), {b.re + d.im, b.im - d.re}, subtract(a, c), {b.re - d.im, b.im + d.re}}};
}

// Before a pass the data are sequences of length m, one after another; it combines the four
// sequences g, g + L, g + 2L, g + 3L into one of length 4m. The line of twiddles is null in the
// first pass.
void pass4(Complex* out, const Complex* in, int32_t n, int32_t m, const Complex* line) {
  const int32_t count = n / (4 * m);
  for (int32_t g = 0; g < count; ++g) {
    for (int32_t j = 0; j < m; ++j) {
      Complex t[4];
      for (int32_t q = 0; q < 4; ++q) {
        t[q] = in[(g + q * count) * m + j];
        if (line != nullptr && q > 0) t[q] = multiply(t[q], line[(q - 1) * m + j]);
      }
      const Four result = butterfly4(t[0], t[1], t[2], t[3]);
      for (int32_t q = 0; q < 4; ++q) out[g * 4 * m + j + q * m] = result.y[q];
    }
  }
}

// The first pass of the sizes that are not powers of 4: sequences of one value into such of 8.
void first_pass8(Complex* out, const Complex* in, int32_t n) {
  const float h = 0.70710677f;
  const int32_t count = n / 8;
  for (int32_t g = 0; g < count; ++g) {
    const auto f = [&](int32_t q) { return in[g + q * count]; };
    const Four e = butterfly4(f(0), f(2), f(4), f(6));
    const Four o = butterfly4(f(1), f(3), f(5), f(7));
    const Complex o1 = o.y[1];
    const Complex o2 = o.y[2];
    const Complex o3 = o.y[3];
    const Complex r[4] = {o.y[0],
                          {h * (o1.re + o1.im), h * (o1.im - o1.re)},
                          {o2.im, -o2.re},
                          {h * (o3.im - o3.re), -(h * (o3.re + o3.im))}};
    for (int32_t q = 0; q < 4; ++q) {
      out[8 * g + q] = add(e.y[q], r[q]);
      out[8 * g + q + 4] = subtract(e.y[q], r[q]);
    }
  }
}

// exp(-2 pi i e / 16), rounded to single precision, for the exponents that 4 times 4 points need.
Complex sixteenth_turns(int32_t e) {
  const float cos1 = 0.9238795325112867f;
  const float cos2 = 0.7071067811865476f;
  const float cos3 = 0.3826834323650898f;
  switch (e) {
    case 0:
      return {1.0f, -0.0f};
    case 1:
      return {cos1, -cos3};
    case 2:
      return {cos2, -cos2};
    case 3:
      return {cos3, -cos1};
    case 4:
      return {0.0f, -1.0f};
    case 6:
      return {-cos2, -cos2};
    default:
      return {-cos1, cos3};  // 9
  }
}

void passes16(Complex* out, Complex* in) {
  Complex line[12];
  for (int32_t q = 1; q < 4; ++q) {
    for (int32_t j = 0; j < 4; ++j) line[(q - 1) * 4 + j] = sixteenth_turns(j * q);
  }
  Complex middle[16];
  pass4(middle, in, 16, 1, nullptr);
  pass4(out, middle, 16, 4, line);
}

}  // namespace

int32_t fft_factor(int32_t n, int32_t* factors, int32_t flags) {
  if (factors == nullptr || n < 1) return -1;
  int32_t m = n;
  int32_t p = 1;
  int32_t stages = 0;
  int32_t algorithm = 0;
  while (m > 1) {
    if ((flags & 1) != 0 && (m == 8 || m == 24 || m == 40)) {
      p = m == 8 ? 8 : m == 24 ? 3 : 5;
      if (p != 8) algorithm = 1;
    } else if ((flags & 2) != 0 && m % 8 == 0) {
      p = 8;
    } else if (m % 4 == 0) {
      p = 4;
    } else if (m % 2 == 0) {
      p = 2;
    } else {
      p = m % 5 == 0 ? 5 : m % 3 == 0 ? 3 : m;
      algorithm = 1;
    }
    m /= p;
    ++stages;
    factors[2 * stages] = p;
    factors[2 * stages + 1] = m;
  }
  factors[0] = stages;
  factors[1] = n / p;
  if (stages > kMaxStages) return -1;
  factors[2 * stages + 2] = algorithm;
  return 0;
}

RealFftPlan* fft_plan_alloc(int32_t size) {
  if (size < 2) return nullptr;
  const int32_t ncfft = size / 2;

  const size_t header = (sizeof(RealFftPlan) + 7) / 8 * 8;
  const auto points = static_cast<uint64_t>(ncfft);
  const uint64_t values = points + points / 2 + static_cast<uint64_t>(size);
  const uint64_t bytes = header + kFactorSlots * sizeof(int32_t) + values * sizeof(Complex) + 8;
  if (bytes > SIZE_MAX) return nullptr;
  void* const block = malloc(static_cast<size_t>(bytes));
  if (block == nullptr) return nullptr;
  std::memset(block, 0, static_cast<size_t>(bytes));

  auto* const plan = static_cast<RealFftPlan*>(block);
  char* const list = static_cast<char*>(block) + header;
  plan->factors = static_cast<int32_t*>(static_cast<void*>(list));
  plan->twiddles = static_cast<Complex*>(static_cast<void*>(list + kFactorSlots * sizeof(int32_t)));
  plan->superTwiddles = plan->twiddles + ncfft;
  plan->buffer = plan->superTwiddles + ncfft / 2;
  plan->ncfft = ncfft;
  if (reference::fft_factor(ncfft, plan->factors, 1) != 0) {
    free(block);
    return nullptr;
  }

  // All phases are single precision, product by product; their cosine and sine are double.
  const float per_point = 1.0f / static_cast<float>(ncfft);
  int32_t fstride = plan->factors[1];
  Complex* line = plan->twiddles;
  for (int32_t i = plan->factors[0] - 1; i >= 1; --i) {
    const int32_t p = radix_of(plan->factors, i);
    const int32_t m = size_after(plan->factors, i);
    fstride /= p;
    for (int32_t j = 0; j < m; ++j) {
      const float turn = static_cast<float>(fstride) * -6.2831855f;
      const float angle = per_point * (static_cast<float>(j) * turn);
      for (int32_t k = 1; k < p; ++k) {
        const float phase = static_cast<float>(k) * angle;
        line[(k - 1) * m + j] = {static_cast<float>(cosine(static_cast<double>(phase))),
                                 static_cast<float>(sine(static_cast<double>(phase)))};
      }
    }
    line += (p - 1) * m;
  }
  if (size >= 4) {
    for (int32_t j = 1; j <= ncfft / 2; ++j) {
      const float part = static_cast<float>(j) * per_point;
      const float phase = (0.5f + part) * -3.1415927f;
      plan->superTwiddles[j - 1] = {static_cast<float>(cosine(static_cast<double>(phase))),
                                    static_cast<float>(sine(static_cast<double>(phase)))};
    }
  }
  return plan;
}

void fft_complex(Complex* out, const Complex* in, const ComplexFftConfig* config, int32_t inverse) {
  const int32_t n = config->nfft;
  if (!supported(n, config->factors)) return;
  const int32_t stages = n == 16 ? 1 : config->factors[0];

  // The data go to and fro between `out` and the work area; they start where the last of the
  // passes will leave them in `out`.
  Complex* from = stages % 2 == 0 ? out : config->buffer;
  Complex* to = stages % 2 == 0 ? config->buffer : out;
  for (int32_t i = 0; i < n; ++i) from[i] = inverse != 0 ? swapped(in[i]) : in[i];

  if (n == 16) {
    passes16(to, from);
  } else {
    if (radix_of(config->factors, stages) == 8) {
      first_pass8(to, from, n);
    } else {
      pass4(to, from, n, 1, nullptr);
    }
    const Complex* line = config->twiddles;
    for (int32_t i = stages - 1; i >= 1; --i) {
      Complex* const written = to;
      to = from;
      from = written;
      const int32_t m = size_after(config->factors, i);
      pass4(to, from, n, m, line);
      line += 3 * m;
    }
  }

  if (inverse != 0) {
    const float factor = 1.0f / static_cast<float>(n);
    for (int32_t i = 0; i < n; ++i) out[i] = scale(factor, swapped(out[i]));
  }
}

void fft_real_forward(Complex* out, const float* in, RealFftPlan* plan) {
  const int32_t n = plan->ncfft;
  if (!supported(n, plan->factors)) return;
  Complex* const z = plan->buffer;
  const ComplexFftConfig config = {n, plan->factors, plan->twiddles, plan->buffer + n};
  reference::fft_complex(z, reinterpret_cast<const Complex*>(in), &config, 0);

  out[0] = {z[0].re + z[0].im, 0.0f};
  out[n] = {z[0].re - z[0].im, 0.0f};
  // At k = n/2 both lines write the same bin; the second stays.
  for (int32_t k = 1; k <= n / 2; ++k) {
    const Complex a = z[k];
    const Complex b = {z[n - k].re, -z[n - k].im};
    const Complex f1 = add(a, b);
    const Complex f2 = subtract(a, b);
    const Complex t = multiply(f2, plan->superTwiddles[k - 1]);
    out[k] = scale(0.5f, add(f1, t));
    out[n - k] = {0.5f * (f1.re - t.re), 0.5f * (t.im - f1.im)};
  }
}

void fft_real_inverse(float* out, const Complex* in, RealFftPlan* plan) {
  const int32_t n = plan->ncfft;
  if (!supported(n, plan->factors)) return;
  Complex* const z = plan->buffer;
  z[0] = {(in[0].re + in[n].re) * 0.5f, (in[0].re - in[n].re) * 0.5f};
  for (int32_t k = 1; k <= n / 2; ++k) {
    const Complex a = in[k];
    const Complex b = {in[n - k].re, -in[n - k].im};
    const Complex e = add(a, b);
    const Complex d = subtract(a, b);
    const Complex o = multiply_conjugate(d, plan->superTwiddles[k - 1]);
    z[k] = scale(0.5f, add(e, o));
    z[n - k] = {0.5f * (e.re - o.re), 0.5f * (o.im - e.im)};
  }
  const ComplexFftConfig config = {n, plan->factors, plan->twiddles, plan->buffer + n};
  reference::fft_complex(reinterpret_cast<Complex*>(out), z, &config, 1);
}

}  // namespace reference
