#pragma once

// Paths and names of systemd-networkd's unit files, and the DNS lines of a [Network] section.

#include <cstdio>
#include <string>

#include "config/network_context.h"
#include "util/open_file.h"

// The unit directory, with a trailing slash.
inline constexpr char kUnitDir[] = "/var/run/systemd/network/";

// Returns the path of a unit, <unit directory>/<number>-<name>.<kind>; `kind` is "network" or "netdev".
std::string unit_file_path(int number, const char* name, const char* kind);

// Opens a unit file for writing, empty. Returns a closed file, with a log line, if it cannot be created.
OpenFile open_unit_file(const NetworkContext* ctx, int number, const char* name, const char* kind);

// Writes the "DNS =" lines: the servers of the link or, if it has none, the configured list. A null or too
// short string is not a server.
void write_unit_dns(const NetworkContext* ctx, std::FILE* file, const char* dns1, const char* dns2);
