#pragma once

#include <cstddef>
#include <string>

// Checks a label in Graphviz's markup: only tables of text, some of it bold or in color.
void check_label(const std::string& label);

// Checks an SVG diagram drawn by Graphviz: well-formed, with a group for each node and edge, and nothing that
// a browser would load or run.
void check_drawing(const std::string& svg, std::size_t nodes, std::size_t edges);
