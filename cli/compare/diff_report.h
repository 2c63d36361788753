#pragma once

// A comparison as a reader or a program wants it.

#include <json/json.h>

#include <string>
#include <vector>

#include "cli/compare/file_differences.h"
#include "cli/compare/interrupts.h"

struct DiffReport {
  std::vector<std::string> sentences;
  std::vector<Interrupt> interrupts;
  std::vector<FileDifference> files;  // the commands among them, by the name kCommands
};

// The sentences and, under a heading, the interrupts; empty if nothing differs. With `color` for a terminal.
std::string summary_text(const DiffReport& report, bool color);

// The differences of the files, and behind them that of the commands. Of a file with the hunks of another one
// there is only its name. For a terminal, what it would execute is replaced.
std::string differences_text(const DiffReport& report, bool for_terminal, bool color);

// An object with all of it.
Json::Value diff_json(const DiffReport& report);
