#include "cli/dry_run/result.h"

#include <unistd.h>

#include <cerrno>
#include <cstdint>

#include "cli/base/records.h"

namespace {

enum class Kind : std::uint32_t { kResult, kError };

}  // namespace

std::string encode(const DryRunResult& result) {
  Encoder out;
  out.number(Kind::kResult);
  out.number(result.status);
  out.number(result.files.size());
  for (const auto& [file, change] : result.files) {
    out.text(file.path);
    out.number(file.mode);
    out.text(file.content);
    out.number(change);
  }
  out.texts(result.removed);
  out.number(result.commands.size());
  for (const std::vector<std::string>& command : result.commands)
    out.texts(command);
  out.number(result.messages.size());
  for (const Message& message : result.messages) {
    out.number(message.priority);
    out.text(message.text);
  }
  out.number(result.database.size());
  for (const auto& [key, value] : result.database) {
    out.text(key);
    out.text(value);
  }
  out.text(result.standard_output);
  out.text(result.standard_error);
  return out.bytes;
}

std::string encode(const SandboxError& error) {
  Encoder out;
  out.number(Kind::kError);
  out.number(error.code);
  out.text(error.what);
  out.number(error.is_in_setup);
  return out.bytes;
}

static void read_result(Decoder& in, DryRunResult& result) {
  result.status = in.number<int>();
  in.list([&] {
    ResultFile& one = result.files.emplace_back();
    one.file.path = in.text();
    one.file.mode = in.number<mode_t>();
    one.file.content = in.text();
    one.change = in.number<Change>();
  });
  result.removed = in.texts();
  in.list([&] { result.commands.push_back(in.texts()); });
  in.list([&] {
    Message& message = result.messages.emplace_back();
    message.priority = in.number<int>();
    message.text = in.text();
  });
  in.list([&] {
    auto& [key, value] = result.database.emplace_back();
    key = in.text();
    value = in.text();
  });
  result.standard_output = in.text();
  result.standard_error = in.text();
}

std::optional<SandboxError> decode(const std::string& bytes, DryRunResult& result) {
  Decoder in(bytes);
  SandboxError error{"the sandboxed process exited unexpectedly"};
  if (in.number<Kind>() == Kind::kResult) {
    read_result(in, result);
    if (in.is_whole) return std::nullopt;
  } else {
    error.code = in.number<int>();
    error.what = in.text();
    error.is_in_setup = in.number() != 0;
  }
  return error;
}

void ResultPipe::finish(const DryRunResult& result) const {
  write_all(pipe_, encode(result));
  _exit(0);
}

void ResultPipe::give_up(const std::string& what) const {
  write_all(pipe_, encode(SandboxError{what, errno, !is_set_up_}));
  _exit(0);
}

void ResultPipe::refuse(const std::string& why) const {
  errno = 0;
  give_up(why);
}
