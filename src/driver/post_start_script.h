#pragma once

// The script that the device runs whenever systemd-networkd has started.

#include "config/network_context.h"

// Replaces the script by one that runs the shell line `command`.
void write_post_networkd_start_actions_script(const NetworkContext* ctx, const char* command);
