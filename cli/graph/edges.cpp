#include "cli/graph/edges.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <sstream>
#include <utility>
#include <vector>

namespace {

struct Box {
  double left = 0;
  double top = 0;
  double right = 0;
  double bottom = 0;
  std::size_t column = 0;

  double center_x() const {
    return (left + right) / 2;
  }
  double center_y() const {
    return (top + bottom) / 2;
  }
};

// Edges that share a line from a box, the hub, to the lane between two columns.
struct Bundle {
  std::string hub;
  bool is_hub_left;
  std::vector<std::string> ends;  // the boxes on the other side
  double hub_y = 0;
  std::map<std::string, double> end_y{};
  std::size_t lane = 0;
};

// An SVG file as Graphviz writes it, with one element per line.
struct Drawing {
  std::vector<std::string> lines;
  std::map<std::string, Box> boxes;
  // Indices of the lines with the paths, by the names of the left and the right box.
  std::map<std::pair<std::string, std::string>, std::size_t> edges;
};

// A side of a box: the name of the box, and true for its right side.
using Side = std::pair<std::string, bool>;

}  // namespace

// The string between two others in a line; empty if the line lacks one of them.
static std::string between(const std::string& line, const std::string& before, const std::string& after) {
  const std::size_t begin = line.find(before);
  if (begin == std::string::npos) return "";
  const std::size_t end = line.find(after, begin + before.size());
  return end == std::string::npos ? "" : line.substr(begin + before.size(), end - begin - before.size());
}

// The bounding box of a polygon.
static Box box_of(const std::string& points) {
  std::istringstream stream(points);
  Box box;
  double x = 0;
  double y = 0;
  char comma = 0;
  for (bool is_first = true; stream >> x >> comma >> y; is_first = false) {
    box.left = is_first ? x : std::min(box.left, x);
    box.right = is_first ? x : std::max(box.right, x);
    box.top = is_first ? y : std::min(box.top, y);
    box.bottom = is_first ? y : std::max(box.bottom, y);
  }
  return box;
}

static Drawing drawing_of(const std::string& svg) {
  static const std::string kTo = "&#45;&#45;";
  Drawing drawing;
  std::istringstream stream(svg);
  std::string name;  // of the box or the edge that the current lines draw
  bool is_box = false;
  for (std::string line; std::getline(stream, line); drawing.lines.push_back(line)) {
    const std::string title = between(line, "<title>", "</title>");
    if (!title.empty()) name = title;
    const std::size_t to = name.find(kTo);
    if (line.rfind("<g ", 0) == 0) {
      is_box = line.find("class=\"node\"") != std::string::npos;
    } else if (line.rfind("<path ", 0) == 0 && to != std::string::npos) {
      drawing.edges[{name.substr(0, to), name.substr(to + kTo.size())}] = drawing.lines.size();
    } else if (line.rfind("<polygon ", 0) == 0 && is_box) {
      // The first polygon of a box is its outline.
      drawing.boxes.emplace(name, box_of(between(line, "points=\"", "\"")));
    }
  }
  return drawing;
}

// Numbers the columns. The boxes of a column have the same center.
static void number_columns(std::map<std::string, Box>& boxes) {
  constexpr double kTolerance = 3;
  std::vector<Box*> sorted;
  sorted.reserve(boxes.size());
  for (auto& [name, box] : boxes)
    sorted.push_back(&box);
  std::sort(sorted.begin(), sorted.end(),
            [](const Box* a, const Box* b) { return a->center_x() < b->center_x(); });
  for (std::size_t i = 1; i < sorted.size(); ++i) {
    const bool is_next = sorted[i]->center_x() - sorted[i - 1]->center_x() > kTolerance;
    sorted[i]->column = sorted[i - 1]->column + (is_next ? 1 : 0);
  }
}

namespace {

// Draws the edges between two columns.
class Gap {
 public:
  Gap(Drawing& drawing, std::size_t column) : drawing_(drawing) {
    bool is_first_left = true;
    bool is_first_right = true;
    for (const auto& [name, box] : drawing.boxes) {
      if (box.column == column)
        left_ = std::exchange(is_first_left, false) ? box.right : std::max(left_, box.right);
      if (box.column == column + 1)
        right_ = std::exchange(is_first_right, false) ? box.left : std::min(right_, box.left);
    }
    collect_bundles(column);
  }

  void draw() {
    choose_ports();
    choose_lanes();
    for (const Bundle& bundle : bundles_) {
      for (const std::string& end : bundle.ends)
        draw(bundle, end);
    }
  }

 private:
  const Box& box(const std::string& name) const {
    return drawing_.boxes.at(name);
  }

  // The x coordinate where lines begin or end: a side of a box, or the center of a bend.
  double side_x(const std::string& name, bool is_right) const {
    const Box& around = box(name);
    return name[0] == 'b' ? around.center_x() : is_right ? around.right : around.left;
  }

  // The hub of an edge is the left box if several edges begin there, otherwise the right box. The
  // Internet and the bends of its edges, whose names do not begin with an n, are always hubs when
  // they are on the left.
  void collect_bundles(std::size_t column) {
    std::map<std::string, std::size_t> counts;
    for (const auto& [ends, line] : drawing_.edges)
      ++counts[ends.first];
    std::map<Side, std::size_t> indices;
    for (const auto& [ends, line] : drawing_.edges) {
      if (box(ends.first).column != column || box(ends.second).column != column + 1) continue;
      const bool is_hub_left = counts[ends.first] > 1 || ends.first[0] != 'n';
      const auto& [hub, other] = is_hub_left ? ends : std::pair(ends.second, ends.first);
      const auto [index, is_new] = indices.emplace(Side(hub, is_hub_left), bundles_.size());
      if (is_new) bundles_.push_back({hub, is_hub_left, {}});
      bundles_[index->second].ends.push_back(other);
    }
  }

  double mean_y(const std::vector<std::string>& names) const {
    double sum = 0;
    for (const std::string& name : names)
      sum += box(name).center_y();
    return sum / static_cast<double>(names.size());
  }

  // Chooses where lines begin at the sides of boxes: a single line in the middle, several lines from top to
  // bottom in the order of their other ends.
  void choose_ports() {
    std::map<Side, std::vector<std::pair<double, double*>>> ports;
    for (Bundle& bundle : bundles_) {
      ports[{bundle.hub, bundle.is_hub_left}].emplace_back(mean_y(bundle.ends), &bundle.hub_y);
      for (const std::string& end : bundle.ends)
        ports[{end, !bundle.is_hub_left}].emplace_back(box(bundle.hub).center_y(), &bundle.end_y[end]);
    }
    for (auto& [side, list] : ports) {
      std::sort(list.begin(), list.end());
      const Box& around = box(side.first);
      const double step = (around.bottom - around.top) / static_cast<double>(list.size() + 1);
      for (std::size_t i = 0; i < list.size(); ++i)
        *list[i].second = around.top + step * static_cast<double>(i + 1);
    }
    for (Bundle& bundle : bundles_) {
      for (auto& [end, y] : bundle.end_y) {
        if (ports[{end, !bundle.is_hub_left}].size() == 1) straighten(bundle, end, y);
      }
    }
  }

  // Moves the end of a line so that the line is straight, if the box is high enough.
  void straighten(const Bundle& bundle, const std::string& end, double& y) const {
    constexpr double kMargin = 8;
    const Box& around = box(end);
    if (bundle.hub_y >= around.top + kMargin && bundle.hub_y <= around.bottom - kMargin) y = bundle.hub_y;
  }

  // The range of a lane, from top to bottom, that a bundle occupies.
  static std::pair<double, double> extent(const Bundle& bundle) {
    std::pair<double, double> extent(bundle.hub_y, bundle.hub_y);
    for (const auto& [end, y] : bundle.end_y)
      extent = {std::min(extent.first, y), std::max(extent.second, y)};
    return extent;
  }

  // Assigns bundles to lanes. Bundles share a lane if they do not overlap there.
  void choose_lanes() {
    constexpr double kDistance = 6;
    std::sort(bundles_.begin(), bundles_.end(),
              [](const Bundle& a, const Bundle& b) { return extent(a) < extent(b); });
    std::vector<double> bottoms;  // of the lanes
    for (Bundle& bundle : bundles_) {
      const auto [top, bottom] = extent(bundle);
      if (top == bottom) continue;
      const auto is_free = [begin = top](double other) { return other + kDistance < begin; };
      const auto lane = std::find_if(bottoms.begin(), bottoms.end(), is_free);
      bundle.lane = static_cast<std::size_t>(lane - bottoms.begin());
      if (lane == bottoms.end()) bottoms.push_back(bottom);
      bottoms[bundle.lane] = bottom;
    }
    lanes_ = bottoms.size();
  }

  void draw(const Bundle& bundle, const std::string& end) {
    const double lane =
        left_ + (right_ - left_) * static_cast<double>(bundle.lane + 1) / static_cast<double>(lanes_ + 1);
    const double end_y = bundle.end_y.at(end);
    const auto& [left, right] = bundle.is_hub_left ? std::pair(bundle.hub, end) : std::pair(end, bundle.hub);
    const double left_y = bundle.is_hub_left ? bundle.hub_y : end_y;
    const double right_y = bundle.is_hub_left ? end_y : bundle.hub_y;
    char path[160] = "";
    if (left_y == right_y) {
      std::snprintf(path, sizeof path, "M%.2f,%.2fH%.2f", side_x(left, true), left_y, side_x(right, false));
    } else {
      std::snprintf(path, sizeof path, "M%.2f,%.2fH%.2fV%.2fH%.2f", side_x(left, true), left_y, lane, right_y,
                    side_x(right, false));
    }
    std::string& line = drawing_.lines[drawing_.edges.at({left, right})];
    const std::size_t begin = line.find(" d=\"") + 4;
    line.replace(begin, line.find('"', begin) - begin, path);
  }

  Drawing& drawing_;
  double left_ = 0;
  double right_ = 0;
  std::vector<Bundle> bundles_;
  std::size_t lanes_ = 0;
};

}  // namespace

std::string with_right_angles(const std::string& svg) {
  Drawing drawing = drawing_of(svg);
  number_columns(drawing.boxes);
  std::size_t last_column = 0;
  for (const auto& [name, box] : drawing.boxes)
    last_column = std::max(last_column, box.column);
  for (std::size_t column = 0; column < last_column; ++column)
    Gap(drawing, column).draw();
  std::string drawn;
  for (const std::string& line : drawing.lines)
    drawn += line + "\n";
  return drawn;
}
