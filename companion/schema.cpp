#include "companion/schema.h"

#include <cstdio>

#include "companion/source/schema.h"

int print_schema() {
  std::fwrite(kSchema.data(), 1, kSchema.size(), stdout);
  return 0;
}
