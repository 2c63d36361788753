#pragma once

// The device's utility library.

#include <cstddef>

// Formats a line of any length, runs it with /bin/sh and waits. Returns the shell's wait status, or -1 if the
// shell cannot be started.
int qelsys(const char* format, ...) __attribute__((format(printf, 1, 2)));

// Returns non-zero if `path` exists.
int file_exists(const char* path);

// Removes the file; returns 0 on success.
int delete_file(const char* path);

// Copies the file's first line, without its line end, into `buffer` of `size` bytes. Returns 0, or -1 with an
// empty buffer on failure. A value that does not fit, including its terminator, is a failure.
int read_var_file(const char* path, char* buffer, std::size_t size);

// Start or restart the service with systemd and wait for the result; return 0 on success.
int execute_systemctl_start(const char* service);
int execute_systemctl_restart(const char* service);

// Returns non-zero if the service is active.
int is_service_active(const char* service);

// Sets the link down; returns 0 on success.
int ip_link_set_interface_down(const char* ifname);

// Writes the interface's MAC address into `buffer` as twelve hexadecimal digits (16 bytes). Returns 0, or -1
// with an empty string for an interface without a MAC address.
int get_if_hw_addr(const char* ifname, char* buffer);

// Writes the interface's MAC address with colons between the bytes (18 bytes).
int get_if_hw_addr_formatted(const char* ifname, char* buffer);

// Writes the dotted netmask of a prefix length from 0 to 32 into `buffer` (16 bytes) and returns it; an empty
// string for any other prefix length.
char* cidr_to_netmask(int prefix, char* buffer);

// Returns the prefix length of a dotted netmask; -1 if the string is not a netmask.
int netmask_to_cidr(const char* netmask);

// Writes the network of a dotted address and a prefix length, as network address, slash, prefix length, into
// `buffer` (24 bytes). Returns 0, or -1 with an empty string if the address or the prefix length is invalid.
int get_cidr_subnet(const char* address, int prefix, char* buffer);

// Resolves a dotted address or a host name to a dotted IPv4 address of at most `size` characters in `buffer`,
// which has one byte more for the terminator. Returns 0 on success. This program always passes 0 for the last
// two parameters.
int domain_ip_to_ip_str(const char* name, char* buffer, int size, int, int);
