// What there is to ask about a file: which processes and kinds of access make a difference?

#ifndef QVLPOLICY_QUERIES_H
#define QVLPOLICY_QUERIES_H

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "qvl/core/AccessTypes.h"
#include "qvlpolicy/Description.h"
#include "qvlpolicy/Export.h"
#include "qvlpolicy/Policy.h"

namespace qvlpolicy {

// A process and a kind of access. Those that it stands for get the same verdict for every file.
struct Query {
  std::string process;                        // empty: none
  std::vector<std::string> alikeProcesses;    // other ones that it stands for
  QVL::AccessTypes access = QVL::ReadAccess;  // kind of access
  bool standsForOtherAccess = false;          // for every access type that no rule names
};

// What is asked where the caller narrows it; nothing: all that makes a difference.
struct QueryLimits {
  std::optional<std::vector<std::string>> processes;      // an empty name: none
  std::optional<std::vector<QVL::AccessTypes>> accesses;  // kinds of access
};

// A process rule for which no name of a process was found; all by index.
struct NamelessRule {
  std::size_t policy;   // among those asked about
  std::size_t dataSet;  // in its description
  std::size_t rule;     // in its data set
};

// A name that the process rule matches: the rule itself where it matches that, as plain names and
// those with stars do; otherwise one without backslashes, with the first value of each keyword that
// does, and with "any" for what an expression leaves open. Nothing when no such name matches, as
// for most regular expressions.
QVLPOLICY_EXPORT std::optional<std::string> processNameFor(const DataSet& dataSet,
                                                           const Rule& rule);

// All queries that some policies may answer differently, or that the caller wants, no process
// first.
//
// A verdict depends on the access type only in being one that is named or none of them, so one that
// is not named stands for all of those: the first of read, write and any. It depends on the process
// only in which process data sets match, so one process stands for all with the same answers. Asked
// are no process and, for each process rule, one name that it matches; two rules with wildcards may
// match a name that neither of theirs stands for.
class QVLPOLICY_EXPORT Queries {
 public:
  // The policies have to outlive this.
  explicit Queries(std::vector<const Policy*> policies, QueryLimits limits = {});

  // At least one, unless the limits leave none.
  const std::vector<Query>& all() const { return m_all; }

  // The same where the process, the access type or both are given; valid until the next call.
  const std::vector<Query>& with(const std::optional<std::string>& process,
                                 const std::optional<QVL::AccessTypes>& access);

  // Those that were given.
  const std::vector<const Policy*>& policies() const { return m_policies; }

  // Rules that nothing asked here can hit, unless the caller has given the processes.
  const std::vector<NamelessRule>& nameless() const { return m_nameless; }

 private:
  void collectProcesses();
  void collectAccesses();
  std::vector<Query> ofAccess(QVL::AccessTypes access,
                              const std::vector<std::string>& processes) const;

  std::vector<const Policy*> m_policies;
  std::vector<std::string> m_processes;
  std::vector<QVL::AccessTypes> m_accesses;
  std::optional<QVL::AccessTypes> m_otherAccess;  // that stands for those not named
  std::vector<NamelessRule> m_nameless;
  std::vector<Query> m_all;
  std::vector<Query> m_withProcess;
  std::map<QVL::AccessTypes, std::vector<Query>> m_withAccess;
};

}  // namespace qvlpolicy

#endif  // QVLPOLICY_QUERIES_H
