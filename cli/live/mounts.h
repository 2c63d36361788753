#pragma once

// Mounted files: a file on a data partition that is mounted by itself over another file, for example.

#include <optional>
#include <string>

// Whether a file is mounted at `path`, an absolute one without links.
bool is_mount_point(const std::string& path);

// Finds the directory entry of the file that is mounted at `path`: a rename there replaces the file, while
// one at `path` fails. A mount that can be written to is preferred. Nothing if no other mount shows the
// directory.
std::optional<std::string> find_mounted_file(const std::string& path);

// Mounts `file` at `path` instead of the one that is mounted there, with the same options. False, with errno
// set, on failure.
bool mount_instead(const std::string& file, const std::string& path);
