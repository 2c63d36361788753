#pragma once

// The system log of the sandbox.

#include <vector>

#include "cli/dry_run/result.h"

// Opens /dev/log. Returns the socket, or -1 with errno set.
int open_syslog_socket();

// Appends the next message if one has arrived, and returns whether it has. Does not wait.
bool receive_message(int socket, std::vector<Message>& messages);
