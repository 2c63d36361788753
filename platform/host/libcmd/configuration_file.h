#pragma once

// Paths of the configuration. During a trial, its file in kTrialDirectory is active instead of the installed
// one. A reboot ends every trial.

inline constexpr char kInstalledDirectory[] = "/etc/lanfab";
inline constexpr char kInstalledConfiguration[] = "/etc/lanfab/network.json";

// Only root may list the directory or lock it; each file has its own mode.
inline constexpr char kTrialDirectory[] = "/run/lanfab";
inline constexpr char kTrialConfiguration[] = "/run/lanfab/network.json";
