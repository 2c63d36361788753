#include "cli/base/markup.h"

std::string escaped(const std::string& text) {
  std::string markup;
  for (const char c : text) {
    switch (c) {
      case '&':
        markup += "&amp;";
        break;
      case '<':
        markup += "&lt;";
        break;
      case '>':
        markup += "&gt;";
        break;
      case '"':
        markup += "&quot;";
        break;
      case '\'':
        markup += "&#39;";
        break;
      case ']':
        // Graphviz drops a "]" that is the whole text of an element, and treats the element as empty.
        markup += "&#93;";
        break;
      default:
        markup += c;
    }
  }
  return markup;
}
