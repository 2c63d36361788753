#pragma once

// The fixture of the unit tests: a fresh recording platform and empty runtime directories for each test.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/json.h>

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "config/network_context.h"
#include "recording_platform.h"
#include "test_files.h"

// Matchers for the tests.
using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::IsSupersetOf;
using ::testing::Not;
using ::testing::StartsWith;

using Lines = std::vector<std::string>;

class LanfabTest : public ::testing::Test {
 protected:
  // Fails outside the sandbox; empties /run, /var/volatile and /var/data of the sandbox.
  void SetUp() override;
};

// Returns a context for this "network" object, and clears the record of its construction.
NetworkContext context_of(const std::string& network);

// Returns the output of `write`.
std::string text_written_by(const std::function<void(std::FILE*)>& write);

// Returns the lines that begin with '#' or '[': the sections and their order. The test of a caller asserts
// these; the test of the function that writes a section asserts its lines.
Lines heads(const std::string& text);

// Returns the standard output of `action`.
std::string printed_by(const std::function<void()>& action);

// Returns the content of a unit file, by its name in the unit directory.
std::string unit(const std::string& name);

// Returns the names of the files in the unit directory, in alphabetical order.
Lines unit_names();

// Makes opening the unit with this name fail.
void block_unit(const std::string& name);

// Makes writing to the file at `path`, or the unit with this name, fail as on a full disk.
void fill_disk_for(const std::string& path);
void fill_disk_for_unit(const std::string& name);

// Returns the log lines with a priority, such as "notice", in order.
Lines log_of(const std::string& priority);

// Returns the interfaces recorded for removal by the next run, in order, such as "eth0.100 type vlan" if the
// record has a type.
Lines recorded_interfaces();
