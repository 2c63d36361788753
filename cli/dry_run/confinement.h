#pragma once

// Restricts the processes in the sandbox.

#include "cli/dry_run/result.h"

// Restricts this process and its children: they have root's privileges only for the files and the network
// of the sandbox, cannot gain others, leave no core dumps, and cannot make system calls that no run needs.
void confine(const ResultPipe& pipe);
