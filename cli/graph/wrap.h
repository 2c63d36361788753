#pragma once

// Prepares strings of a configuration for a diagram.

#include <cstddef>
#include <string>
#include <vector>

#include "cli/lint/finding.h"

enum class Charset { kAscii, kUtf8 };

// Breaks a string, between words if possible, into as few lines of at most `columns` columns (at least 2)
// as possible; the lines are about equally long. Characters that are not printable or not in the charset
// become question marks, and very long strings are cut. Returns at least one line.
std::vector<std::string> wrapped(const std::string& text, std::size_t columns, Charset charset);

// The string on a single line, with the same replacements and the same maximum length as in wrapped().
std::string shown(const std::string& text, Charset charset);

// The width on a terminal, in columns, of a line that wrapped() or shown() returned.
std::size_t width_of(const std::string& line);

// A finding on one line: "error: ... [rule]".
std::string text_of(const Finding& finding);
