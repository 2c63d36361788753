#include "driver/undo.h"

#include <sys/stat.h>

#include <cstdio>
#include <filesystem>

#include "file_size_limit.h"
#include "lanfab_test.h"

namespace fs = std::filesystem;

namespace {

class UndoTest : public LanfabTest {
 protected:
  NetworkContext ctx = context_of("{}");
};

}  // namespace

// Executes a shell line for a test that needs its effect; run_shell() only records it here.
static void run(const std::string& command) {
  std::FILE* shell = popen(command.c_str(), "r");
  ASSERT_NE(shell, nullptr);
  pclose(shell);
}

// --- The script that deletes the interfaces

TEST_F(UndoTest, AnInterfaceWithoutAKindIsDeletedByItsName) {
  append_clear_interfaces(&ctx, "eth0", nullptr);
  EXPECT_EQ(text_of_file("/var/run/.delete_interfaces"), "/sbin/ip link delete dev eth0\n");
}

TEST_F(UndoTest, AnInterfaceWithAKindIsDeletedByNameAndType) {
  append_clear_interfaces(&ctx, "eth0.100", "vlan");
  EXPECT_EQ(text_of_file("/var/run/.delete_interfaces"), "/sbin/ip link delete dev eth0.100 type vlan\n");
}

TEST_F(UndoTest, InterfacesStandInTheOrderOfTheirCreation) {
  append_clear_interfaces(&ctx, "br-lan", nullptr);
  append_clear_interfaces(&ctx, "gre0", "gre");
  append_clear_interfaces(&ctx, "br-lan", nullptr);
  EXPECT_EQ(text_of_file("/var/run/.delete_interfaces"),
            "/sbin/ip link delete dev br-lan\n"
            "/sbin/ip link delete dev gre0 type gre\n"
            "/sbin/ip link delete dev br-lan\n");
}

TEST_F(UndoTest, AnEmptyKindIsStillAKind) {
  append_clear_interfaces(&ctx, "eth0", "");
  EXPECT_EQ(text_of_file("/var/run/.delete_interfaces"), "/sbin/ip link delete dev eth0 type \n");
}

TEST_F(UndoTest, AnInterfaceScriptThatCannotBeOpenedIsPassedOverInSilence) {
  fs::create_directory("/var/run/.delete_interfaces");
  append_clear_interfaces(&ctx, "eth0", nullptr);
  EXPECT_THAT(platform().log, IsEmpty());
  EXPECT_THAT(platform().calls, IsEmpty());
}

TEST_F(UndoTest, AnInterfaceThatDoesNotFitLeavesTheEarlierLines) {
  append_clear_interfaces(&ctx, "eth0", nullptr);
  const FileSizeLimit limit(40);
  append_clear_interfaces(&ctx, "eth1", nullptr);
  EXPECT_THAT(recorded_interfaces(), ElementsAre("eth0"));
  EXPECT_THAT(platform().log,
              ElementsAre("notice error writing /var/run/.delete_interfaces: File too large"));
}

// --- Running the scripts of the previous run

namespace {

struct UndoScript {
  std::string path;
  std::function<void(const NetworkContext*)> clear;
  std::string message;
};

}  // namespace

static const std::vector<UndoScript>& undo_scripts() {
  static const std::vector<UndoScript> scripts = {
      {"/var/run/.delete_interfaces", clear_network_interfaces, "debug clear network interfaces"},
      {"/var/run/.delete_static_routes", clear_static_routes, "debug delete static routes"},
  };
  return scripts;
}

TEST_F(UndoTest, WithoutAScriptNothingIsLoggedOrRun) {
  for (const UndoScript& script : undo_scripts())
    script.clear(&ctx);
  EXPECT_THAT(platform().log, IsEmpty());
  EXPECT_THAT(platform().calls, IsEmpty());
}

TEST_F(UndoTest, AScriptIsRunOnceAndDeleted) {
  for (const UndoScript& script : undo_scripts()) {
    SCOPED_TRACE(script.path);
    platform().log.clear();
    platform().calls.clear();
    put_file(script.path, "echo\n");
    script.clear(&ctx);
    script.clear(&ctx);
    EXPECT_THAT(platform().log, ElementsAre(script.message));
    EXPECT_THAT(platform().calls, ElementsAre("/bin/sh " + script.path));
    EXPECT_FALSE(exists(script.path));
  }
}

TEST_F(UndoTest, AScriptIsStillThereAndAlreadyLoggedWhenItRuns) {
  for (const UndoScript& script : undo_scripts()) {
    SCOPED_TRACE(script.path);
    platform().log.clear();
    put_file(script.path, "echo\n");
    bool ran = false;
    platform().on_shell = [&](const std::string&) {
      ran = true;
      EXPECT_EQ(text_of_file(script.path), "echo\n");
      EXPECT_THAT(platform().log, ElementsAre(script.message));
    };
    script.clear(&ctx);
    EXPECT_TRUE(ran);
  }
}

TEST_F(UndoTest, AScriptThatFailsIsStillDeleted) {
  for (const UndoScript& script : undo_scripts()) {
    put_file(script.path, "exit 1\n");
    platform().on_shell = run;
    script.clear(&ctx);
    EXPECT_FALSE(exists(script.path)) << script.path;
  }
}

TEST_F(UndoTest, EachScriptIsRunAlone) {
  put_file("/var/run/.delete_interfaces", "");
  put_file("/var/run/.delete_static_routes", "");
  clear_network_interfaces(&ctx);
  EXPECT_TRUE(exists("/var/run/.delete_static_routes"));
  clear_static_routes(&ctx);
  EXPECT_THAT(platform().calls,
              ElementsAre("/bin/sh /var/run/.delete_interfaces", "/bin/sh /var/run/.delete_static_routes"));
}

// --- The script that deletes the static routes

TEST_F(UndoTest, EachEnabledRouteIsDeletedInOrder) {
  write_clear_static_routes(&ctx, json(R"([
    {"enable": true, "ipv4": "10.20.0.5", "netmask": 16, "interface": "wwan0", "gateway": "10.0.0.1"},
    {"enable": true, "ipv4": "192.168.7.129", "netmask": 25, "interface": "eth1"},
    {"enable": true, "ipv4": "1.2.3.4", "netmask": 32, "interface": "eth0"},
    {"enable": true, "ipv4": "1.2.3.4", "netmask": 0, "interface": "eth0"}
  ])"));
  EXPECT_EQ(text_of_file("/var/run/.delete_static_routes"),
            "#!/bin/sh\n"
            "/sbin/ip route del 10.20.0.0/16 dev wwan0 2>/dev/null\n"
            "/sbin/ip route del 192.168.7.128/25 dev eth1 2>/dev/null\n"
            "/sbin/ip route del 1.2.3.4/32 dev eth0 2>/dev/null\n"
            "/sbin/ip route del 0.0.0.0/0 dev eth0 2>/dev/null\n");
  EXPECT_THAT(platform().log, IsEmpty());
  EXPECT_THAT(platform().calls, IsEmpty());
}

TEST_F(UndoTest, WithoutRoutesTheScriptHoldsItsFirstLineOnly) {
  for (const Json::Value& routes :
       {Json::Value(), Json::Value(Json::arrayValue), Json::Value("routes"), Json::Value(7)}) {
    put_file("/var/run/.delete_static_routes", "of the previous run\n");
    write_clear_static_routes(&ctx, routes);
    EXPECT_EQ(text_of_file("/var/run/.delete_static_routes"), "#!/bin/sh\n") << routes;
  }
}

TEST_F(UndoTest, IncompleteAndDisabledRoutesLeaveNoTrace) {
  for (const char* route : {
           R"({"enable": false, "ipv4": "10.0.0.0", "netmask": 8, "interface": "eth0"})",
           R"({"enable": 1, "ipv4": "10.0.0.0", "netmask": 8, "interface": "eth0"})",
           R"({"ipv4": "10.0.0.0", "netmask": 8, "interface": "eth0"})",
           R"({"enable": true, "netmask": 8, "interface": "eth0"})",
           R"({"enable": true, "ipv4": 10, "netmask": 8, "interface": "eth0"})",
           R"({"enable": true, "ipv4": "10.0.0.0", "interface": "eth0"})",
           R"({"enable": true, "ipv4": "10.0.0.0", "netmask": "8", "interface": "eth0"})",
           R"({"enable": true, "ipv4": "10.0.0.0", "netmask": "255.0.0.0", "interface": "eth0"})",
           R"({"enable": true, "ipv4": "10.0.0.0", "netmask": 8})",
           R"({"enable": true, "ipv4": "10.0.0.0", "netmask": 8, "interface": ["eth0"]})",
           R"("10.0.0.0/8")",
           R"(null)",
           R"([])",
       }) {
    write_clear_static_routes(&ctx, json(std::string("[") + route + R"(,
      {"enable": true, "ipv4": "172.16.0.0", "netmask": 12, "interface": "eth1"}])"));
    EXPECT_EQ(text_of_file("/var/run/.delete_static_routes"),
              "#!/bin/sh\n"
              "/sbin/ip route del 172.16.0.0/12 dev eth1 2>/dev/null\n")
        << route;
  }
}

TEST_F(UndoTest, ARouteScriptThatCannotBeOpenedIsPassedOverInSilence) {
  fs::create_directory("/var/run/.delete_static_routes");
  write_clear_static_routes(
      &ctx, json(R"([{"enable": true, "ipv4": "10.0.0.0", "netmask": 8, "interface": "eth0"}])"));
  EXPECT_THAT(platform().log, IsEmpty());
  EXPECT_THAT(platform().calls, IsEmpty());
}

// --- The unit directory

TEST_F(UndoTest, ADirectoryIsEmptiedByOneCommand) {
  remove_dir_content(&ctx, "/var/run/systemd/network/", false);
  EXPECT_THAT(platform().log, ElementsAre("notice clear network unit files /var/run/systemd/network/ 0"));
  EXPECT_THAT(platform().calls, ElementsAre("/bin/rm -f /var/run/systemd/network//*"));
}

TEST_F(UndoTest, TheCellularUnitsAreSavedAcrossTheEmptying) {
  remove_dir_content(&ctx, "/var/run/systemd/network/", true);
  EXPECT_THAT(platform().log, ElementsAre("notice clear network unit files /var/run/systemd/network/ 1"));
  EXPECT_THAT(
      platform().calls,
      ElementsAre(
          "/bin/rm -f /var/volatile/qel/.wwan_unit_backup/*",
          "/bin/cp /var/run/systemd/network//*wwan.* /var/volatile/qel/.wwan_unit_backup 2>/dev/null",
          "/bin/rm -f /var/run/systemd/network//*",
          "/bin/cp /var/volatile/qel/.wwan_unit_backup/*wwan.* /var/run/systemd/network/ 2>/dev/null"));
}

TEST_F(UndoTest, AnyDirectoryCanBeEmptied) {
  remove_dir_content(&ctx, "/var/run/else", false);
  EXPECT_THAT(platform().log, ElementsAre("notice clear network unit files /var/run/else 0"));
  EXPECT_THAT(platform().calls, ElementsAre("/bin/rm -f /var/run/else/*"));
}

TEST_F(UndoTest, PreparingTheUnitDirectoryEmptiesIt) {
  EXPECT_EQ(init_runtime_network_dir(&ctx, false), 0);
  EXPECT_THAT(platform().log, ElementsAre("notice clear network unit files /var/run/systemd/network/ 0"));
  EXPECT_THAT(platform().calls, ElementsAre("/bin/rm -f /var/run/systemd/network//*"));
}

TEST_F(UndoTest, PreparingTheUnitDirectoryCreatesItForAll) {
  fs::remove_all("/var/run/systemd/network");
  const mode_t mask = umask(0);
  EXPECT_EQ(init_runtime_network_dir(&ctx, false), 0);
  umask(mask);
  EXPECT_EQ(fs::status("/var/run/systemd/network").permissions(), fs::perms::all);
}

TEST_F(UndoTest, AUnitDirectoryThatCannotBeCreatedIsNoFailure) {
  fs::remove_all("/var/run/systemd");
  EXPECT_EQ(init_runtime_network_dir(&ctx, false), 0);
  EXPECT_FALSE(exists("/var/run/systemd"));
}

namespace {

class EmptyingTest : public UndoTest {
 protected:
  void SetUp() override {
    UndoTest::SetUp();
    put_file("/var/run/systemd/network/10-wwan.network", "cellular\n");
    put_file("/var/run/systemd/network/20-eth0.network", "port\n");
    put_file("/var/volatile/qel/.wwan_unit_backup/10-wwan.netdev", "stale\n");
    platform().on_shell = run;
  }
};

}  // namespace

TEST_F(EmptyingTest, OnlyTheCellularUnitsOfAnEnabledLinkStay) {
  init_runtime_network_dir(&ctx, true);
  EXPECT_THAT(unit_names(), ElementsAre("10-wwan.network"));
  EXPECT_EQ(unit("10-wwan.network"), "cellular\n");
}

TEST_F(EmptyingTest, NothingStaysWithTheLinkDisabled) {
  init_runtime_network_dir(&ctx, false);
  EXPECT_THAT(unit_names(), IsEmpty());
}

TEST_F(EmptyingTest, WithoutTheBackupDirectoryNothingStays) {
  fs::remove_all("/var/volatile/qel/.wwan_unit_backup");
  init_runtime_network_dir(&ctx, true);
  EXPECT_THAT(unit_names(), IsEmpty());
}

// --- The trace

TEST_F(UndoTest, EachOperationPrintsItsTraceLine) {
  const auto every_operation = [this] {
    append_clear_interfaces(&ctx, "eth0", nullptr);
    clear_network_interfaces(&ctx);
    clear_static_routes(&ctx);
    write_clear_static_routes(&ctx, Json::Value());
    remove_dir_content(&ctx, "/var/run/else", false);
    init_runtime_network_dir(&ctx, false);
  };
  EXPECT_EQ(printed_by(every_operation), "");
  ctx.trace = true;
  EXPECT_EQ(printed_by(every_operation),
            "append_clear_interfaces\n"
            "clear_network_interfaces\n"
            "clear_static_routes\n"
            "write_clear_static_routes\n"
            "remove_dir_content\n"
            "init_runtime_network_dir\n"
            "remove_dir_content\n");
}
