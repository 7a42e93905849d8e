// Audits that were saved as JSON.

#ifndef QVLCTL_DIFF_SAVED_AUDIT_H
#define QVLCTL_DIFF_SAVED_AUDIT_H

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "audit/Tally.h"

namespace qvlctl {

// What a comparison needs of an audit.
struct SavedAudit {
  // A folder that has a place of its own.
  struct Folder {
    std::string path;    // ends in a slash
    std::string parent;  // likewise; empty for one that was named on the command line
    Tally skipped;       // of the files directly in it
    Tally rest;          // skipped in folders below it that have no place of their own
  };

  struct Rule {
    std::string words;  // "data set 2, /srv/build/ (read)"; the same for the same rule
    std::string file;   // of the policy, as it was named
    std::size_t line = 0;
    Tally skipped;
  };

  struct Query {
    std::string words;
    Tally skipped;
  };

  std::string file;
  std::string created;
  std::string host;
  std::string policy;
  std::string policyDigest;
  std::vector<std::string> roots;
  Tally found;
  Tally skipped;
  std::vector<Query> queries;
  std::vector<Rule> rules;
  std::vector<Folder> folders;  // each behind the one that it is in
};

// Throws Trouble when the file cannot be read or holds no audit.
SavedAudit readAudit(const std::string& file);

// Something that both audits count, and what was skipped of it.
struct SkippedChange {
  std::string words;
  Tally before;
  Tally after;
  std::string file;  // of the policy, where it is a rule of it
  std::size_t line = 0;

  bool hasGrown() const { return after.files > before.files || after.bytes > before.bytes; }
  bool hasShrunk() const { return after.files < before.files || after.bytes < before.bytes; }
};

// What differs between two audits: sums, since audits hold no single files. Where one audit has a
// folder that the other has not, because it is small, new or gone, what is skipped in it counts for
// the nearest folder around it that both have.
struct AuditChanges {
  std::vector<SkippedChange> queries;  // those that only one audit asked have nothing in the other
  std::vector<SkippedChange> rules;    // likewise; only those with a difference
  std::vector<SkippedChange> folders;  // only those with a difference
};
AuditChanges compareAudits(const SavedAudit& before, const SavedAudit& after);

}  // namespace qvlctl

#endif  // QVLCTL_DIFF_SAVED_AUDIT_H
