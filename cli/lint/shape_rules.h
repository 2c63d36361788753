#pragma once

// The shape of a configuration: the types of its values, their ranges, unknown words and keys, and strings
// that would become a directive, a command or a path. These rules judge what is not enabled, too: a key that
// is wrong, or the type of an "enable", may be why it is not.

#include "cli/lint/finding.h"
#include "cli/lint/site.h"

void wrong_type(const Site& site, Findings& findings);
void out_of_range(const Site& site, Findings& findings);
void unknown_word(const Site& site, Findings& findings);
void unknown_key(const Site& site, Findings& findings);
void doubtful_key(const Site& site, Findings& findings);
void text_refused(const Site& site, Findings& findings);
