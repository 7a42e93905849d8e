// Random rules, and inputs that have a good chance to match them.

#ifndef QVL_TESTS_SUPPORT_RANDOM_RULES_H
#define QVL_TESTS_SUPPORT_RANDOM_RULES_H

#include <cstddef>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "qvl/qvl.h"
#include "tests/support/Dice.h"
#include "tests/support/Requests.h"

namespace QVL {
namespace Test {

enum Kind { Path, Folder, Process, Type, Age, kKinds };

inline std::shared_ptr<IDataSet> dataSetOf(Kind kind) {
  switch (kind) {
    case Path:
      return std::make_shared<FilePathDataSet>();
    case Folder:
      return std::make_shared<FolderDataSet>();
    case Process:
      return std::make_shared<ProcessDataSet>();
    case Type:
      return std::make_shared<FileTypeDataSet>();
    default:
      return std::make_shared<FileAgeDataSet>();
  }
}

// Rule texts and inputs that have much in common. Some are long enough for every length of key.
inline const std::vector<std::string> kNames = {
    "a",       "b",          "ab",   "Library", "library",      "Caches",    "node_modules",
    "x86_64",  "é",          "É",    "k",       "\u212a",       "s",         "\u017f",
    "log.txt", "report.log", ".log", "😀",       "applications", "appliances"};
inline const std::vector<std::string> kTextParts = {
    "/",  "/",      "/",     "*",    "**",    "/**/",     "/**/", "?",     "*/",
    "/*", "%NAME%", "%TOP%", ".log", "(a|b)", "[ab]",     "a|b",  "\\.",   "(?:a)",
    "a+", "(ab)?",  "^",     "$",    "(a|)",  "(?i)libr", "\\w",  "DOUBLE"};
inline const std::vector<std::string> kInputParts = {"/", "/", "/", "/", ".log", ".", "x", "9"};
inline const std::vector<std::string> kNotUtf8 = {"\xff", "\x80", "\xe2\x82", "\xed\xa0\x80",
                                                  "\xc0\xaf"};
inline const std::vector<std::set<std::string>> kValues = {
    {"a", "b"}, {"Library"}, {"x", "Library/**"}, {"[ab]", ""}, {"é", "node_modules", "b"}};
inline const std::vector<AccessTypes> kAccess = {
    AnyAccess, AnyAccess, ReadAccess, WriteAccess, AccessTypes(), accessType(0xFFFFFFFFu)};

struct RandomRule {
  Kind kind;
  std::string text;
  AccessTypes access;
  unsigned char flag;  // of folder and process rules
};

inline RandomRule randomRule(Kind kind, Dice& dice) {
  std::string text = dice.oneIn(4) ? "" : "/";
  for (std::size_t count = 1 + dice.below(6); count > 0; --count) {
    text += dice.oneIn(2) ? dice.pick(kNames) : dice.pick(kTextParts);
  }
  if (kind == Folder) text += '/';
  if (kind == Type) text = dice.oneIn(3) ? dice.pick(kNames) : text.substr(0, 12);
  if (kind == Age) text.insert(0, "x   -1");
  return {kind, text, dice.pick(kAccess), static_cast<unsigned char>(dice.below(2))};
}

// Throws QVLException for a text that is not one of a rule.
inline std::unique_ptr<IAvoidance> make(const RandomRule& rule) {
  switch (rule.kind) {
    case Path:
      return std::make_unique<FilePathAvoidance>(rule.text, rule.access);
    case Folder:
      return std::make_unique<FolderAvoidance>(rule.text, rule.access, rule.flag);
    case Process:
      return std::make_unique<ProcessAvoidance>(rule.text, rule.access, rule.flag, "/Library");
    case Type:
      return std::make_unique<FileTypeAvoidance>(rule.text, rule.access);
    default:
      return std::make_unique<FileAgeAvoidance>(rule.text, rule.access);
  }
}

// An input that the text, read as a glob, has a good chance to match.
inline std::string inputLike(const std::string& text, Dice& dice) {
  std::string input;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '*') {
      input += dice.join(dice.oneIn(2) ? kNames : kInputParts, 0, 2);
    } else if (c == '?') {
      input += 'b';
    } else if (c == '%') {
      input += dice.pick(kNames);
      while (i + 1 < text.size() && text[i + 1] != '%') ++i;
      ++i;
    } else if (std::string("()[]|\\^$+").find(c) == std::string::npos) {
      input += c;
    }
  }
  return input;
}

// An input in UTF-8, most often like one of these rule texts.
inline std::string randomInput(const std::vector<std::string>& texts, Dice& dice) {
  if (dice.oneIn(20)) return "";
  std::string input;
  if (!texts.empty() && !dice.oneIn(4)) {
    input = inputLike(dice.pick(texts), dice);
  } else {
    for (std::size_t count = dice.below(8); count > 0; --count) {
      input += dice.oneIn(2) ? dice.pick(kNames) : dice.pick(kInputParts);
    }
  }
  if (dice.oneIn(3)) input += "/" + dice.pick(kNames) + ".log";
  return input;
}

}  // namespace Test
}  // namespace QVL

#endif  // QVL_TESTS_SUPPORT_RANDOM_RULES_H
