#include "cli/graph/graphviz.h"

#include <sys/wait.h>

#include <cerrno>
#include <sstream>

#include "cli/base/file.h"
#include "cli/base/subprocess.h"
#include "cli/graph/edges.h"

// The element of an SVG file, without the comments and titles, each of which is on its own line. Browsers
// would show the titles, the names of Graphviz's nodes, as tooltips.
static std::string element_of(const std::string& file) {
  const std::size_t begin = file.find("<svg");
  if (begin == std::string::npos) return "";
  std::istringstream lines(with_right_angles(file.substr(begin)));
  std::string element;
  for (std::string line; std::getline(lines, line);) {
    const bool is_useless = line.rfind("<!--", 0) == 0 || line.rfind("<title>", 0) == 0;
    if (!is_useless) element += line + "\n";
  }
  return element;
}

std::optional<std::string> draw(const std::string& dot, std::string& svg) {
  const MemoryFile input;
  const MemoryFile output;
  Subprocess graphviz{{"dot", "-Tsvg"}};
  graphviz.input = input.number();
  graphviz.output = output.number();
  const int status = input.fill(dot) ? run(graphviz) : -1;
  if (status < 0 && errno == ENOENT)
    return "Graphviz's dot, which draws the diagram, is not installed (package graphviz)";
  if (auto error = missing_status("dot", status)) return error;
  if (WEXITSTATUS(status) != 0) return "dot exited with status " + std::to_string(WEXITSTATUS(status));
  svg = element_of(output.content());
  return svg.empty() ? std::optional<std::string>("dot printed no diagram") : std::nullopt;
}
