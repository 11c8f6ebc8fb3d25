// SPDX-License-Identifier: MIT
#include "reference/direction.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>

#include "reference/cosines.h"

namespace reference {

namespace {

constexpr int kBins = vekbf::kBinCount;
constexpr int kHop = vekbf::kHopSize;
constexpr int kFrame = vekbf::kFrameSize;
constexpr int kTransformHop = 2 * kHop;  // every second block

// Below this rate the estimator's constants stay those of this rate, per transform: it needs a
// number of transforms to average over.
constexpr int kLeastEstimatorRate = 16000;

// Time constants, seconds.
constexpr double kSmoothing = 0.03;
constexpr double kMinimum = 4.0;
constexpr double kLookAhead = 0.064;
constexpr double kNoise = 0.148;
constexpr double kPresence = 0.001;
constexpr double kReverberation = 0.0147;

constexpr float kOverNoise = 4.5f;
constexpr float kOverLate = 4.0f;
constexpr float kOverEarly = 1.0f;
constexpr float kIsotropicLate = 2.0f;
constexpr float kLeastPower = 1.0f;
constexpr float kLeastMagnitudeSquared = 0.0009765625f;
constexpr float kLeastCoherenceSquared = 0.00000095367431640625f;

constexpr int kLowestHz = 200;
constexpr int kHighestHz = 7000;
constexpr int kMostBins = 96;
constexpr int kBands = 12;
constexpr int kBinsPerBand = kMostBins / kBands;

constexpr double kNearestPair = 0.001;  // metres
constexpr double kSameDistance = 0.00001;
constexpr double kLeastKappa = 0.015625;
constexpr double kMostKappa = 16.0;
constexpr int kBesselStart = 40;
constexpr double kSharpKappa = 3.33;
constexpr int kMostSharp = 8;

constexpr float kLeastActivity = 2.0f;
constexpr double kFadePerSecond = 0.921034;  // 4 dB
constexpr float kForget = 0.97f;
constexpr float kStepCost = 0.5f;
constexpr int kReach = 3;
constexpr float kCeiling = 12.0f;
constexpr float kMargin = 2.0f;
constexpr int kNear = 15;
constexpr int kElsewhere = 20;
constexpr float kFirm = 50.0f;
constexpr float kMostTrust = 100.0f;

constexpr uint32_t kHoldMs = 130;
constexpr uint64_t kMostHold = 1000000;
constexpr uint32_t kFocusDb = 15;
constexpr uint32_t kMostFocusDb = 100;
constexpr double kOneDecibelLess = 0.7943282347242815;

constexpr float kNever = -std::numeric_limits<float>::infinity();

// Multiples of 2^-16 for sizes up to 64; of 2^-18 or finer for those up to 16.
float in_steps(float value) { return (value + 192.0f) - 192.0f; }
float in_fine_steps(float value) { return (value + 48.0f) - 48.0f; }

float coefficient(double seconds, int rate) {
  const double hop = static_cast<double>(kTransformHop) / rate;
  return static_cast<float>(seconds / (seconds + hop));
}

float magnitude_squared(Complex z) { return z.re * z.re + z.im * z.im; }

int wrapped_degrees(int64_t degrees) {
  return static_cast<int>((degrees % kDegrees + kDegrees) % kDegrees);
}

Complex squared(Complex z) {
  return {in_steps(z.re * z.re - z.im * z.im), in_steps(2.0f * (z.re * z.im))};
}

// The phase that is left without the part that late reverberation has in the mean of the products:
// it comes from everywhere, so that its coherence is sin(kappa) / kappa (Habets and Gannot 2007).
Complex without_late(Complex mean, float late) {
  if (mean.re == 0.0f && mean.im == 0.0f) return mean;
  const Complex rest = {mean.re - late, mean.im};
  const float size = magnitude_squared(rest);
  if (size < kLeastCoherenceSquared) return {0.0f, 0.0f};
  const float inverse = 1.0f / std::sqrt(size);
  return {in_steps(rest.re * inverse), in_steps(rest.im * inverse)};
}

// In an order that a mirrored array keeps.
Complex sum_of(const std::vector<Complex>& products) {
  const size_t count = products.size();
  Complex sum = {0.0f, 0.0f};
  for (size_t i = 0; i < count / 2; ++i) {
    const Complex a = products[i];
    const Complex b = products[count - 1 - i];
    const Complex both = {a.re + b.re, a.im + b.im};
    sum = i == 0 ? both : Complex{sum.re + both.re, sum.im + both.im};
  }
  if (count % 2 == 0) return sum;
  const Complex middle = products[count / 2];
  return count == 1 ? middle : Complex{sum.re + middle.re, sum.im + middle.im};
}

// J_0 to J_24, and sin(kappa) / kappa, by Miller's backward recurrence.
struct Bessel {
  std::array<double, kHarmonics + 1> j;
  double sinc;
};

Bessel bessel(double kappa) {
  std::array<double, kBesselStart + 2> t = {};
  t[kBesselStart] = 1.0;
  for (int n = kBesselStart; n >= 1; --n) {
    const auto at = static_cast<size_t>(n);
    t[at - 1] = ((2.0 * n) / kappa) * t[at] - t[at + 1];
  }
  double sum = 0.0;
  for (int n = kBesselStart; n >= 2; n -= 2) sum = sum + t[static_cast<size_t>(n)];
  sum = 2.0 * sum + t[0];
  Bessel result;
  for (size_t n = 0; n < result.j.size(); ++n) result.j[n] = t[n] / sum;
  // The expansion of sin(kappa cos(angle)) at an angle of zero.
  double sine = 0.0;
  for (int n = kBesselStart - 1; n >= 1; n -= 2) {
    const double term = t[static_cast<size_t>(n)];
    sine = n % 4 == 1 ? sine + term : sine - term;
  }
  result.sinc = ((2.0 * sine) / sum) / kappa;
  return result;
}

// To the nearest multiple of 1 / steps.
float in_steps_of(double value, double steps) {
  const double half = value < 0 ? -0.5 : 0.5;
  const auto whole = static_cast<int32_t>(value * steps + half);
  return static_cast<float>(static_cast<double>(whole) / steps);
}
float in_row_steps(double value) { return in_steps_of(value, 1048576.0); }
float in_coherence_steps(double value) { return in_steps_of(value, 16384.0); }

// What speaks for a direction, relative to the strongest: the square favours the peak over the
// shoulders that reflections give it.
std::vector<float> sharpened(const std::vector<float>& map) {
  const float top = *std::max_element(map.begin(), map.end());
  std::vector<float> result(map.size(), 0.0f);
  if (!(top > 0.0f)) return result;
  const float share = 1.0f / top;
  for (size_t k = 0; k < map.size(); ++k) {
    if (map[k] > 0.0f) result[k] = map[k] * (map[k] * share);
  }
  return result;
}

bool adds_up_to_zero(const int16_t* in) {
  uint32_t sum = 0;
  for (int i = 0; i < kHop; ++i) sum += static_cast<uint32_t>(in[i] * in[i]);
  return sum == 0;
}

}  // namespace

Direction::~Direction() {
  if (fft_ != nullptr) reference::fft_free(fft_);
  if (noise_ != nullptr) reference::mcra2_free(noise_);
}

bool Direction::init(const VekBfInit& array) {
  if (array.sampleRate < 8000 || array.sampleRate > 48000 || array.bitWidth != 16) return false;
  if (array.soundSpeed < 1 || array.micNum < 2 || array.micNum > vekbf::kMaxMics) return false;
  rate_ = static_cast<int>(array.sampleRate);
  mics_ = array.micNum;
  sound_speed_ = array.soundSpeed;
  line_ = array.geometry == VEK_BF_UNIFORM_LINEAR_ARRAY;
  if (!line_ && array.geometry != VEK_BF_UNIFORM_TRIANGLE_ARRAY) return false;
  degrees_ = line_ ? kLineDegrees : kDegrees;

  transforms_ = (rate_ + 4000) / 8000;
  lag_ = std::max(2, transforms_);
  early_ = std::max(1, transforms_ / 2);
  const int estimator_rate = std::max(rate_, kLeastEstimatorRate);
  settling_ = (3 * estimator_rate + 3999) / 4000;
  late_factor_ = coefficient(kReverberation, rate_);
  const double hop = static_cast<double>(kTransformHop) / rate_;
  fade_ = static_cast<float>(1.0 / (1.0 + kFadePerSecond * (transforms_ * hop)));
  first_ = 0;
  while (first_ * rate_ < kLowestHz * kFrame) ++first_;
  last_ = kBins - 1;
  while (last_ * rate_ > kHighestHz * kFrame || 20 * last_ > 9 * kFrame) --last_;

  if (!(line_ ? place_line(array) : place_square(array))) return false;
  const auto groups = std::count_if(groups_.begin(), groups_.end(),
                                    [](const Group& group) { return !group.products.empty(); });
  bool any_row = false;
  for (Group& group : groups_) {
    fill_rows(group, static_cast<int>(groups));
    for (const int sharpness : group.sharpness) any_row = any_row || sharpness > 0;
  }
  if (!any_row) return false;

  const FftInitParams transform = {0, kFrame, 0, 1};
  fft_ = reference::fft_init(&transform);
  const Mcra2InitParams estimator = {rate_, kBins};
  noise_ = reference::mcra2_init(&estimator);
  noise_->eta = coefficient(kSmoothing, estimator_rate);
  noise_->gamma = coefficient(kMinimum, estimator_rate);
  noise_->beta = coefficient(kLookAhead, estimator_rate);
  noise_->alphaD = coefficient(kNoise, estimator_rate);
  noise_->alphaP = coefficient(kPresence, estimator_rate);

  history_.assign(static_cast<size_t>(mics_), std::vector<float>(kFrame));
  spectrum_.assign(static_cast<size_t>(mics_), std::vector<Complex>(kBins));
  power_.assign(kBins, 0.0f);
  start_mean_ = late_ = weight_ = power_;
  map_.assign(static_cast<size_t>(degrees_), 0.0f);
  evidence_ = map_;
  clear_sums();
  configure({});
  return true;
}

bool Direction::place_line(const VekBfInit& array) {
  for (int m = 0; m < mics_; ++m) {
    if (!std::isfinite(array.micCoordinate[m][0])) return false;
  }
  for (int i = 0; i < mics_; ++i) {
    for (int j = i + 1; j < mics_; ++j) {
      const double step = static_cast<double>(array.micCoordinate[j][0]) -
                          static_cast<double>(array.micCoordinate[i][0]);
      const double distance = std::fabs(step);
      if (distance < kNearestPair) continue;
      const Product product = step > 0 ? Product{j, i} : Product{i, j};
      auto group = groups_.begin();
      while (group != groups_.end() && std::fabs(distance - group->distance) > kSameDistance) {
        ++group;
      }
      if (group == groups_.end())
        group = groups_.insert(group, Group{distance, {}, {}, {}, {}, {}});
      group->products.push_back(product);
    }
  }
  std::sort(groups_.begin(), groups_.end(),
            [](const Group& a, const Group& b) { return a.distance < b.distance; });
  return !groups_.empty();
}

// The groups at 135, 0, 45 and 90 degrees.
bool Direction::place_square(const VekBfInit& array) {
  if (!std::isfinite(array.micCoordinate[0][0])) return false;
  const double radius = std::fabs(static_cast<double>(array.micCoordinate[0][0]));
  const double side = radius * 1.4142135623730951;
  if (side < kNearestPair) return false;
  const std::vector<Product> all[4] = {{{1, 0}, {2, 3}}, {{0, 2}}, {{0, 3}, {1, 2}}, {{1, 3}}};
  for (int g = 0; g < 4; ++g) {
    Group group{g % 2 == 0 ? side : 2.0 * radius, {}, {}, {}, {}, {}};
    for (const Product product : all[g]) {
      if (product.first < mics_ && product.second < mics_) group.products.push_back(product);
    }
    groups_.push_back(group);
  }
  return true;
}

// cos and sin of kappa cos(angle) as series of cosines of multiples of the angle (Jacobi-Anger);
// the constant term, the map's mean, is left out. Where kappa is small its multiple is taken, and
// the same multiple of the phase: a sharper response, which disturbed bins pull less to the side
// (compare the nonlinear functions of Loesch and Yang 2010).
void Direction::fill_rows(Group& group, int groups) const {
  group.rows.assign(kBins, {});
  group.sharpness.assign(kBins, 0);
  group.diffuse.assign(kBins, 0.0f);
  if (group.products.empty()) return;
  const double unit = ((6.283185307179586 * static_cast<double>(rate_)) * group.distance) /
                      (512.0 * static_cast<double>(sound_speed_));
  for (int k = first_; k <= last_; ++k) {
    const auto at = static_cast<size_t>(k);
    const double kappa = static_cast<double>(k) * unit;
    if (!(kappa >= kLeastKappa && kappa <= kMostKappa)) continue;
    int sharpness = 1;
    while (sharpness < kMostSharp && 2 * sharpness * kappa <= kSharpKappa) sharpness *= 2;
    group.sharpness[at] = sharpness;
    const double sharp = sharpness * kappa;
    const auto j = bessel(sharp).j;
    group.diffuse[at] = in_coherence_steps(bessel(kappa).sinc);
    const int count = std::min(kHarmonics, 5 + static_cast<int>(1.2 * sharp));
    for (int n = 1; n <= count; ++n) {
      const auto harmonic = static_cast<size_t>(n);
      const double value = (2.0 * j[harmonic]) / static_cast<double>(groups);
      group.rows[at][harmonic] = in_row_steps(n % 4 >= 2 ? -value : value);
    }
  }
}

void Direction::configure(const DirectionConfig& config) {
  from_ = wrapped_degrees(config.sectorFrom);
  to_ = wrapped_degrees(config.sectorTo);

  const uint64_t ms = config.holdMs == 0 ? kHoldMs : config.holdMs;
  const uint64_t blocks = 2 * static_cast<uint64_t>(transforms_);
  const uint64_t hold = (ms * static_cast<uint64_t>(rate_) + 64000 * blocks) / (128000 * blocks);
  hold_ = static_cast<int>(std::min(hold, kMostHold));

  const uint32_t decibels = std::min(config.focusDb == 0 ? kFocusDb : config.focusDb, kMostFocusDb);
  double ratio = 1.0;
  for (uint32_t n = 0; n < decibels; ++n) ratio = ratio * kOneDecibelLess;
  focus_ = static_cast<float>(ratio);

  if (best_ >= 0 && !inside(best_)) {
    best_ = -1;
    trust_ = 0.0f;
    waited_ = 0;
    state_.angle = -1;
    state_.confidence = 0.0f;
  }
}

void Direction::pause(bool on) {
  paused_ = on;
  if (on) clear_sums();
}

void Direction::clear_sums() {
  for (Group& group : groups_) group.sums.fill(0.0f);
  activity_ = 0.0f;
  level_ = 0.0f;
}

std::array<float, kDegrees> Direction::map() const {
  std::array<float, kDegrees> full;
  for (int d = 0; d < kDegrees; ++d) {
    full[static_cast<size_t>(d)] = map_[static_cast<size_t>(line_ && d > 180 ? kDegrees - d : d)];
  }
  return full;
}

DirectionState Direction::run(const int16_t* block) {
  if (adds_up_to_zero(block)) {
    DirectionState unchanged = state_;
    unchanged.heard = 0;
    return unchanged;
  }
  ++block_;
  for (int m = 0; m < mics_; ++m) {
    std::vector<float>& history = history_[static_cast<size_t>(m)];
    for (int t = 0; t < kFrame - kHop; ++t) {
      history[static_cast<size_t>(t)] = history[static_cast<size_t>(t + kHop)];
    }
    for (int t = 0; t < kHop; ++t) {
      history[static_cast<size_t>(kFrame - kHop + t)] = static_cast<float>(block[t * mics_ + m]);
    }
  }
  if (state_.age != std::numeric_limits<uint32_t>::max()) ++state_.age;

  if (block_ % 2 == 0 && block_ >= 4) {
    transform();
    weigh();
  } else if (block_ % 2 == 1 && frames_in_period_ == transforms_) {
    update();
    clear_sums();
    frames_in_period_ = 0;
  }
  return state_;
}

void Direction::transform() {
  ++frame_;
  ++frames_in_period_;
  for (size_t m = 0; m < history_.size(); ++m) {
    std::vector<float> windowed = history_[m];
    reference::do_fft(fft_, windowed.data(), as_floats(spectrum_[m].data()), kForward);
  }
  const float share = 1.0f / static_cast<float>(mics_);
  for (size_t k = 0; k < kBins; ++k) {
    float of_mic[vekbf::kMaxMics] = {};
    for (size_t m = 0; m < spectrum_.size(); ++m) of_mic[m] = magnitude_squared(spectrum_[m][k]);
    // An absent microphone's zero changes no sum.
    const float sum = (of_mic[0] + of_mic[2]) + (of_mic[1] + of_mic[3]);
    const float mean = sum * share;
    power_[k] = mean > kLeastPower ? mean : kLeastPower;
  }
}

void Direction::weigh() {
  reference::mcra2_run(noise_, power_.data());
  if (frame_ <= settling_) {
    // A plain mean until the estimator has something to go by.
    const auto share = static_cast<float>(1.0 / static_cast<double>(frame_));
    for (size_t k = 0; k < kBins; ++k) {
      start_mean_[k] =
          frame_ == 1 ? power_[k] : start_mean_[k] + (power_[k] - start_mean_[k]) * share;
      noise_->noisePower[k] = start_mean_[k];
    }
  }
  earlier_.insert(earlier_.begin(), power_);
  if (frame_ > lag_) {
    const std::vector<float>& before = earlier_[static_cast<size_t>(lag_)];
    for (size_t k = 0; k < kBins; ++k) {
      late_[k] = late_factor_ * late_[k] + (1.0f - late_factor_) * before[k];
    }
    earlier_.resize(static_cast<size_t>(lag_));
  }

  if (paused_ || frame_ <= settling_) return;
  const std::vector<float>& early = earlier_[static_cast<size_t>(early_)];
  for (int bin = first_; bin <= last_; ++bin) {
    const auto k = static_cast<size_t>(bin);
    const float steady = kOverNoise * noise_->noisePower[k] + kOverLate * late_[k];
    const float rest = (power_[k] - steady) - kOverEarly * early[k];
    weight_[k] = rest > 0.0f ? in_steps(rest / power_[k]) : 0.0f;
  }
  choose();
  for (int k = first_; k <= last_; ++k) {
    if (weight_[static_cast<size_t>(k)] > 0.0f) add_bin(k);
  }
}

// Takes away the weights of bins beyond the number that an update may use: the smallest of every
// band, from the highest band down; what a band leaves over goes to the next.
void Direction::choose() {
  const auto count_weights = [this](int from, int to) {
    int count = 0;
    for (int k = from; k <= to; ++k) {
      if (weight_[static_cast<size_t>(k)] > 0.0f) ++count;
    }
    return count;
  };
  if (count_weights(first_, last_) <= kMostBins) return;
  const int width = (last_ - first_ + 1 + kBands - 1) / kBands;
  int allowance = 0;
  for (int band = kBands - 1; band >= 0; --band) {
    allowance += kBinsPerBand;
    const int from = first_ + band * width;
    const int to = std::min(from + width - 1, last_);
    int count = count_weights(from, to);
    while (count > allowance) {
      // Of equal weights the one at the highest bin goes first.
      int least = -1;
      for (int k = from; k <= to; ++k) {
        const float weight = weight_[static_cast<size_t>(k)];
        if (weight > 0.0f && (least < 0 || weight <= weight_[static_cast<size_t>(least)]))
          least = k;
      }
      weight_[static_cast<size_t>(least)] = 0.0f;
      --count;
    }
    allowance -= count;
  }
}

void Direction::add_bin(int bin) {
  const auto k = static_cast<size_t>(bin);
  std::vector<Complex> phases;
  for (const std::vector<Complex>& spectrum : spectrum_) {
    const Complex x = spectrum[k];
    const float size = magnitude_squared(x);
    if (size < kLeastMagnitudeSquared) {
      phases.push_back({0.0f, 0.0f});
      continue;
    }
    const float inverse = 1.0f / std::sqrt(size);
    phases.push_back({in_steps(x.re * inverse), in_steps(x.im * inverse)});
  }
  const float weight = weight_[k];
  activity_ = activity_ + weight;
  level_ = level_ + weight * power_[k];
  const float late_share = (kIsotropicLate * late_[k]) / power_[k];
  for (size_t g = 0; g < groups_.size(); ++g) {
    const Group& group = groups_[g];
    if (group.sharpness[k] == 0) continue;
    std::vector<Complex> products;
    for (const Product pair : group.products) {
      const Complex a = phases[static_cast<size_t>(pair.first)];
      const Complex b = phases[static_cast<size_t>(pair.second)];
      products.push_back({a.re * b.re + a.im * b.im, a.im * b.re - a.re * b.im});
    }
    const Complex sum = sum_of(products);
    const float share = 1.0f / static_cast<float>(products.size());
    Complex phase = without_late({in_steps(sum.re * share), in_steps(sum.im * share)},
                                 group.diffuse[k] * late_share);
    for (int power = 1; power < group.sharpness[k]; power *= 2) phase = squared(phase);
    const float even = weight * phase.re;
    const float odd = weight * phase.im;
    // The groups of a line differ in their rows only.
    auto& sums = groups_[line_ ? 0 : g].sums;
    for (size_t n = 1; n <= kHarmonics; ++n) {
      sums[n] = sums[n] + group.rows[k][n] * (n % 2 == 1 ? odd : even);
    }
  }
}

void Direction::update() {
  state_.heard = 0;
  loudest_ = std::max(loudest_ * fade_, 1.0f);
  if (activity_ < kLeastActivity) return;
  loudest_ = std::max(loudest_, level_);
  if (level_ < loudest_ * focus_) return;
  draw();
  if (from_ != to_) {
    const auto strongest = std::max_element(map_.begin(), map_.end());
    if (!inside(static_cast<int>(strongest - map_.begin()))) return;
  }
  state_.heard = 1;
  spread();
  follow();
}

void Direction::draw() {
  if (line_) {
    draw_line();
  } else {
    draw_square();
  }
}

void Direction::draw_line() {
  const auto& sums = groups_[0].sums;
  for (int d = 0; d <= 90; ++d) {
    float even = 0.0f;
    float odd = 0.0f;
    for (int n = 1; n <= kHarmonics; ++n) {
      float& sum = n % 2 == 1 ? odd : even;
      sum = sum + sums[static_cast<size_t>(n)] * cosine_of_degrees(n * d);
    }
    map_[static_cast<size_t>(180 - d)] = even - odd;
    map_[static_cast<size_t>(d)] = even + odd;
  }
}

void Direction::draw_square() {
  const float half = cosine_of_degrees(45);
  float a[kHarmonics + 1] = {};
  float b[kHarmonics + 1] = {};
  for (int n = 1; n <= kHarmonics; ++n) {
    const auto at = static_cast<size_t>(n);
    const float d135 = groups_[0].sums[at];
    const float d0 = groups_[1].sums[at];
    const float d45 = groups_[2].sums[at];
    const float d90 = groups_[3].sums[at];
    const float sign = (n / 4) % 2 == 0 ? 1.0f : -1.0f;
    switch (n % 4) {
      case 0:
        a[n] = (d0 + d90) + sign * (d135 + d45);
        break;
      case 1:
        a[n] = d0 + sign * (half * (d45 - d135));
        b[n] = d90 + sign * (half * (d45 + d135));
        break;
      case 2:
        a[n] = d0 - d90;
        b[n] = sign * (d45 - d135);
        break;
      default:
        a[n] = d0 + sign * (half * (d135 - d45));
        b[n] = sign * (half * (d135 + d45)) - d90;
        break;
    }
  }
  for (int theta = 0; theta < kDegrees; ++theta) {
    const int quarter = theta / 90;
    const int d = quarter == 0   ? theta
                  : quarter == 1 ? 180 - theta
                  : quarter == 2 ? theta - 180
                                 : 360 - theta;
    float a_even = 0.0f;
    float a_odd = 0.0f;
    float b_even = 0.0f;
    float b_odd = 0.0f;
    for (int n = 1; n <= kHarmonics; ++n) {
      float& cosines = n % 2 == 1 ? a_odd : a_even;
      float& sines = n % 2 == 1 ? b_odd : b_even;
      cosines = cosines + a[n] * cosine_of_degrees(n * d);
      sines = sines + b[n] * sine_of_degrees(n * d);
    }
    float value = 0.0f;
    switch (quarter) {
      case 0:
        value = (a_even + b_even) + (a_odd + b_odd);
        break;
      case 1:
        value = (a_even - b_even) + (b_odd - a_odd);
        break;
      case 2:
        value = (a_even + b_even) - (a_odd + b_odd);
        break;
      default:
        value = (a_even - b_even) + (a_odd - b_odd);
        break;
    }
    map_[static_cast<size_t>(theta)] = value;
  }
}

// Evidence fades, moves by a few degrees at a cost, and takes in the map.
void Direction::spread() {
  const std::vector<float> before = evidence_;
  const auto at = [&](int degree) {
    if (!line_) return before[static_cast<size_t>(wrapped_degrees(degree))];
    return degree >= 0 && degree < degrees_ ? before[static_cast<size_t>(degree)] : kNever;
  };
  const std::vector<float> news = sharpened(map_);
  float top = kNever;
  for (int k = 0; k < degrees_; ++k) {
    float best = at(k);
    for (int step = 1; step <= kReach; ++step) {
      const float cost = kStepCost * static_cast<float>(step);
      best = std::max({best, at(k - step) - cost, at(k + step) - cost});
    }
    const auto here = static_cast<size_t>(k);
    evidence_[here] = kForget * best + news[here];
    top = std::max(top, evidence_[here]);
  }
  const float least = top - kCeiling;
  const float down = top > kCeiling ? top - kCeiling : 0.0f;
  for (float& value : evidence_) value = in_fine_steps(std::max(value, least) - down);
}

void Direction::follow() {
  int strongest = -1;
  for (int k = 0; k < degrees_; ++k) {
    if (!inside(k)) continue;
    if (strongest < 0 ||
        evidence_[static_cast<size_t>(k)] > evidence_[static_cast<size_t>(strongest)]) {
      strongest = k;
    }
  }
  const auto go_there = [&] {
    best_ = strongest;
    trust_ = activity_;
    waited_ = 0;
    state_.age = 0;
  };
  if (best_ < 0) {
    go_there();
  } else if (apart(strongest, best_) <= kNear) {
    best_ = strongest;
    waited_ = 0;
    trust_ = std::min(trust_ + activity_, kMostTrust);
    state_.age = 0;
  } else if (evidence_[static_cast<size_t>(strongest)] - best_near(best_) >= kMargin) {
    if (waited_ < std::numeric_limits<int>::max()) ++waited_;
    const bool long_enough =
        trust_ >= kFirm ? waited_ > hold_
                        : static_cast<float>(waited_) * kFirm > static_cast<float>(hold_) * trust_;
    if (long_enough) go_there();
  } else {
    waited_ = 0;
  }
  state_.angle = best_;
  state_.confidence = std::clamp(lead(), 0.0f, kCeiling) / kCeiling;
}

bool Direction::inside(int degree) const {
  if (from_ == to_) return true;
  const int width = wrapped_degrees(to_ - from_);
  if (wrapped_degrees(degree - from_) <= width) return true;
  return line_ && wrapped_degrees(-degree - from_) <= width;
}

int Direction::apart(int a, int b) const {
  const int distance = std::abs(a - b);
  return line_ ? distance : std::min(distance, kDegrees - distance);
}

float Direction::best_near(int degree) const {
  float best = kNever;
  for (int k = 0; k < degrees_; ++k) {
    if (apart(k, degree) <= kReach) best = std::max(best, evidence_[static_cast<size_t>(k)]);
  }
  return best;
}

float Direction::lead() const {
  float other = kNever;
  for (int k = 0; k < degrees_; ++k) {
    if (apart(k, best_) >= kElsewhere) other = std::max(other, evidence_[static_cast<size_t>(k)]);
  }
  return evidence_[static_cast<size_t>(best_)] - other;
}

}  // namespace reference
