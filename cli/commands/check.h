#pragma once

// `lanfab check`: checks configurations for errors.

#include "cli/config_file/source.h"
#include "cli/lint/report.h"

// Prints the findings in one configuration as text. Returns how many there are.
Summary show_findings(Source source);
