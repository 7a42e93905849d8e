// What differs from one class of data sets to the other. Private to the library.

#ifndef QVL_DATASET_DATA_SET_KIND_H
#define QVL_DATASET_DATA_SET_KIND_H

#include <string>

#include "qvl/core/LookupData.h"

namespace QVL {

// Where the access type of a request is compared.
enum class AccessCheck { None, ByEachRule, AtDataSetLevel };

// A row for each class, which lives as long as its data sets. It holds functions where virtual
// operations would do: a host's class with a member of the same name would override those without
// knowing.
struct DataSetKind {
  const char* className;  // in the trace
  // True when the first of two keys comes before the second.
  bool (*keyOrder)(const std::string& a, const std::string& b);
  AccessCheck accessCheck;   // until the host sets another
  bool caseSensitiveSearch;  // likewise
  bool wildCardSearch;       // likewise
  // Is the part of a request that the rules read empty?
  bool (*inputIsEmpty)(LookupData& request);
  // While empty input is matched: does the first rule in key order answer for it? It is present if
  // not.
  bool firstRuleAnswersEmptyInput = false;
  // Told when a data set is about to decide, and when a rule has matched; null: nobody is.
  void (*deciding)(AccessCheck check) = nullptr;
  void (*ruleMatched)(AccessCheck check) = nullptr;
};

// The order of all kinds but file types: by unsigned bytes.
inline bool byteOrder(const std::string& a, const std::string& b) {
  return a < b;
}

inline bool filePathIsEmpty(LookupData& request) {
  return request.m_filePath.empty();
}

}  // namespace QVL

#endif  // QVL_DATASET_DATA_SET_KIND_H
