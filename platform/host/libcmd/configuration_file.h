#pragma once

// Where the configuration is. While a configuration is on trial, its file in kTrialDirectory is the active
// one instead of the installed one. A reboot ends every trial.

inline constexpr char kInstalledDirectory[] = "/etc/lanfab";
inline constexpr char kInstalledConfiguration[] = "/etc/lanfab/network.json";

// Others than root may not list it or lock it; each file has its own mode.
inline constexpr char kTrialDirectory[] = "/run/lanfab";
inline constexpr char kTrialConfiguration[] = "/run/lanfab/network.json";
