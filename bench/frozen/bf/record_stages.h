// SPDX-License-Identifier: MIT
//
// For the build of the library at the commit that scripts/bench names: where its headers lie.
#pragma once

#include "bf/fixed_beam.h"
#include "bf/presence_gain.h"
#include "bf/sidelobe_canceller.h"
#include "bf/synthesis.h"
