// The content of the stub's executable file, which the build creates first. STUB_PROGRAM is its path.

#include "cli/dry_run/stub.h"

asm(".pushsection .rodata\n"
    "stub_program_begin: .incbin \"" STUB_PROGRAM
    "\"\n"
    "stub_program_end: .byte 0\n"
    ".popsection\n");

extern "C" const char stub_program_begin[];
extern "C" const char stub_program_end[];

std::string stub_program() {
  return {stub_program_begin, stub_program_end};
}
