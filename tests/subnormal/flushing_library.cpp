// SPDX-License-Identifier: MIT
#include "subnormal/flushing_library.h"

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>

namespace vekbf::test {

namespace {

template <class Function>
void look_up(void* module, const char* name, Function& function) {
  function = reinterpret_cast<Function>(dlsym(module, name));
  if (function == nullptr) {
    std::fprintf(stderr, "%s is missing in " VEKBF_FLUSHING "\n", name);
    std::exit(1);
  }
}

Engine load() {
  void* module = dlopen(VEKBF_FLUSHING, RTLD_NOW | RTLD_LOCAL);
  if (module == nullptr) {
    std::fprintf(stderr, "%s\n", dlerror());
    std::exit(1);
  }
  Engine engine{};
  look_up(module, "VekBf_Init", engine.init);
  look_up(module, "VekBf_SetConfig", engine.setConfig);
  look_up(module, "VekBf_Run", engine.run);
  look_up(module, "VekBf_Free", engine.freeInstance);
  return engine;
}

}  // namespace

const Engine& flushing_library() {
  static const Engine engine = load();
  return engine;
}

}  // namespace vekbf::test
