#include "cli/dry_run/database.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <filesystem>

#include "libsysdb/sysdb_file.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

static void execute(const char* statements) {
  sqlite3* database = nullptr;
  ASSERT_EQ(sqlite3_open(kSystemDatabase, &database), SQLITE_OK);
  EXPECT_EQ(sqlite3_exec(database, statements, nullptr, nullptr, nullptr), SQLITE_OK);
  sqlite3_close(database);
}

TEST(DatabaseTest, EntriesHaveTheNameOfTheirDatabase) {
  EXPECT_THAT(read_database(), IsEmpty()) << "there is none";
  execute("CREATE TABLE other(value)");
  EXPECT_THAT(read_database(), IsEmpty()) << "it has no entries";
  execute(
      "CREATE TABLE entries(database TEXT, key TEXT, value TEXT);"
      "INSERT INTO entries VALUES('', 'CELL_CONNECTED', '1'), ('NET', 'MTU', '1430'), ('', 'EMPTY', NULL)");
  EXPECT_THAT(read_database(),
              ElementsAre(Pair("CELL_CONNECTED", "1"), Pair("EMPTY", ""), Pair("NET/MTU", "1430")));
  std::filesystem::remove(kSystemDatabase);
}
