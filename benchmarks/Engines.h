// What is compared: each engine takes the rules of a workload, which outlives it, and answers, for
// one access at a time, whether any of them matches. So many accesses of each sort as kCompared
// says are asked of all engines before they are measured, and have to get the same answers.

#ifndef QVL_BENCHMARKS_ENGINES_H
#define QVL_BENCHMARKS_ENGINES_H

#include <hs/hs.h>
#include <re2/set.h>

#include <boost/regex/icu.hpp>
#include <cstddef>
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "benchmarks/Workload.h"
#include "qvl/qvl.h"

namespace QVL {
namespace Bench {

std::unique_ptr<IAvoidance> makeRule(Kind kind, const Rule& rule);

using RulesByKey = std::map<std::string, IAvoidance*>;

// A data set with all rules in it, which are lent to `lent` when given.
std::shared_ptr<IDataSet> makeDataSet(const Workload& workload, RulesByKey* lent = nullptr);

// The product, as a host asks it: one manager, one data set.
class Product {
 public:
  static constexpr const char* kName = "Product";
  static constexpr std::size_t kCompared = Workload::kAccesses;

  explicit Product(const Workload& workload);

  bool matches(Access& access) {
    access.request.m_matchIdentifiers.clear();
    return m_manager.isPresent(access.request);
  }

  IDataSet& dataSet() { return *m_dataSet; }

 private:
  LookupManager m_manager;
  std::shared_ptr<IDataSet> m_dataSet;
};

// A stream that discards everything.
FILE* discardingStream();

// The product while it traces, into such a stream.
class TracedProduct : public Product {
 public:
  static constexpr const char* kName = "Traced";
  static constexpr std::size_t kCompared = 64;

  using Product::Product;
  bool matches(Access& access);
};

// The product's rules asked one after the other, in key order, without an index.
class Walk {
 public:
  static constexpr const char* kName = "Walk";
  static constexpr std::size_t kCompared = 1024;

  explicit Walk(const Workload& workload);
  bool matches(Access& access);

 private:
  RulesByKey m_rules;
  std::shared_ptr<IDataSet> m_owner;
};

// One compiled expression per rule, tried one after the other.
class Expressions {
 public:
  static constexpr const char* kName = "Expressions";
  static constexpr std::size_t kCompared = 64;

  explicit Expressions(const Workload& workload);
  bool matches(Access& access) const;

 private:
  std::vector<boost::u32regex> m_expressions;
};

class Re2Set {
 public:
  static constexpr const char* kName = "RE2";
  static constexpr std::size_t kCompared = Workload::kAccesses;

  explicit Re2Set(const Workload& workload);

  bool matches(std::string_view text) const {
    return m_set.Match(re2::StringPiece(text.data(), text.size()), nullptr);
  }
  bool matches(const Access& access) const { return matches(access.subject); }

 private:
  RE2::Set m_set;
};

class Vectorscan {
 public:
  static constexpr const char* kName = "Vectorscan";
  static constexpr std::size_t kCompared = Workload::kAccesses;

  explicit Vectorscan(const Workload& workload);
  bool matches(const Access& access) const;

 private:
  struct Free {
    void operator()(hs_database_t* database) const { hs_free_database(database); }
    void operator()(hs_scratch_t* scratch) const { hs_free_scratch(scratch); }
  };

  std::unique_ptr<hs_database_t, Free> m_database;
  std::unique_ptr<hs_scratch_t, Free> m_scratch;
};

// What one would write by hand for literal folder trees and nothing else: a hash set of folders,
// asked for every folder above a file.
class Floor {
 public:
  static constexpr const char* kName = "Floor";
  static constexpr std::size_t kCompared = Workload::kAccesses;

  explicit Floor(const Workload& workload);
  bool matches(const Access& access) const;

 private:
  std::unordered_set<std::string_view> m_folders;  // of the workload
};

}  // namespace Bench
}  // namespace QVL

#endif  // QVL_BENCHMARKS_ENGINES_H
