#include "policy/ElementStarts.h"

#include <algorithm>

namespace qvlctl {
namespace {

bool startsWith(std::string_view text, std::string_view beginning) {
  return text.substr(0, beginning.size()) == beginning;
}

// The length of the markup that `text` begins with, up to and including `end`.
std::size_t lengthUpTo(std::string_view text, std::string_view end) {
  const std::size_t found = text.find(end);
  return found == std::string_view::npos ? text.size() : found + end.size();
}

// The length of the tag that `text` begins with: a '>' inside quotes does not end it.
std::size_t lengthOfTag(std::string_view text) {
  char quote = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (quote != 0) {
      if (c == quote) quote = 0;
    } else if (c == '"' || c == '\'') {
      quote = c;
    } else if (c == '>') {
      return i + 1;
    }
  }
  return text.size();
}

}  // namespace

ElementStarts findElementStarts(std::string_view text) {
  ElementStarts starts;
  std::size_t line = 1;
  while (!text.empty()) {
    std::size_t length = std::min(text.find('<'), text.size());
    if (length == 0) {
      if (startsWith(text, "<!--")) {
        length = lengthUpTo(text, "-->");
      } else if (startsWith(text, "<![CDATA[")) {
        length = lengthUpTo(text, "]]>");
      } else if (startsWith(text, "<?")) {
        length = lengthUpTo(text, "?>");
      } else {
        length = lengthOfTag(text);
        if (startsWith(text, "<!DOCTYPE")) starts.doctypeLine = line;
        if (text.size() > 1 && text[1] != '/' && text[1] != '!') {
          const std::size_t nameEnd = text.find_first_of(" \t\r\n/>", 1);
          starts.elements.push_back({text.substr(1, nameEnd - 1), line});
        }
      }
    }
    line += static_cast<std::size_t>(std::count(text.begin(), text.begin() + length, '\n'));
    text.remove_prefix(length);
  }
  return starts;
}

}  // namespace qvlctl
