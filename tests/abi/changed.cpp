// SPDX-License-Identifier: MIT
//
// A function too many, for the comparison of the binary interface to find.
extern "C" __attribute__((visibility("default"))) int VekBf_Extra();
int VekBf_Extra() { return 1; }
