// Measures each step of an apply separately, on the host platform, and its growth with the network. Writes to
// /run, so it must run in the sandbox: scripts/benchmark --generators.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <utility>

#include "config/network_context.h"
#include "dnsmasq/dhcp_server.h"
#include "driver/load.h"
#include "driver/undo.h"
#include "networkd/ethernet.h"
#include "networkd/network_unit.h"
#include "networkd/unit_file.h"
#include "platform/libcmd.h"

constexpr char kConfigDir[] = "/dev/shm";
constexpr int kFewVlans = 10;
constexpr int kFewRoutes = 20;

// Sets a network of this size as the configuration.
static void configure(int vlans, int routes) {
  const std::string command = std::string(NETWORK_PROGRAM) + " --dhcp --vlans " + std::to_string(vlans) +
                              " --routes " + std::to_string(routes) + " >" + kConfigDir + "/network.json";
  if (std::system(command.c_str()) != 0) std::abort();
  setenv("LANFAB_CONFIG_DIR", kConfigDir, 1);
}

static NetworkContext context_of(int vlans, int routes) {
  configure(vlans, routes);
  return std::move(*load_network_context(false));
}

// The number of VLANs or routes of a benchmark. Also sets it as the variable of the benchmark's complexity.
static int size_of(benchmark::State& state) {
  state.SetComplexityN(state.range(0));
  return static_cast<int>(state.range(0));
}

static void load_configuration(benchmark::State& state) {
  configure(size_of(state), kFewRoutes);
  while (state.KeepRunning()) {
    const auto ctx = load_network_context(false);
    benchmark::DoNotOptimize(ctx->initialized);
  }
}

static void write_port_unit(benchmark::State& state) {
  const NetworkContext ctx = context_of(size_of(state), kFewRoutes);
  Json::Value network;
  config_get_object(ctx.config, network, "wired.eth0.network");
  while (state.KeepRunning())
    write_network_unit_file(&ctx, ctx.unit_order_numbers[kEth0Order], "eth0", network, false, nullptr);
}

static void write_vlan_units(benchmark::State& state) {
  const NetworkContext ctx = context_of(size_of(state), kFewRoutes);
  Json::Value vlan;
  config_get_object(ctx.config, vlan, "wired.eth0.network.advanced.vlan");
  while (state.KeepRunning())
    write_vlan_networks(&ctx, ctx.unit_order_numbers[kVlanOrder], "eth0", vlan);
  // Each iteration added a line for each VLAN.
  std::remove("/var/run/.delete_interfaces");
}

static void write_routes_of_a_unit(benchmark::State& state) {
  const NetworkContext ctx = context_of(kFewVlans, size_of(state));
  std::FILE* file = std::fopen("/dev/null", "w");
  while (state.KeepRunning())
    write_static_routes(&ctx, file, "eth1");
  std::fclose(file);
}

static void write_undo_of_routes(benchmark::State& state) {
  const NetworkContext ctx = context_of(kFewVlans, size_of(state));
  Json::Value routes;
  config_get_array(ctx.config, routes, "static_routes");
  while (state.KeepRunning())
    write_clear_static_routes(&ctx, routes);
}

static void serve_dhcp_on_vlans(benchmark::State& state) {
  const NetworkContext ctx = context_of(size_of(state), kFewRoutes);
  std::FILE* file = std::fopen("/dev/null", "w");
  while (state.KeepRunning())
    dnsmasq_add_vlan_interfaces(&ctx, file, "eth0");
  std::fclose(file);
}

static void sizes(benchmark::internal::Benchmark* benchmark) {
  benchmark->RangeMultiplier(10)->Range(10, 1000)->Complexity()->Unit(benchmark::kMicrosecond);
}

BENCHMARK(load_configuration)->Apply(sizes);
BENCHMARK(write_port_unit)->Apply(sizes);
BENCHMARK(write_vlan_units)->Apply(sizes);
BENCHMARK(write_routes_of_a_unit)->Apply(sizes);
BENCHMARK(write_undo_of_routes)->Apply(sizes);
BENCHMARK(serve_dhcp_on_vlans)->Apply(sizes);

BENCHMARK_MAIN();
