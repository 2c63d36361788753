#pragma once

// Texts of a configuration on their way into a diagram.

#include <cstddef>
#include <string>
#include <vector>

#include "cli/lint/finding.h"

enum class Charset { kAscii, kUtf8 };

// Breaks a text between words, if it can, into the fewest lines of at most `columns`, which is at least 2;
// the lines are about equally long. What is not a printable character of the charset becomes a question mark,
// and a very long text is cut. Never without a line.
std::vector<std::string> wrapped(const std::string& text, std::size_t columns, Charset charset);

// The same in one line.
std::string shown(const std::string& text, Charset charset);

// How many columns of a terminal such a line takes.
std::size_t width_of(const std::string& line);

// "error: ... [rule]"
std::string text_of(const Finding& finding);
