#include "cli/compare/unified_diff.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(UnifiedDiff, OfEqualTextsIsEmpty) {
  EXPECT_EQ(unified_diff("a", "x\n", "a", "x\n").text, "");
}

TEST(UnifiedDiff, OfEqualTextsWithOtherNamesNamesThem) {
  EXPECT_EQ(unified_diff("/dev/null", "", "a", "").text, "--- /dev/null\n+++ a\n");
}

TEST(UnifiedDiff, NumbersTheChangedLinesFromZero) {
  const UnifiedDiff diff = unified_diff("a", "same\nold\nend\n", "a", "same\nnew\nnewer\nend\n");
  EXPECT_EQ(diff.text, "--- a\n+++ a\n@@ -1,3 +1,4 @@\n same\n-old\n+new\n+newer\n end\n");
  EXPECT_THAT(diff.removed, ElementsAre(1));
  EXPECT_THAT(diff.added, ElementsAre(1, 2));
}

TEST(UnifiedDiff, ShowsThreeLinesOfContext) {
  EXPECT_EQ(
      unified_diff("a", "1\n2\n3\n4\n5\n6\n7\n8\n9\nA\nB\n", "a", "1\n2\n3\n4\nfive\n6\n7\n8\n9\nA\nB\n")
          .text,
      "--- a\n+++ a\n@@ -2,7 +2,7 @@\n 2\n 3\n 4\n-5\n+five\n 6\n 7\n 8\n");
}

TEST(UnifiedDiff, SplitsHunksThatAreFarApart) {
  EXPECT_EQ(unified_diff("a", "x\n1\n2\n3\n4\n5\n6\n7\ny\n", "a", "1\n2\n3\n4\n5\n6\n7\n").text,
            "--- a\n+++ a\n@@ -1,4 +1,3 @@\n-x\n 1\n 2\n 3\n@@ -6,4 +5,3 @@\n 5\n 6\n 7\n-y\n");
}

// patch(1) expects line 0 for an empty file.
TEST(UnifiedDiff, OfANewTextBeginsAtLineZero) {
  const UnifiedDiff diff = unified_diff("/dev/null", "", "a", "one\n");
  EXPECT_EQ(diff.text, "--- /dev/null\n+++ a\n@@ -0,0 +1,1 @@\n+one\n");
  EXPECT_THAT(diff.removed, IsEmpty());
  EXPECT_THAT(diff.added, ElementsAre(0));
}

TEST(UnifiedDiff, TellsALastLineWithoutAnEnd) {
  EXPECT_EQ(unified_diff("a", "one\n", "a", "one").text,
            "--- a\n+++ a\n@@ -1,1 +1,1 @@\n-one\n+one\n\\ No newline at end of file\n");
}
