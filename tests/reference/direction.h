// SPDX-License-Identifier: MIT
//
// The plain model of the direction finder: steered response power with phase transform (Knapp and
// Carter 1976, DiBiase 2000) over the bins that stand out of noise and late reverberation, as a
// Fourier series in the angle, followed over whole degrees by a max-sum filter. Scalar loops,
// written for reading; it includes the record header of the estimator and nothing else of the
// library, and runs on the model's own transform and estimator.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "base/complex.h"
#include "base/sizes.h"
#include "reference/model.h"
#include "vek_bf.h"

namespace reference {

struct DirectionConfig {
  int32_t sectorFrom;  // degrees, counter-clockwise from .. to; equal: everywhere
  int32_t sectorTo;
  uint32_t holdMs;   // 0: 130
  uint32_t focusDb;  // 0: 15
};

struct DirectionState {
  int32_t angle;  // -1: none yet
  int32_t heard;
  float confidence;
  uint32_t age;  // blocks
};

inline constexpr int kHarmonics = 24;  // of the response in the angle
inline constexpr int kDegrees = 360;
inline constexpr int kLineDegrees = 181;
inline constexpr int kLongestLag = 6;  // transforms

class Direction {
 public:
  // False where the record describes no array that has a direction; then nothing else may be
  // called.
  bool init(const VekBfInit& array);
  void configure(const DirectionConfig& config);
  DirectionState run(const int16_t* block);
  void pause(bool on);
  std::array<float, kDegrees> map() const;

  Direction() = default;
  ~Direction();
  Direction(const Direction&) = delete;
  Direction& operator=(const Direction&) = delete;

 private:
  // U_first times the conjugate of U_second.
  struct Product {
    int first;
    int second;
  };

  // Pairs of one displacement, and the Fourier coefficients of their response for every bin.
  struct Group {
    double distance;
    std::vector<Product> products;
    std::vector<std::array<float, kHarmonics + 1>> rows;  // by bin
    std::vector<float> diffuse;  // by bin: coherence of sound from everywhere
    std::vector<int> sharpness;  // by bin: multiple of the phase, 0 where there is no row
    std::array<float, kHarmonics + 1> sums;  // of weighted rows since the last update
  };

  bool place_line(const VekBfInit& array);
  bool place_square(const VekBfInit& array);
  void fill_rows(Group& group, int groups) const;
  void transform();
  void weigh();
  void choose();
  void add_bin(int k);
  void clear_sums();
  void update();
  void draw();
  void draw_line();
  void draw_square();
  void spread();
  void follow();
  bool inside(int degree) const;
  int apart(int a, int b) const;
  float best_near(int degree) const;
  float lead() const;

  int rate_ = 0;
  int mics_ = 0;
  int sound_speed_ = 0;
  bool line_ = false;
  int degrees_ = 0;
  int first_ = 0;  // bins
  int last_ = 0;
  int transforms_ = 0;  // per update
  int lag_ = 0;         // transforms, of the late reverberation
  int early_ = 0;       // transforms, of the sound before
  int settling_ = 0;    // transforms
  float late_factor_ = 0;
  float fade_ = 0;
  std::vector<Group> groups_;

  int from_ = 0;
  int to_ = 0;
  int hold_ = 0;
  float focus_ = 0;
  bool paused_ = false;

  uint64_t block_ = 0;
  int64_t frame_ = 0;
  int frames_in_period_ = 0;
  std::vector<std::vector<float>> history_;  // by microphone
  std::vector<std::vector<Complex>> spectrum_;
  FftState* fft_ = nullptr;
  Mcra2State* noise_ = nullptr;
  std::vector<float> power_;
  std::vector<float> start_mean_;
  std::vector<float> late_;
  std::vector<std::vector<float>> earlier_;  // powers, this transform's first
  std::vector<float> weight_;

  float activity_ = 0;
  float level_ = 0;
  float loudest_ = 1.0f;
  std::vector<float> map_;
  std::vector<float> evidence_;
  int best_ = -1;
  int waited_ = 0;
  float trust_ = 0;
  DirectionState state_ = {-1, 0, 0.0f, 0};
};

}  // namespace reference
