#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cli/base/file.h"

// Packs the files with tar(1), compressed, and sets `archive` to the bytes. The paths of the files begin
// with a slash; in the archive, all files are below the directory `name`. Returns nothing on success;
// otherwise an error message.
std::optional<std::string> pack(const std::vector<File>& files, const std::string& name,
                                std::string& archive);
