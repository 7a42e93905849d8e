#include "qvl/core/LookupData.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <new>
#include <type_traits>

namespace QVL {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

static_assert(std::is_base_of_v<ILookupData, LookupData>);
static_assert(std::has_virtual_destructor_v<ILookupData>);
static_assert(std::is_polymorphic_v<ILookupData>);
static_assert(std::is_default_constructible_v<LookupData>);
static_assert(std::is_copy_constructible_v<LookupData>);
static_assert(std::is_copy_assignable_v<LookupData>);
static_assert(std::is_same_v<decltype(LookupData::m_filePath), std::string>);
static_assert(std::is_same_v<decltype(LookupData::m_processName), std::string>);
static_assert(std::is_same_v<decltype(LookupData::m_matchIdentifiers), std::vector<unsigned int>>);
static_assert(std::is_same_v<decltype(LookupData::m_accessType), AccessTypes>);
static_assert(
    std::is_same_v<decltype(&LookupData::setMatchIndentifier), void (LookupData::*)(unsigned int)>);

TEST(LookupData, StartsEmptyWithAccessTypeZeroWhateverTheMemoryHeld) {
  alignas(LookupData) unsigned char memory[sizeof(LookupData)];
  for (unsigned char& byte : memory) byte = 0xA5;
  LookupData* request = new (memory) LookupData;
  EXPECT_EQ(request->m_filePath, "");
  EXPECT_EQ(request->m_processName, "");
  EXPECT_THAT(request->m_matchIdentifiers, IsEmpty());
  EXPECT_EQ(static_cast<std::uint32_t>(request->m_accessType), 0U);
  request->~LookupData();
}

TEST(LookupData, DeclaresItsFieldsInOrder) {
  const LookupData request;
  const void* fields[] = {&request.m_filePath, &request.m_processName, &request.m_matchIdentifiers,
                          &request.m_accessType};
  EXPECT_LT(fields[0], fields[1]);
  EXPECT_LT(fields[1], fields[2]);
  EXPECT_LT(fields[2], fields[3]);
}

TEST(LookupData, AppendsMatchIdentifiersInTheOrderInWhichTheyCome) {
  LookupData request;
  request.setMatchIndentifier(9);
  request.setMatchIndentifier(0);
  request.setMatchIndentifier(std::numeric_limits<unsigned int>::max());
  EXPECT_THAT(request.m_matchIdentifiers, ElementsAre(9U, 0U, 4294967295U));
}

TEST(LookupData, KeepsDuplicateMatchIdentifiers) {
  LookupData request;
  request.setMatchIndentifier(5);
  request.setMatchIndentifier(5);
  EXPECT_THAT(request.m_matchIdentifiers, ElementsAre(5U, 5U));
}

TEST(LookupData, LeavesItsOtherFieldsAloneWhenAnIdentifierIsAdded) {
  LookupData request;
  request.m_filePath = "/a";
  request.m_processName = "p";
  request.m_accessType = WriteAccess;
  request.setMatchIndentifier(1);
  EXPECT_EQ(request.m_filePath, "/a");
  EXPECT_EQ(request.m_processName, "p");
  EXPECT_EQ(request.m_accessType, WriteAccess);
}

TEST(LookupData, IsCopiedIndependently) {
  LookupData original;
  original.m_filePath = "/a";
  original.m_processName = "p";
  original.m_accessType = ReadAccess;
  original.setMatchIndentifier(1);

  LookupData copy(original);
  copy.setMatchIndentifier(2);
  EXPECT_EQ(copy.m_filePath, "/a");
  EXPECT_EQ(copy.m_processName, "p");
  EXPECT_EQ(copy.m_accessType, ReadAccess);
  EXPECT_THAT(copy.m_matchIdentifiers, ElementsAre(1U, 2U));
  EXPECT_THAT(original.m_matchIdentifiers, ElementsAre(1U));

  LookupData assigned;
  assigned = copy;
  EXPECT_THAT(assigned.m_matchIdentifiers, ElementsAre(1U, 2U));
}

TEST(LookupData, MayBeDerivedFromAndDestroyedThroughItsBase) {
  struct HostRequest : LookupData {
    explicit HostRequest(bool& destroyed) : m_destroyed(destroyed) {}
    ~HostRequest() override { m_destroyed = true; }
    bool& m_destroyed;
  };
  bool destroyed = false;
  const ILookupData* request = new HostRequest(destroyed);
  delete request;
  EXPECT_TRUE(destroyed);
}

}  // namespace
}  // namespace QVL
