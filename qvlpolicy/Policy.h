// From a policy file to answers: which accesses are excluded from scanning?
//
//   const qvlpolicy::Loaded loaded = qvlpolicy::Policy::load("/etc/scanner/policy.xml");
//   if (!loaded.policy) return complain(loaded.errors);
//   if (loaded.policy->isExcluded({path, program, QVL::ReadAccess})) return letPass();

#ifndef QVLPOLICY_POLICY_H
#define QVLPOLICY_POLICY_H

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "qvl/core/AccessTypes.h"
#include "qvlpolicy/Description.h"
#include "qvlpolicy/Explanation.h"
#include "qvlpolicy/Export.h"
#include "qvlpolicy/Problem.h"

namespace qvlpolicy {

class Policy;

// Times of a file that is not at hand, as an inventory tells them, in seconds since 1970.
struct GivenTimes {
  std::optional<std::time_t> creation;      // nothing: not known
  std::optional<std::time_t> modification;  // likewise
  std::time_t now = 0;                      // against which ages are held
};

// One file access. The texts are borrowed for the call. They may be any bytes; a text that is not
// UTF-8 is matched by no rule that reads it.
struct Question {
  std::string_view path;                      // full path of the file
  std::string_view process;                   // full path or name of the program; may be empty
  QVL::AccessTypes access = QVL::ReadAccess;  // kind of access
  const GivenTimes* times = nullptr;  // borrowed; of a policy with LoadOptions::timesAreGiven
};

// What a policy says to a question.
struct Answer {
  bool isExcluded = false;  // need the access not be scanned?
  // The numbers of the data sets that were asked and matched, in the order in which the logic came
  // to them. Data sets that did not matter any more are not asked.
  std::vector<unsigned int> dataSets;
};

// What became of a file: a policy, or errors. Warnings may stand beside either.
struct Loaded {
  std::shared_ptr<const Policy> policy;  // null when there is any error
  // What the file says, even though the engine may refuse rules of it; null when it says no policy.
  std::shared_ptr<const Description> description;
  std::vector<Problem> errors;    // all that were found, in the order of the file
  std::vector<Problem> warnings;  // likewise
};

// What may differ from one load to the next.
struct LoadOptions {
  std::string today;  // a date, YYYY-MM-DD, against which expiry is held; empty: today in UTC

  // Rules by age go by the times of the question and look at no file; where those are not given or
  // not known, the rule does not match. Questions then take turns where a rule by age is asked.
  bool timesAreGiven = false;

  // Is called with each file that is included, as it was read: its name, as in Description::files,
  // and its content. What it throws passes.
  std::function<void(const std::string& file, std::string_view content)> onIncluded = nullptr;
};

// A policy that is ready to answer. Immutable: everything that `isExcluded` and `ask` need is built
// when it is loaded, and nothing by the first question.
//
// Thread safety: any number of threads may ask at once. Questions do not wait for each other.
class QVLPOLICY_EXPORT Policy {
 public:
  // Reads a policy file, and what it includes. What is in a file, or a file that cannot be read, is
  // an error in the result and never thrown; only std::bad_alloc passes, and leaves nothing behind
  // (tests PolicyErrors.OfAnyBytesAreInTheResult, PolicyErrors.FilesThatCannotBeRead and
  // StarvedHost.LoadsAFileWithAllThatItIncludesOrThrows).
  static Loaded load(const std::string& file, const LoadOptions& options = {});

  // The same from a text in memory; `file` is its name in errors, and names of included files are
  // relative to its folder.
  static Loaded parse(std::string_view text, const std::string& file,
                      const LoadOptions& options = {});

  ~Policy();
  Policy(const Policy&) = delete;
  Policy& operator=(const Policy&) = delete;

  // Is the access excluded from scanning? Looks at the file itself where a rule by age is asked.
  bool isExcluded(const Question& question) const;

  // The same, with the data sets that matched. The second form reuses what `answer` has allocated.
  Answer ask(const Question& question) const;
  void ask(const Question& question, Answer& answer) const;

  // Makes the index that the searches for rules below need, and `explain`, unless it is there. The
  // first of them makes it otherwise, which takes a while for a large policy. std::bad_alloc
  // changes nothing.
  void prepareSearches() const;

  // Every rule that matches the question, in the order of the files: in a data set that is not
  // asked or switched off, too. Costs about what `ask` does, and more for what it finds; see
  // docs/policy-library.md.
  std::vector<MatchingRule> matchingRules(const Question& question) const;

  // The rules that hit: those that match the question, its kind of access included, in the data
  // sets of `answer`, which is the answer to it. None of a data set that matches anything, whose
  // rules are never asked. Replaces what is in `rules`.
  void rulesThatHit(const Question& question, const Answer& answer,
                    std::vector<MatchingRule>& rules) const;

  // The same of one data set, by its index in the description.
  std::vector<MatchingRule> matchingRules(const Question& question, std::size_t dataSet) const;

  // Does a data set match by itself, whatever the logic makes of it? By its index in the
  // description.
  bool doesMatch(const Question& question, std::size_t dataSet) const;

  // The whole way to the answer: parts of the logic, data sets, matching rules.
  Explanation explain(const Question& question) const;

  // When no data set matched: at most five rules that miss the question by least, best first (test
  // NearRules.AreAtMostFive).
  std::vector<NearRule> nearRules(const Question& question, const Explanation& explanation) const;

  // What the files say: data sets and rules with their places and metadata.
  const Description& description() const;

  // The logic taken apart.
  const LogicPart& logic() const;

 private:
  friend struct PolicyView;
  struct State;
  explicit Policy(std::shared_ptr<const State> state);

  const std::shared_ptr<const State> m_state;
};

}  // namespace qvlpolicy

#endif  // QVLPOLICY_POLICY_H
