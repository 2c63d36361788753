#pragma once

// The confinement and the environment of lanfab.service, for the services of a trial.

#include <string>
#include <vector>

// Settings of the section [Service] in a unit's text, with its drop-ins in order, as options of systemd-run:
// all but the commands, the type, the time limits and the restarts.
std::vector<std::string> service_options(const std::string& unit);

// Options of lanfab.service as installed on this machine, with local drop-ins; if it is not installed, those
// of the packaged unit.
std::vector<std::string> lanfab_service_options();
