#include "cli/dry_run/initial_state.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "libsysdb/sysdb_file.h"
#include "test_files.h"

// The content of the system database in the state; "" if it has none.
static std::string database_in(const InitialState& state) {
  for (const File& file : state.tree.files)
    if (file.path == kSystemDatabase) return file.content;
  return "";
}

// A run in the sandbox finds the database at the usual path, wherever it is on the machine.
TEST(InitialStateTest, TheDatabaseOfThisMachineIsCopied) {
  put_file("/run/other.sqlite3", "database");
  setenv("LANFAB_SYSDB", "/run/other.sqlite3", 1);
  InitialState state;
  EXPECT_EQ(make_initial_state("here", state), std::nullopt);
  EXPECT_EQ(database_in(state), "database");
  setenv("LANFAB_SYSDB", "/run/missing.sqlite3", 1);
  state = {};
  EXPECT_EQ(make_initial_state("here", state), std::nullopt);
  EXPECT_EQ(database_in(state), "");
  unsetenv("LANFAB_SYSDB");
}
