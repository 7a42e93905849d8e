#include <gtest/gtest.h>

#include <new>
#include <optional>

#include "qvl/qvl.h"
#include "tests/lookup/Rig.h"
#include "tests/support/Requests.h"
#include "tests/support/Starvation.h"

namespace QVL {
namespace Test {
namespace {

TEST(LookupManagerWithoutMemory, AMatchThatCannotBeRecordedCountsAsFalse) {
  Rig rig;
  std::optional<Starvation> starvation;
  rig.assign(1, [&](ILookupData&) {
    starvation.emplace(0, Hunger::OneRefusal);  // what is allocated next is the list of matches
    return true;
  });
  const auto struck = [&] {
    const bool result = starvation && starvation->struck();
    starvation.reset();
    return result;
  };
  rig.assignAlways(2, true);
  LookupData request;

  rig.manager.defineBusinessLogic("1");
  EXPECT_FALSE(rig.manager.isPresent(request));
  EXPECT_TRUE(struck());
  EXPECT_TRUE(request.m_matchIdentifiers.empty());

  rig.manager.defineBusinessLogic("1|2");
  EXPECT_TRUE(rig.manager.isPresent(request)) << "the query goes on with the next data set";
  EXPECT_TRUE(struck());
  EXPECT_EQ(request.m_matchIdentifiers, Numbers{2});

  unsigned int number = 1;
  LookupData fresh;
  EXPECT_FALSE(rig.manager.lookupInDataSet(number, fresh));
  EXPECT_TRUE(struck());
}

TEST(LookupManagerWithoutMemory, RecordingInTheRequestThrows) {
  LookupData request;
  {
    const Starvation starvation(0, Hunger::OneRefusal);
    EXPECT_THROW(request.setMatchIndentifier(1), std::bad_alloc);
  }
  EXPECT_TRUE(request.m_matchIdentifiers.empty());
}

}  // namespace
}  // namespace Test
}  // namespace QVL
