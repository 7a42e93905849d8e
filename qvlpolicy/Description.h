// What a policy file says, as plain data.

#ifndef QVLPOLICY_DESCRIPTION_H
#define QVLPOLICY_DESCRIPTION_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "qvl/core/AccessTypes.h"
#include "qvlpolicy/Export.h"

namespace qvlpolicy {

// The kinds of data set and of the rules in it.
enum class Kind { FilePath, Folder, Process, FileType, FileAge };

// All of them, in that order.
inline constexpr Kind kAllKinds[] = {Kind::FilePath, Kind::Folder, Kind::Process, Kind::FileType,
                                     Kind::FileAge};

// The name of a kind in policy files: "file-path" and so on.
QVLPOLICY_EXPORT const char* kindName(Kind kind);

// The number behind a decimal text, if it is one that fits into 32 bits.
QVLPOLICY_EXPORT std::optional<unsigned int> parseNumber(std::string_view text);

// The access type behind "read", "write", "any" or a decimal number of 32 bits; nothing for any
// other text.
QVLPOLICY_EXPORT std::optional<QVL::AccessTypes> parseAccess(std::string_view text);

// The reverse of parseAccess.
QVLPOLICY_EXPORT std::string accessName(QVL::AccessTypes access);

// A place in a policy file, where an element or an attribute begins.
struct Place {
  std::uint32_t file = 0;    // an index into Description::files
  std::uint32_t line = 0;    // 1 is the first; 0: not known
  std::uint32_t column = 0;  // in characters, 1 is the first; 0: not known
};

// The same as people read it.
struct Position {
  std::string file;        // as it was named
  std::size_t line = 0;    // 1 is the first; 0: not known, or the whole file
  std::size_t column = 0;  // in characters, 1 is the first; 0: not known
  std::string element;     // in words: "data set 7, rule 5"; empty: the whole policy
};

// What people note beside a rule or a data set; a text that is not there is empty.
struct Metadata {
  std::string comment;  // anything worth knowing
  std::string owner;    // who answers for it
  std::string reason;   // why it is excluded
  std::string ticket;   // where that was decided
  std::string added;    // a date, YYYY-MM-DD
  std::string expires;  // a date; the day is the last one on which it holds
};

// What is excluded, by one element of a data set.
struct Rule {
  std::string text;  // as the engine gets it, whitespace included; of an age, the engine's age text
  QVL::AccessTypes access = QVL::AnyAccess;  // the kind of access that it is for
  bool includeSubfolders = true;             // folder rules
  bool isDropped = false;                    // has expired, and the policy drops what has
  std::optional<std::string> defaultFolder;  // process rules
  std::shared_ptr<const Metadata> metadata;  // null when there is none
  Place place;                               // where its element begins
};

// A name in rules that stands for any of some texts.
struct Keyword {
  std::string name;                 // as it stands in rules
  std::vector<std::string> values;  // what it stands for, one of them
  Place place;                      // where its element begins
};

// Lint may find that, and for that reason.
struct Allowance {
  std::string finding;  // its name
  std::string reason;   // why it may stay
  std::string rule;  // the text of the rules of which it may be found; empty: of everything around
  Place place;       // where its element begins
};

// Rules of one kind, under a number.
struct DataSet {
  // Who compares a request's access type.
  enum class AccessCheck { ByRule, AtDataSet, Never };

  unsigned int number = 0;       // by which the logic names it
  Kind kind = Kind::FilePath;    // of its rules
  std::string name;              // for people; may be empty
  bool enabled = true;           // false: never matches
  bool matchAnything = false;    // matches whatever is asked
  bool matchEmptyInput = false;  // matches a question without the text that its rules read
  bool caseSensitive = true;     // of its rules
  bool wildcards = true;         // false: its rules are regular expressions
  bool isDropped = false;        // has expired, and the policy drops what has: never matches
  AccessCheck accessCheck = AccessCheck::ByRule;  // see above
  QVL::AccessTypes access = QVL::AnyAccess;       // of AccessCheck::AtDataSet
  std::vector<Keyword> keywords;                  // its own and those of the tables that it names
  std::vector<Rule> rules;                        // in the order of the file
  std::vector<Allowance> allowances;              // those inside of it
  std::shared_ptr<const Metadata> metadata;       // null when there is none
  Place place;                                    // where its element begins
};

// A policy with what it includes. Numbers of data sets are unique.
struct Description {
  std::string file;                   // the policy's own file, as it was named
  std::vector<std::string> files;     // that file first, then the included ones as they came
  std::string logic;                  // as written
  Place logicPlace;                   // where its element begins
  bool dropsExpired = false;          // expired="drop"
  std::vector<Allowance> allowances;  // those outside of data sets
  std::vector<DataSet> dataSets;  // in the order of the files, an included one where it is included
};

// Where a data set, a rule or a keyword stands, by their indices, or the logic.
QVLPOLICY_EXPORT Position positionOf(const Description& policy, std::size_t dataSet);
QVLPOLICY_EXPORT Position positionOfRule(const Description& policy, std::size_t dataSet,
                                         std::size_t rule);
QVLPOLICY_EXPORT Position positionOfKeyword(const Description& policy, std::size_t dataSet,
                                            std::size_t keyword);
QVLPOLICY_EXPORT Position positionOfLogic(const Description& policy);

// "FILE:LINE:COLUMN: ELEMENT", the beginning of everything that is said about a policy; what is not
// known is left out.
QVLPOLICY_EXPORT std::string inWords(const Position& position);

}  // namespace qvlpolicy

#endif  // QVLPOLICY_DESCRIPTION_H
