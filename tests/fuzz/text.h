#pragma once

#include <optional>
#include <string>
#include <vector>

// The characters of a text in UTF-8, as the C library reads it. Nothing if it is not UTF-8.
std::optional<std::u32string> decode_utf8(const std::string& text);

// Whether the text is UTF-8 without control characters, tabs apart.
bool is_clean(const std::string& text);

// Whether it also has no character that a terminal would hide or that would reorder what stands beside it.
bool is_safe_on_terminal(const std::string& text);

// The lines of a text, without their ends.
std::vector<std::string> lines_of(const std::string& text);

// The text without the codes that color it.
std::string without_color(const std::string& text);
