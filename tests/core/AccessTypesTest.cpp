#include "qvl/core/AccessTypes.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <type_traits>

#include "qvl/qvl.h"

namespace QVL {
namespace {

static_assert(std::is_enum_v<AccessTypes>);
static_assert(std::is_same_v<std::underlying_type_t<AccessTypes>, std::uint32_t>);
static_assert(sizeof(AccessTypes) == 4);
static_assert(std::is_convertible_v<AccessTypes, std::uint32_t>, "unscoped: a host may write 1");
static_assert(ReadAccess == 1 && WriteAccess == 2 && AnyAccess == 3);

struct Comparison {
  std::uint32_t kept;
  std::uint32_t requested;
  bool fits;
};

// The wildcard is on the side of the rule or data set only.
const Comparison kComparisons[] = {
    {1, 1, true},
    {1, 2, false},
    {1, 3, false},
    {1, 0, false},
    {2, 2, true},
    {2, 1, false},
    {2, 3, false},
    {3, 0, true},
    {3, 1, true},
    {3, 2, true},
    {3, 3, true},
    {3, 7, true},
    {3, 0xFFFFFFFF, true},
    {0, 0, true},
    {0, 3, false},
    {7, 7, true},
    {7, 3, false},
    {0x80000000, 0x80000000, true},
    {0xFFFFFFFF, 0xFFFFFFFF, true},
    {0xFFFFFFFF, 0x7FFFFFFF, false},
};

std::string describe(const Comparison& row) {
  return "kept " + std::to_string(row.kept) + ", requested " + std::to_string(row.requested);
}

LookupData requestOf(std::uint32_t accessType) {
  LookupData request;
  request.m_filePath = "/data/a.log";
  request.m_processName = "/bin/cp";
  request.m_accessType = static_cast<AccessTypes>(accessType);
  return request;
}

TEST(AccessTypes, FitWhenEqualOrWhenTheKeptOneIsAny) {
  for (const Comparison& row : kComparisons) {
    EXPECT_EQ(
        accessTypeFits(static_cast<AccessTypes>(row.kept), static_cast<AccessTypes>(row.requested)),
        row.fits)
        << describe(row);
  }
}

TEST(AccessTypes, OfARuleAreComparedByEveryKindOfRule) {
  for (const Comparison& row : kComparisons) {
    SCOPED_TRACE(describe(row));
    const AccessTypes kept = static_cast<AccessTypes>(row.kept);
    FilePathAvoidance path(std::string("/data/*.log"), kept);
    FolderAvoidance folder(std::string("/data/"), kept, 0);
    ProcessAvoidance process(std::string("/bin/cp"), kept, 0, "");
    FileTypeAvoidance type(std::string("log"), kept);
    for (IAvoidance* rule : {static_cast<IAvoidance*>(&path), static_cast<IAvoidance*>(&folder),
                             static_cast<IAvoidance*>(&process), static_cast<IAvoidance*>(&type)}) {
      LookupData request = requestOf(row.requested);
      EXPECT_TRUE(rule->canAvoid(request)) << rule->getKey();
      EXPECT_EQ(rule->canAvoidWithAccessType(request, false), row.fits) << rule->getKey();
    }
  }
}

TEST(AccessTypes, OfADataSetAreComparedByTheDataSet) {
  for (const Comparison& row : kComparisons) {
    FilePathDataSet dataSet;
    dataSet.addToDataSet(std::make_unique<FilePathAvoidance>(std::string("/data/*.log"),
                                                             static_cast<AccessTypes>(99)));
    dataSet.checkAccessTypeAtDataSetLevelOnly(1, static_cast<AccessTypes>(row.kept));
    LookupData request = requestOf(row.requested);
    EXPECT_EQ(dataSet.isPresentInDataSet(request), row.fits) << describe(row);
  }
}

}  // namespace
}  // namespace QVL
