// The interface of one exclusion rule.

#ifndef QVL_CORE_I_AVOIDANCE_H
#define QVL_CORE_I_AVOIDANCE_H

#include <set>
#include <string>

#include "qvl/core/Export.h"
#include "qvl/core/LookupData.h"

namespace QVL {

// One exclusion rule. A data set owns its rules, pushes its settings into them and asks them; any
// implementation may sit in any data set, a host's own included.
//
// Settings (case, wildcards, keywords) are stored only; they take effect at the next updateRegex.
//
// Thread safety: a rule holds no lock. Its data set asks a rule of a host's own class from one
// thread at a time, and one of the library's from several at once; the host must not change or
// recompile a rule while a lookup may be asking it.
class QVL_EXPORT IAvoidance {
 public:
  virtual ~IAvoidance();

  // Rebuilds the compiled expression from the rule text and the settings. False when it cannot be
  // built; the previous expression then stays in force.
  virtual bool updateRegex() = 0;

  // Does the request match this rule, whatever its access type? False for a request that is not a
  // LookupData.
  virtual bool canAvoid(ILookupData& request) = 0;

  // canAvoid, and the rule's access type fits the request's. The flag is read by the file type rule
  // alone: there it lets a path without an extension pass the extension test.
  virtual bool canAvoidWithAccessType(ILookupData& request, bool flag) = 0;

  // The rule text, by which a data set keeps the rule.
  virtual std::string getKey() const = 0;

  // Whether case matters, and whether wildcards are translated or the text is a regular expression.
  virtual void enableCaseSensitiveSearch() = 0;
  virtual void disableCaseSensitiveSearch() = 0;
  virtual void setCaseSensitiveSearch(unsigned char caseSensitive) = 0;
  virtual void enableWildCardSearch() = 0;
  virtual void disableWildCardSearch() = 0;
  virtual void setWildCardSearch(unsigned char wildCards) = 0;

  // Defines or replaces a keyword: every occurrence of `keyword` in the translated rule text stands
  // for any one of `values`, which are regular expression text. False, changing nothing, when the
  // keyword or the set of values is empty or the rule kind has no keywords.
  virtual bool addOrUpdateKeyword(std::string keyword, std::set<std::string> values) = 0;

  // Removes a keyword. False when the rule does not have it.
  virtual bool deleteKeyword(std::string keyword) = 0;

 protected:
  IAvoidance() = default;
  IAvoidance(const IAvoidance&) = default;
  IAvoidance& operator=(const IAvoidance&) = default;
};

}  // namespace QVL

#endif  // QVL_CORE_I_AVOIDANCE_H
