#pragma once

#include <cstdio>
#include <cstdlib>

// Ends the process, as a crash would, when an invariant does not hold; `what` says what is wrong then.
inline void check(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "broken invariant: %s\n", what);
  std::abort();
}
