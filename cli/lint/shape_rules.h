#pragma once

// Rules about the shape of a configuration: types and ranges of values, unknown words and keys, and strings
// that would become a directive, a command or a path. They also apply to disabled objects, since a wrong
// key, or an "enable" of the wrong type, may be why an object is disabled.

#include "cli/lint/finding.h"
#include "cli/lint/site.h"

void wrong_type(const Site& site, Findings& findings);
void out_of_range(const Site& site, Findings& findings);
void unknown_word(const Site& site, Findings& findings);
void unknown_key(const Site& site, Findings& findings);
void doubtful_key(const Site& site, Findings& findings);
void text_refused(const Site& site, Findings& findings);
