#pragma once

// Restores the kernel's network in a rollback: an apply of the old configuration does not undo everything
// that the configuration on trial has left there.

#include <string>
#include <vector>

// Waits until systemd-networkd has configured every link that has a carrier, 15 s at most: before that the
// kernel's network is not worth a record.
void wait_for_links();

// Records the kernel's network before a trial. A failure is reported: the trial may go on, but its rollback
// restores nothing beyond the files.
void record_kernel();

// To be called when the old configuration has been applied: waits until systemd-networkd has configured the
// links, 15 s at most, then removes what the trial has added and restores what it has changed, for a minute
// at most. Each step and each failure is reported. Returns what still differs, a clause each: "gre-tun2 still
// exists"; or why it is not known. They are printable.
std::vector<std::string> restore_kernel();
