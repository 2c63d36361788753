#include "cli/graph/text_tree.h"

#include "cli/base/terminal.h"

constexpr std::size_t kColumns = 80;

namespace {

// What the branches of the tree are made of, each three columns wide.
struct Branches {
  const char* to_part;
  const char* to_last_part;
  const char* past;
};

// One line of the tree after the other.
class TreeWriter {
 public:
  TreeWriter(Charset charset, bool color)
      : charset_(charset), color_(color), branches_(charset == Charset::kUtf8 ? kUtf8 : kAscii) {}

  // `head` goes before the first line, `tail` before each that follows; both have as many branches.
  void add(const Part& part, const std::string& head, const std::string& tail, std::size_t depth) {
    const std::string beside = tail + (part.parts.empty() ? kNothing : branches_.past);
    const std::string text = part.name + (part.name.empty() || part.text.empty() ? "" : "  ") + part.text;
    add_lines(text, head, beside, depth, "");
    for (const Finding& finding : part.findings) {
      const char* style = finding.severity == Severity::kError ? "1;31" : "1;35";
      add_lines(text_of(finding), beside, beside, depth + 1, style);
    }
    for (const Part& inner : part.parts) {
      const bool is_last = &inner == &part.parts.back();
      add(inner, tail + (is_last ? branches_.to_last_part : branches_.to_part),
          tail + (is_last ? kNothing : branches_.past), depth + 1);
    }
  }

  std::string take() {
    return std::move(text_);
  }

 private:
  static constexpr Branches kUtf8 = {"├─ ", "└─ ", "│  "};
  static constexpr Branches kAscii = {"|- ", "`- ", "|  "};
  static constexpr const char* kNothing = "   ";
  static constexpr std::size_t kBranchColumns = 3;

  void add_lines(const std::string& text, const std::string& head, const std::string& beside,
                 std::size_t depth, const char* style) {
    // The lines that follow have one branch more before them than the first.
    const std::size_t columns = kColumns - (depth + 1) * kBranchColumns;
    const std::string* before = &head;
    for (const std::string& line : wrapped(text, columns, charset_)) {
      text_ += *before + styled(line, style, color_) + "\n";
      before = &beside;
    }
  }

  Charset charset_;
  bool color_;
  const Branches& branches_;
  std::string text_;
};

}  // namespace

std::string text_picture(const Part& picture, Charset charset, bool color) {
  TreeWriter writer(charset, color);
  writer.add(picture, "", "", 0);
  return writer.take();
}
