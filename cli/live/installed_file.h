#pragma once

// Finding and replacing the installed configuration file.

#include <functional>
#include <optional>
#include <string>

#include "libcmd/configuration_file.h"

// Suffix of the previous configuration, the file that the installed one has replaced.
inline constexpr char kPreviousSuffix[] = ".previous";

struct InstalledFile {
  std::string path;  // symbolic links are resolved
  // Path at which a rename replaces the file: `path`, unless the file itself is a mount point, such as a file
  // mounted from a data partition. In that case, the new file is mounted at `path`.
  std::string entry;
};

// Finds the installed configuration. Returns nothing, or why it cannot be found or replaced.
std::optional<std::string> find_installed(InstalledFile& installed);

// Checks whether `installed` can be replaced. Returns nothing, or why not and how to fix it.
std::optional<std::string> why_not_replaceable(const InstalledFile& installed);

enum class Installation { kFailed, kRefused, kPlaced, kDurable };

// Predicates called right before and right after the new file replaces the installed one. If either returns
// false, the installation is refused, and a replaced file is restored.
struct Permission {
  std::function<bool()> before;
  std::function<bool()> after;
};

// Replaces `installed` with `content`; its owner and mode stay the same. The replaced file becomes the
// previous one, unless its content is the same. At any time, even if power is lost, `installed` is complete,
// and the previous one differs from it. kFailed and kRefused: both files are as they were, or `error`
// contains why they could not be restored. kPlaced: every run reads the new file, but it or the previous one
// may not be on the disk yet. `error` contains what failed.
Installation install(const std::string& content, const InstalledFile& installed, const Permission& permission,
                     std::string& error);

// Completes an `install` that was killed: makes the new file visible at its path and durable, and makes the
// replaced file the previous one. `error` is set unless the result is kDurable.
Installation complete_installation(const InstalledFile& installed, std::string& error);
