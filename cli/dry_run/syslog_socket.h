#pragma once

// The system log of the sandbox.

#include <vector>

#include "cli/dry_run/result.h"

// Opens /dev/log. Returns the socket, or -1 with errno set.
int open_syslog_socket();

// Appends what has arrived. Does not wait.
void receive_messages(int socket, std::vector<Message>& messages);
