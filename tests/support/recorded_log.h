#pragma once

// Replaces syslog() in a test program, at link time.

#include <cstdarg>
#include <string>
#include <vector>

// Receives the messages as "notice text". The test program defines it.
std::vector<std::string>& recorded_log();

// Returns the output of printf.
__attribute__((format(printf, 1, 0))) std::string formatted(const char* text, va_list arguments);
