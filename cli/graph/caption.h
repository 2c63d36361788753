#pragma once

// What a diagram shows, and of which day.

#include <optional>
#include <string>

struct Caption {
  std::string title;     // the name of the file, or what the user wants there
  std::string subtitle;  // the day, after the name of the file if that is not the title
};

// Captions a file, "-" being standard input. The day is that of its last change; SOURCE_DATE_EPOCH sets
// another, so that a diagram can be reproduced. Returns nothing, or why that is not a time.
std::optional<std::string> caption_file(const std::string& file, const std::string& title, Caption& caption);
