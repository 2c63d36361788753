#include "cli/base/time_text.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>

TEST(TimeTextTest, IsInTheLocalTimeZone) {
  setenv("TZ", "UTC-1", 1);
  tzset();
  EXPECT_EQ(time_text(1795291200), "2026-11-21 21:00:00");
  unsetenv("TZ");
  tzset();
}

TEST(TimeTextTest, OfAYearThatCannotBeWrittenIsEmpty) {
  EXPECT_EQ(time_text(INT64_MAX), "");
}
