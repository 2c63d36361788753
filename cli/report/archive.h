#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cli/base/file.h"

// Sets the bytes of a compressed archive, as tar(1) and gzip(1) make it. The paths of the files begin with a
// slash; in the archive all are below the directory `name`. Returns nothing, or why it cannot be made.
std::optional<std::string> pack(const std::vector<File>& files, const std::string& name,
                                std::string& archive);
