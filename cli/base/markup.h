#pragma once

#include <string>

// The string escaped for markup and for Graphviz's HTML-like labels: replaces the characters that would
// begin an element or a reference, or end an attribute.
std::string escaped(const std::string& text);
