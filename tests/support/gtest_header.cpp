// SPDX-License-Identifier: MIT
//
// The tests that share one precompiled header take it from this target.
#include <gtest/gtest.h>
