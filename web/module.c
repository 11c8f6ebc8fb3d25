/* SPDX-License-Identifier: MIT */
/* The module has no source of its own: it is the companion's objects (CMakeLists.txt). */
typedef int nothing;
