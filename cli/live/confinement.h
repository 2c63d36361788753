#pragma once

// The confinement and the environment of lanfab.service, for the services of a trial.

#include <string>
#include <vector>

// What the section [Service] of a unit's text sets, with its drop-ins in order, as options of systemd-run.
// Left out is what makes that service the one it is: its commands, its type, its time limits and restarts.
std::vector<std::string> service_options(const std::string& unit);

// Those of lanfab.service as it is on this machine, with local drop-ins; without it, those of the packaged
// unit.
std::vector<std::string> lanfab_service_options();
