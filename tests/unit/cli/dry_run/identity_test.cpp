#include "cli/dry_run/identity.h"

#include <gtest/gtest.h>

#include <set>

static std::optional<unsigned> unused_beside(const std::set<unsigned>& taken, const std::string& map) {
  return unused_id(map, [&](unsigned id) { return taken.count(id) != 0; });
}

TEST(IdentityTest, AnUnusedIdIsNotTaken) {
  const std::string all = "         0          0 4294967295\n";
  EXPECT_EQ(unused_beside({}, all), 65533U);
  EXPECT_EQ(unused_beside({65533, 65531}, all), 65532U);
  std::set<unsigned> taken;
  for (unsigned id = 65520; id <= 65533; ++id)
    taken.insert(id);
  EXPECT_EQ(unused_beside(taken, all), std::nullopt);
}

TEST(IdentityTest, AnUnusedIdIsOneOfTheNamespace) {
  EXPECT_EQ(unused_beside({}, "         0       1000          1\n     65000     100000        523\n"),
            65522U);
  EXPECT_EQ(unused_beside({}, "100000 0 65536\n0 100000 65525\n"), 65524U);
  EXPECT_EQ(unused_beside({}, "0 0 1\n"), std::nullopt);
  EXPECT_EQ(unused_beside({}, ""), std::nullopt);
}
