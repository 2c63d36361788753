#pragma once

#include <string>

// Gives the edges of a diagram in Graphviz's SVG right angles. Graphviz can do so itself, but fails on some
// diagrams. It has placed the boxes in columns, and each edge leads from one column to the next: between the
// columns there are only edges.
std::string with_right_angles(const std::string& svg);
