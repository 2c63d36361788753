#pragma once

// Mounted files: a file on a data partition that is mounted by itself over another file, for example.

#include <optional>
#include <string>

// Finds the directory entry of the file at `path`, an absolute one without links: a rename there replaces the
// file. That is `path` itself, unless the file is mounted there: a rename would fail. Of several mounts that
// show its directory, one that can be written to is preferred. Nothing if no mount shows it.
std::optional<std::string> find_entry(const std::string& path);

// Mounts `file` at `path` instead of the one that is mounted there, with the same options. False, with errno
// set, on failure.
bool mount_instead(const std::string& file, const std::string& path);
