#pragma once

// The script that the device runs after each start of systemd-networkd.

#include "config/network_context.h"

// Replaces the script with one that runs the shell line `command`.
void write_post_networkd_start_actions_script(const NetworkContext* ctx, const char* command);
