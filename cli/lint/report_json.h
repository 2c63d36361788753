#pragma once

// Findings as JSON for other programs.

#include <json/json.h>

#include "cli/config_file/source.h"
#include "cli/lint/allow.h"

// An object with the name of the file, its findings, its allowed findings if there are any, and the number
// of unlisted findings of each rule that has any. Lines and columns are those of text_report(); the end of a
// range is the position after its last character.
Json::Value json_report(const Source& source, const Judgement& judgement);

// The report of a file that cannot be read: an object with its name, no findings, and the message as
// "error".
Json::Value json_report_of_unreadable(const std::string& file, const std::string& message);
