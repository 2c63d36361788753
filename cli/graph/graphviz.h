#pragma once

#include <optional>
#include <string>

// Draws a diagram as an SVG element with Graphviz's `dot`, found along PATH. Returns nothing, or why it could
// not.
std::optional<std::string> draw(const std::string& dot, std::string& svg);
