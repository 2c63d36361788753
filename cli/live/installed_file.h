#pragma once

// The installed configuration, and how it is replaced.

#include <functional>
#include <optional>
#include <string>

#include "libcmd/configuration_file.h"

// The suffix of the file that a new configuration has replaced.
inline constexpr char kPreviousSuffix[] = ".previous";

struct InstalledFile {
  std::string path;  // links are followed
  // Where a rename replaces the file: `path`, unless the file is mounted there by itself, from a data
  // partition, for example. The new one is mounted over `path` then.
  std::string entry;
};

// Finds the installed configuration. Returns nothing, or why it cannot be found or replaced there.
std::optional<std::string> find_installed(InstalledFile& installed);

// Why the file at `installed` could not be replaced, and what to do about it. Nothing if it can.
std::optional<std::string> why_not_replaceable(const InstalledFile& installed);

enum class Installation { kFailed, kRefused, kPlaced, kDurable };

// Asked right before the new file replaces the other one, and right after: if one of them says no,
// the other one is installed again.
struct Permission {
  std::function<bool()> before;
  std::function<bool()> after;
};

// Replaces `installed` with `content`, which keeps its owner and mode; what was there becomes the
// previous one, unless it is the same. At every moment, power lost included, `installed` is either whole, and
// the previous one is another one. A failure or a refusal leaves both as they were. Placed, not durable:
// every run sees it, but the disk has not confirmed it, or the previous one. `error` says what failed.
Installation install(const std::string& content, const InstalledFile& installed, const Permission& permission,
                     std::string& error);

// Completes what an `install` that was killed has left: makes the file visible at its path, and durable, and
// what was there before the previous one.
Installation complete_installation(const InstalledFile& installed, std::string& error);
