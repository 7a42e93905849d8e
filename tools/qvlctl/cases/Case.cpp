#include "cases/Case.h"

#include <algorithm>
#include <charconv>

#include "fmt/format.h"
#include "io/Output.h"
#include "io/Trouble.h"
#include "policy/Policy.h"

namespace qvlctl {
namespace {

constexpr const char* kBlanks = " \t";

[[noreturn]] void fail(std::string_view expected, std::string_view found) {
  throw Trouble(fmt::format("expected {}; found {}", expected,
                            found.empty() ? "the end of the line" : inQuotes(found)));
}

// The reverse of escaped().
std::string unescaped(std::string_view text) {
  std::string result(text.substr(0, text.find('\\')));
  text.remove_prefix(result.size());
  while (!text.empty()) {
    std::size_t length = 1;
    char c = text[0];
    if (c == '\\') {
      length = 2;
      const char kind = text.size() > 1 ? text[1] : '\0';
      if (kind == '\\') {
        c = '\\';
      } else if (kind == 'n') {
        c = '\n';
      } else if (kind == 't') {
        c = '\t';
      } else if (kind == 'r') {
        c = '\r';
      } else {
        length = std::min<std::size_t>(text.size(), 4);
        unsigned char byte = 0;
        const std::from_chars_result number = std::from_chars(
            text.data() + std::min<std::size_t>(text.size(), 2), text.data() + length, byte, 16);
        if (kind != 'x' || length < 4 || number.ptr != text.data() + length) {
          fail("\\\\, \\n, \\t, \\r or \\xNN with two hexadecimal digits", text.substr(0, length));
        }
        c = static_cast<char>(byte);
      }
    }
    result += c;
    text.remove_prefix(length);
  }
  return result;
}

// A line, read from its beginning.
class CaseReader {
 public:
  explicit CaseReader(std::string_view line) : m_rest(line) { skipBlanks(); }

  bool isAtEnd() const { return m_rest.empty(); }

  // The next text without blanks, which is left in place.
  std::string_view peek() const { return m_rest.substr(0, m_rest.find_first_of(kBlanks)); }

  std::string_view take() {
    const std::string_view text = peek();
    m_rest.remove_prefix(text.size());
    skipBlanks();
    return text;
  }

  // The value when `name=` comes next.
  std::optional<std::string_view> takeOption(std::string_view name) {
    if (m_rest.substr(0, name.size()) != name) return std::nullopt;
    return take().substr(name.size());
  }

  std::string_view rest() const { return m_rest; }

 private:
  void skipBlanks() {
    m_rest.remove_prefix(std::min(m_rest.find_first_not_of(kBlanks), m_rest.size()));
  }

  std::string_view m_rest;
};

std::optional<std::set<unsigned int>> readDataSets(std::string_view text) {
  if (text == "*") return std::nullopt;
  std::set<unsigned int> numbers;
  if (text == "-") return numbers;
  for (std::string_view rest = text;;) {
    const std::size_t comma = rest.find(',');
    const std::optional<unsigned int> number = parseNumber(rest.substr(0, comma));
    if (!number) {
      fail("the numbers of the data sets that match, such as 1 or 1,3, or - for none, or * for any",
           text);
    }
    numbers.insert(*number);
    if (comma == std::string_view::npos) return numbers;
    rest.remove_prefix(comma + 1);
  }
}

}  // namespace

std::optional<Case> readCase(std::string_view line) {
  if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
  CaseReader reader(line);
  if (reader.isAtEnd() || reader.rest().front() == '#') return std::nullopt;

  Case result;
  const std::string_view verdict = reader.take();
  if (verdict != "excluded" && verdict != "scan") fail("excluded or scan", verdict);
  result.isExcluded = verdict == "excluded";
  result.dataSets = readDataSets(reader.take());
  for (;;) {
    if (const auto access = reader.takeOption("access=")) {
      result.access = parseAccess(*access);
      if (!result.access) fail(kAccessChoice, *access);
    } else if (const auto process = reader.takeOption("process=")) {
      result.process = unescaped(*process);
    } else {
      break;
    }
  }
  if (reader.isAtEnd()) fail("a path, or \"\" for the empty one", "");
  if (reader.rest() != "\"\"") result.path = unescaped(reader.rest());
  return result;
}

}  // namespace qvlctl
