#pragma once

// Serializes numbers and strings for another process of this program. A string is preceded by its length.

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

class Encoder {
 public:
  template <typename Number>
  void number(Number number) {
    const auto fixed = static_cast<std::uint32_t>(number);
    bytes.append(reinterpret_cast<const char*>(&fixed), sizeof fixed);
  }

  void text(const std::string& text) {
    number(text.size());
    bytes += text;
  }

  void texts(const std::vector<std::string>& all) {
    number(all.size());
    for (const std::string& one : all)
      text(one);
  }

  std::string bytes;
};

// Reads serialized values. Past the end, returns zeros and empty strings, and clears `is_whole`.
class Decoder {
 public:
  explicit Decoder(const std::string& bytes) : bytes_(bytes) {}

  template <typename Number = std::uint32_t>
  Number number() {
    std::uint32_t fixed = 0;
    if (const char* begin = take(sizeof fixed)) std::memcpy(&fixed, begin, sizeof fixed);
    return static_cast<Number>(fixed);
  }

  std::string text() {
    const std::size_t size = number();
    const char* begin = take(size);
    return begin != nullptr ? std::string(begin, size) : std::string();
  }

  // Reads a list: `read` is called for each element, to read and append it.
  template <typename Read>
  void list(Read read) {
    for (std::uint32_t left = number(); left > 0 && is_whole; --left)
      read();
  }

  std::vector<std::string> texts() {
    std::vector<std::string> all;
    list([&] { all.push_back(text()); });
    return all;
  }

  bool is_whole = true;

 private:
  const char* take(std::size_t size) {
    if (size > bytes_.size() - position_) is_whole = false;
    if (!is_whole) return nullptr;
    position_ += size;
    return bytes_.data() + position_ - size;
  }

  const std::string& bytes_;
  std::size_t position_ = 0;
};
