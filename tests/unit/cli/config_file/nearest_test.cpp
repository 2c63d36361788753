#include "cli/config_file/nearest.h"

#include <gtest/gtest.h>

#include <cctype>

using Words = std::vector<std::string>;

TEST(Nearest, TheCandidateOfTheFewestEdits) {
  struct {
    const char* word;
    Words candidates;
    const char* expected;
  } const cases[] = {
      {"netmask", {"gateway", "netmask"}, "netmask"},
      {"netmsk", {"gateway", "netmask"}, "netmask"},    // a letter is missing
      {"nettmask", {"gateway", "netmask"}, "netmask"},  // an extra letter
      {"netmosk", {"gateway", "netmask"}, "netmask"},   // a different letter
      {"entmask", {"gateway", "netmask"}, "netmask"},   // two neighbors swapped
      {"enmtask", {"gateway", "netmask"}, "netmask"},   // two swaps that share a letter
      {"NetMask", {"gateway", "netmask"}, "netmask"},   // upper and lower case are equal
      {"tag", {"tags", "tag"}, "tag"},                  // an exact match comes first
      {"start", {"starts", "stars"}, "starts"},         // the first of equally near words
  };
  for (const auto& [word, candidates, expected] : cases)
    EXPECT_EQ(nearest(word, candidates), expected) << word;
}

TEST(Nearest, NothingWhenEveryCandidateIsTooFar) {
  struct {
    const char* word;
    Words candidates;
  } const cases[] = {
      {"netmask", {}},     {"netmask", {"gateway", "address"}}, {"netmask", {"netmissing"}},  // four edits
      {"ab", {"ac", "b"}},  // one edit is half of the letters
      {"abcd", {"abxy"}},   // two edits are half of the letters
      {"", {"a"}},
  };
  for (const auto& [word, candidates] : cases)
    EXPECT_EQ(nearest(word, candidates), std::nullopt) << word;
}

// The same candidate is found whatever the case of the word and the candidates.
TEST(Nearest, TheCaseOfLettersDoesNotMatter) {
  const Words candidates = {"enable", "Netmask", "DHCP", "gateway"};
  const auto upper = [](std::string text) {
    for (char& letter : text)
      letter = static_cast<char>(std::toupper(static_cast<unsigned char>(letter)));
    return text;
  };
  Words upper_candidates;
  for (const std::string& candidate : candidates)
    upper_candidates.push_back(upper(candidate));
  for (const char* word : {"enabled", "netmask", "netmsk", "dhpc", "gate", "gatway", "none", "", "x"}) {
    const std::optional<std::string> found = nearest(word, candidates);
    EXPECT_EQ(nearest(upper(word), candidates), found) << word;
    const std::optional<std::string> upper_found = nearest(word, upper_candidates);
    EXPECT_EQ(upper_found, found ? std::optional(upper(*found)) : std::nullopt) << word;
  }
}

TEST(UnknownName, TheNearestNameIsSuggested) {
  const Words rules = {"lease-mac-twice", "lease-by-name", "vlan-id-twice"};
  EXPECT_EQ(unknown_name("rule", "lease-by-nome", rules, "see there"),
            "unknown rule \"lease-by-nome\": did you mean \"lease-by-name\"?");
  // Only one rule contains both parts.
  EXPECT_EQ(unknown_name("rule", "vlan-twice", rules, "see there"),
            "unknown rule \"vlan-twice\": did you mean \"vlan-id-twice\"?");
  // Two rules contain this part.
  EXPECT_EQ(unknown_name("rule", "lease", rules, "see there"), "unknown rule \"lease\"; see there");
  EXPECT_EQ(unknown_name("rule", "", rules, "see there"), "unknown rule \"\"; see there");
  EXPECT_EQ(unknown_name("rule", "\033", rules, "see there"), "unknown rule \"?\"; see there");
}

TEST(Nearest, AWordIsCertainIfNoOtherIsAsNear) {
  EXPECT_EQ(certainly_meant("netmsk", {"gateway", "netmask"}), "netmask");
  EXPECT_EQ(certainly_meant("ROUTER", {"router", "pass-through"}), "router");
  EXPECT_EQ(certainly_meant("start", {"starts", "stars"}), std::nullopt);
  EXPECT_EQ(certainly_meant("gateway", {"netmask"}), std::nullopt);
}

TEST(Nearest, AnotherNumberIsNoTypingError) {
  EXPECT_EQ(certainly_meant("eth2", {"eth0", "bridge"}), std::nullopt);
  EXPECT_EQ(certainly_meant("ETH0", {"eth0", "eth1"}), "eth0");
  EXPECT_EQ(certainly_meant("ipv", {"ipv4", "netmask"}), "ipv4");
}
