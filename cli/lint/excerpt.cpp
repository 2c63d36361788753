#include "cli/lint/excerpt.h"

#include <algorithm>
#include <string_view>
#include <vector>

#include "cli/base/terminal.h"

constexpr char kIndent[] = "    ";
constexpr char kEllipsis[] = "…";
constexpr std::size_t kIndentColumns = 4;
constexpr std::size_t kEllipsisColumns = 1;

namespace {

// A character of the line, as it is printed.
struct Cell {
  std::string text;
  std::size_t columns;
  std::size_t offset;
};

// A part of a line: from the cell `first` up to, but not including, the cell `last`.
struct Window {
  const std::vector<Cell>& cells;
  std::size_t first;
  std::size_t last;
  std::size_t columns;

  void grow_right(std::size_t room) {
    while (last < cells.size() && columns + cells[last].columns <= room)
      columns += cells[last++].columns;
  }

  void grow_left(std::size_t room) {
    while (first > 0 && columns + cells[first - 1].columns <= room)
      columns += cells[--first].columns;
  }
};

}  // namespace

static Cell cell_at(const std::string& text, std::size_t offset) {
  const auto [code, size] = first_character(std::string_view(text).substr(offset));
  if (code == '\t') return {kIndent, kIndentColumns, offset};
  const std::string shown = printable(text.substr(offset, size));
  const int columns = shown == "?" ? 1 : columns_of(code);
  return {shown, columns < 0 ? 1 : static_cast<std::size_t>(columns), offset};
}

// The part of the line around `offset` that is at most `most` bytes away, without the end of the line.
static TextRange reach(const std::string& text, std::size_t offset, std::size_t most) {
  std::size_t begin = offset - std::min(offset, most);
  const std::string_view before = std::string_view(text).substr(begin, offset - begin);
  const std::string_view behind = std::string_view(text).substr(offset, most);
  if (const std::size_t line_end = before.rfind('\n'); line_end != std::string_view::npos)
    begin += line_end + 1;
  std::size_t end = offset + std::min(behind.find('\n'), behind.size());
  if (end > offset && text[end - 1] == '\r') --end;
  // Never begin in the middle of a UTF-8 character.
  while (begin < offset && (static_cast<unsigned char>(text[begin]) & 0xc0U) == 0x80)
    ++begin;
  return {static_cast<std::ptrdiff_t>(begin), static_cast<std::ptrdiff_t>(end)};
}

static std::vector<Cell> cells_of(const std::string& text, TextRange range) {
  std::vector<Cell> cells;
  for (auto offset = static_cast<std::size_t>(range.begin); offset < static_cast<std::size_t>(range.end);) {
    cells.push_back(cell_at(text, offset));
    offset += first_character(std::string_view(text).substr(offset)).size;
  }
  return cells;
}

// The whole line, or as much of it around the cell `marked` as fits in `room` columns.
static Window window_around(const std::vector<Cell>& cells, std::size_t marked, std::size_t room) {
  Window whole{cells, 0, 0, 0};
  whole.grow_right(room);
  if (whole.last == cells.size()) return whole;
  const std::size_t rest = room - 2 * kEllipsisColumns;
  Window window{cells, marked, marked, 0};
  window.grow_right(rest * 2 / 3);
  window.grow_left(rest);
  window.grow_right(rest);
  return window;
}

std::string excerpt_at(const std::string& text, TextRange range, const ExcerptStyle& style) {
  const std::size_t room = style.columns - kIndentColumns;
  const auto begin = static_cast<std::size_t>(range.begin);
  // A character has up to four bytes, and a combining character takes no column.
  const std::size_t most = 8 * room;
  const TextRange line = reach(text, begin, most);
  const std::vector<Cell> cells = cells_of(text, line);
  const auto marked = static_cast<std::size_t>(
      std::find_if(cells.begin(), cells.end(), [&](const Cell& cell) { return cell.offset >= begin; }) -
      cells.begin());
  const Window window = window_around(cells, marked, room);

  std::string shown;
  std::size_t indent = 0;
  std::size_t underlined = 0;
  if (window.first > 0) {
    shown = kEllipsis;
    indent = kEllipsisColumns;
  }
  const std::size_t size = std::min(static_cast<std::size_t>(range.end) - begin, most);
  const bool ends_here = std::string_view(text).substr(begin, size).find('\n') == std::string_view::npos;
  for (std::size_t i = window.first; i < window.last; ++i) {
    shown += cells[i].text;
    if (i < marked) indent += cells[i].columns;
    if (i >= marked && cells[i].offset < static_cast<std::size_t>(range.end)) underlined += cells[i].columns;
  }
  if (window.last < cells.size()) shown += kEllipsis;
  const std::string mark = "^" + std::string(ends_here && underlined > 1 ? underlined - 1 : 0, '~');
  return kIndent + shown + "\n" + kIndent + std::string(indent, ' ') + styled(mark, "1;32", style.color) +
         "\n";
}
