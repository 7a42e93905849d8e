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

// What people note beside a rule or a data set; a text that is not there is empty.
struct Metadata {
  std::string comment;
  std::string owner;
  std::string reason;
  std::string ticket;
  std::string added;    // a date, YYYY-MM-DD
  std::string expires;  // a date; the day is the last one on which it holds
};

struct Rule {
  std::string text;  // as the engine gets it, whitespace included; of an age, the engine's age text
  QVL::AccessTypes access = QVL::AnyAccess;
  bool includeSubfolders = true;             // folder rules
  bool isDropped = false;                    // has expired, and the policy drops what has
  std::optional<std::string> defaultFolder;  // process rules
  std::shared_ptr<const Metadata> metadata;  // null when there is none
  Place place;
};

struct Keyword {
  std::string name;
  std::vector<std::string> values;
  Place place;
};

// Lint may find that, and for that reason.
struct Allowance {
  std::string finding;  // its name
  std::string reason;
  std::string rule;  // the text of the rules of which it may be found; empty: of everything around
  Place place;
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
  bool isDropped = false;  // has expired, and the policy drops what has: never matches
  AccessCheck accessCheck = AccessCheck::ByRule;
  QVL::AccessTypes access = QVL::AnyAccess;  // of AccessCheck::AtDataSet
  std::vector<Keyword> keywords;             // its own and those of the tables that it names
  std::vector<Rule> rules;                   // in the order of the file
  std::vector<Allowance> allowances;
  std::shared_ptr<const Metadata> metadata;  // null when there is none
  Place place;
};

// A policy with what it includes. Numbers of data sets are unique.
struct Description {
  std::string file;                // the policy's own file, as it was named
  std::vector<std::string> files;  // that file first, then the included ones as they came
  std::string logic;               // as written
  Place logicPlace;
  bool dropsExpired = false;          // expired="drop"
  std::vector<Allowance> allowances;  // those outside of data sets
  std::vector<DataSet> dataSets;  // in the order of the files, an included one where it is included
};

}  // namespace qvlpolicy

#endif  // QVLPOLICY_DESCRIPTION_H
