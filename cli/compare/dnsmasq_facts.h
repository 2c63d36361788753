#pragma once

// Reads facts from dnsmasq.conf, the hosts file and resolv.conf.

#include <set>
#include <string>

#include "cli/compare/facts.h"

// Reads dnsmasq.conf line by line. The units must have been read into `facts` before.
class DnsmasqReader {
 public:
  explicit DnsmasqReader(Facts& facts) : facts_(facts) {}

  void read(const std::string& line, std::set<Topic>& topics);

 private:
  void read_range(const std::vector<std::string>& values, std::set<Topic>& topics);
  void read_option(const std::vector<std::string>& values, std::set<Topic>& topics);
  void read_host(const std::vector<std::string>& values, std::set<Topic>& topics);
  void read_relay(const std::vector<std::string>& values, std::set<Topic>& topics);
  std::string interface_with(const std::string& address) const;

  Facts& facts_;
  std::string heading_;  // the last comment line
};

void read_hosts_line(const std::string& line, std::set<Topic>& topics, Facts& facts);
void read_resolver_line(const std::string& line, std::set<Topic>& topics, Facts& facts);
