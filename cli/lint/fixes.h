#pragma once

// Which fixes are certain.

#include <string>
#include <vector>

#include "cli/lint/allow.h"

// Gives findings that are not allowed a fix that follows from the value alone, if they have none: a value
// that the schema does not allow is replaced by one that says the same, and a string loses blanks at its
// ends, and "/32" behind an address. Keeps of all fixes those that are certain: after them, each alone and
// all together, the rules no longer find what they fix, and nothing that they did not find before. What one
// of them uncovers is fixed with it where that is certain, too: a misspelt key in an object whose key is
// misspelt. The fixes that are kept do not overlap. A text that is much larger than those that people write
// gets none, and one that cannot be parsed keeps those that it has.
void settle_fixes(const std::string& text, Judgement& judgement);

// The edits of all fixes. Of fixes that overlap, only the first stays with its finding.
std::vector<Edit> all_edits(std::vector<Finding>& findings);
