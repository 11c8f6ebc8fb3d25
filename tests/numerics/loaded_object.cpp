// SPDX-License-Identifier: MIT
//
// Loads a shared object of the library and plays scenes through its exported functions:
//
//   loaded_object OBJECT DIGESTS [SHARE]
//
// all of them, or one in SHARE.
//
// Fails where loading changed the floating-point mode of the process, or a scene gave other samples
// or another state than the stored digests.
#include <dlfcn.h>

#include <cfenv>
#include <cstdio>
#include <cstdlib>

#include "fft/fft.h"
#include "simd/float_mode.h"
#include "support/quiet.h"
#include "vectors/digest_file.h"
#include "vectors/player.h"

namespace {

using namespace vekbf::test;

// The mode as the processor has it, and what it does.
struct FloatMode {
  uint64_t control;
  int rounding;
  bool keeps_subnormals;
  bool operator==(const FloatMode&) const = default;
};

FloatMode float_mode() {
  volatile double smallest = 0x1p-1074;
  volatile double doubled = smallest * 2.0;
  const uint64_t control = vekbf::float_control::get() & vekbf::float_control::kModeBits;
  return {control, std::fegetround(), doubled != 0.0};
}

template <class Function>
bool find(void* object, const char* name, Function*& function) {
  function = reinterpret_cast<Function*>(dlsym(object, name));
  if (function == nullptr) std::fprintf(stderr, "loaded_object: no %s\n", name);
  return function != nullptr;
}

}  // namespace

int main(int count, char** arguments) {
  const size_t share = count == 4 ? std::strtoul(arguments[3], nullptr, 10) : 1;
  if (count < 3 || count > 4 || share == 0) {
    std::fprintf(stderr, "usage: loaded_object OBJECT DIGESTS [SHARE]\n");
    return 2;
  }
  const auto stored = read_digests(arguments[2]);
  const FloatMode before = float_mode();
  void* object = dlopen(arguments[1], RTLD_NOW | RTLD_LOCAL);
  if (object == nullptr) {
    std::fprintf(stderr, "loaded_object: %s\n", dlerror());
    return 2;
  }
  const FloatMode after = float_mode();
  // The transform of this program counts saturated samples; everything else is the object's.
  Engine engine{nullptr, nullptr, nullptr, nullptr, fft_init, do_fft, fft_free};
  if (!find(object, "VekBf_Init", engine.init) ||
      !find(object, "VekBf_SetConfig", engine.setConfig) ||
      !find(object, "VekBf_Run", engine.run) || !find(object, "VekBf_Free", engine.freeInstance)) {
    return 2;
  }

  int other_samples = 0;
  int other_states = 0;
  size_t played = 0;
  for (size_t i = 0; i < scenes().size(); i += share) {
    const Scene& scene = scenes()[i];
    ++played;
    SceneDigest digest;
    {
      const Quiet quiet;
      digest = digest_of(scene, engine);
    }
    const auto expected = stored.find(scene.name);
    if (expected == stored.end() || expected->second.digest.input != digest.input) {
      std::fprintf(stderr, "loaded_object: %s is not in the list\n", scene.name.c_str());
      return 2;
    }
    other_samples += digest.output != expected->second.digest.output;
    other_states += digest.states != expected->second.digest.states;
  }
  const bool mode_kept = before == after && before.keeps_subnormals;
  std::printf("%zu scenes, %d with other samples, %d with other states; floating-point mode %s\n",
              played, other_samples, other_states, mode_kept ? "kept" : "changed");
  return other_samples == 0 && other_states == 0 && mode_kept ? 0 : 1;
}
