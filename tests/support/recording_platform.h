#pragma once

// A device that answers what a test tells it to and remembers, in order, what it was asked to do. It stands
// in for the three platform libraries, for run_shell() and for syslog(); the accessors, the address
// arithmetic and the file calls are the host platform's own. Nothing that is recorded is run.

#include <json/json.h>

#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

struct RecordingPlatform {
  // The answers.
  std::map<std::string, Json::Value> configuration;       // by object name; a name that is missing fails
  std::map<std::string, int> database;                    // integers of the default system database
  std::set<std::string> active_services;                  // what is_service_active answers
  std::map<std::string, std::string> hardware_addresses;  // "02:00:5e:00:00:10" by interface
  std::map<std::string, std::string> resolvable;          // address by host name
  // Called with each shell line after it was recorded, for a test that needs an effect of it.
  std::function<void(const std::string&)> on_shell = [](const std::string&) {};
  int shell_status = 0;  // what qelsys returns

  // The record. A shell line stands as it is; another call as its name and arguments with blanks between,
  // an empty text as "".
  std::vector<std::string> calls;
  // "notice lanfab apply": priority, blank, message.
  std::vector<std::string> log;
};

// The one device of the process.
RecordingPlatform& platform();
