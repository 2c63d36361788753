#pragma once

// The colors of a diagram. Each box has its own background, so the background of the page does not matter
// for its text. Edges and text outside of boxes are legible on white and on black.

#include <vector>

#include "cli/graph/node.h"

struct BoxColors {
  const char* fill;
  const char* line;
};

// The style of a kind of box, on a light page and on a dark one.
struct BoxStyle {
  Node::Kind kind;
  const char* meaning;  // in the legend; null for self-explanatory kinds, and for those styled like another
  BoxColors light;
  BoxColors dark;
};

// The styles of all kinds of boxes, in the order of the legend.
const std::vector<BoxStyle>& box_styles();

// The style of a kind; for kLine, the last style.
const BoxStyle& style_of(Node::Kind kind);

inline constexpr BoxColors kInternetColors = {"#57606a", "#57606a"};
inline constexpr char kInternetText[] = "#ffffff";

inline constexpr char kEdgeColor[] = "#818b98";

// Other colors, on a light page and on a dark one.
struct PageColor {
  const char* light;
  const char* dark;
};
inline constexpr PageColor kBoxText = {"#1f2328", "#e6edf3"};
inline constexpr PageColor kPageText = {"#6e7781", "#9198a1"};
inline constexpr PageColor kError = {"#b3131c", "#ff9492"};
inline constexpr PageColor kWarning = {"#7d4e00", "#f0b72f"};

// The colors of a table below the diagram.
inline constexpr BoxColors kTableColors = {"#f6f8fa", "#d0d7de"};
