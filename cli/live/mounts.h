#pragma once

// Files that are mount points, such as a file on a data partition mounted over another file.

#include <optional>
#include <string>

// Finds the directory entry of the file at `path`, an absolute path without symbolic links: a rename to the
// entry replaces the file. The entry is `path` itself, unless the file is a mount point, where a rename
// fails. If several mounts show the file, one in a writable directory is preferred. Returns nothing if no
// mount shows it.
std::optional<std::string> find_entry(const std::string& path);

// Unmounts the file mounted at `path` and mounts `file` there with the same options. Returns false and sets
// errno on failure.
bool mount_instead(const std::string& file, const std::string& path);
