#include "cli/dry_run/tree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "test_files.h"

using ::testing::ElementsAre;

static std::vector<std::string> paths_in(const std::string& directory, int depth) {
  Tree tree;
  add_directory(directory, depth, tree);
  std::vector<std::string> paths;
  for (const Directory& one : tree.directories)
    paths.push_back(one.path + "/");
  for (const File& file : tree.files)
    paths.push_back(file.path);
  return paths;
}

TEST(TreeTest, HoldsDirectoriesAndRegularFilesDownToADepth) {
  std::filesystem::create_directories("/run/tree/a/b");
  put_file("/run/tree/file", "");
  put_file("/run/tree/a/file", "");
  std::filesystem::create_symlink("a", "/run/tree/link");
  ASSERT_EQ(mkfifo("/run/tree/pipe", 0600), 0);
  EXPECT_THAT(paths_in("/run/tree", 1), ElementsAre("/run/tree/", "/run/tree/a/", "/run/tree/file"));
  EXPECT_THAT(paths_in("/run/tree", kAnyDepth), ElementsAre("/run/tree/", "/run/tree/a/", "/run/tree/a/b/",
                                                            "/run/tree/a/file", "/run/tree/file"));
  EXPECT_THAT(paths_in("/run/tree/link", 1),
              ElementsAre("/run/tree/link/", "/run/tree/link/b/", "/run/tree/link/file"));
  EXPECT_THAT(paths_in("/run/tree/file", 1), ElementsAre());
  EXPECT_THAT(paths_in("/run/tree/missing", 1), ElementsAre());
  std::filesystem::remove_all("/run/tree");
}
