#pragma once

// `lanfab explain`: what a rule is about.

#include <string>

// Prints the entry of a rule, or with an empty name a line for each rule. Returns the exit status: 0, or 2
// for a name that no rule has.
int explain(const std::string& rule);
