#include "cli/status/json_report.h"

#include "cli/status/text_report.h"

static Json::Value json_of(const std::optional<bool>& value) {
  return value ? Json::Value(*value) : Json::Value();
}

static Json::Value json_of(const Link& link) {
  Json::Value value(Json::objectValue);
  value["up"] = link.is_up;
  value["carrier"] = link.has_carrier;
  value["mtu"] = link.mtu;
  value["bridge"] = link.bridge;
  value["forwarding"] = json_of(link.forwards);
  value["addresses"] = Json::arrayValue;
  for (const KernelAddress& address : link.addresses)
    value["addresses"].append(address.text);
  return value;
}

static Json::Value interfaces_of(const Look& look) {
  Json::Value list(Json::arrayValue);
  for (const auto& [name, wanted] : look.wanted.interfaces) {
    Json::Value value(Json::objectValue);
    value["name"] = name;
    Json::Value& want = value["wanted"] = Json::Value(Json::objectValue);
    want["addresses"] = Json::arrayValue;
    for (const std::string& address : {wanted.address, wanted.secondary_address})
      if (!address.empty()) want["addresses"].append(address);
    want["mtu"] = wanted.mtu;
    want["bridge"] = wanted.bridge;
    want["forwarding"] = json_of(wanted_forwarding(look, wanted));
    const auto link = look.kernel.links.find(name);
    value["kernel"] = link != look.kernel.links.end() ? json_of(link->second) : Json::Value();
    const auto setup = look.setup.find(name);
    value["setup"] = setup != look.setup.end() ? Json::Value(setup->second) : Json::Value();
    list.append(value);
  }
  return list;
}

static Json::Value json_of(const LastRun& run) {
  Json::Value value(Json::objectValue);
  value["action"] = run.action;
  value["began"] = Json::Int64(run.began);
  value["lasted"] = Json::Int64(run.lasted);
  value["end"] = word_for(run.end);
  value["messages"] = Json::arrayValue;
  for (const Message& message : run.messages) {
    Json::Value entry(Json::objectValue);
    entry["priority"] = message.priority;
    entry["text"] = message.text;
    value["messages"].append(entry);
  }
  return value;
}

static Json::Value json_of(const Cellular& link) {
  Json::Value value(Json::objectValue);
  value["connected"] = link.is_connected;
  value["interface"] = link.interface;
  value["address"] = link.address;
  value["prefix"] = link.prefix;
  value["gateway"] = link.gateway;
  value["mtu"] = link.mtu;
  value["name_servers"] = Json::arrayValue;
  for (const std::string& server : link.name_servers)
    value["name_servers"].append(server);
  return value;
}

static Json::Value leases_of(const Look& look) {
  Json::Value list(Json::arrayValue);
  for (const Lease& lease : look.leases) {
    Json::Value value(Json::objectValue);
    value["address"] = lease.address;
    value["mac"] = lease.hardware_address;
    value["name"] = lease.name;
    value["expires"] = Json::Int64(lease.expires);
    list.append(value);
  }
  return list;
}

Json::Value json_of(const Look& look, const std::vector<Difference>& differences) {
  Json::Value root(Json::objectValue);
  root["differences"] = Json::arrayValue;
  for (const Difference& difference : differences) {
    Json::Value value(Json::objectValue);
    value["subject"] = difference.subject;
    value["what"] = difference.what;
    value["coming"] = difference.is_coming;
    root["differences"].append(value);
  }
  root["interfaces"] = interfaces_of(look);
  root["services"] = Json::objectValue;
  for (const auto& [name, service] : look.services) {
    Json::Value& value = root["services"][name];
    value["state"] = service.state;
    value["detail"] = service.detail;
    value["result"] = service.result;
    value["since"] = Json::Int64(service.since);
  }
  root["cellular"] = json_of(look.cellular);
  root["leases"] = leases_of(look);
  root["runs"] = Json::arrayValue;
  for (const LastRun& run : look.runs)
    root["runs"].append(json_of(run));
  if (look.lock) {
    root["lock"]["since"] = Json::Int64(look.lock->since);
    root["lock"]["held"] = look.lock->is_held;
    root["lock"]["runs"] = look.lock->runs;
  } else {
    root["lock"] = Json::Value();
  }
  root["trial"] = look.trial ? Json::Value(*look.trial) : Json::Value();
  return root;
}
