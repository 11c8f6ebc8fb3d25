// SPDX-License-Identifier: MIT
//
// For the build of the library at the commit that scripts/bench names: where its headers lie.
#pragma once

#include "api/instance.h"
