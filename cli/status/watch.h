#pragma once

// A page on the terminal that is kept up to date.

#include <functional>
#include <string>

// Shows what `page` returns, and again every two seconds and when an interface, an address or a route
// changes, until "q", Ctrl-C or one of the signals that end a program. The terminal is then as before.
// Returns that signal, 0 for a key.
int watch(const std::function<std::string()>& page);
