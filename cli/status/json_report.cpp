#include "cli/status/json_report.h"

#include "cli/status/forwarding_drift.h"
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

static Json::Value interfaces_of(const Snapshot& snapshot) {
  Json::Value list(Json::arrayValue);
  for (const auto& [name, wanted] : snapshot.wanted.interfaces) {
    Json::Value value(Json::objectValue);
    value["name"] = name;
    Json::Value& want = value["wanted"] = Json::Value(Json::objectValue);
    want["addresses"] = Json::arrayValue;
    for (const std::string& address : {wanted.address, wanted.secondary_address})
      if (!address.empty()) want["addresses"].append(address);
    want["mtu"] = wanted.mtu;
    want["bridge"] = wanted.bridge;
    want["forwarding"] = json_of(wanted_forwarding(snapshot, wanted));
    const auto link = snapshot.kernel.links.find(name);
    value["kernel"] = link != snapshot.kernel.links.end() ? json_of(link->second) : Json::Value();
    const auto setup = snapshot.setup.find(name);
    value["setup"] = setup != snapshot.setup.end() ? Json::Value(setup->second) : Json::Value();
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

static Json::Value runs_of(const Snapshot& snapshot) {
  if (!snapshot.runs_error.empty()) return Json::Value();
  Json::Value list(Json::arrayValue);
  for (const LastRun& run : snapshot.runs)
    list.append(json_of(run));
  return list;
}

static Json::Value leases_of(const Snapshot& snapshot) {
  if (!snapshot.leases_error.empty()) return Json::Value();
  Json::Value list(Json::arrayValue);
  for (const Lease& lease : snapshot.leases) {
    Json::Value value(Json::objectValue);
    value["address"] = lease.address;
    value["mac"] = lease.mac_address;
    value["name"] = lease.name;
    value["expires"] = Json::Int64(lease.expires);
    list.append(value);
  }
  return list;
}

static Json::Value json_of(const std::vector<Drift>& drift) {
  Json::Value list(Json::arrayValue);
  for (const Drift& one : drift) {
    Json::Value value(Json::objectValue);
    value["subject"] = one.subject;
    value["what"] = one.what;
    value["pending"] = one.is_pending;
    value["why"] = one.why;
    value["fix"] = one.fix;
    list.append(value);
  }
  return list;
}

Json::Value json_of(const Snapshot& snapshot, const StatusFindings& findings) {
  Json::Value root(Json::objectValue);
  root["differences"] = json_of(findings.drift);
  root["allowed"] = json_of(findings.allowed);
  root["not_checked"] = Json::arrayValue;
  for (const std::string& check : findings.not_checked)
    root["not_checked"].append(check);
  root["interfaces"] = interfaces_of(snapshot);
  root["services"] = Json::objectValue;
  for (const auto& [name, service] : snapshot.services) {
    Json::Value& value = root["services"][name];
    value["state"] = service.state;
    value["detail"] = service.detail;
    value["result"] = service.result;
    value["since"] = Json::Int64(service.since);
  }
  root["cellular"] = json_of(snapshot.cellular);
  root["leases"] = leases_of(snapshot);
  root["runs"] = runs_of(snapshot);
  if (snapshot.lock) {
    root["lock"]["since"] = Json::Int64(snapshot.lock->since);
    root["lock"]["held"] = snapshot.lock->is_held;
    root["lock"]["runs"] = snapshot.lock->runs;
  } else {
    root["lock"] = Json::Value();
  }
  root["trial"] = snapshot.trial ? Json::Value(describe(*snapshot.trial)) : Json::Value();
  root["last_trial"] = snapshot.last_trial ? Json::Value(describe(*snapshot.last_trial)) : Json::Value();
  return root;
}
