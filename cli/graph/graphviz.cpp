#include "cli/graph/graphviz.h"

#include <sys/wait.h>

#include <cerrno>

#include "cli/base/file.h"
#include "cli/base/subprocess.h"

std::optional<std::string> draw(const std::string& dot, std::string& svg) {
  const MemoryFile input;
  const MemoryFile output;
  Subprocess graphviz{{"dot", "-Tsvg"}};
  graphviz.input = input.number();
  graphviz.output = output.number();
  const int status = input.fill(dot) ? run(graphviz) : -1;
  if (status < 0 && errno == ENOENT)
    return "Graphviz's dot, which draws the picture, is not installed (package graphviz)";
  if (auto error = missing_status("dot", status)) return error;
  if (WEXITSTATUS(status) != 0) return "dot ended with status " + std::to_string(WEXITSTATUS(status));
  svg = output.content();
  return std::nullopt;
}
