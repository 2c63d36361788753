#pragma once

// Text put together as std::printf does it.

#include <string>

// The text that printf would print. A process that finds no memory for it ends.
std::string format(const char* pattern, ...) __attribute__((format(printf, 1, 2)));
