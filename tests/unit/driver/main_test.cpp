#include "dnsmasq/dnsmasq_conf.h"
#include "driver/apply.h"
#include "lanfab_test.h"

int cmd_lanfab_main(int argc, char* argv[]);

// The actions' own work, made up: what each was called with and what it returns.
static int apply_result = 0;
static int wwan_apply_result = 0;
static int dnsmasq_apply_result = 0;

int apply(const NetworkContext* /*ctx*/, bool pulse) {
  platform().calls.push_back(pulse ? "apply pulse" : "apply");
  return apply_result;
}

int wwan_apply(const NetworkContext* /*ctx*/) {
  platform().calls.push_back("wwan_apply");
  return wwan_apply_result;
}

int dnsmasq_apply(const NetworkContext* /*ctx*/) {
  platform().calls.push_back("dnsmasq_apply");
  return dnsmasq_apply_result;
}

class MainTest : public LanfabTest {};

TEST_F(MainTest, Placeholder) {
  char name[] = "cmd_lanfab";
  char action[] = "dnsmasq";
  char* argv[] = {name, action};
  platform().configuration["network"] = json("{}");
  EXPECT_EQ(cmd_lanfab_main(2, argv), 0);
}
