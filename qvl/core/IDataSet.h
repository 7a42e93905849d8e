// The interface of a data set: a collection of rules that is asked as one.

#ifndef QVL_CORE_I_DATA_SET_H
#define QVL_CORE_I_DATA_SET_H

#include <memory>
#include <set>
#include <string>

#include "qvl/core/AccessTypes.h"
#include "qvl/core/Export.h"
#include "qvl/core/IAvoidance.h"
#include "qvl/core/LookupData.h"

namespace QVL {

// A collection of rules of one kind with switches that decide a request before or instead of the
// rules. Host and lookup manager share ownership of a data set; the data set alone owns its rules.
//
// Thread safety: addToDataSet, removeFromDataSet and isPresentInDataSet may be called from any
// thread at any time. The other operations take no lock: the host configures a data set before it
// is queried, or keeps queries away while it changes one.
class QVL_EXPORT IDataSet {
 public:
  virtual ~IDataSet();

  // Switched off, a data set is never present.
  virtual void enableDataSet() = 0;
  virtual void disableDataSet() = 0;

  // Every request is present, without asking a rule.
  virtual void enableMatchAnything() = 0;
  virtual void disableMatchAnything() = 0;

  // A request whose input (path, process name or extension) is empty is present.
  virtual void enableMatchEmptyInput() = 0;
  virtual void disableMatchEmptyInput() = 0;

  // Off: access types play no part in the decision.
  virtual void enableCheckingOfAccessType() = 0;
  virtual void disableCheckingOfAccessType() = 0;

  // Non-zero: the request's access type is compared once, with `accessType`, ahead of everything
  // else; zero: each rule compares its own. Both arguments are stored, whatever their values.
  virtual void checkAccessTypeAtDataSetLevelOnly(unsigned char enable, AccessTypes accessType) = 0;

  // Set the data set's own setting and push it into every rule, each of which is recompiled. A rule
  // whose new expression cannot be built keeps the one it had.
  virtual void enableCaseSensitiveSearch() = 0;
  virtual void disableCaseSensitiveSearch() = 0;
  virtual void enableWildCardSearch() = 0;
  virtual void disableWildCardSearch() = 0;

  // Defines a keyword for every rule, those added later included. False, changing nothing, for an
  // empty keyword or an empty set of values, and always where the kind has no keywords.
  virtual bool addOrUpdateKeyword(std::string keyword, std::set<std::string> values) = 0;

  // Removes a keyword from every rule. False when the data set does not have it.
  virtual bool deleteKeyword(std::string keyword) = 0;

  // Takes ownership of a rule, gives it the data set's keywords and settings and recompiles it.
  // False when a rule with the same key is already held: the new one is destroyed then, the old one
  // stays. What the rule throws passes through; the data set is as it was then.
  virtual bool addToDataSet(std::unique_ptr<IAvoidance> rule) = 0;

  // Destroys the held rule whose key equals that of `rule`, which may be the held rule itself.
  // False when there is none.
  virtual bool removeFromDataSet(IAvoidance& rule) = 0;

  // Does the request match this data set? False for a request that is not a LookupData. What a rule
  // throws passes through.
  virtual bool isPresentInDataSet(ILookupData& request) = 0;

 protected:
  IDataSet() = default;
  IDataSet(const IDataSet&) = default;
  IDataSet& operator=(const IDataSet&) = default;
};

}  // namespace QVL

#endif  // QVL_CORE_I_DATA_SET_H
