#pragma once

// What takes the place of `ip`, `systemctl` and the other tools in a world: this program under their names,
// which only records how it was called.

#include <set>
#include <string>
#include <vector>

const std::set<std::string>& recorded_tools();

// Whether a program called like this is a recorder.
bool is_recorder(const char* called);

// Records a call. Returns the status that the tool would end with: `systemctl is-active` answers for the
// services of prepare_recorders, everything else succeeds.
int record_call(int argc, char* argv[]);

// Makes what the recorders need. False, with errno set, when that fails.
bool prepare_recorders(const std::vector<std::string>& active_services);

// The calls in their order, each with the words of its command line.
std::vector<std::vector<std::string>> recorded_calls();
