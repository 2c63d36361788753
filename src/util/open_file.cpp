#include "util/open_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <new>

struct OpenFile::File {
  std::string path;
  int descriptor = -1;
  bool is_appended = false;
  off_t former_length = 0;
  std::FILE* stream = nullptr;
  std::string content;  // the data written to the stream
};

// The write function of the stream.
static ssize_t collect(void* content, const char* bytes, std::size_t size) {
  try {
    static_cast<std::string*>(content)->append(bytes, size);
    return static_cast<ssize_t>(size);
  } catch (const std::bad_alloc&) {
    errno = ENOMEM;
    return 0;
  }
}

static off_t length_of(int descriptor) {
  struct stat status {};
  return fstat(descriptor, &status) == 0 ? status.st_size : 0;
}

OpenFile::OpenFile(const std::string& path, const char* mode) {
  const bool is_appended = *mode == 'a';
  const int flags = O_WRONLY | O_CREAT | O_CLOEXEC | (is_appended ? O_APPEND : O_TRUNC);
  const int descriptor = open(path.c_str(), flags, 0666);
  if (descriptor < 0) {
    // The caller reports a wrong path.
    const int error = errno;
    if (error != ENOENT && error != ENOTDIR && error != EISDIR)
      syslog(LOG_NOTICE, "error opening %s: %s", path.c_str(), std::strerror(error));
    errno = error;
    return;
  }
  auto file = std::make_unique<File>();
  file->stream = fopencookie(&file->content, "w", {nullptr, collect, nullptr, nullptr});
  if (file->stream == nullptr) {
    ::close(descriptor);
    errno = ENOMEM;
    return;
  }
  file->path = path;
  file->descriptor = descriptor;
  file->is_appended = is_appended;
  file->former_length = length_of(descriptor);
  file_ = std::move(file);
}

OpenFile::OpenFile(OpenFile&& other) noexcept = default;

OpenFile::~OpenFile() {
  close();
}

OpenFile::operator bool() const {
  return file_ != nullptr;
}

std::FILE* OpenFile::get() const {
  return file_->stream;
}

int OpenFile::descriptor() const {
  return file_->descriptor;
}

// Returns false, with errno set, if the content could not be written completely.
static bool write_all(int descriptor, const std::string& content) {
  std::size_t written = 0;
  while (written < content.size()) {
    const ssize_t size = write(descriptor, content.data() + written, content.size() - written);
    if (size < 0 && errno == EINTR) continue;
    if (size <= 0) return false;
    written += static_cast<std::size_t>(size);
  }
  return true;
}

int OpenFile::close() {
  if (file_ == nullptr) return 0;
  const std::unique_ptr<File> file = std::move(file_);
  // If the stream failed, because memory ran out, errno may have changed since.
  const bool is_collected = std::fflush(file->stream) == 0 && std::ferror(file->stream) == 0;
  const bool is_written = is_collected && write_all(file->descriptor, file->content);
  int reason = is_collected ? errno : ENOMEM;
  const bool is_closed = ::close(file->descriptor) == 0;
  if (is_written && !is_closed) reason = errno;
  std::fclose(file->stream);
  if (is_written && is_closed) return 0;
  syslog(LOG_NOTICE, "error writing %s: %s", file->path.c_str(), std::strerror(reason));
  const int taken_back =
      file->is_appended ? truncate(file->path.c_str(), file->former_length) : unlink(file->path.c_str());
  if (taken_back != 0) syslog(LOG_NOTICE, "error removing incomplete %s", file->path.c_str());
  return -1;
}
