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

// The matchers that the tests speak with.
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
  // Refuses to run outside the sandbox; empties /run, /var/volatile and /var/data of the sandbox.
  void SetUp() override;
};

// A context built from this "network" object; the record of its construction is dropped.
NetworkContext context_of(const std::string& network);

// What `write` wrote into the stream it was given.
std::string text_written_by(const std::function<void(std::FILE*)>& write);

// The lines of a text that begin with '#' or '[': which sections it has, in which order. The test of a caller
// asserts these; the lines of a section stand in the test of the function that writes it.
Lines heads(const std::string& text);

// What `action` printed to standard output.
std::string printed_by(const std::function<void()>& action);

// The bytes of a unit file, by its name in the unit directory.
std::string unit(const std::string& name);

// The names of the files in the unit directory, in alphabetical order.
Lines unit_names();

// Makes the unit of this name impossible to open.
void block_unit(const std::string& name);

// Lets the file at `path`, or the unit of this name, be opened and then meet a full disk.
void fill_disk_for(const std::string& path);
void fill_disk_for_unit(const std::string& name);

// The log lines of one priority, "notice" for example, in their order.
Lines log_of(const std::string& priority);

// The interfaces that are recorded for removal by the next run, in their order; "eth0.100 type vlan" when the
// record names a type.
Lines recorded_interfaces();
