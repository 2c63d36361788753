#pragma once

// String formatting in the style of std::printf.

#include <string>

// Returns the string that printf would print. The process aborts if memory runs out.
std::string format(const char* pattern, ...) __attribute__((format(printf, 1, 2)));
