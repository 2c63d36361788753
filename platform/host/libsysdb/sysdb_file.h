#pragma once

// Where the host platform keeps the system database: an SQLite file with the table
// entries(database, key, value), the default database having an empty name.

inline constexpr char kSystemDatabase[] = "/var/run/sysdb.sqlite3";

// That file, or the one that the environment names instead.
const char* system_database_file();
