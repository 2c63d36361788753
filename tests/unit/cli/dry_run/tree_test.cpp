#include "cli/dry_run/tree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>
#include <system_error>

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

TEST(TreeTest, FilesCountBeforeTheyAreRead) {
  std::filesystem::create_directories("/run/tree");
  put_file("/run/tree/file", "");
  // A sparse file, which takes no space.
  std::filesystem::resize_file("/run/tree/file", 1'000'000'000'000);
  Tree tree;
  Meter meter;
  EXPECT_THROW(add_directory("/run/tree", 1, tree, &meter), std::runtime_error);
  std::filesystem::remove_all("/run/tree");
}

TEST(TreeTest, WhatCannotBeReadForAnotherReasonThanPermissionIsAnError) {
  std::filesystem::create_directories("/run/tree");
  const std::string name(250, 'a');
  const auto start = std::filesystem::current_path();
  std::filesystem::current_path("/run/tree");
  // The resulting path is longer than PATH_MAX.
  for (int depth = 0; depth < 20; ++depth) {
    std::filesystem::create_directory(name);
    std::filesystem::current_path(name);
  }
  std::filesystem::current_path(start);
  Tree tree;
  EXPECT_THROW(add_directory("/run/tree", kAnyDepth, tree), std::system_error);
  EXPECT_NO_THROW(add_directory("/run/tree", 10, tree));
  std::filesystem::remove_all("/run/tree");
}

// Files that nobody may read, unless root's capabilities override their modes.
TEST(TreeTest, WhatMayNotBeReadIsLeftOut) {
  std::filesystem::create_directories("/run/tree/closed");
  put_file("/run/tree/closed/file", "");
  put_file("/run/tree/file", "");
  for (const char* path : {"/run/tree/closed", "/run/tree/file"})
    std::filesystem::permissions(path, std::filesystem::perms::none);
  __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct rights[2];
  ASSERT_EQ(syscall(SYS_capget, &header, rights), 0);
  const unsigned effective = rights[0].effective;
  rights[0].effective &= ~(1U << CAP_DAC_OVERRIDE | 1U << CAP_DAC_READ_SEARCH);
  ASSERT_EQ(syscall(SYS_capset, &header, rights), 0);
  EXPECT_THAT(paths_in("/run/tree", kAnyDepth), ElementsAre("/run/tree/", "/run/tree/closed/"));
  rights[0].effective = effective;
  ASSERT_EQ(syscall(SYS_capset, &header, rights), 0);
  std::filesystem::remove_all("/run/tree");
}
