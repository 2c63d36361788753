#include "platform/libsysdb.h"

int sysdb_read_int(int, const char*, int*) {
  return -1;
}

int sysdb_write_str(int, const char*, const char*, int) {
  return -1;
}

int sysdb_namedb_write_str(int, const char*, const char*, const char*, int) {
  return -1;
}
