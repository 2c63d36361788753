#pragma once

#include <string>

// Returns a diagram, an SVG file by Graphviz, with its edges redrawn at right angles. Graphviz can draw
// them like that itself, but fails on some diagrams. The boxes must be in columns, and each edge must lead
// from one column to the next, so that only edges are between the columns.
std::string with_right_angles(const std::string& svg);
