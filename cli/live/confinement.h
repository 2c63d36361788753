#pragma once

// The confinement and the environment of lanfab.service, for the services of a trial.

#include <string>
#include <vector>

// Settings of the [Service] sections in `unit`, the text of a unit followed by its drop-ins, as systemd-run
// options. Leaves out the settings that each service has for itself, such as commands, type, time limits and
// restarts.
std::vector<std::string> service_options(const std::string& unit);

// systemd-run options of lanfab.service as installed on this machine, with local drop-ins; if it is not
// installed, those of the packaged unit.
std::vector<std::string> lanfab_service_options();
