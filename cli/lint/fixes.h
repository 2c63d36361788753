#pragma once

// Selects the fixes that are certain.

#include <string>
#include <vector>

#include "cli/lint/allow.h"

// Adds fixes to the findings that are not allowed, and removes each fix that is not certain. A finding
// without a fix gets one that follows from the value alone: a value that the schema does not allow is
// replaced by an allowed one with the same meaning, and a string loses blanks at its ends and "/32" after an
// address.
//
// Fixes are certain if, after all of them are applied, the rules no longer report what they fix, and report
// nothing new. If a fix uncovers another finding, such as a misspelled key in an object whose own key is
// misspelled, it is extended to fix that, too. The fixes that remain do not overlap. A text that is much
// larger than a hand-written one gets no fixes, and a text that cannot be parsed keeps those that it has.
void settle_fixes(const std::string& text, Judgement& judgement);

// Returns the edits of all fixes. If fixes overlap, only the first one is kept; the others are removed from
// their findings.
std::vector<Edit> all_edits(std::vector<Finding>& findings);
