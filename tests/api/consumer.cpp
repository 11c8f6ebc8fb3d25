// SPDX-License-Identifier: MIT
// The same host application, compiled as C++.
#include "consumer.c"
