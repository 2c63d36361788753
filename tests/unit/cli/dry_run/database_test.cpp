#include "cli/dry_run/database.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <filesystem>
#include <stdexcept>

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

static std::map<std::string, std::string> entries() {
  Meter meter;
  return read_database(meter);
}

TEST(DatabaseTest, EntriesHaveTheNameOfTheirDatabase) {
  EXPECT_THAT(entries(), IsEmpty()) << "there is none";
  execute("CREATE TABLE other(value)");
  EXPECT_THAT(entries(), IsEmpty()) << "it has no entries";
  execute(
      "CREATE TABLE entries(database TEXT, key TEXT, value TEXT);"
      "INSERT INTO entries VALUES('', 'CELL_CONNECTED', '1'), ('NET', 'MTU', '1430'), ('', 'EMPTY', NULL)");
  EXPECT_THAT(entries(),
              ElementsAre(Pair("CELL_CONNECTED", "1"), Pair("EMPTY", ""), Pair("NET/MTU", "1430")));
  std::filesystem::remove(kSystemDatabase);
}

TEST(DatabaseTest, WhatARunMayHavePlantedIsLimited) {
  execute(
      "CREATE VIEW entries AS WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n)"
      "SELECT 'NET' AS database, i AS key, hex(zeroblob(1000)) AS value FROM n");
  EXPECT_THROW(entries(), std::runtime_error);
  execute(
      "DROP VIEW entries; CREATE VIEW entries AS SELECT '' AS database, 'A' AS key,"
      "hex(zeroblob(100000000)) AS value");
  EXPECT_THAT(entries(), IsEmpty()) << "it is too long";
  std::filesystem::remove(kSystemDatabase);
}
