#pragma once

// What a process in the sandbox may do.

#include "cli/dry_run/result.h"

// Limits this process and all that it starts: root's rights over files and the network alone, and over those
// of the sandbox, no way to more of them, no cores, and none of the system calls that no run needs.
void confine(const ResultPipe& pipe);
