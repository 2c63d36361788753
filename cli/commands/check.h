#pragma once

// `lanfab check`: what is wrong with configurations.

#include "cli/config_file/source.h"
#include "cli/lint/report.h"

// Prints the findings in one configuration as text. Returns how many there are.
Summary show_findings(Source source);
