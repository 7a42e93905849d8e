// What can become of an open.

#ifndef QVL_ONACCESS_OUTCOME_H
#define QVL_ONACCESS_OUTCOME_H

#include <array>
#include <cstddef>

namespace onaccess {

enum class Outcome {
  Own,          // the host itself opens
  Scanner,      // the scanner opens
  NotRegular,   // nothing to scan: a FIFO, a device
  Excluded,     // by the policy
  Remembered,   // found clean before, and unchanged
  Clean,        // scanned
  Infected,     // scanned
  Refused,      // from here on nobody knows: the scanner would not scan it
  Deadline,     // it took too long
  Unreachable,  // there is no scanner, or it ended meanwhile
  Malformed,    // it spoke nonsense
  BreakerOpen,  // it failed too often, and is left alone for a while
  QueueFull,    // too many scans wait
  Unreadable    // the kernel tells nothing about the file
};

inline constexpr std::size_t kOutcomes = 14;

// As it stands in metrics and log lines.
inline const char* nameOf(Outcome outcome) {
  static constexpr std::array<const char*, kOutcomes> kNames = {
      "own",       "scanner",      "not_regular", "excluded",  "remembered",
      "clean",     "infected",     "refused",     "deadline",  "unreachable",
      "malformed", "breaker_open", "queue_full",  "unreadable"};
  return kNames[static_cast<std::size_t>(outcome)];
}

// Is there no verdict about the file? Then the mount's failure policy answers.
inline bool isFailure(Outcome outcome) {
  return outcome >= Outcome::Refused;
}

// What a mount answers when there is no verdict.
enum class FailurePolicy { Open, Closed };

inline bool isAllowed(Outcome outcome, FailurePolicy policy) {
  if (isFailure(outcome)) return policy == FailurePolicy::Open;
  return outcome != Outcome::Infected;
}

}  // namespace onaccess

#endif  // QVL_ONACCESS_OUTCOME_H
