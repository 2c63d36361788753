#pragma once

// `lanfab check --fix` and `--diff`.

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "cli/config_file/source.h"
#include "cli/lint/allow.h"

// Parses the text of a configuration and returns what is found in it.
using Judge = std::function<Judgement(Source& source)>;

// A configuration's text after its fixes.
struct FixedText {
  std::string before;
  std::vector<std::string> report;  // a line for each fix
};

// Changes the text of `source` by the fixes of its findings, and by those that are certain after that, until
// there is none. Both are then those of the new text. What is allowed stays.
FixedText apply_fixes(Source& source, Judgement& judgement, const Judge& judge);

// Writes the new text to the file that it was read from, with its byte order mark. Returns nothing, or why
// that failed; the file is then as before.
std::optional<std::string> write_fixed(const std::string& file, const Source& source, const FixedText& fixed);

// The unified difference between the text before the fixes and the present one, without keys. Empty if there
// is none.
std::string diff_of_fixes(const Source& source, const FixedText& fixed);
