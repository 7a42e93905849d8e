#include "benchmarks/worst/Shape.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <iterator>
#include <sstream>
#include <stdexcept>

namespace QVL {
namespace Bench {
namespace {

constexpr std::array<const char*, 6> kKinds = {"path",    "folder", "tree",
                                               "process", "type",   "regex"};
constexpr std::string_view kIgnoringCase = "-i";

std::string escaped(std::string_view text) {
  std::string result;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte > 0x20 && byte < 0x7F && c != '\'') {
      result += c;
      // So that a backslash of an expression is not taken for one of ours.
      if (c == '\\') result += c;
    } else {
      std::array<char, 8> hex{};
      std::snprintf(hex.data(), hex.size(), "\\x%02X", byte);
      result += hex.data();
    }
  }
  return result;
}

std::string unescaped(std::string_view text) {
  std::string result;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text[at] != '\\') {
      result += text[at];
    } else if (text.substr(at, 2) == "\\x" && at + 4 <= text.size()) {
      result += static_cast<char>(std::stoi(std::string(text.substr(at + 2, 2)), nullptr, 16));
      at += 3;
    } else {
      result += '\\';
      if (text.substr(at, 2) == "\\\\") ++at;
    }
  }
  return result;
}

// The number at the beginning of `text`, which it and the colon behind it are taken from.
std::size_t takeNumber(std::string_view& text) {
  const std::size_t colon = text.find(':');
  if (colon == 0 || colon == std::string_view::npos ||
      !std::all_of(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(colon),
                   [](unsigned char c) { return std::isdigit(c) != 0; })) {
    throw std::invalid_argument("expected NUMBER:TEXT, found '" + std::string(text) + "'");
  }
  const std::size_t number = std::stoul(std::string(text.substr(0, colon)));
  text.remove_prefix(colon + 1);
  return number;
}

std::size_t digits(std::string_view text) {
  std::size_t count = 0;
  while (count < text.size() && std::isdigit(static_cast<unsigned char>(text[count])) != 0) ++count;
  return count;
}

// What stands in braces at the beginning of `text`; empty when that is none of ours, as in the
// expression "a{3}".
std::string_view braces(std::string_view text) {
  const std::size_t end = text.find('}');
  if (text.empty() || text[0] != '{' || end == std::string_view::npos) return {};
  const std::string_view inside = text.substr(1, end - 1);
  const std::size_t count = digits(inside);
  const bool repetition = count != 0 && count < inside.size() && inside[count] == ':';
  const bool number =
      inside == "i" ||
      (inside.size() > 2 && inside[0] == 'i' && (inside[1] == '/' || inside[1] == '%') &&
       digits(inside.substr(2)) == inside.size() - 2 && inside[2] != '0');
  return repetition || number ? text.substr(0, end + 1) : std::string_view();
}

}  // namespace

std::string expanded(std::string_view text, std::size_t number) {
  std::string result;
  while (!text.empty()) {
    const std::string_view found = braces(text);
    if (found.empty()) {
      result += text[0];
      text.remove_prefix(1);
      continue;
    }
    text.remove_prefix(found.size());
    std::string_view inside = found.substr(1, found.size() - 2);
    if (inside == "i") {
      result += std::to_string(number);
    } else if (inside[0] == 'i') {
      const std::size_t divisor = std::stoul(std::string(inside.substr(2)));
      result += std::to_string(inside[1] == '/' ? number / divisor : number % divisor);
    } else {
      for (std::size_t left = takeNumber(inside); left > 0; --left) result += inside;
    }
  }
  return result;
}

std::set<std::string> valuesOf(const KeywordShape& keyword) {
  std::set<std::string> values;
  for (std::size_t i = 0; i < keyword.count; ++i) values.insert(expanded(keyword.text, i));
  return values;
}

std::vector<std::string> partsOf(std::string_view text) {
  std::vector<std::string> parts;
  bool inLiteral = false;
  while (!text.empty()) {
    std::string_view part = braces(text);
    const bool inBraces = !part.empty();
    if (part.empty() && text[0] == '%') {
      const std::size_t end = text.find('%', 1);
      if (end != std::string_view::npos) part = text.substr(0, end + 1);
    }
    for (const std::string_view wildcard : {"/**/", "**", "*", "?", "/"}) {
      if (part.empty() && text.substr(0, wildcard.size()) == wildcard) part = wildcard;
    }
    const bool literal = part.empty();
    if (literal) part = text.substr(0, 1);
    if (literal && inLiteral) {
      parts.back() += part;
    } else {
      parts.emplace_back(part);
    }
    inLiteral = literal && !inBraces;
    text.remove_prefix(part.size());
  }
  return parts;
}

bool isLiteral(const std::string& part) {
  if (part == "/" || part.find('*') != std::string::npos || part.find('?') != std::string::npos) {
    return false;
  }
  return part[0] != '%' || part.size() == 1;
}

std::size_t PolicyShape::size() const {
  std::size_t sum = 0;
  for (const RuleShape& one : rules) sum += one.count;
  return sum;
}

std::string TextShape::expanded() const {
  const std::string end = Bench::expanded(tail, 0);
  std::string text = Bench::expanded(head, 0);
  const std::size_t body = length - std::min(length, end.size());
  for (std::size_t i = 0; !units.empty() && text.size() < body; ++i) {
    const std::string unit = Bench::expanded(units[i % units.size()], i);
    if (unit.empty()) break;
    text += unit;
  }
  if (text.size() > body) {
    // Not within a character.
    std::size_t cut = body;
    while (cut > 0 && (text[cut] & 0xC0) == 0x80) --cut;
    text.resize(cut);
  }
  text += end;
  for (const auto& [place, bytes] : inserts) text.insert(text.size() * place / 1000, bytes);
  return text;
}

std::string lineOf(const Shape& shape) {
  std::string line;
  const auto add = [&](const std::string& name, const std::string& value) {
    line += (line.empty() ? "" : " ") + name + "=" + value;
  };
  for (const RuleShape& one : shape.policy.rules) {
    add(kKinds[static_cast<std::size_t>(one.kind)] +
            std::string(one.caseSensitive ? "" : kIgnoringCase),
        std::to_string(one.count) + ":" + escaped(one.text));
  }
  for (const KeywordShape& one : shape.policy.keywords) {
    add("keyword", escaped(one.name) + ":" + std::to_string(one.count) + ":" + escaped(one.text));
  }
  if (!shape.text.head.empty()) add("head", escaped(shape.text.head));
  for (const std::string& unit : shape.text.units) add("unit", escaped(unit));
  if (!shape.text.tail.empty()) add("tail", escaped(shape.text.tail));
  add("length", std::to_string(shape.text.length));
  for (const auto& [place, bytes] : shape.text.inserts) {
    add("insert", std::to_string(place) + ":" + escaped(bytes));
  }
  return line;
}

Shape shapeOf(const std::string& line) {
  Shape shape;
  std::istringstream stream(line);
  for (std::string field; stream >> field;) {
    const std::size_t equals = field.find('=');
    if (equals == std::string::npos) {
      throw std::invalid_argument("expected FIELD=VALUE, found '" + field + "'");
    }
    std::string name = field.substr(0, equals);
    std::string_view value = std::string_view(field).substr(equals + 1);
    if (name == "head") {
      shape.text.head = unescaped(value);
    } else if (name == "unit") {
      shape.text.units.push_back(unescaped(value));
    } else if (name == "tail") {
      shape.text.tail = unescaped(value);
    } else if (name == "length") {
      shape.text.length = takeNumber(value = std::string_view(field += ':').substr(equals + 1));
    } else if (name == "insert") {
      const std::size_t place = std::min<std::size_t>(takeNumber(value), 1000);
      shape.text.inserts.emplace_back(place, unescaped(value));
    } else if (name == "keyword") {
      const std::size_t colon = value.find(':');
      if (colon == 0 || colon == std::string_view::npos) {
        throw std::invalid_argument("expected NAME:COUNT:TEXT, found '" + std::string(value) + "'");
      }
      KeywordShape keyword;
      keyword.name = unescaped(value.substr(0, colon));
      value.remove_prefix(colon + 1);
      keyword.count = takeNumber(value);
      keyword.text = unescaped(value);
      shape.policy.keywords.push_back(std::move(keyword));
    } else {
      RuleShape rule;
      if (name.size() > kIgnoringCase.size() &&
          name.substr(name.size() - kIgnoringCase.size()) == kIgnoringCase) {
        rule.caseSensitive = false;
        name.resize(name.size() - kIgnoringCase.size());
      }
      const auto* const kind = std::find(kKinds.begin(), kKinds.end(), name);
      if (kind == kKinds.end()) throw std::invalid_argument("there is no field '" + name + "'");
      rule.kind = static_cast<RuleKind>(std::distance(kKinds.begin(), kind));
      rule.count = takeNumber(value);
      rule.text = unescaped(value);
      shape.policy.rules.push_back(std::move(rule));
    }
  }
  if (shape.policy.rules.empty()) throw std::invalid_argument("there is no rule in '" + line + "'");
  return shape;
}

}  // namespace Bench
}  // namespace QVL
