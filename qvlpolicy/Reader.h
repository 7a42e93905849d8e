// Reads policy files.

#ifndef QVLPOLICY_READER_H
#define QVLPOLICY_READER_H

#include <string>
#include <string_view>
#include <vector>

#include "qvlpolicy/Description.h"
#include "qvlpolicy/Policy.h"
#include "qvlpolicy/Problem.h"

namespace qvlpolicy {

struct Reading {
  Description description;      // as far as it could be read
  std::vector<Problem> errors;  // all that were found; whether the engine takes the rules and the
                                // logic is not asked here
};

// Of the options, that of today's date is set.
Reading readPolicyFile(const std::string& file, const LoadOptions& options);
Reading readPolicyText(std::string_view text, const std::string& file, const LoadOptions& options);

// Reads one file of a policy by itself: what it includes is not read, and it may be one that others
// include, which lacks the logic and names keywords that stand elsewhere.
Reading readPolicyPart(std::string_view text, const std::string& file);

// "data set 7", "data set 7, rule 5", "data set 7, keyword 2": elements by their indices.
std::string elementInWords(const DataSet& dataSet);
std::string ruleElementInWords(const DataSet& dataSet, std::size_t rule);
std::string keywordElementInWords(const DataSet& dataSet, std::size_t keyword);

// The problem of that reason at a place of a policy.
Problem problemAt(const Description& description, const Place& place, std::string element,
                  std::string what, std::string expected = {}, std::string came = {});

}  // namespace qvlpolicy

#endif  // QVLPOLICY_READER_H
