#pragma once

// Texts of a configuration on their way into a picture.

#include <cstddef>
#include <string>
#include <vector>

#include "cli/lint/finding.h"

enum class Charset { kAscii, kUtf8 };

// Breaks a text into lines of at most `columns`, which is at least 2, between words if it can. What is no
// printable character of the charset becomes a question mark, and a very long text is cut. Never without a
// line.
std::vector<std::string> wrapped(const std::string& text, std::size_t columns, Charset charset);

// "error: ... [rule]"
std::string text_of(const Finding& finding);
