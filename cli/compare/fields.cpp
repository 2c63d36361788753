#include "cli/compare/fields.h"

#include <sstream>

std::string without_blanks(const std::string& text) {
  const std::size_t begin = text.find_first_not_of(' ');
  if (begin == std::string::npos) return {};
  return text.substr(begin, text.find_last_not_of(' ') + 1 - begin);
}

std::vector<std::string> split(const std::string& text, char separator) {
  std::vector<std::string> fields;
  std::istringstream stream(text);
  for (std::string field; std::getline(stream, field, separator);)
    fields.push_back(field);
  return fields;
}

std::vector<std::string> words_of(const std::string& line) {
  std::vector<std::string> words;
  std::istringstream stream(line);
  for (std::string word; stream >> word;)
    words.push_back(word);
  return words;
}

std::string join(const std::string& list, const std::string& item, const char* separator) {
  return list.empty() ? item : list + separator + item;
}

std::string enumeration(const std::vector<std::string>& items) {
  std::string text;
  for (const std::string& item : items)
    text = join(text, item, &item == &items.back() ? " and " : ", ");
  return text;
}
