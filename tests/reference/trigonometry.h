// SPDX-License-Identifier: MIT
#pragma once

namespace reference {

// The mathematics library's cosine and sine. In a file of their own, so that the compiler cannot
// join the two of one phase into its combined function, which is another text.
double cosine(double phase);
double sine(double phase);

}  // namespace reference
