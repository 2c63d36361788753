#pragma once

// What the last APPLY has put in force, which is what a rollback goes back to. It is not always the installed
// file: that one may have been edited since.

#include <optional>
#include <string>

struct Applied {
  std::string text;
  std::string sha256;
};

// Finds what the last APPLY since the boot has applied. Where only its end is known, since somebody ran it by
// hand, that is the active configuration, unless it has changed after it. Returns nothing, or why it is not
// known.
std::optional<std::string> read_applied(Applied& applied);

// Whether the last APPLY has applied the text with this SHA-256.
bool is_applied(const std::string& sha256);

// Writes down that the last APPLY has applied this text, for as long as no other one follows. False, with
// errno set, on failure.
bool record_applied(const std::string& text);

// For lanfab.service, before its APPLY and after one that has succeeded: keep the active configuration's
// text, and record it as what was applied if it is still the same. False, with errno set, on failure.
bool note_configuration();
bool record_noted_configuration();

// Runs an APPLY as a child, with a limit, and records what it has applied. With a `directory`, of
// network.json there, otherwise of the active configuration. Returns whether the APPLY succeeded.
bool apply_and_record(const std::string& program, const std::string& directory = "");
