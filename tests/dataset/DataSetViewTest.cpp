// What the library's managers and tests know of a data set beyond its interface.

#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <new>
#include <string>

#include "qvl/dataset/DataSetView.h"
#include "qvl/qvl.h"
#include "tests/support/PlainWalk.h"
#include "tests/support/Requests.h"
#include "tests/support/ScriptedRule.h"
#include "tests/support/Starvation.h"

namespace QVL {
namespace Test {
namespace {

// A class that is derived from one of ours may do as it likes, so it is not looked into.
TEST(DataSetView, IsOfTheLibrarysOwnClassesOnly) {
  FilePathDataSet paths;
  FolderDataSet folders;
  ProcessDataSet processes;
  FileTypeDataSet types;
  FileAgeDataSet ages;
  EXPECT_EQ(DataSetView::of(paths), &paths);
  EXPECT_EQ(DataSetView::of(folders), &folders);
  EXPECT_EQ(DataSetView::of(processes), &processes);
  EXPECT_EQ(DataSetView::of(types), &types);
  EXPECT_EQ(DataSetView::of(ages), &ages);

  class HostsPaths : public FilePathDataSet {
  } hostsPaths;
  class HostsAges : public FileAgeDataSet {
  } hostsAges;
  EXPECT_EQ(DataSetView::of(hostsPaths), nullptr);
  EXPECT_EQ(DataSetView::of(hostsAges), nullptr);
}

// Were one forgotten, queries would run side by side in a host's code.
TEST(ForeignRules, AreThereUntilTheLastIsRemoved) {
  Journal calls;
  FilePathDataSet dataSet;
  ScriptedRule one("1", calls);
  ScriptedRule two("2", calls);
  FilePathAvoidance ours("/a", AnyAccess);
  EXPECT_FALSE(DataSetView::hasForeignRules(dataSet));
  dataSet.addToDataSet(std::make_unique<FilePathAvoidance>("/a", AnyAccess));
  EXPECT_FALSE(DataSetView::hasForeignRules(dataSet));
  dataSet.addToDataSet(std::make_unique<ScriptedRule>("1", calls));
  dataSet.addToDataSet(std::make_unique<ScriptedRule>("2", calls));
  dataSet.addToDataSet(std::make_unique<ScriptedRule>("2", calls));  // a duplicate does not count
  ASSERT_TRUE(dataSet.removeFromDataSet(ours));
  EXPECT_TRUE(DataSetView::hasForeignRules(dataSet));
  ASSERT_TRUE(dataSet.removeFromDataSet(two));
  EXPECT_TRUE(DataSetView::hasForeignRules(dataSet));
  ASSERT_TRUE(dataSet.removeFromDataSet(one));
  EXPECT_FALSE(DataSetView::hasForeignRules(dataSet));
}

// Held apart by what they allocate: a rule that is asked by itself folds the path for itself, and
// the index uses again what the query before it needed.
TEST(PlainWalk, AsksOneRuleAfterTheOtherAndTheIndexDoesNot) {
  FilePathDataSet dataSet;
  dataSet.disableCaseSensitiveSearch();
  for (int i = 0; i < 50; ++i) {
    const std::string text = "/folder/" + std::to_string(i) + "/*";
    ASSERT_TRUE(dataSet.addToDataSet(std::make_unique<FilePathAvoidance>(text, AnyAccess)));
  }
  const auto allocatesMoreThan = [&](std::size_t spared) {
    LookupData request = fileRequest("/FOLDER/of/another/name/a.log");
    dataSet.isPresentInDataSet(request);
    const Starvation starvation(spared, Hunger::OneRefusal, Whose::OperatorNew);
    try {
      dataSet.isPresentInDataSet(request);
    } catch (const std::bad_alloc&) {
    }
    return starvation.struck();
  };
  EXPECT_FALSE(allocatesMoreThan(0));
  {
    const PlainWalk walk;
    EXPECT_TRUE(allocatesMoreThan(4));
  }
  EXPECT_FALSE(allocatesMoreThan(0));
}

}  // namespace
}  // namespace Test
}  // namespace QVL
