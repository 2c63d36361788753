#pragma once

// `lanfab graph`: a picture of the network that a configuration makes.

#include <string>

enum class GraphFormat { kText, kDot, kSvg };

struct GraphOptions {
  std::string file;  // "-" is standard input
  GraphFormat format = GraphFormat::kText;
  std::string output;  // the file to write; empty, standard output
};

// Returns the exit status: 0, or 2 when there is no picture.
int graph(const GraphOptions& options);
