#pragma once

// The output of `lanfab diff`, as text and as JSON.

#include <json/json.h>

#include <string>
#include <vector>

#include "cli/compare/file_differences.h"
#include "cli/compare/interrupts.h"

struct DiffReport {
  std::vector<std::string> sentences;
  std::vector<Interrupt> interrupts;
  std::vector<FileDifference> files;  // including the commands, under the name kCommands
};

// The sentences, followed by the interrupts under a heading; empty if no file differs. `color` adds escape
// sequences for colors.
std::string summary_text(const DiffReport& report, bool color);

// The differences between the files, followed by those between the commands. A file with the same hunks as
// an earlier one is only mentioned by name. `for_terminal` replaces control characters, as printable()
// does; `color` adds escape sequences for colors.
std::string differences_text(const DiffReport& report, bool for_terminal, bool color);

// The whole report as a JSON object.
Json::Value diff_json(const DiffReport& report);
