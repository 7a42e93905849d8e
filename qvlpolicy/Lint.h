// What is odd about a policy: rules that are too broad, never match, or mean something else.
//
//   const qvlpolicy::LintReport report = qvlpolicy::lint(qvlpolicy::Policy::load("policy.xml"));
//   for (const qvlpolicy::Finding& finding : report.findings) { ... }

#ifndef QVLPOLICY_LINT_H
#define QVLPOLICY_LINT_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "qvlpolicy/Aliases.h"
#include "qvlpolicy/Description.h"
#include "qvlpolicy/Export.h"
#include "qvlpolicy/Policy.h"

namespace qvlpolicy {

// How bad a finding is.
enum class Severity {
  Error,    // the policy cannot be used
  Warning,  // it does not do what it seems to, or excludes too much
  Note      // worth a look
};

// "error", "warning" or "note".
QVLPOLICY_EXPORT const char* severityName(Severity severity);

// One thing that lint has to say. Reason and advice are UTF-8 and printable.
struct Finding {
  const char* name = "";  // of its sort, for programs: docs/lint.md lists them; stable, static
  Severity severity = Severity::Note;  // how bad it is
  Position position;                   // where it is
  std::string reason;                  // what is odd, in words
  std::string advice;                  // what to do about it

  // What it is about, by index; nothing: the policy, or the data set, as a whole.
  std::optional<std::size_t> dataSet = {};
  std::optional<std::size_t> rule = {};

  std::optional<std::string> allowedFor = {};  // the reason in the policy for which it may stay
};

// "FILE:LINE:COLUMN: ELEMENT: warning: reason [name]", in one line.
QVLPOLICY_EXPORT std::string inWords(const Finding& finding);

// Findings, in the order in which lint came to them.
using Findings = std::vector<Finding>;

// What lint goes by.
struct LintOptions {
  std::optional<Platform> platform = {};  // nothing: the one whose folders the rules name
  std::string today = {};  // a date, YYYY-MM-DD, against which expiry is held; empty: today in UTC
};

// What lint found.
struct LintReport {
  Platform platform = Platform::MacOs;  // whose names of folders it went by
  Findings findings;                    // in the order of the files
};

// Looks at what was loaded, refused or not: each error of it is a finding, and rules that the
// engine refuses leave the others to be looked at. What the policy allows is among the findings,
// with `allowedFor`. Each rule is compared with a bounded number of others, whatever their number
// (test Shadows.TakeNoMoreForEachRuleWhenThereAreMore), and looked through for the names of all
// keywords at once; where a limit leaves rules out, a finding tells so (test
// Lint.TellsWhatItDidNotLookAt). Throws nothing but std::bad_alloc.
QVLPOLICY_EXPORT LintReport lint(const Loaded& loaded, const LintOptions& options = {});

}  // namespace qvlpolicy

#endif  // QVLPOLICY_LINT_H
