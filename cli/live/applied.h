#pragma once

// The configuration that the last APPLY has applied, which a rollback applies again. It may differ from the
// installed file, which may have been edited since.

#include <optional>
#include <string>

struct Applied {
  std::string text;
  std::string sha256;
};

// Finds the configuration applied by the last APPLY since the boot. If that APPLY was run by hand, so that
// only its end is known, it is the active configuration, unless that has changed since. Returns nothing, or
// why it is unknown.
std::optional<std::string> read_applied(Applied& applied);

// Whether the last APPLY has applied the text with this SHA-256.
bool is_applied(const std::string& sha256);

// Records that the last APPLY has applied this text; the next APPLY invalidates the record. False, with errno
// set, on failure.
bool record_applied(const std::string& text);

// For lanfab.service, before its APPLY and after one that has succeeded: keep the active configuration's
// text, and record it as what was applied if it is still the same. False, with errno set, on failure.
bool note_configuration();
bool record_noted_configuration();

// Runs an APPLY as a child, with a limit, and records what it has applied. With a `directory`, of
// network.json there, otherwise of the active configuration. Returns whether the APPLY succeeded.
bool apply_and_record(const std::string& program, const std::string& directory = "");
