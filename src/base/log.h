// SPDX-License-Identifier: MIT
//
// Log lines: everything that the library prints. A library links one of two implementations:
// log.cpp writes to standard output, log_silent.cpp writes nothing.
#pragma once

namespace vekbf {

enum class Severity { kMessage, kWarning, kError };

// Prints "[TAG, function] message" and a newline on standard output. The whole line is written with
// one call, so lines of instances in different threads never mix.
void log_line(Severity severity, const char* function, const char* message);

// Prints a bare line, without the prefix.
void log_bare(const char* line);

}  // namespace vekbf
