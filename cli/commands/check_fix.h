#pragma once

// `lanfab check --fix` and `--diff`.

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "cli/config_file/source.h"
#include "cli/lint/allow.h"

// Parses the text of a configuration and returns its findings.
using Judge = std::function<Judgement(Source& source)>;

// Fixes that were applied to a configuration. The fixed text is in its Source.
struct FixedText {
  std::string before;
  std::vector<std::string> report;  // a line for each fix
};

// Applies the fixes of the findings to the text of `source`, checks the new text, and repeats this until no
// fix is left. Updates `judgement` to the final text. Allowed findings are not fixed.
FixedText apply_fixes(Source& source, Judgement& judgement, const Judge& judge);

// Writes the text of `source` to the file that it was read from, with the file's byte order mark. Returns
// nothing on success; otherwise an error message, and the file is unchanged.
std::optional<std::string> write_fixed(const std::string& file, const Source& source, const FixedText& fixed);

// Unified diff from the text before the fixes to the text of `source`, with keys hidden. Empty if the texts
// are equal.
std::string diff_of_fixes(const Source& source, const FixedText& fixed);
