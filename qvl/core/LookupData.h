// The request record: one file access about which the host asks.

#ifndef QVL_CORE_LOOKUP_DATA_H
#define QVL_CORE_LOOKUP_DATA_H

#include <string>
#include <vector>

#include "qvl/core/AccessTypes.h"
#include "qvl/core/Export.h"

namespace QVL {

// Base of every request, abstract: there is nothing to define but a destructor. The library answers
// only requests that are a LookupData; a request of any other type is never an error, it just never
// matches and is left untouched.
class QVL_EXPORT ILookupData {
 public:
  ILookupData() = default;
  ILookupData(const ILookupData&) = default;
  ILookupData& operator=(const ILookupData&) = default;
  virtual ~ILookupData() = 0;
};

// One file access. The host owns the record, fills it in and lends it to the library for the
// duration of one call.
//
// Thread safety: none; a record belongs to the one thread whose query it is.
class QVL_EXPORT LookupData : public ILookupData {
 public:
  LookupData() = default;
  LookupData(const LookupData&) = default;
  LookupData& operator=(const LookupData&) = default;
  ~LookupData() override;

  // Appends the number of a data set that matched. Numbers are kept in the order in which they
  // come, duplicates included. Throws std::bad_alloc when the list cannot grow.
  void setMatchIndentifier(unsigned int number);

  std::string m_filePath;     // full path of the file being accessed, UTF-8
  std::string m_processName;  // name or path of the accessing process, UTF-8
  // Numbers of the data sets that matched this request, in the order in which they matched. The
  // library only ever appends; a host that reuses a record clears the list itself.
  std::vector<unsigned int> m_matchIdentifiers;
  AccessTypes m_accessType = AccessTypes();  // kind of access being made
};

}  // namespace QVL

#endif  // QVL_CORE_LOOKUP_DATA_H
