#pragma once

// Findings as JSON for other programs.

#include <json/json.h>

#include "cli/config_file/source.h"
#include "cli/lint/allow.h"

// An object with the name of the file, the list of its findings, that of the allowed ones if there are any,
// and how many more each rule found, if any did. Lines and columns are those of text_report(), and an end is
// the position behind the last character.
Json::Value json_report(const Source& source, const Judgement& judgement);

// The same of a file that cannot be read: an object with its name, no findings, and the message as "error".
Json::Value json_report_of_unreadable(const std::string& file, const std::string& message);
