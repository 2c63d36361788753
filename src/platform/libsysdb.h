#pragma once

// The device's system database: string values by key, in a default database and in named ones. All calls
// return 0 on success.

// Reads an integer. `database` 0 is the default database. `value` is unchanged on failure.
int sysdb_read_int(int database, const char* key, int* value);

// Writes into the default database; this program always passes 0 for `database` and `flags`.
int sysdb_write_str(int database, const char* key, const char* value, int flags);

// Writes into the named database; this program always passes 0 for `flags` and `options`.
int sysdb_namedb_write_str(int flags, const char* database, const char* key, const char* value, int options);
