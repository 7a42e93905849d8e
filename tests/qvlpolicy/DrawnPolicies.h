// Policies that are drawn, of few pieces, so that many rules match.

#ifndef QVL_TESTS_QVLPOLICY_DRAWN_POLICIES_H
#define QVL_TESTS_QVLPOLICY_DRAWN_POLICIES_H

#include <qvl/qvl.h>
#include <qvlpolicy/Description.h>
#include <qvlpolicy/Patterns.h>

#include <cstddef>
#include <random>
#include <string>

namespace qvlpolicy {

// The same texts in every run.
class DrawnTexts {
 public:
  // Of at least one and at most so many pieces.
  std::string ruleText(std::size_t most) { return text(most, std::size(kPieces)); }
  std::string plainText(std::size_t most) { return text(most, kPlainPieces); }

  std::size_t upTo(std::size_t most) {
    return std::uniform_int_distribution<std::size_t>(0, most)(m_random);
  }
  bool coin() { return upTo(1) == 1; }

 private:
  static constexpr const char* kPieces[] = {
      "/", "a",        "b",        "ab",    ".c",   "*",  "**",     "?",       "/**/",  "%K%",
      "A", "\xC3\xA4", "\xC3\x84", "(a|b)", "[ab]", "a+", "(a)\\1", "(?>ab?)", "(?=a)", "b{1,2}"};
  static constexpr std::size_t kPlainPieces = 5;

  std::string text(std::size_t most, std::size_t pieces) {
    std::string made;
    for (std::size_t left = upTo(most) + 1; left > 0; --left) made += kPieces[upTo(pieces - 1)];
    return made;
  }

  std::mt19937 m_random{20261122};
};

// A policy of one data set of that kind, of whose rules the engine refuses none.
inline Description drawnDescription(DrawnTexts& drawn, Kind kind) {
  DataSet dataSet;
  dataSet.number = 1;
  dataSet.kind = kind;
  dataSet.caseSensitive = drawn.coin();
  dataSet.wildcards = drawn.coin();
  if (kind != Kind::FileType && drawn.coin()) {
    dataSet.keywords.push_back({"%K%", {"a", "b+", "ab"}, {}});
  }
  for (std::size_t i = 0, count = drawn.upTo(40); i < count; ++i) {
    Rule rule;
    rule.text = kind == Kind::FileType ? drawn.ruleText(3) : '/' + drawn.ruleText(6);
    if (kind == Kind::Folder) rule.text += '/';
    if (kind == Kind::Process && drawn.coin()) {
      rule.text.erase(0, 1);
      if (drawn.coin()) rule.defaultFolder = "/a";
    }
    rule.includeSubfolders = drawn.coin();
    // What the engine refuses is another test's.
    try {
      (void)makeRule(dataSet, rule);
      dataSet.rules.push_back(rule);
    } catch (const QVL::QVLException&) {
      continue;
    }
  }
  Description description;
  description.files = {"p.xml"};
  description.logic = "1";
  description.dataSets.push_back(dataSet);
  return description;
}

}  // namespace qvlpolicy

#endif  // QVL_TESTS_QVLPOLICY_DRAWN_POLICIES_H
