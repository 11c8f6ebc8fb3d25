// SPDX-License-Identifier: MIT
//
// Steering vectors of a far-field plane wave.
#pragma once

#include <cstdint>

#include "base/instance.h"

// Fills micProjection, micDelay and the first micNum rows of steerTable for a look direction of
// `angle` whole degrees (any int32). For geometries other than the line and the triangle it prints
// a bare line and changes nothing.
void compute_steering(Instance* instance, int32_t angle);
