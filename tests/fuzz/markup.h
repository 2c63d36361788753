#pragma once

#include <cstddef>
#include <string>

// Checks a label in the markup that Graphviz reads: tables of text, some in bold or in a color, and nothing
// else.
void check_label(const std::string& label);

// Checks an SVG diagram that Graphviz has drawn: well-formed, with a group for each node and edge, and
// without anything that a browser would load or run.
void check_drawing(const std::string& svg, std::size_t nodes, std::size_t edges);
