#pragma once

// Files and JSON texts of a test, for the tests of the platform too, which link nothing of the program.

#include <gtest/gtest.h>
#include <json/json.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>

// Parses JSON text; a test with malformed JSON fails.
inline Json::Value json(const std::string& text) {
  Json::Value value;
  std::string complaints;
  std::istringstream stream(text);
  EXPECT_TRUE(Json::parseFromStream(Json::CharReaderBuilder(), stream, &value, &complaints)) << complaints;
  return value;
}

// The bytes of a file; a missing file fails the test.
inline std::string text_of_file(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file.is_open()) << path;
  return {std::istreambuf_iterator<char>(file), {}};
}

// Creates the file with these bytes.
inline void put_file(const std::string& path, const std::string& text) {
  std::ofstream file(path, std::ios::binary);
  file << text;
  ASSERT_TRUE(file.flush()) << path;
}

inline bool exists(const std::string& path) {
  return std::filesystem::exists(path);
}

// Removes everything in the directory.
inline void empty_directory(const std::string& directory) {
  for (const auto& entry : std::filesystem::directory_iterator(directory))
    std::filesystem::remove_all(entry);
}
