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

// Applies the fixes of the findings to the text of `source`, then those of what is found in the new text,
// until no fix is left. Updates `judgement` to the final text. Allowed findings are not fixed.
FixedText apply_fixes(Source& source, Judgement& judgement, const Judge& judge);

// Writes the new text to the file that it was read from, with its byte order mark. Returns nothing, or why
// that failed; the file is then as before.
std::optional<std::string> write_fixed(const std::string& file, const Source& source, const FixedText& fixed);

// The unified difference between the text before the fixes and the present one, without keys. Empty if
// they are equal.
std::string diff_of_fixes(const Source& source, const FixedText& fixed);
