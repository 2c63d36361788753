// unit_tests [DIRECTORY] [OPTION...]
//
// Runs the tests of the files in tests/unit/DIRECTORY, or all of them; the options are those of GoogleTest.

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

// Returns a GoogleTest filter that selects exactly the tests of the directory; empty if it has none.
static std::string filter_of(const std::string& directory) {
  // A release build strips the path before it.
  const std::string part = "tests/unit/" + directory + "/";
  const auto& program = *testing::UnitTest::GetInstance();
  std::string filter;
  for (int i = 0; i < program.total_test_suite_count(); ++i) {
    const testing::TestSuite& suite = *program.GetTestSuite(i);
    for (int j = 0; j < suite.total_test_count(); ++j) {
      const testing::TestInfo& test = *suite.GetTestInfo(j);
      if (std::string(test.file()).find(part) == std::string::npos) continue;
      filter += (filter.empty() ? "" : ":") + std::string(suite.name()) + "." + test.name();
    }
  }
  return filter;
}

int main(int argc, char* argv[]) {
  testing::InitGoogleTest(&argc, argv);
  if (argc > 1) {
    const std::string filter = filter_of(argv[1]);
    if (filter.empty()) {
      std::fprintf(stderr, "no test in tests/unit/%s\n", argv[1]);
      return 2;
    }
    testing::GTEST_FLAG(filter) = filter;
  }
  return RUN_ALL_TESTS();
}
