#include "cli/language_server/schema_help.h"

#include <gmock/gmock.h>

#include "cursor_in.h"

using ::testing::Contains;
using ::testing::IsEmpty;
using ::testing::IsSupersetOf;
using ::testing::Not;

static std::vector<std::string> replacements_in(const std::string& text) {
  std::vector<std::string> replacements;
  for (const Proposal& proposal : proposals_at(cursor_in(text)))
    replacements.push_back(proposal.replacement);
  return replacements;
}

TEST(SchemaHelp, ProposesTheKeysThatAreMissing) {
  EXPECT_THAT(replacements_in(R"({"wired": {"eth0": {|}})"), IsSupersetOf({"\"enable\": ", "\"network\": "}));
  EXPECT_THAT(replacements_in(R"({"wired": {"eth0": {"enable": true, |}})"), Not(Contains("\"enable\": ")));
  EXPECT_THAT(replacements_in(R"({"wired": {"eth0": {"en|": true}})"), Contains("enable\""));
}

TEST(SchemaHelp, ProposesValues) {
  EXPECT_THAT(replacements_in(R"({"wired": {"eth0": {"enable": |}})"), testing::ElementsAre("true", "false"));
  EXPECT_THAT(replacements_in(R"({"dns": {"static": ["|"]}})"), Contains("9.9.9.9\""));
  EXPECT_THAT(replacements_in(R"({"dns": {"static": [|]}})"), Contains("\"9.9.9.9\""));
  EXPECT_THAT(replacements_in(R"({"wired": {"eth0": {"enable": "t|"}}})"), IsEmpty());
}

TEST(SchemaHelp, ProposesNothingWhereTheSchemaEnds) {
  EXPECT_THAT(replacements_in(R"({"unknown": {|}})"), IsEmpty());
  EXPECT_THAT(replacements_in(R"({"wired": {"eth0": {"enable": {|}}})"), IsEmpty());
  EXPECT_THAT(replacements_in(R"(|)"), IsEmpty());
}

TEST(SchemaHelp, DescribesTheKeyAndTheValue) {
  const std::string description =
      "*boolean, default false*\n\nEnables the port; a disabled port is set down.";
  EXPECT_EQ(description_at(cursor_in(R"({"wired": {"eth0": {"enab|le": true}}})")), description);
  EXPECT_EQ(description_at(cursor_in(R"({"wired": {"eth0": {"enable": tr|ue}}})")), description);
  EXPECT_EQ(description_at(cursor_in(R"({"unknown": tr|ue})")), "");
  EXPECT_EQ(description_at(cursor_in(R"({"static_routes": [{"net|mask": 1}]})")).substr(0, 18),
            "*integer, 0 to 32*");
  EXPECT_EQ(description_at(cursor_in(R"({"wireless": {"cell": {"m|tu": 1}}})")).substr(0, 24),
            "*integer, at most 65535*");
  EXPECT_EQ(description_at(cursor_in(R"({"hostnames": |})")), "");
}
