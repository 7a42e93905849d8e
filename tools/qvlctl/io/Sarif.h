// Findings as SARIF 2.1.0, the format in which build servers and reviews take results of checks.

#ifndef QVLCTL_IO_SARIF_H
#define QVLCTL_IO_SARIF_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "io/Json.h"

namespace qvlctl {

struct SarifPlace {
  std::string file;      // as it was named; empty: none
  std::size_t line = 0;  // 1 is the first; 0: not known
  std::size_t column = 0;
  std::string element;  // in words; may be empty
};

struct SarifResult {
  std::string name;   // of its sort, one of those added before
  std::string level;  // "error", "warning" or "note"
  std::string message;
  std::vector<SarifPlace> places;
  bool isSuppressed = false;
  std::string justification;  // why it is; empty: in no words
  std::string baselineState;  // "new" or "unchanged"; empty where there is no baseline
  std::string fingerprint;    // stays when lines move; may be empty
};

// One run of one command.
class SarifLog {
 public:
  SarifLog();

  // A sort of results. Adding one again does nothing.
  void addSort(const std::string& name, const std::string& description);

  // Its sort has been added.
  void add(const SarifResult& result);

  Json json() const;

 private:
  Json m_driver;
  Json m_results = Json::array();
};

// The name of a file as the URI reference of RFC 3986 that it is in SARIF.
std::string uriOf(std::string_view file);

}  // namespace qvlctl

#endif  // QVLCTL_IO_SARIF_H
