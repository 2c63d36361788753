#pragma once

// Restores the kernel's network in a rollback: applying the old configuration does not undo all changes
// that the configuration on trial made in the kernel.

#include <string>
#include <vector>

// Waits until systemd-networkd has configured every link that has a carrier, for 15 s at most. A record of
// the kernel's network is only useful after that.
void wait_for_links();

// Records the kernel's network before a trial. Reports a failure: the trial can continue, but its rollback
// only restores the files.
void record_kernel();

// Restores the kernel's network after the old configuration has been applied. Waits until systemd-networkd
// has configured the links, for 15 s at most, then undoes the changes of the trial, for a minute at most.
// Prints each step and reports each failure. Returns the remaining differences as printable clauses, such
// as "gre-tun2 still exists", or a single clause if they could not be determined.
std::vector<std::string> restore_kernel();
