#pragma once

// Files and JSON of tests. Also for the tests of the platform, which link no code of the program.

#include <gtest/gtest.h>
#include <json/json.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>

// Parses JSON; the test fails if it is malformed.
inline Json::Value json(const std::string& text) {
  Json::Value value;
  std::string complaints;
  std::istringstream stream(text);
  EXPECT_TRUE(Json::parseFromStream(Json::CharReaderBuilder(), stream, &value, &complaints)) << complaints;
  return value;
}

// Returns the content of a file; the test fails if it is missing.
inline std::string text_of_file(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file.is_open()) << path;
  return {std::istreambuf_iterator<char>(file), {}};
}

// Creates a file with this content.
inline void put_file(const std::string& path, const std::string& text) {
  std::ofstream file(path, std::ios::binary);
  file << text;
  ASSERT_TRUE(file.flush()) << path;
}

inline bool exists(const std::string& path) {
  return std::filesystem::exists(path);
}

// Removes all files in the directory.
inline void empty_directory(const std::string& directory) {
  for (const auto& entry : std::filesystem::directory_iterator(directory))
    std::filesystem::remove_all(entry);
}
