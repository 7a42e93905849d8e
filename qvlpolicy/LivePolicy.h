// The policy in force, in a process that runs for long.

#ifndef QVLPOLICY_LIVE_POLICY_H
#define QVLPOLICY_LIVE_POLICY_H

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "qvlpolicy/Export.h"
#include "qvlpolicy/Policy.h"

namespace qvlpolicy {

// What is counted beside questions and excluded ones.
enum class Counting {
  Nothing,   // and not those either
  DataSets,  // matches per data set
  Rules      // and per rule: every excluded question is asked once more, for its rules
};

// How often, and when last. Times are seconds since 1970; 0: never.
struct Hits {
  std::uint64_t count = 0;  // since the policy was put in force
  std::time_t last = 0;     // of them
};

// What was counted until one moment.
struct Counters {
  std::uint64_t questions = 0;  // since the holder was made
  std::uint64_t excluded = 0;   // likewise
  std::uint64_t reloads = 0;    // policies taken by reload or replace
  std::uint64_t refused = 0;    // reloads that left the old policy in force
  std::time_t since = 0;        // when the policy in force was taken
  // Since then, by index in the description of `policy`: data sets that matched, and rules that did
  // when a question was excluded. Empty when they are not counted.
  std::shared_ptr<const Policy> policy;
  std::vector<Hits> dataSets;
  std::vector<std::vector<Hits>> rules;
};

// Answers from the policy in force, which can be replaced at any time.
//
// A question is answered by one policy from its beginning to its end: the one in force when it
// came. No question waits for a reload; a file is read and built before the policies are swapped. A
// policy is destroyed when the last question that it answers has ended.
//
// Thread safety: all operations may be called from any thread at any time. Reloads run one after
// the other.
class QVLPOLICY_EXPORT LivePolicy {
 public:
  // Holds a policy that is there already; not null. `file` is what reload reads; empty: the file
  // that the policy was loaded from.
  explicit LivePolicy(std::shared_ptr<const Policy> policy, Counting counting = Counting::DataSets,
                      const std::string& file = {});
  ~LivePolicy();
  LivePolicy(const LivePolicy&) = delete;
  LivePolicy& operator=(const LivePolicy&) = delete;

  // As those of Policy, and counted.
  bool isExcluded(const Question& question);
  Answer ask(const Question& question);
  void ask(const Question& question, Answer& answer);

  // The policy in force.
  std::shared_ptr<const Policy> policy() const;

  // Reads the file again and takes its policy. With any error the one in force stays, and the
  // errors tell why; it stays as well when memory runs out (test
  // StarvedHost.KeepsAPolicyInForceOrTakesTheNextOne).
  Loaded reload();

  // Takes a policy that was loaded elsewhere; not null.
  void replace(std::shared_ptr<const Policy> policy);

  // What was counted until now. While questions are being answered the numbers may be some
  // questions apart from each other.
  Counters counters() const;

 private:
  struct State;
  const std::unique_ptr<State> m_state;
};

}  // namespace qvlpolicy

#endif  // QVLPOLICY_LIVE_POLICY_H
