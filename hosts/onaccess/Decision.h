// The decision about one open.
//
//   1. The host itself opens, or the scanner: allow.
//   2. The file is not a regular one: allow.
//   3. Somebody may be writing the file: what is remembered of it is forgotten.
//   4. The name of the file, and of the program if the policy reads programs, is taken from the
//      kernel. It counts only when it leads, for this process and now, to the very file and
//      program: a name in somebody's own mount namespace, or of a deleted file, does not. Without
//      such names: 6.
//   5. The policy excludes the access, which is a read as far as the kernel tells: allow.
//   6. Nobody may be writing the file, and it was found clean before and has not changed, nor
//   lately:
//      allow.
//   7. A process that runs the scanner's program as the scanner's user, which starts: allow.
//   8. Scan.

#ifndef QVL_ONACCESS_DECISION_H
#define QVL_ONACCESS_DECISION_H

#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Exclusions.h"
#include "Kernel.h"
#include "Outcome.h"
#include "ScannerProcess.h"
#include "VerdictCache.h"

namespace onaccess {

// Why a name does not count.
enum class NameTrouble {
  None,
  NoPath,         // the file has no name, or one that is too long
  PathElsewhere,  // its name leads to another file or nowhere
  NoProgram,      // the process is lost
  ProgramElsewhere
};

inline constexpr std::size_t kNameTroubles = 5;

// As it stands in metrics and log lines.
const char* nameOf(NameTrouble trouble);

// What the decision found out on its way; texts and numbers are those of the last one.
struct Facts {
  std::optional<FileStatus> status;
  NameTrouble trouble = NameTrouble::None;
  std::string path;     // empty when it was not asked or is unknown
  std::string program;  // likewise
  std::vector<unsigned int> dataSets;
  // Whether a clean verdict may be remembered, by which database and with which ticket.
  bool mayRemember = false;
  std::uint64_t database = 0;
  VerdictCache::Ticket ticket = 0;
};

// Thread safety: as many threads as have facts of their own may decide at once.
class Decision {
 public:
  Decision(Kernel& kernel, Exclusions& exclusions, VerdictCache& cache, ScannerProcess& scanner,
           pid_t self)
      : m_kernel(kernel),
        m_exclusions(exclusions),
        m_cache(cache),
        m_scanner(scanner),
        m_self(self) {}

  // The outcome, or nothing: scan. Replaces the facts.
  std::optional<Outcome> decide(const Event& event, Facts& facts);

  // Clean verdicts are those of this database from now on; any number that is another one than
  // before.
  void setDatabase(std::uint64_t database) { m_database = database; }
  std::uint64_t database() const { return m_database; }

 private:
  bool isExcluded(const Event& event, Facts& facts);
  NameTrouble findNames(const Event& event, Facts& facts);

  Kernel& m_kernel;
  Exclusions& m_exclusions;
  VerdictCache& m_cache;
  ScannerProcess& m_scanner;
  const pid_t m_self;
  std::atomic<std::uint64_t> m_database{0};
};

}  // namespace onaccess

#endif  // QVL_ONACCESS_DECISION_H
