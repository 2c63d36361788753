#include "cli/status/file_drift.h"

#include <gtest/gtest.h>

TEST(FileDrift, ATimeSpanIsRoundedDown) {
  EXPECT_EQ(time_span(0), "0 s");
  EXPECT_EQ(time_span(119), "119 s");
  EXPECT_EQ(time_span(120), "2 minutes");
  EXPECT_EQ(time_span(12 * 60 + 59), "12 minutes");
  EXPECT_EQ(time_span(7199), "119 minutes");
  EXPECT_EQ(time_span(7200), "2 hours");
  EXPECT_EQ(time_span(48 * 3600 - 1), "47 hours");
  EXPECT_EQ(time_span(48 * 3600), "2 days");
}
