// The interface of the query front.

#ifndef QVL_CORE_I_LOOKUP_MANAGER_H
#define QVL_CORE_I_LOOKUP_MANAGER_H

#include <memory>
#include <string>

#include "qvl/core/Export.h"
#include "qvl/core/IDataSet.h"
#include "qvl/core/LookupData.h"

namespace QVL {

// Combines data sets by a boolean expression over their numbers and answers whether an access is
// excluded from scanning. See LookupManager for the one implementation.
class QVL_EXPORT ILookupManager {
 public:
  virtual ~ILookupManager();

  // Registers a data set under a number.
  virtual bool assignDataSet(std::shared_ptr<IDataSet> dataSet, unsigned int number,
                             unsigned char replace) = 0;

  // True when the access is excluded from scanning.
  virtual bool isPresent(ILookupData& request) = 0;

  // Sets the expression over data-set numbers.
  virtual void defineBusinessLogic(std::string infix) = 0;

  // Turns an infix expression into the stored postfix form.
  virtual std::string parseLogic(std::string infix) = 0;

 protected:
  ILookupManager() = default;
  ILookupManager(const ILookupManager&) = default;
  ILookupManager& operator=(const ILookupManager&) = default;
};

}  // namespace QVL

#endif  // QVL_CORE_I_LOOKUP_MANAGER_H
