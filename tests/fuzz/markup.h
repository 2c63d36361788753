#pragma once

#include <cstddef>
#include <string>

// Checks a label in Graphviz's markup: it may only have tables, and text that may be bold or in color.
void check_label(const std::string& label);

// Checks an SVG diagram drawn by Graphviz: it must be well-formed, with this number of groups for nodes and
// for edges, and without links and scripts.
void check_drawing(const std::string& svg, std::size_t nodes, std::size_t edges);
