#include "cli/commands/print_schema.h"

#include <cstdio>

#include "cli/config_file/schema.h"

int print_schema() {
  std::fwrite(kSchema.data(), 1, kSchema.size(), stdout);
  return 0;
}
