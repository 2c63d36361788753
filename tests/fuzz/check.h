#pragma once

#include <cstdio>
#include <cstdlib>

// Aborts the process if an invariant does not hold; `what` describes the violation.
inline void check(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "broken invariant: %s\n", what);
  std::abort();
}
