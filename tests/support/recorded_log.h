#pragma once

// Takes the place of syslog() in a test program, at link time.

#include <cstdarg>
#include <string>
#include <vector>

// Where the messages go, each as "notice text". The test program defines it.
std::vector<std::string>& recorded_log();

// What printf would print.
__attribute__((format(printf, 1, 0))) std::string formatted(const char* text, va_list arguments);
