#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <set>
#include <string>
#include <type_traits>

#include "qvl/qvl.h"

namespace QVL {
namespace {

using Keywords = std::set<std::string>;

static_assert(std::is_abstract_v<IAvoidance>);
static_assert(std::is_abstract_v<IDataSet>);
static_assert(std::is_abstract_v<ILookupManager>);
static_assert(std::has_virtual_destructor_v<IAvoidance>);
static_assert(std::has_virtual_destructor_v<IDataSet>);
static_assert(std::has_virtual_destructor_v<ILookupManager>);

template <class Operation, class Signature>
constexpr bool has = std::is_same_v<Operation, Signature>;

static_assert(has<decltype(&IAvoidance::updateRegex), bool (IAvoidance::*)()>);
static_assert(has<decltype(&IAvoidance::canAvoid), bool (IAvoidance::*)(ILookupData&)>);
static_assert(
    has<decltype(&IAvoidance::canAvoidWithAccessType), bool (IAvoidance::*)(ILookupData&, bool)>);
static_assert(has<decltype(&IAvoidance::getKey), std::string (IAvoidance::*)() const>);
static_assert(has<decltype(&IAvoidance::enableCaseSensitiveSearch), void (IAvoidance::*)()>);
static_assert(has<decltype(&IAvoidance::disableCaseSensitiveSearch), void (IAvoidance::*)()>);
static_assert(
    has<decltype(&IAvoidance::setCaseSensitiveSearch), void (IAvoidance::*)(unsigned char)>);
static_assert(has<decltype(&IAvoidance::enableWildCardSearch), void (IAvoidance::*)()>);
static_assert(has<decltype(&IAvoidance::disableWildCardSearch), void (IAvoidance::*)()>);
static_assert(has<decltype(&IAvoidance::setWildCardSearch), void (IAvoidance::*)(unsigned char)>);
static_assert(
    has<decltype(&IAvoidance::addOrUpdateKeyword), bool (IAvoidance::*)(std::string, Keywords)>);
static_assert(has<decltype(&IAvoidance::deleteKeyword), bool (IAvoidance::*)(std::string)>);

static_assert(has<decltype(&IDataSet::enableDataSet), void (IDataSet::*)()>);
static_assert(has<decltype(&IDataSet::disableDataSet), void (IDataSet::*)()>);
static_assert(has<decltype(&IDataSet::enableMatchAnything), void (IDataSet::*)()>);
static_assert(has<decltype(&IDataSet::disableMatchAnything), void (IDataSet::*)()>);
static_assert(has<decltype(&IDataSet::enableMatchEmptyInput), void (IDataSet::*)()>);
static_assert(has<decltype(&IDataSet::disableMatchEmptyInput), void (IDataSet::*)()>);
static_assert(has<decltype(&IDataSet::enableCheckingOfAccessType), void (IDataSet::*)()>);
static_assert(has<decltype(&IDataSet::disableCheckingOfAccessType), void (IDataSet::*)()>);
static_assert(has<decltype(&IDataSet::checkAccessTypeAtDataSetLevelOnly),
                  void (IDataSet::*)(unsigned char, AccessTypes)>);
static_assert(has<decltype(&IDataSet::enableCaseSensitiveSearch), void (IDataSet::*)()>);
static_assert(has<decltype(&IDataSet::disableCaseSensitiveSearch), void (IDataSet::*)()>);
static_assert(has<decltype(&IDataSet::enableWildCardSearch), void (IDataSet::*)()>);
static_assert(has<decltype(&IDataSet::disableWildCardSearch), void (IDataSet::*)()>);
static_assert(
    has<decltype(&IDataSet::addOrUpdateKeyword), bool (IDataSet::*)(std::string, Keywords)>);
static_assert(has<decltype(&IDataSet::deleteKeyword), bool (IDataSet::*)(std::string)>);
static_assert(
    has<decltype(&IDataSet::addToDataSet), bool (IDataSet::*)(std::unique_ptr<IAvoidance>)>);
static_assert(has<decltype(&IDataSet::removeFromDataSet), bool (IDataSet::*)(IAvoidance&)>);
static_assert(has<decltype(&IDataSet::isPresentInDataSet), bool (IDataSet::*)(ILookupData&)>);

static_assert(
    has<decltype(&ILookupManager::assignDataSet),
        bool (ILookupManager::*)(std::shared_ptr<IDataSet>, unsigned int, unsigned char)>);
static_assert(has<decltype(&ILookupManager::isPresent), bool (ILookupManager::*)(ILookupData&)>);
static_assert(
    has<decltype(&ILookupManager::defineBusinessLogic), void (ILookupManager::*)(std::string)>);
static_assert(
    has<decltype(&ILookupManager::parseLogic), std::string (ILookupManager::*)(std::string)>);

#if defined(__x86_64__) && !defined(_MSC_VER)

// A pointer to a virtual operation holds, on this platform, one more than the operation's offset in
// the table of its class.
template <class Operation>
std::size_t slotOf(Operation operation) {
  std::uintptr_t representation = 0;
  std::memcpy(&representation, &operation, sizeof representation);
  return (representation - 1) / sizeof(void*);
}

template <class... Operations>
void expectConsecutiveSlots(Operations... operations) {
  std::size_t expected = 2;  // the virtual destructor comes first and takes two
  for (const std::size_t slot : {slotOf(operations)...}) EXPECT_EQ(slot, expected++);
}

TEST(Interfaces, RuleKeepsItsOperationsInSlotOrder) {
  using I = IAvoidance;
  expectConsecutiveSlots(&I::updateRegex, &I::canAvoid, &I::canAvoidWithAccessType, &I::getKey,
                         &I::enableCaseSensitiveSearch, &I::disableCaseSensitiveSearch,
                         &I::setCaseSensitiveSearch, &I::enableWildCardSearch,
                         &I::disableWildCardSearch, &I::setWildCardSearch, &I::addOrUpdateKeyword,
                         &I::deleteKeyword);
}

TEST(Interfaces, DataSetKeepsItsOperationsInSlotOrder) {
  using I = IDataSet;
  expectConsecutiveSlots(
      &I::enableDataSet, &I::disableDataSet, &I::enableMatchAnything, &I::disableMatchAnything,
      &I::enableMatchEmptyInput, &I::disableMatchEmptyInput, &I::enableCheckingOfAccessType,
      &I::disableCheckingOfAccessType, &I::checkAccessTypeAtDataSetLevelOnly,
      &I::enableCaseSensitiveSearch, &I::disableCaseSensitiveSearch, &I::enableWildCardSearch,
      &I::disableWildCardSearch, &I::addOrUpdateKeyword, &I::deleteKeyword, &I::addToDataSet,
      &I::removeFromDataSet, &I::isPresentInDataSet);
}

TEST(Interfaces, LookupManagerKeepsItsOperationsInSlotOrder) {
  using I = ILookupManager;
  expectConsecutiveSlots(&I::assignDataSet, &I::isPresent, &I::defineBusinessLogic, &I::parseLogic);
}

#endif

// A request of a type of the host's own, which has what a LookupData has and is none.
struct ForeignRequest : ILookupData {
  std::string m_filePath = "/data/a.log";
  std::string m_processName = "/bin/cp";
  std::vector<unsigned int> m_matchIdentifiers;
  AccessTypes m_accessType = AnyAccess;
};

void expectUntouched(const ForeignRequest& request) {
  EXPECT_EQ(request.m_filePath, "/data/a.log");
  EXPECT_EQ(request.m_processName, "/bin/cp");
  EXPECT_TRUE(request.m_matchIdentifiers.empty());
  EXPECT_EQ(request.m_accessType, AnyAccess);
}

TEST(ForeignRequest, MatchesNoRuleAndIsLeftUntouched) {
  FilePathAvoidance path(std::string("**"), AnyAccess);
  FolderAvoidance folder(std::string("/**/"), AnyAccess, 1);
  ProcessAvoidance process(std::string("**"), AnyAccess, 0, "");
  FileTypeAvoidance type(std::string("log"), AnyAccess);
  FileAgeAvoidance age(std::string("1   0"), AnyAccess);
  for (IAvoidance* rule : {static_cast<IAvoidance*>(&path), static_cast<IAvoidance*>(&folder),
                           static_cast<IAvoidance*>(&process), static_cast<IAvoidance*>(&type),
                           static_cast<IAvoidance*>(&age)}) {
    SCOPED_TRACE(rule->getKey());
    ForeignRequest request;
    EXPECT_NO_THROW(EXPECT_FALSE(rule->canAvoid(request)));
    EXPECT_NO_THROW(EXPECT_FALSE(rule->canAvoidWithAccessType(request, false)));
    EXPECT_NO_THROW(EXPECT_FALSE(rule->canAvoidWithAccessType(request, true)));
    expectUntouched(request);
  }
}

template <class Set>
class ForeignRequestInDataSet : public testing::Test {};
using DataSets =
    testing::Types<FilePathDataSet, FolderDataSet, ProcessDataSet, FileTypeDataSet, FileAgeDataSet>;
TYPED_TEST_SUITE(ForeignRequestInDataSet, DataSets);

TYPED_TEST(ForeignRequestInDataSet, IsNotPresentThoughAnythingMatches) {
  TypeParam dataSet;
  dataSet.disableCheckingOfAccessType();
  dataSet.enableMatchAnything();
  dataSet.enableMatchEmptyInput();
  ForeignRequest request;
  EXPECT_NO_THROW(EXPECT_FALSE(dataSet.isPresentInDataSet(request)));
  expectUntouched(request);

  LookupData ordinary;
  EXPECT_TRUE(dataSet.isPresentInDataSet(ordinary));
}

TEST(ForeignRequest, IsNotPresentInALookupManager) {
  auto everything = std::make_shared<FilePathDataSet>();
  everything->disableCheckingOfAccessType();
  everything->enableMatchAnything();
  LookupManager manager;
  ASSERT_TRUE(manager.assignDataSet(everything, 1, 0));
  manager.defineBusinessLogic("1");
  ForeignRequest request;
  EXPECT_NO_THROW(EXPECT_FALSE(manager.isPresent(request)));
  expectUntouched(request);

  LookupData ordinary;
  EXPECT_TRUE(manager.isPresent(ordinary));
}

TEST(ForeignRequest, IsNotPresentWhereNoLogicIsDefinedEither) {
  LookupManager manager;
  ForeignRequest request;
  EXPECT_NO_THROW(EXPECT_FALSE(manager.isPresent(request)));
}

// A record that a host derived from LookupData answers as its base does.
TEST(DerivedRequest, MatchesLikeALookupData) {
  struct HostRequest : LookupData {
    int hostField = 42;
  };
  auto everything = std::make_shared<FilePathDataSet>();
  everything->enableMatchAnything();
  LookupManager manager;
  ASSERT_TRUE(manager.assignDataSet(everything, 8, 0));
  manager.defineBusinessLogic("8");
  HostRequest request;
  EXPECT_TRUE(manager.isPresent(request));
  EXPECT_THAT(request.m_matchIdentifiers, testing::ElementsAre(8U));
  EXPECT_EQ(request.hostField, 42);
}

// Every access type is legal on a request, a rule and a data set, up to both ends of 32 bits.
TEST(Interfaces, AcceptEveryAccessType) {
  for (const std::uint32_t value : {std::uint32_t{0}, std::uint32_t{4}, std::uint32_t{0x80000000},
                                    std::numeric_limits<std::uint32_t>::max()}) {
    const AccessTypes accessType = static_cast<AccessTypes>(value);
    FilePathDataSet dataSet;
    ASSERT_TRUE(dataSet.addToDataSet(
        std::make_unique<FilePathAvoidance>(std::string("/data/a.log"), accessType)));
    LookupData request;
    request.m_filePath = "/data/a.log";
    request.m_accessType = accessType;
    EXPECT_TRUE(dataSet.isPresentInDataSet(request)) << value;
    request.m_accessType = static_cast<AccessTypes>(value + 1);
    EXPECT_FALSE(dataSet.isPresentInDataSet(request)) << value;
  }
}

}  // namespace
}  // namespace QVL
