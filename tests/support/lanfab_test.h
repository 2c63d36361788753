#pragma once

// The fixture of the unit tests: a fresh recording platform and empty runtime folders for each test.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/json.h>

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "config/network_context.h"
#include "recording_platform.h"

using Lines = std::vector<std::string>;

class LanfabTest : public ::testing::Test {
 protected:
  // Refuses to run outside the sandbox; empties /run, /var/volatile and /var/data of the sandbox.
  void SetUp() override;
};

// Parses JSON text; a test with malformed JSON fails.
Json::Value json(const std::string& text);

// A context built from this "network" object, not for an apply; the record of its construction is dropped.
NetworkContext context_of(const std::string& network);

// What `write` wrote into the stream it was given.
std::string text_written_by(const std::function<void(std::FILE*)>& write);

// What `action` printed to standard output.
std::string printed_by(const std::function<void()>& action);

// The bytes of a file; a missing file fails the test.
std::string text_of_file(const std::string& path);

// The bytes of a unit file, by its name in the unit directory.
std::string unit(const std::string& name);

// Creates the file with these bytes.
void put_file(const std::string& path, const std::string& text);

bool exists(const std::string& path);
