// The device's system database in C, as the adapter declares it: the results encode the arguments.
#include <string.h>

int sysdb_read_int(int database, const char* key, int* value) {
  *value = strcmp(key, "CELL_CONNECTED") == 0 ? 1 : 0;
  return database;
}

int sysdb_write_str(int database, const char* key, const char* value, int flags) {
  return database * 1000 + (int)strlen(key) * 100 + (int)strlen(value) * 10 + flags;
}

int sysdb_namedb_write_str(int flags, const char* database, const char* key, const char* value, int options) {
  return flags * 10000 + (int)strlen(database) * 1000 + (int)strlen(key) * 100 + (int)strlen(value) * 10 +
         options;
}
