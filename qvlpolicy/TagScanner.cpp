#include "qvlpolicy/TagScanner.h"

#include <algorithm>

namespace qvlpolicy {
namespace {

constexpr const char* kBlanks = " \t\r\n";

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

// The spot behind `passed`, which begins at `spot`.
Spot behind(Spot spot, std::string_view passed) {
  for (const char c : passed) {
    if (c == '\n') {
      ++spot.line;
      spot.column = 1;
    } else if ((static_cast<unsigned char>(c) & 0xc0) != 0x80) {
      ++spot.column;
    }
  }
  return spot;
}

// The length of the character, reference or line break that `text` begins with, which comes from
// the parser as one character.
std::size_t lengthOfPiece(std::string_view text, bool isCdata) {
  if (startsWith(text, "\r\n")) return 2;
  if (!isCdata && text.front() == '&') return lengthUpTo(text, ";");
  std::size_t length = 1;
  while (length < text.size() && (static_cast<unsigned char>(text[length]) & 0xc0) == 0x80) {
    ++length;
  }
  return length;
}

// How many bytes of UTF-8 the reference to a character, "&...;", stands for.
std::size_t bytesBehindReference(std::string_view reference) {
  if (!startsWith(reference, "&#")) return 1;
  const bool isHex = startsWith(reference, "&#x");
  std::uint32_t code = 0;
  for (const char c : reference.substr(isHex ? 3 : 2)) {
    if (c == ';') break;
    const char low = static_cast<char>(c | 0x20);
    const auto digit = static_cast<std::uint32_t>(c >= '0' && c <= '9' ? c - '0' : low - 'a' + 10);
    code = code * (isHex ? 16 : 10) + digit;
  }
  return code < 0x80 ? 1 : code < 0x800 ? 2 : code < 0x10000 ? 3 : 4;
}

}  // namespace

Spot TagScanner::next() {
  const std::size_t from = m_tag;
  for (std::size_t at = m_end;;) {
    at = std::min(m_text.find('<', at), m_text.size());
    const std::string_view rest = m_text.substr(at);
    std::size_t length = 0;
    if (startsWith(rest, "<!--")) {
      length = lengthUpTo(rest, "-->");
    } else if (startsWith(rest, "<![CDATA[")) {
      length = lengthUpTo(rest, "]]>");
    } else if (startsWith(rest, "<?")) {
      length = lengthUpTo(rest, "?>");
    } else if (startsWith(rest, "</") || startsWith(rest, "<!")) {
      length = lengthOfTag(rest);
    } else {
      m_tagSpot = behind(m_tagSpot, m_text.substr(from, at - from));
      m_tag = at;
      m_end = at + lengthOfTag(rest);
      return m_tagSpot;
    }
    at += length;
  }
}

Spot TagScanner::attribute(std::string_view name) const {
  const std::string_view tag = m_text.substr(m_tag, m_end - m_tag);
  std::size_t at = tag.find_first_of(kBlanks);
  while (at < tag.size()) {
    at = tag.find_first_not_of(kBlanks, at);
    if (at == std::string_view::npos) break;
    const std::size_t end = tag.find_first_of(" \t\r\n=", at);
    if (end == std::string_view::npos) break;
    if (tag.substr(at, end - at) == name) return behind(m_tagSpot, tag.substr(0, at));
    const std::size_t quote = tag.find_first_of("\"'", end);
    if (quote == std::string_view::npos) break;
    const std::size_t close = tag.find(tag[quote], quote + 1);
    if (close == std::string_view::npos) break;
    at = close + 1;
  }
  return m_tagSpot;
}

Spot TagScanner::content(std::size_t offset) const {
  std::size_t at = m_end;
  bool isCdata = false;
  for (std::size_t bytes = 0; at < m_text.size();) {
    const std::string_view rest = m_text.substr(at);
    if (isCdata && startsWith(rest, "]]>")) {
      isCdata = false;
      at += 3;
    } else if (!isCdata && startsWith(rest, "<![CDATA[")) {
      isCdata = true;
      at += 9;
    } else if (!isCdata && startsWith(rest, "<!--")) {
      at += lengthUpTo(rest, "-->");
    } else if (!isCdata && startsWith(rest, "<?")) {
      at += lengthUpTo(rest, "?>");
    } else if (bytes >= offset || (!isCdata && rest.front() == '<')) {
      break;
    } else {
      const std::size_t length = lengthOfPiece(rest, isCdata);
      const bool isReference = !isCdata && rest.front() == '&';
      bytes += isReference                ? bytesBehindReference(rest.substr(0, length))
               : startsWith(rest, "\r\n") ? 1
                                          : length;
      at += length;
    }
  }
  return behind(m_tagSpot, m_text.substr(m_tag, at - m_tag));
}

Spot TagScanner::declaration(std::string_view text) {
  std::size_t at = 0;
  while ((at = text.find('<', at)) != std::string_view::npos) {
    const std::string_view rest = text.substr(at);
    if (startsWith(rest, "<!DOCTYPE")) return spotOf(text, at);
    at += startsWith(rest, "<!--") ? lengthUpTo(rest, "-->") : lengthUpTo(rest, "?>");
  }
  return {};
}

Spot TagScanner::spotOf(std::string_view text, std::size_t offset) {
  return behind({}, text.substr(0, offset));
}

}  // namespace qvlpolicy
