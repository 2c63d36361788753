#pragma once

// A stub of the device, which returns what a test sets, and records the calls in order. It replaces the three
// platform libraries, run_shell() and syslog(); the accessors, the address arithmetic and the file calls are
// those of the host platform. Recorded calls are not executed.

#include <json/json.h>

#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

struct RecordingPlatform {
  // The results of calls.
  std::map<std::string, Json::Value> configuration;  // by object name; fetching a missing name fails
  std::map<std::string, int> database;               // integers of the default system database
  std::set<std::string> active_services;             // for is_service_active
  std::map<std::string, std::string> mac_addresses;  // "02:00:5e:00:00:10" by interface
  std::map<std::string, std::string> resolvable;     // address by host name
  // Called with each shell line after it is recorded, for tests that need an effect of it.
  std::function<void(const std::string&)> on_shell = [](const std::string&) {};
  int shell_status = 0;  // result of qelsys

  // The record. A shell line is recorded verbatim; another call as its name and arguments, separated by
  // spaces, with "" for an empty string.
  std::vector<std::string> calls;
  // "notice lanfab apply": priority, space, message.
  std::vector<std::string> log;
};

// Returns the device of the process.
RecordingPlatform& platform();
