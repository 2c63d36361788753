#pragma once

// What holds of every file that the program writes, whatever the configuration, as long as no text of it has
// a line end.

#include <string>

// A unit: sections of lines "Key = value", where only the keys and sections that systemd adds up stand twice.
void check_unit(const std::string& text);

// dnsmasq's configuration, from its first line to its last: the known directives, and in each section every
// one of them once.
void check_dnsmasq_conf(const std::string& text);

// A script: its first line, if it is to have one, and then nothing but lines that begin with `command`.
void check_script(const std::string& text, const std::string& first_line, const std::string& command);

// The end of dnsmasq's configuration.
extern const char kDnsmasqEnd[];
