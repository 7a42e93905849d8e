// The query front: data sets by number, combined by a boolean expression.

#ifndef QVL_LOOKUP_LOOKUP_MANAGER_H
#define QVL_LOOKUP_LOOKUP_MANAGER_H

#include <memory>
#include <string>

#include "qvl/core/Export.h"
#include "qvl/core/ILookupManager.h"

namespace QVL {

namespace BusinessLogic {
class Postfix;
}

// Keeps data sets under numbers and answers, for one request at a time, whether the business logic,
// a boolean expression over those numbers such as (1|2)&!3, is true.
//
// Life cycle: construct, assign data sets, define the logic, query any number of times. Data sets
// may be replaced and the logic redefined at any later time.
//
// Invariant: between evaluations the memo of data-set answers is empty, so one query asks a data
// set at most once and the next query asks it afresh.
//
// Thread safety: assignDataSet, defineBusinessLogic and isPresent may be called from any thread at
// any time. Queries run at the same time, as long as all registered data sets and their rules are
// of the library's own classes and the trace file takes no level 5; otherwise one after the other.
// assignDataSet and defineBusinessLogic wait for the queries that run, and come before or after
// each of them. parseLogic reads its argument only. executeLogic, doLookup and lookupInDataSet take
// no lock: they are the steps of isPresent, and a host that calls them directly keeps other threads
// away from the manager. No lock is recursive: nothing that runs inside a query may call back into
// the same manager.
class QVL_EXPORT LookupManager : public ILookupManager {
 public:
  LookupManager();
  ~LookupManager() override;

  LookupManager(const LookupManager&) = delete;
  LookupManager& operator=(const LookupManager&) = delete;

  // Registers a data set, of which the manager becomes a co-owner. With `replace` zero: true when
  // the number was free, else false and nothing changes. With `replace` non-zero the data set takes
  // the number in any case and the result is always false. A null data set may be registered; it
  // answers false.
  bool assignDataSet(std::shared_ptr<IDataSet> dataSet, unsigned int number,
                     unsigned char replace) override;

  // True when the logic is true for the request: the access is excluded from scanning. The numbers
  // of the data sets that were asked and matched are appended to the request. A number without a
  // data set and a data set that throws count as false; so does, untouched, a request that is not a
  // LookupData. Throws QVLException "Business logic can't be empty." when none is defined, and
  // "Business logic length is wrong." when the logic cannot be evaluated.
  bool isPresent(ILookupData& request) override;

  // Replaces the logic by parseLogic(infix). Throws what parseLogic throws; the logic in force
  // stays then.
  void defineBusinessLogic(std::string infix) override;

  // The postfix form of an infix expression: operands and operators in the order of evaluation,
  // each followed by one blank. Operands are decimal numbers; `!` binds tightest; `&` and `|` bind
  // alike and group from the left; blanks and tabs separate; at most 2048 characters. An expression
  // without operands gives the empty text. Throws QVLException when the length is wrong, when
  // there is a letter anywhere, and otherwise at the first foreign character, unmatched `)` or
  // number above 4294967295.
  std::string parseLogic(std::string infix) override;

  // Evaluates a postfix expression for a request, asking only the data sets whose answers are
  // needed, and empties the memo. Throws QVLException "Business logic length is wrong." for a text
  // that is empty, longer than 2048 characters or short of operands.
  bool executeLogic(std::string postfix, ILookupData& request);

  // The answer of one data set, from the memo when it was asked before in this evaluation.
  bool doLookup(unsigned int number, ILookupData& request);

  // Asks one data set and notes a match in the request. False for an unknown number, for a null
  // data set and for anything thrown.
  bool lookupInDataSet(unsigned int& number, ILookupData& request);

 private:
  bool evaluate(const BusinessLogic::Postfix& logic, ILookupData& request);

  struct State;  // registry, lock, logic and memo
  std::unique_ptr<State> m_state;
};

}  // namespace QVL

#endif  // QVL_LOOKUP_LOOKUP_MANAGER_H
