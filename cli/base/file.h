#pragma once

// Reads and writes whole files, and locks directories.

#include <sys/types.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

// Mode of a file that only its owner may read and write, and the bits of a mode that chmod(2) sets.
inline constexpr mode_t kPrivateFile = 0600;
inline constexpr mode_t kModeBits = 07777;

struct File {
  std::string path;
  mode_t mode = 0644;
  std::string content;
};

// A file descriptor, closed by the destructor, which does not change errno.
class Descriptor {
 public:
  explicit Descriptor(int number = -1) : number_(number) {}
  Descriptor(Descriptor&& other) noexcept : number_(other.release()) {}
  Descriptor& operator=(Descriptor&& other) noexcept;
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor();

  // Negative if no file is open.
  int number() const {
    return number_;
  }

  bool is_open() const {
    return number_ >= 0;
  }

  // Returns the number, which the caller then has to close.
  int release() {
    return std::exchange(number_, -1);
  }

  // Closes the file. False, with errno set, on failure: written data may be lost then.
  bool close();

 private:
  int number_;
};

// An exclusive lock on a directory, released by the destructor.
class ExclusiveLock {
 public:
  // Waits for at most this many seconds while another process holds the lock: a stopped process never
  // releases it.
  explicit ExclusiveLock(const std::string& directory, int seconds = 10);

  bool is_held() const {
    return is_held_;
  }

  // Error message if the lock is not held: "/run/lanfab: Not a directory".
  const std::string& error() const {
    return error_;
  }

 private:
  Descriptor directory_;
  bool is_held_ = false;
  std::string error_;
};

// A file in memory, for the input or output of another program.
class MemoryFile {
 public:
  MemoryFile();

  int number() const {
    return descriptor_.number();
  }

  // Fills an empty file, and rewinds it for its reader. False, with errno set, on failure.
  bool fill(const std::string& text) const;

  // Everything that was written to the file.
  std::string content() const;

 private:
  Descriptor descriptor_;
};

// Appends everything up to the end of the file. False, with errno set, on failure.
bool read_all(int descriptor, std::string& content);

// Writes the whole content. False, with errno set, on failure.
bool write_all(int descriptor, const std::string& content);

// Reads a regular file. False, with errno set, if it cannot be read.
bool read_file(const std::string& path, File& file);

// Writes a file with its mode into an existing directory. False, with errno set, on failure.
bool write_file(const File& file);

// Creates a directory and its missing parents, and sets its mode. False, with errno set, on failure.
bool make_directories(const std::string& path, mode_t mode);

// Sorted names of the entries of a directory. Nothing, with errno set, if it cannot be read.
std::optional<std::vector<std::string>> list_directory(const std::string& directory);

// Whether two paths lead to the same existing file.
bool is_same_file(const std::string& one, const std::string& other);
