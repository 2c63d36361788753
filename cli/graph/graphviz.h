#pragma once

#include <optional>
#include <string>

// Draws a diagram in the DOT language as an SVG element, with Graphviz's `dot` from PATH. Returns
// nullopt, or an error message.
std::optional<std::string> draw(const std::string& dot, std::string& svg);
