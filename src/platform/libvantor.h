#pragma once

// The device's utility library.

#include <cstddef>

// Formats a line of any length, has /bin/sh run it and waits for that. Returns the shell's wait status; -1
// when it cannot be started.
int qelsys(const char* format, ...) __attribute__((format(printf, 1, 2)));

// Non-zero when something exists at `path`.
int file_exists(const char* path);

// Removes the file; 0 on success.
int delete_file(const char* path);

// Copies the file's first line, without its line end, into `buffer` of `size` bytes. Returns 0; on failure -1
// with an empty buffer. A value that does not fit with its terminator is a failure.
int read_var_file(const char* path, char* buffer, std::size_t size);

// Ask systemd for the service and wait for the outcome; 0 on success.
int execute_systemctl_start(const char* service);
int execute_systemctl_restart(const char* service);

// Non-zero when the service is active.
int is_service_active(const char* service);

// Sets the link down; 0 on success.
int ip_link_set_interface_down(const char* ifname);

// Writes the interface's MAC address into `buffer`, as twelve hexadecimal digits (16 bytes). Returns 0, or -1
// with an empty string for an interface without one.
int get_if_hw_addr(const char* ifname, char* buffer);

// The same with colons between the bytes (18 bytes).
int get_if_hw_addr_formatted(const char* ifname, char* buffer);

// The dotted netmask of a prefix length from 0 to 32 into `buffer` (16 bytes), which is returned; empty
// text for any other prefix.
char* cidr_to_netmask(int prefix, char* buffer);

// The prefix length of a dotted netmask; -1 for a text that is not a netmask.
int netmask_to_cidr(const char* netmask);

// The network of a dotted address and a prefix length, as network address, slash, prefix, into `buffer`
// (24 bytes). Returns 0; -1 with an empty text when the address or the prefix is invalid.
int get_cidr_subnet(const char* address, int prefix, char* buffer);

// Resolves a dotted address or a host name to dotted IPv4 text of at most `size` characters in `buffer`,
// which has one byte more for the terminator. Returns 0 on success. This program always passes 0 for the
// last two.
int domain_ip_to_ip_str(const char* name, char* buffer, int size, int, int);
