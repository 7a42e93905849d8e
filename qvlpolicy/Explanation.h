// Why a question is answered as it is.

#ifndef QVLPOLICY_EXPLANATION_H
#define QVLPOLICY_EXPLANATION_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "qvlpolicy/Export.h"

namespace qvlpolicy {

// The whole logic, or an operand or a combination in it.
struct LogicPart {
  std::string text;                     // as people write it, grouping shown by parentheses
  std::string postfix;                  // as the engine evaluates it
  std::optional<unsigned int> dataSet;  // an operand's number
  std::vector<LogicPart> parts;         // what an operator combines; none in an operand
};

// The value of a part of the logic.
struct PartAnswer {
  const LogicPart* part;  // belongs to the policy
  std::size_t depth;      // 0 is the whole logic
  bool wasAsked;          // false for what the evaluation did not come to
  bool value;             // what it is, or would be
};

// What settles a data set's answer; the first that applies.
enum class Decider { SwitchedOff, AccessType, MatchAnything, EmptyInput, Rules };

// The attribute of the data set that is meant, or "rules".
QVLPOLICY_EXPORT const char* deciderName(Decider decider);

// A rule that matches, by the indices of its data set and of itself in the description.
struct MatchingRule {
  std::size_t dataSet;  // by index
  std::size_t rule;     // likewise
  bool fitsAccess;      // false: matches but for the kind of access
};

// The part of one data set in an answer. The tests Explanation.AnswersAsTheEngineDoes and
// RuleSearch.FindsTheRulesThatMatchWhenTheyAreAsked hold it to what the engine answers.
struct DataSetAnswer {
  bool isInLogic;                   // does the logic name it?
  bool wasAsked;                    // did the evaluation come to it?
  bool matches;                     // what it answers, or would
  Decider decider;                  // what settled that
  std::vector<MatchingRule> rules;  // all that match by themselves, whatever decided
  // The indices of rules whose expression takes too long on the text, so that the engine gives up
  // and they do not match.
  std::vector<std::size_t> gaveUp;
};

// The whole way to an answer.
struct Explanation {
  bool isExcluded;                      // as Answer::isExcluded
  std::vector<unsigned int> matched;    // as Answer::dataSets
  std::vector<PartAnswer> parts;        // each before what it combines
  std::vector<DataSetAnswer> dataSets;  // in the order of the description
};

// By what a rule misses a question; the smallest difference first.
enum class Difference {
  Case,           // upper and lower case
  Normalisation,  // two spellings of one text in Unicode
  Slash,          // a slash at the end
  Alias,          // another path to the same file
  Subfolders,     // the rule leaves subfolders out
  Star,           // * where ** would match
  Inside,         // the rule names a folder that the file is in
  Wildcards,      // the rule is a regular expression that would match as wildcards
  SameFolder,
  SameExtension
};

// "same-folder" and so on: the name in machine-readable output.
QVLPOLICY_EXPORT const char* differenceName(Difference difference);

// A rule that nearly matches.
struct NearRule {
  std::size_t dataSet;    // by index
  std::size_t rule;       // likewise
  Difference difference;  // the smallest one
};

}  // namespace qvlpolicy

#endif  // QVLPOLICY_EXPLANATION_H
