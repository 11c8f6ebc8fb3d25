// SPDX-License-Identifier: MIT
#include "module.h"

extern "C" {
[[gnu::visibility("default")]] extern const vekbf::bench::Module vekbf_bench_module;
}

const vekbf::bench::Module vekbf_bench_module = {
    &vekbf::bench::kLibrary, vekbf::bench::stages(),
    [] { return vekbf::bench::make_workload().release(); }};
