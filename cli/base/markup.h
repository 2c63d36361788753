#pragma once

#include <string>

// The text as markup shows it: what would begin an element, a reference, or the end of an attribute is
// replaced. Also Graphviz's labels show it so.
std::string escaped(const std::string& text);
