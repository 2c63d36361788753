#include "qos/dscp_classes.h"

#include "config/lookup.h"

std::map<std::string, int> dscp_class_table() {
  return {
      {"CS1", 32},                                  // code points: 8
      {"AF11", 40},  {"AF12", 48},  {"AF13", 56},   // 10, 12, 14
      {"CS2", 64},                                  // 16
      {"AF21", 72},  {"AF22", 80},  {"AF23", 88},   // 18, 20, 22
      {"CS3", 96},                                  // 24
      {"AF31", 104}, {"AF32", 112}, {"AF33", 120},  // 26, 28, 30
      {"CS4", 128},                                 // 32
      {"AF41", 136}, {"AF42", 144}, {"AF43", 152},  // 34, 36, 38
      {"CS5", 160},  {"EF", 184},                   // 40, 46
      {"CS6", 192},  {"CS7", 224},                  // 48, 56
  };
}

int qos_lookup_dscp_classes(const NetworkContext* ctx) {
  std::map<std::string, int> classes = dscp_class_table();
  const Json::Value* qos = object_at(ctx->config, "qos");
  if (qos == nullptr || !is_enabled(*qos)) return 0;
  const Json::Value& policies = array_at(*qos, "policy");
  if (policies.empty()) return 0;
  for (const Json::Value& name : array_at(policies[0U], "traffic_filter.dscp")) {
    // operator[] adds unknown names with the value 0.
    classes[text_of(name)];
  }
  return 0;
}
