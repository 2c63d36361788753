#pragma once

// The system database of the host platform: an SQLite file with the table entries(database, key, value), in
// which the default database has an empty name.

inline constexpr char kSystemDatabase[] = "/var/run/sysdb.sqlite3";

// Returns the path of that file, or of the one that the environment names instead.
const char* system_database_file();
