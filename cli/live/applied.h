#pragma once

// The configuration applied by the last APPLY. A rollback applies it again. The installed file may differ,
// since it may have been edited after that APPLY.

#include <optional>
#include <string>

struct Applied {
  std::string text;
  std::string sha256;
};

// Finds the configuration applied by the last APPLY since boot. An APPLY that was run by hand leaves no
// record; the result is then the active configuration, unless that file was changed after the APPLY. Returns
// nothing on success, otherwise why the configuration is unknown.
std::optional<std::string> read_applied(Applied& applied);

// Whether the configuration applied by the last APPLY has this SHA-256.
bool is_applied(const std::string& sha256);

// Records `text` as the configuration applied by the last APPLY; the next APPLY invalidates the record.
// Returns false and sets errno on failure.
bool record_applied(const std::string& text);

// Used by lanfab.service. note_configuration() saves the active configuration before the APPLY.
// record_noted_configuration() runs after a successful APPLY and records the saved configuration as applied,
// or as unknown if the file has changed meanwhile. Both return false and set errno on failure.
bool note_configuration();
bool record_noted_configuration();

// Runs `program apply` as a child process with a time limit and records the configuration that it applied:
// network.json in `directory`, or the active configuration if `directory` is empty. Returns whether the APPLY
// succeeded; an error in recording is only printed.
bool apply_and_record(const std::string& program, const std::string& directory = "");
