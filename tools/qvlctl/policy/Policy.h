// A policy as its file tells it, before the engine's objects are made from it.

#ifndef QVLCTL_POLICY_POLICY_H
#define QVLCTL_POLICY_POLICY_H

#include <qvl/qvl.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "io/Trouble.h"

namespace qvlctl {

// The kinds of data set and of the rules in it.
enum class Kind { FilePath, Folder, Process, FileType, FileAge };

inline constexpr Kind kAllKinds[] = {Kind::FilePath, Kind::Folder, Kind::Process, Kind::FileType,
                                     Kind::FileAge};

// The name of a kind in policy files.
const char* kindName(Kind kind);

// The number behind a decimal text, if it is one that fits into 32 bits.
std::optional<unsigned int> parseNumber(std::string_view text);

// The access type behind "read", "write", "any" or a decimal number.
std::optional<QVL::AccessTypes> parseAccess(std::string_view text);

// The reverse of parseAccess.
std::string accessName(QVL::AccessTypes access);

inline constexpr const char* kAccessChoice =
    "read, write, any or a whole number from 0 to 4294967295";

struct Rule {
  std::string text;  // as the engine gets it, whitespace included
  QVL::AccessTypes access = QVL::AnyAccess;
  bool includeSubfolders = true;             // folder rules
  std::optional<std::string> defaultFolder;  // process rules
  std::size_t line = 0;                      // in the policy file, 1 the first; 0: not known
};

struct Keyword {
  std::string name;
  std::vector<std::string> values;
  std::size_t line = 0;
};

struct DataSet {
  // Who compares a request's access type.
  enum class AccessCheck { ByRule, AtDataSet, Never };

  unsigned int number = 0;
  Kind kind = Kind::FilePath;
  std::string name;  // for people; may be empty
  bool enabled = true;
  bool matchAnything = false;
  bool matchEmptyInput = false;
  bool caseSensitive = true;
  bool wildcards = true;
  AccessCheck accessCheck = AccessCheck::ByRule;
  QVL::AccessTypes access = QVL::AnyAccess;  // of AccessCheck::AtDataSet
  std::vector<Keyword> keywords;
  std::vector<Rule> rules;
  std::size_t line = 0;
};

struct Policy {
  std::string file;
  std::string logic;  // as written
  std::size_t logicLine = 0;
  std::vector<DataSet> dataSets;  // in the order of the file; numbers are unique
};

// A place in a policy file: the line, 0 when it is not known, and the element in words.
struct Position {
  std::size_t line = 0;
  std::string element;
};

// "FILE:LINE: ELEMENT: message", the form of every error and warning about a policy.
std::string describe(const std::string& file, const Position& position, std::string_view message);

// A policy cannot be used, because of that place.
class PolicyTrouble : public Trouble {
 public:
  PolicyTrouble(const std::string& file, Position place, const std::string& message)
      : Trouble(describe(file, place, message)), position(std::move(place)), reason(message) {}

  const Position position;
  const std::string reason;
};

// "data set 2 (number 7)": the place of a data set, by its index in the policy.
Position positionOf(const Policy& policy, std::size_t dataSet);

// "data set 2 (number 7), rule 5", by the indices of the data set and of the rule or keyword in it.
Position positionOfRule(const Policy& policy, std::size_t dataSet, std::size_t rule);
Position positionOfKeyword(const Policy& policy, std::size_t dataSet, std::size_t keyword);

// "data set 2 (number 7)" from the index of the data set and its number as written.
std::string dataSetInWords(std::size_t dataSet, std::string_view number);

}  // namespace qvlctl

#endif  // QVLCTL_POLICY_POLICY_H
