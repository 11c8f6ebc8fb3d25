// SPDX-License-Identifier: MIT
#pragma once

#include "reference/model.h"

namespace reference {

// Back to time: adds half of the inverse transform, cut to integers, into outputOverlap, where the
// sums wrap to 16 bits. `spectrum` has 257 bins. Without a transform it adds silence.
void synthesise(Instance* instance, const Complex* spectrum);

}  // namespace reference
