#pragma once

// The installed configuration, what lies over it during a trial, and how it is replaced.

#include <optional>
#include <string>

inline constexpr char kInstalledConfiguration[] = "/etc/lanfab/network.json";

// What is put in its place leaves it beside it, under this name.
inline constexpr char kPreviousSuffix[] = ".previous";

// Where the file really is: links are followed. Nothing, with errno set, when it is missing.
std::optional<std::string> installed_path();

// Whether the trial's file lies over `installed`.
bool is_trial_active(const std::string& installed);

// Puts the trial's file over `installed`, where nobody can write to it. False, with errno set, when it
// cannot.
bool activate_trial(const std::string& installed);

// Takes it away again, also from a run that reads it.
bool deactivate_trial(const std::string& installed);

// Leaves the common view of the file system for one of this process alone, in which `installed` is the file
// on the disk. False, with errno set, when it cannot.
bool enter_view_without_trial(const std::string& installed);

enum class Installation { kFailed, kPlaced, kDurable };

// Puts `content` in the place of `installed`, which keeps its owner and mode; what was there becomes the
// previous one. At every moment, power lost included, `installed` is either whole. Placed, not durable: every
// run sees it, but the disk has not confirmed it. `trouble` says what failed.
//
// During a trial this is called in the view of enter_view_without_trial. The kernel then takes the trial's
// file away for everyone in the very rename that puts the same text in its place: no run sees the former one
// in between, unless it opens the file in the microsecond that the kernel needs.
Installation install(const std::string& content, const std::string& installed, std::string& trouble);
