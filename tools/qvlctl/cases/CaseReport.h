// What became of cases, in the formats that build pipelines read.

#ifndef QVLCTL_CASES_CASE_REPORT_H
#define QVLCTL_CASES_CASE_REPORT_H

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cases/Case.h"
#include "io/Output.h"
#include "queries/Queries.h"

namespace qvlctl {

struct CaseResult {
  Case expected;
  bool isExcluded = false;
  std::vector<unsigned int> dataSets;  // that were asked and matched
  std::vector<std::string> rules;      // of a case that failed: those that match, in words
  bool hasPassed = false;
  std::optional<Query> failedFor;  // of a case that failed: the query that was answered otherwise
};

// Writes results as they come, or at the end.
class CaseReport {
 public:
  virtual ~CaseReport() = default;

  virtual void add(const CaseResult& result) = 0;
  virtual void end() = 0;

  // The cases cannot be read on.
  virtual void giveUp(const std::string& /*reason*/) {}
};

// By the name of a format: text, tap, junit or json. `policy` is the name of the policy's file,
// `queries` are those asked for a case that names neither process nor access; both the queries and
// the output have to outlive the report.
std::unique_ptr<CaseReport> makeCaseReport(const std::string& format, const std::string& policy,
                                           const std::vector<Query>& queries, Output& output);

inline const std::vector<std::string> kCaseFormats = {"text", "tap", "junit", "json"};

}  // namespace qvlctl

#endif  // QVLCTL_CASES_CASE_REPORT_H
