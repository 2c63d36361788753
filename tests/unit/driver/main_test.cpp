// main(), with actions that the test defines.

#include <sys/stat.h>
#include <syslog.h>

#include <algorithm>
#include <filesystem>

#include "dnsmasq/dnsmasq_conf.h"
#include "driver/apply.h"
#include "lanfab_test.h"

int cmd_lanfab_main(int argc, char* argv[]);

constexpr char kLock[] = "/var/run/LANFAB_LOCKED";
constexpr char kTouchLock[] = "/bin/touch /var/run/LANFAB_LOCKED";

// The results of the actions, and a function that each of them calls.
static int apply_result;
static int wwan_apply_result;
static int dnsmasq_apply_result;
static std::function<void()> while_running;
// Called by sleep(), which does not wait.
static std::function<void()> while_waiting;

int apply(const NetworkContext* ctx, bool pulse) {
  platform().calls.push_back(pulse ? "apply pulse" : "apply");
  EXPECT_TRUE(ctx->initialized);
  while_running();
  return apply_result;
}

int wwan_apply(const NetworkContext* ctx) {
  platform().calls.push_back("wwan_apply");
  EXPECT_TRUE(ctx->initialized);
  while_running();
  return wwan_apply_result;
}

int dnsmasq_apply(const NetworkContext* ctx) {
  platform().calls.push_back("dnsmasq_apply");
  EXPECT_TRUE(ctx->initialized);
  while_running();
  return dnsmasq_apply_result;
}

extern "C" unsigned sleep(unsigned seconds) {
  platform().calls.push_back("sleep " + std::to_string(seconds));
  while_waiting();
  return 0;
}

namespace {

class MainTest : public LanfabTest {
 protected:
  void SetUp() override {
    LanfabTest::SetUp();
    apply_result = wwan_apply_result = dnsmasq_apply_result = 0;
    while_running = [] {};
    while_waiting = [] { FAIL() << "nothing was to be waited for"; };
    platform().configuration["network"] = json("{}");
    // The only shell line whose effect the program needs.
    platform().on_shell = [](const std::string& line) {
      if (line == kTouchLock) put_file(kLock, "");
    };
  }

  // Every completed run must have released the lock.
  void TearDown() override {
    EXPECT_FALSE(exists(kLock));
  }
};

}  // namespace

// Clears the record and runs `cmd_lanfab ARGUMENTS...`; returns its exit status.
static int run(std::vector<std::string> arguments) {
  platform().calls.clear();
  platform().log.clear();
  arguments.insert(arguments.begin(), "cmd_lanfab");
  std::vector<char*> argv;
  argv.reserve(arguments.size() + 1);
  for (std::string& argument : arguments)
    argv.push_back(argument.data());
  argv.push_back(nullptr);
  return cmd_lanfab_main(static_cast<int>(arguments.size()), argv.data());
}

// The calls of a run between acquiring the lock and its end.
static Lines action_calls() {
  Lines& calls = platform().calls;
  EXPECT_GE(calls.size(), 2U);
  EXPECT_EQ(calls.at(1), kTouchLock);
  return {calls.begin() + 2, calls.end()};
}

// Returns the expected log of a run of this action, which itself logs the lines `own`.
static Lines log_of(const std::string& action, const Lines& own) {
  Lines log = {"notice cmd_lanfab start", "notice cmd_lanfab set lock", "notice lanfab " + action};
  log.insert(log.end(), own.begin(), own.end());
  log.push_back("notice cmd_lanfab clear lock");
  return log;
}

constexpr char kEmptyUnitDir[] = "/bin/rm -f /var/run/systemd/network//*";
constexpr char kUnitDirLog[] = "notice clear network unit files /var/run/systemd/network/ 0";

// --- APPLY

TEST_F(MainTest, ApplyWritesAllAndRestartsDnsmasq) {
  EXPECT_EQ(run({"APPLY"}), 0);
  EXPECT_THAT(action_calls(),
              ElementsAre(kEmptyUnitDir, "apply", "dnsmasq_apply", "execute_systemctl_restart dnsmasq"));
  EXPECT_EQ(platform().log, log_of("APPLY", {kUnitDirLog}));
}

TEST_F(MainTest, ApplyWithoutAConfigurationFails) {
  platform().configuration.clear();
  EXPECT_EQ(run({"APPLY"}), -1);
  EXPECT_THAT(action_calls(), IsEmpty());
  EXPECT_EQ(platform().log,
            log_of("APPLY", {"notice error loading network config", "notice cmd lanfab apply failed"}));
}

TEST_F(MainTest, AnApplyThatFailsLeavesDnsmasqAlone) {
  apply_result = -1;
  EXPECT_EQ(run({"APPLY"}), -1);
  EXPECT_THAT(action_calls(), ElementsAre(kEmptyUnitDir, "apply"));
  EXPECT_EQ(platform().log, log_of("APPLY", {kUnitDirLog, "notice cmd lanfab apply failed"}));
}

TEST_F(MainTest, AnyOtherResultOfApplyIsPassedOnWithoutTheMessage) {
  for (const int result : {1, 7, -2, -100}) {
    SCOPED_TRACE(result);
    apply_result = result;
    EXPECT_EQ(run({"APPLY"}), result);
    EXPECT_THAT(action_calls(), ElementsAre(kEmptyUnitDir, "apply"));
    EXPECT_EQ(platform().log, log_of("APPLY", {kUnitDirLog}));
  }
}

TEST_F(MainTest, AnApplyWhoseDnsmasqStepFailsStillSucceeds) {
  for (const int result : {-1, 1}) {
    SCOPED_TRACE(result);
    dnsmasq_apply_result = result;
    EXPECT_EQ(run({"APPLY"}), 0);
    EXPECT_THAT(action_calls(), ElementsAre(kEmptyUnitDir, "apply", "dnsmasq_apply"));
    EXPECT_EQ(platform().log, log_of("APPLY", {kUnitDirLog}));
  }
}

// --- WWAN_APPLY

TEST_F(MainTest, WwanApplyLeavesTheUnitDirectoryAndDnsmasqAlone) {
  EXPECT_EQ(run({"WWAN_APPLY"}), 0);
  EXPECT_THAT(action_calls(), ElementsAre("wwan_apply"));
  EXPECT_EQ(platform().log, log_of("WWAN_APPLY", {}));
}

TEST_F(MainTest, WwanApplyRunsTheRouteScriptWhenThereIsOne) {
  put_file("/var/run/wwan0_static_routes", "#!/bin/sh\n");
  EXPECT_EQ(run({"WWAN_APPLY"}), 0);
  EXPECT_THAT(action_calls(), ElementsAre("wwan_apply", "/bin/sh /var/run/wwan0_static_routes"));
  EXPECT_EQ(platform().log, log_of("WWAN_APPLY", {"notice add wwan static routes"}));
  EXPECT_TRUE(exists("/var/run/wwan0_static_routes"));
}

TEST_F(MainTest, WwanApplyWithoutAConfigurationFailsWithoutAMessageOfItsOwn) {
  platform().configuration.clear();
  put_file("/var/run/wwan0_static_routes", "#!/bin/sh\n");
  EXPECT_EQ(run({"WWAN_APPLY"}), -1);
  EXPECT_THAT(action_calls(), IsEmpty());
  EXPECT_EQ(platform().log, log_of("WWAN_APPLY", {"notice error loading network config"}));
}

TEST_F(MainTest, AWwanApplyThatFailsPassesItsResultOnAndRunsNoRouteScript) {
  put_file("/var/run/wwan0_static_routes", "#!/bin/sh\n");
  for (const int result : {-1, 1, 7, -2}) {
    SCOPED_TRACE(result);
    wwan_apply_result = result;
    EXPECT_EQ(run({"WWAN_APPLY"}), result);
    EXPECT_THAT(action_calls(), ElementsAre("wwan_apply"));
    EXPECT_EQ(platform().log, log_of("WWAN_APPLY", {}));
  }
}

// --- DNSMASQ

TEST_F(MainTest, DnsmasqWritesItsFilesAndRestartsTheService) {
  EXPECT_EQ(run({"DNSMASQ"}), 0);
  EXPECT_THAT(action_calls(), ElementsAre("dnsmasq_apply", "execute_systemctl_restart dnsmasq"));
  EXPECT_EQ(platform().log, log_of("DNSMASQ", {}));
}

TEST_F(MainTest, DnsmasqWithoutAConfigurationFails) {
  platform().configuration.clear();
  EXPECT_EQ(run({"DNSMASQ"}), -1);
  EXPECT_THAT(action_calls(), IsEmpty());
  EXPECT_EQ(platform().log,
            log_of("DNSMASQ", {"notice error loading network config", "notice cmd lanfab dnsmasq failed"}));
}

TEST_F(MainTest, ADnsmasqThatFailsRestartsNothing) {
  dnsmasq_apply_result = -1;
  EXPECT_EQ(run({"DNSMASQ"}), -1);
  EXPECT_THAT(action_calls(), ElementsAre("dnsmasq_apply"));
  EXPECT_EQ(platform().log, log_of("DNSMASQ", {"notice cmd lanfab dnsmasq failed"}));
}

TEST_F(MainTest, AnyOtherResultOfDnsmasqIsPassedOnWithoutTheMessage) {
  for (const int result : {1, 7, -2}) {
    SCOPED_TRACE(result);
    dnsmasq_apply_result = result;
    EXPECT_EQ(run({"DNSMASQ"}), result);
    EXPECT_THAT(action_calls(), ElementsAre("dnsmasq_apply"));
    EXPECT_EQ(platform().log, log_of("DNSMASQ", {}));
  }
}

// --- The action word

TEST_F(MainTest, WithoutAnActionWordTheLockIsNotTouched) {
  put_file(kLock, "");
  EXPECT_EQ(run({}), -1);
  EXPECT_TRUE(exists(kLock));
  EXPECT_THAT(platform().log, ElementsAre("notice cmd_lanfab start"));
  EXPECT_THAT(platform().calls, ElementsAre("openlog network 0 " + std::to_string(LOG_LOCAL0)));
  std::filesystem::remove(kLock);
}

TEST_F(MainTest, TheActionWordIsTakenInAnyCase) {
  for (const char* word : {"apply", "Apply", "aPPLY"}) {
    SCOPED_TRACE(word);
    EXPECT_EQ(run({word}), 0);
    EXPECT_THAT(action_calls(), Contains("apply"));
    EXPECT_THAT(platform().log, Contains("notice lanfab APPLY"));
  }
  EXPECT_EQ(run({"wwan_apply"}), 0);
  EXPECT_THAT(platform().calls, Contains("wwan_apply"));
  EXPECT_EQ(run({"Dnsmasq"}), 0);
}

TEST_F(MainTest, AnUnknownActionWordTakesAndReleasesTheLockAndFails) {
  for (const auto& [word, upper] :
       std::vector<std::pair<std::string, std::string>>{{"restart", "RESTART"},
                                                        {"", ""},
                                                        {"apply2", "APPLY2"},
                                                        {"appl", "APPL"},
                                                        {"wwan-apply", "WWAN-APPLY"},
                                                        {"%s%n", "%S%N"}}) {
    SCOPED_TRACE(word);
    EXPECT_EQ(run({word}), -1);
    EXPECT_THAT(action_calls(), IsEmpty());
    EXPECT_EQ(platform().log, log_of(upper, {}));
  }
}

TEST_F(MainTest, AnUnknownActionWordLoadsNoConfiguration) {
  platform().configuration.clear();
  EXPECT_EQ(run({"restart"}), -1);
  EXPECT_THAT(platform().log, Not(Contains("notice error loading network config")));
}

TEST_F(MainTest, TheLogIsOpenedUnderTheNameOfTheSubject) {
  run({"DNSMASQ"});
  EXPECT_EQ(platform().calls.at(0), "openlog network 0 " + std::to_string(LOG_LOCAL0));
}

// --- The option

static std::size_t times_logged(const std::string& line) {
  return static_cast<std::size_t>(std::count(platform().log.begin(), platform().log.end(), line));
}

TEST_F(MainTest, TheSwitchIsHandedToApplyAndLoggedBeforeTheLock) {
  EXPECT_EQ(run({"APPLY", "--pulse-ethernet"}), 0);
  EXPECT_THAT(action_calls(), Contains("apply pulse"));
  Lines expected = log_of("APPLY", {kUnitDirLog});
  expected.insert(expected.begin() + 1, "notice cmd_lanfab set pulse-ethernet");
  EXPECT_EQ(platform().log, expected);
}

TEST_F(MainTest, TheSwitchIsFoundAnywhereBehindTheActionWord) {
  EXPECT_EQ(run({"APPLY", "other", "--pulse-ethernet", "more"}), 0);
  EXPECT_THAT(action_calls(), Contains("apply pulse"));
  EXPECT_EQ(times_logged("notice cmd_lanfab set pulse-ethernet"), 1U);
}

TEST_F(MainTest, ASwitchGivenTwiceIsLoggedTwice) {
  EXPECT_EQ(run({"APPLY", "--pulse-ethernet", "--pulse-ethernet"}), 0);
  EXPECT_THAT(action_calls(), Contains("apply pulse"));
  EXPECT_EQ(times_logged("notice cmd_lanfab set pulse-ethernet"), 2U);
}

TEST_F(MainTest, OnlyTheExactSwitchCounts) {
  for (const char* argument :
       {"--PULSE-ETHERNET", "--pulse-ethernet=1", "--pulse-ethernet ", "--pulse-etherne", "-pulse-ethernet",
        "pulse-ethernet", "--pulse_ethernet", ""}) {
    SCOPED_TRACE(argument);
    EXPECT_EQ(run({"APPLY", argument}), 0);
    EXPECT_THAT(action_calls(), Contains("apply"));
    EXPECT_EQ(times_logged("notice cmd_lanfab set pulse-ethernet"), 0U);
  }
}

TEST_F(MainTest, ASwitchInTheActionWordsPlaceIsAnUnknownAction) {
  EXPECT_EQ(run({"--pulse-ethernet", "APPLY"}), -1);
  EXPECT_EQ(platform().log, log_of("--PULSE-ETHERNET", {}));
}

TEST_F(MainTest, TheOtherActionsTakeTheSwitchForItsMessageOnly) {
  EXPECT_EQ(run({"DNSMASQ", "--pulse-ethernet"}), 0);
  EXPECT_THAT(action_calls(), ElementsAre("dnsmasq_apply", "execute_systemctl_restart dnsmasq"));
  EXPECT_EQ(times_logged("notice cmd_lanfab set pulse-ethernet"), 1U);
}

// --- The lock

TEST_F(MainTest, TheLockIsHeldWhileTheActionRuns) {
  int runs = 0;
  while_running = [&] {
    ++runs;
    EXPECT_TRUE(exists(kLock));
    EXPECT_THAT(platform().log, Not(Contains("notice cmd_lanfab clear lock")));
  };
  run({"APPLY"});
  run({"WWAN_APPLY"});
  run({"DNSMASQ"});
  EXPECT_EQ(runs, 4);
}

TEST_F(MainTest, TheLockIsHeldUntilDnsmasqAndTheRouteScriptRan) {
  put_file("/var/run/wwan0_static_routes", "#!/bin/sh\n");
  bool ran = false;
  platform().on_shell = [&](const std::string& line) {
    if (line == kTouchLock) put_file(kLock, "");
    if (line != "/bin/sh /var/run/wwan0_static_routes") return;
    ran = true;
    EXPECT_TRUE(exists(kLock));
  };
  run({"WWAN_APPLY"});
  EXPECT_TRUE(ran);
}

TEST_F(MainTest, ATakenLockIsWaitedForSecondBySecond) {
  put_file(kLock, "");
  int seconds = 0;
  while_waiting = [&] {
    EXPECT_EQ(platform().calls.size(), 2U + static_cast<std::size_t>(seconds))
        << "nothing else is done meanwhile";
    if (++seconds == 3) std::filesystem::remove(kLock);
  };
  EXPECT_EQ(run({"DNSMASQ"}), 0);
  EXPECT_EQ(seconds, 3);
  EXPECT_THAT(platform().calls,
              ElementsAre("openlog network 0 " + std::to_string(LOG_LOCAL0), "sleep 1", "sleep 1", "sleep 1",
                          kTouchLock, "dnsmasq_apply", "execute_systemctl_restart dnsmasq"));
  EXPECT_THAT(
      platform().log,
      ElementsAre("notice cmd_lanfab start", "notice cmd_lanfab is locked, waiting",
                  "notice cmd_lanfab is locked, waiting", "notice cmd_lanfab is locked, waiting",
                  "notice cmd_lanfab set lock", "notice lanfab DNSMASQ", "notice cmd_lanfab clear lock"));
}

TEST_F(MainTest, ALockThatTheShellDidNotCreateDisturbsNothing) {
  platform().on_shell = [](const std::string&) {};
  EXPECT_EQ(run({"DNSMASQ"}), 0);
  EXPECT_EQ(platform().log, log_of("DNSMASQ", {}));
}

// --- The umask

TEST_F(MainTest, TheCallersMaskDoesNotChangeTheModeOfNewFiles) {
  for (const mode_t callers : {0077U, 0U}) {
    const mode_t before = umask(callers);
    mode_t during = 0;
    while_running = [&] { umask(during = umask(0)); };
    run({"DNSMASQ"});
    umask(before);
    EXPECT_EQ(during, 0022U);
  }
}

TEST_F(MainTest, NothingIsPrinted) {
  EXPECT_EQ(printed_by([] { run({"APPLY", "--pulse-ethernet"}); }), "");
}
