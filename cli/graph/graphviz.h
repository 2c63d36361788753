#pragma once

#include <optional>
#include <string>

// Has Graphviz's `dot`, found along PATH, draw a picture as SVG. Returns nothing, or why it could not.
std::optional<std::string> draw(const std::string& dot, std::string& svg);
