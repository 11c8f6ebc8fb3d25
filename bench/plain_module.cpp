// SPDX-License-Identifier: MIT
//
// The plain model as a module, for builds of it with other flags than the library's.
#include "module.h"
#include "reference/model.h"

namespace vekbf::bench {
namespace {
constexpr Engine kPlain = {reference::init, reference::set_config, reference::run,
                           reference::free_instance};
}  // namespace
}  // namespace vekbf::bench

extern "C" {
[[gnu::visibility("default")]] extern const vekbf::bench::Module vekbf_bench_module;
}

const vekbf::bench::Module vekbf_bench_module = {&vekbf::bench::kPlain, {}, nullptr};
