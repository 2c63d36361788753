#pragma once

#include <gtest/gtest.h>
#include <json/json.h>

#include <string>

#include "cli/base/json.h"

// Compares values as JSON text, so that signed and unsigned integers are equal.
inline void expect_json(const Json::Value& value, const std::string& text) {
  Json::Value expected;
  ASSERT_TRUE(parse_json(text, expected)) << text;
  EXPECT_EQ(value.toStyledString(), expected.toStyledString());
}
