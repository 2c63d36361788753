// Runs the program on valid configurations and records the paths that it reads: the shapes that shape.py
// derives from the schema must have exactly these paths. A path begins with the name of its shape, as in
// "@dhcp/start".

#include <dlfcn.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <map>
#include <new>
#include <set>
#include <string>

#include "config/network_context.h"
#include "dnsmasq/dnsmasq_conf.h"
#include "driver/apply.h"
#include "generator.h"
#include "qos/dscp_classes.h"
#include "recording_platform.h"
#include "tunnels/gre.h"
#include "tunnels/wireguard.h"

namespace fs = std::filesystem;

constexpr unsigned kRuns = 400;

static std::set<std::string> asked;

namespace {

// The configuration, and the path of each of its objects.
struct Watched {
  const Json::Value* network = nullptr;
  const Json::Value* gre_tap = nullptr;
  std::map<const Json::Value*, std::string> places;
};

}  // namespace

static Watched watched;

static const Json::Value& shape_named(const std::string& name) {
  return shapes()[name];
}

// Records the paths of all objects in a value of this shape; `place` is the path of the value.
static void note_places(const Json::Value& value, const Json::Value& shape, const std::string& place) {
  if (shape.isString()) {
    const std::string name = shape.asString();
    if (name[0] == '@') note_places(value, shape_named(name), name);
  } else if (shape.isArray()) {
    for (const Json::Value& element : value)
      note_places(element, shape[0], place + "/*");
  } else {
    watched.places[&value] = place;
    for (auto member = value.begin(); member != value.end(); ++member)
      note_places(*member, shape[member.name()], place + "/" + member.name());
  }
}

// Returns the path of an object, "?" if it is not known. Records all paths again if the address is unknown,
// because the program may have copied the configuration.
static std::string place_of(const Json::Value* object) {
  if (watched.places.count(object) == 0) {
    const bool is_watched = watched.network != nullptr;
    watched.places.clear();
    if (is_watched && watched.network->isObject()) note_places(*watched.network, "@network", "");
    if (watched.gre_tap != nullptr) note_places(*watched.gre_tap, "@gre_tap", "");
    const Json::Value& wireguard = platform().configuration["network.tunnels.wireguard"];
    if (watched.places.count(object) == 0 && *object == wireguard) note_places(*object, "@wireguard", "");
  }
  const auto found = watched.places.find(object);
  return found == watched.places.end() ? "?" : found->second;
}

// Replaces jsoncpp's function for access to a member at link time, and records every access.
const Json::Value* Json::Value::find(const char* begin, const char* end) const {
  using Find = const Json::Value* (*)(const Json::Value*, const char*, const char*);
  static const auto find = reinterpret_cast<Find>(dlsym(RTLD_NEXT, "_ZNK4Json5Value4findEPKcS2_"));
  static bool is_inside = false;
  if (watched.network != nullptr && !is_inside) {
    is_inside = true;
    asked.insert(place_of(this) + "/" + std::string(begin, end));
    is_inside = false;
  }
  return find(this, begin, end);
}

// --- The paths of the shapes

static std::set<std::string> shape_paths;

static void collect(const Json::Value& shape, const std::string& place) {
  if (shape.isArray()) collect(shape[0], place + "/*");
  if (!shape.isObject()) return;
  for (const std::string& key : shape.getMemberNames()) {
    shape_paths.insert(place + "/" + key);
    collect(shape[key], place + "/" + key);
  }
}

// --- The runs

static void lay_ground() {
  for (const char* directory : {"/run", "/var/volatile", "/var/data"}) {
    for (const auto& entry : fs::directory_iterator(directory))
      fs::remove_all(entry);
  }
  fs::create_directories("/var/volatile/qel");
  fs::create_directories("/var/run/systemd/network");
  fs::create_directories("/var/data/qel/.wg");
  for (const auto& [path, text] :
       std::map<std::string, std::string>{{"/var/run/wwan_intf", "wwan0"},
                                          {"/var/run/wwan_ipv4", "10.20.30.40"},
                                          {"/var/run/wwan_cidr", "30"},
                                          {"/var/run/wwan_gw", "10.20.30.41"},
                                          {"/var/data/qel/.wg/wg0-private.key", "key"},
                                          {"/var/data/qel/.wg/wg1-private.key", "key"}}) {
    std::FILE* file = std::fopen(path.c_str(), "w");
    std::fprintf(file, "%s\n", text.c_str());
    std::fclose(file);
  }
}

static void run(unsigned number) {
  const std::uint8_t seed[] = {0, 0, static_cast<std::uint8_t>(number / 256),
                               static_cast<std::uint8_t>(number % 256)};
  Generator generator(seed, sizeof seed, true);
  platform() = RecordingPlatform();
  lay_ground();
  Json::Value network = generator.value("@network");
  // The program looks up this name as a key, so other names would be unknown paths.
  const char* const primary[] = {"eth0", "eth1", "wlan0", "wlan1"};
  network["wired"]["bridge"]["primary_interface"] = primary[number % 4];
  for (const char* port : {"eth0", "eth1"}) {
    for (Json::Value& vlan : network["wired"][port]["network"]["advanced"]["vlan"]["networks"])
      vlan["vid"] = 100;
  }
  platform().configuration["network.tunnels.wireguard"] = generator.value("@wireguard");
  platform().database["CELL_CONNECTED"] = number % 3 == 0 ? 0 : 1;
  const Json::Value gre_tap = generator.value("@gre_tap");

  // The constructor reads the configuration, so the address of ctx->config must be known before it runs.
  alignas(NetworkContext) static unsigned char room[sizeof(NetworkContext)];
  auto* ctx = reinterpret_cast<NetworkContext*>(room);
  watched.network = &ctx->config;
  watched.gre_tap = &gre_tap;
  new (ctx) NetworkContext(network);
  apply(ctx, false);
  dnsmasq_apply(ctx);
  wireguard_apply(ctx);
  gre_tap_apply(ctx, gre_tap);
  qos_lookup_dscp_classes(ctx);
  watched = Watched();
  ctx->~NetworkContext();
}

// Prints the paths of `some` that are not in `others`; returns their number.
static unsigned print_missing(const std::set<std::string>& some, const std::set<std::string>& others,
                              const char* what) {
  unsigned count = 0;
  for (const std::string& path : some) {
    if (others.count(path) != 0) continue;
    std::fprintf(stderr, "%s %s\n", path.c_str(), what);
    ++count;
  }
  return count;
}

int main() {
  // Discards the program's output.
  if (std::freopen("/dev/null", "w", stdout) == nullptr) return 2;
  // Paths of a shape begin with its name.
  for (const std::string& name : shapes().getMemberNames())
    collect(shape_named(name), name);
  for (unsigned number = 0; number < kRuns; ++number)
    run(number);
  // A bridge reads the wired VLANs of its primary member, even if that is an access point.
  asked.erase("@network/wired/wlan0");
  asked.erase("@network/wired/wlan1");
  const unsigned unknown = print_missing(asked, shape_paths, "is read, and is not in the shape");
  const unsigned stale = print_missing(shape_paths, asked, "is in the shape, and is never read");
  return unknown + stale == 0 ? 0 : 1;
}
