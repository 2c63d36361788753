#pragma once

// Where systemd-networkd's unit files live, how they are named, and the DNS lines of a [Network] section.

#include <cstdio>
#include <string>

#include "config/network_context.h"
#include "util/open_file.h"

// With its trailing slash, as it goes in front of a file name.
inline constexpr char kUnitDir[] = "/var/run/systemd/network/";

// The path of a unit, <unit directory>/<number>-<name>.<kind>; `kind` is "network" or "netdev".
std::string unit_file_path(int number, const char* name, const char* kind);

// Opens that file for writing, empty. No file, and a log line, when it cannot be created.
OpenFile open_unit_file(const NetworkContext* ctx, int number, const char* name, const char* kind);

// Writes the "DNS =" lines: the servers that a link supplied or, when it supplied none, the configured list.
// A null or too short text does not count as a server.
void write_unit_dns(const NetworkContext* ctx, std::FILE* file, const char* dns1, const char* dns2);
