#pragma once

// `lanfab check`: checks configurations for errors.

#include "cli/config_file/source.h"
#include "cli/lint/report.h"

// Prints the findings in one configuration as text. Returns their numbers.
Summary show_findings(Source source);
