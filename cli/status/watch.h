#pragma once

// Shows a page on the terminal and keeps it up to date.

#include <functional>
#include <string>

// Shows the string that `page` returns. Updates it every two seconds and when an interface, an address or a
// route changes, until "q", Ctrl-C, SIGINT, SIGTERM or SIGHUP. Restores the terminal. Returns the signal, or
// 0 after a key.
int watch(const std::function<std::string()>& page);
