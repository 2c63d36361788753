#include "cli/graph/html.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

static std::string page_with(const std::vector<Finding>& findings, const std::vector<Table>& tables = {}) {
  return html_page({"Shop", "network.json"}, "<svg></svg>\n", "{\n  \"a\": 1,\n  \"b\": 2\n}\n", findings,
                   tables);
}

TEST(Html, AFindingHasItsLocations) {
  Finding finding{"a-rule", Severity::kError, {15, 18}, "too <large>", {}};
  finding.details.related = {{{4, 7}, "see \"a\""}};
  EXPECT_THAT(page_with({finding}),
              AllOf(HasSubstr("<p>1 error and 0 warnings in 1 file</p>"),
                    HasSubstr("<tr><td>3:4</td><td class=\"error\">error</td><td>too &lt;large&gt;"
                              "<p>line 2: see &quot;a&quot;</p></td><td>a-rule</td></tr>")));
}

TEST(Html, FindingsThatAreNotListedAreCounted) {
  Finding finding{"a-rule", Severity::kWarning, {4, 7}, "odd", {}};
  EXPECT_THAT(page_with({finding}), HasSubstr("<td>odd</td>"));
  finding.unlisted = 17;
  EXPECT_THAT(page_with({finding}), AllOf(HasSubstr("<td>odd<p>and 17 more</p></td>"),
                                          HasSubstr("<p>0 errors and 18 warnings in 1 file</p>")));
}

TEST(Html, ATableHasItsTitleAndColumns) {
  EXPECT_THAT(page_with({}, {{"Host names", {"Name"}, {{"a&b"}, {""}}}}),
              HasSubstr("<h2>Host names</h2>\n<table>\n<tr><th>Name</th></tr>\n<tr><td>a&amp;b</td></tr>\n"
                        "<tr><td></td></tr>\n</table>"));
}

TEST(Html, WhatABrowserWouldHideIsShown) {
  EXPECT_THAT(page_with({{"a-rule", Severity::kError, {4, 7}, "\u202etxt\x01", {}}}),
              AllOf(HasSubstr("<td>?txt?</td>"), Not(HasSubstr("\u202e"))));
}

TEST(Html, ADarkPageHasDarkBoxes) {
  EXPECT_THAT(page_with({}), AllOf(HasSubstr("@media screen and (prefers-color-scheme: dark)"),
                                   HasSubstr("svg [fill=\"#dbebff\"] { fill: #10294a }")));
}
