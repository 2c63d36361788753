#pragma once

// The caption of a diagram: a title and a date.

#include <optional>
#include <string>

struct Caption {
  std::string title;     // the file name, or a title that the user chose
  std::string subtitle;  // the date, preceded by the file name unless that is the title
};

// Fills in the caption for a file; "-" is standard input. The date is that of the file's last change,
// unless SOURCE_DATE_EPOCH sets another, for reproducible diagrams. Returns nullopt, or an error message if
// SOURCE_DATE_EPOCH is not a valid time.
std::optional<std::string> caption_file(const std::string& file, const std::string& title, Caption& caption);
