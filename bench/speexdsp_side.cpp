// SPDX-License-Identifier: MIT
#include <speex/speex_preprocess.h>

#include <algorithm>
#include <memory>

#include "others.h"

namespace vekbf::bench {

Call speexdsp_preprocessor(const std::vector<int16_t>& in, int rate) {
  const int length = rate / 50;  // 20 ms
  const std::shared_ptr<SpeexPreprocessState> state(speex_preprocess_state_init(length, rate),
                                                    speex_preprocess_state_destroy);
  Frames frames(in, 1, length, rate);
  std::vector<int16_t> inout(static_cast<size_t>(length));
  return [state, frames, inout]() mutable {
    frames.step([&](const int16_t* frame) {
      std::copy_n(frame, inout.size(), inout.begin());
      speex_preprocess_run(state.get(), inout.data());
    });
  };
}

}  // namespace vekbf::bench
