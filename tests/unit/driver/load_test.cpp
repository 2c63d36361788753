#include "driver/load.h"

#include "lanfab_test.h"

namespace {

class LoadTest : public LanfabTest {};

}  // namespace

static std::unique_ptr<NetworkContext> load(const std::string& network, bool for_apply) {
  platform().configuration["network"] = json(network);
  return load_network_context(for_apply);
}

TEST_F(LoadTest, TheConfigurationIsThatOfTheDevice) {
  const auto ctx = load(R"({"hostnames": [1]})", false);
  EXPECT_TRUE(is_initialized(ctx.get()));
  EXPECT_EQ(ctx->config, json(R"({"hostnames": [1]})"));
}

TEST_F(LoadTest, WithoutAConfigurationNothingIsTouched) {
  const auto ctx = load_network_context(true);
  EXPECT_FALSE(is_initialized(ctx.get()));
  EXPECT_THAT(platform().log, ElementsAre("notice error loading network config"));
  EXPECT_THAT(platform().calls, IsEmpty());
}

TEST_F(LoadTest, ARunThatIsNotAnApplyLeavesTheUnitDirectoryAlone) {
  load("{}", false);
  EXPECT_THAT(platform().calls, IsEmpty());
  EXPECT_THAT(platform().log, IsEmpty());
}

TEST_F(LoadTest, AnApplyEmptiesTheUnitDirectoryOnceTheContextIsThere) {
  load(R"({"wireless": {"wifi": {}}})", true);
  EXPECT_THAT(platform().calls, ElementsAre("/bin/rm -f /var/run/systemd/network//*"));
  EXPECT_THAT(platform().log, ElementsAre("debug AP enabled:0, wlan0 AP enabled:0, wlan1 AP enabled:0",
                                          "notice clear network unit files /var/run/systemd/network/ 0"));
}

TEST_F(LoadTest, AnApplyKeepsTheCellularUnitsOfAnEnabledLink) {
  load(R"({"wireless": {"cell": {"enable": true}}})", true);
  EXPECT_THAT(platform().log, ElementsAre("notice clear network unit files /var/run/systemd/network/ 1"));
}
