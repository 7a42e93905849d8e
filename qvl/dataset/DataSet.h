// What all data sets of the library have in common.

#ifndef QVL_DATASET_DATA_SET_H
#define QVL_DATASET_DATA_SET_H

#include <memory>
#include <set>
#include <string>

#include "qvl/core/AccessTypes.h"
#include "qvl/core/Export.h"
#include "qvl/core/IDataSet.h"

namespace QVL {

struct DataSetKind;

// Rules by key, switches, keywords and the order of decision. The five classes differ in their
// defaults, in what an empty input is and, for file types, in their key order. What is virtual is
// what IDataSet lists, and nothing else.
//
// A request is decided in this order, the first that applies:
//   1. switched off, or not a LookupData: not present
//   2. access type checked at data-set level and not fitting: not present
//   3. match anything: present
//   4. match empty input, and the input is empty: present; file types ask their first rule
//   5. present when any rule, in key order, matches; access types are compared by the rules only
//      when they are checked, and not at data-set level
//
// Thread safety: as IDataSet. addToDataSet and removeFromDataSet wait for the queries that run, and
// come before or after each of them. Queries run at the same time, as long as all rules are of the
// library's own classes and the trace file takes no level 5; otherwise one after the other. So a
// rule of a host's own is entered by one thread at a time.
class QVL_EXPORT DataSet : public IDataSet {
 public:
  ~DataSet() override;
  DataSet(const DataSet&) = delete;
  DataSet& operator=(const DataSet&) = delete;

  void enableDataSet() override;
  void disableDataSet() override;
  void enableMatchAnything() override;
  void disableMatchAnything() override;
  void enableMatchEmptyInput() override;
  void disableMatchEmptyInput() override;
  void enableCheckingOfAccessType() override;
  void disableCheckingOfAccessType() override;
  void checkAccessTypeAtDataSetLevelOnly(unsigned char enable, AccessTypes accessType) override;

  void enableCaseSensitiveSearch() override;
  void disableCaseSensitiveSearch() override;
  void enableWildCardSearch() override;
  void disableWildCardSearch() override;

  bool addOrUpdateKeyword(std::string keyword, std::set<std::string> values) override;
  bool deleteKeyword(std::string keyword) override;
  // The key is the text alone: a rule whose text is held already, with whatever access type or
  // other argument, is refused and destroyed.
  bool addToDataSet(std::unique_ptr<IAvoidance> rule) override;
  bool removeFromDataSet(IAvoidance& rule) override;
  bool isPresentInDataSet(ILookupData& request) override;

  // Is the part of the request that the rules read empty?
  bool isEmptyInput(LookupData* request);

 protected:
  // For the data sets of the library, which trace their construction last; `kind` outlives the data
  // set.
  QVL_HIDDEN explicit DataSet(const DataSetKind& kind);

  // Writes the trace line "<class>::<operation>\n".
  void trace(const char* operation) const;

 private:
  // Changes a setting of every rule, in key order, and has each recompile.
  template <typename Change>
  void changeEveryRule(Change change);

  // Changes the keywords of the data set by `change(table)` and those of every rule, a rule of a
  // host's own by `tell(rule)`.
  template <typename Change, typename Tell>
  void changeKeywords(const char* operation, Change change, Tell tell);

  friend class DataSetView;
  struct State;  // rules, locks, switches, settings and keywords
  std::unique_ptr<State> m_state;
};

}  // namespace QVL

#endif  // QVL_DATASET_DATA_SET_H
