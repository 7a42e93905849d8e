#include "Decision.h"

#include <unistd.h>

#include "Scripted.h"
#include "gmock/gmock.h"
#include "gtest/gtest.h"

namespace onaccess {
namespace test {
namespace {

using ::testing::ElementsAre;
using ::testing::Eq;
using ::testing::Optional;

constexpr pid_t kSelf = 10;
constexpr pid_t kOpener = 20;

class DecisionTest : public ::testing::Test {
 protected:
  DecisionTest() {
    kernel.processes[kOpener] = {"/bin/cat", {7, 500}, 1000};
    kernel.names["/bin/cat"] = {7, 500};
    kernel.names["/data/a"] = {7, 1};
    kernel.names["/excluded/a"] = {7, 2};
  }

  std::optional<Outcome> decide(const ScriptedKernel::File& file, pid_t process = kOpener) {
    return decision.decide({kernel.openAside(file), process}, facts);
  }

  ScriptedKernel kernel;
  ScriptedExclusions exclusions;
  VerdictCache cache{100};
  ScannerProcess scanner{kernel};
  Decision decision{kernel, exclusions, cache, scanner, kSelf};
  Facts facts;
};

TEST_F(DecisionTest, AllowsItsOwnOpensWithoutLookingAtThem) {
  EXPECT_THAT(decide({"", std::nullopt, false}, kSelf), Optional(Outcome::Own));
  EXPECT_EQ(exclusions.questions, 0u);
}

TEST_F(DecisionTest, AllowsWhatIsNoRegularFile) {
  FileStatus status = fileStatus(1);
  status.isRegular = false;
  EXPECT_THAT(decide({"/data/a", status, false}), Optional(Outcome::NotRegular));
}

TEST_F(DecisionTest, KnowsNothingOfAFileThatTheKernelDoesNotTellAbout) {
  EXPECT_THAT(decide({"/excluded/a", std::nullopt, false}), Optional(Outcome::Unreadable));
}

TEST_F(DecisionTest, AllowsWhatThePolicyExcludesAndTellsItsDataSets) {
  EXPECT_THAT(decide({"/excluded/a", fileStatus(2), false}), Optional(Outcome::Excluded));
  EXPECT_THAT(facts.dataSets, ElementsAre(1u));
}

TEST_F(DecisionTest, ScansWhatThePolicyDoesNotExclude) {
  EXPECT_THAT(decide({"/data/a", fileStatus(1), false}), Eq(std::nullopt));
  EXPECT_EQ(facts.trouble, NameTrouble::None);
}

// A name counts only when it leads to the very file.
TEST_F(DecisionTest, ScansAnExcludedNameThatLeadsToAnotherFile) {
  EXPECT_THAT(decide({"/excluded/a", fileStatus(666), false}), Eq(std::nullopt));
  EXPECT_EQ(facts.trouble, NameTrouble::PathElsewhere);
  EXPECT_EQ(exclusions.questions, 0u);
}

TEST_F(DecisionTest, ScansAnExcludedNameThatLeadsToTheSameInodeOfAnotherDevice) {
  EXPECT_THAT(decide({"/excluded/a", fileStatus(2, 1, 8), false}), Eq(std::nullopt));
  EXPECT_EQ(facts.trouble, NameTrouble::PathElsewhere);
}

TEST_F(DecisionTest, ScansADeletedFile) {
  EXPECT_THAT(decide({"/excluded/a (deleted)", fileStatus(2), false}), Eq(std::nullopt));
  EXPECT_EQ(facts.trouble, NameTrouble::PathElsewhere);
}

TEST_F(DecisionTest, TrustsANameThatOnlyLooksLikeThatOfADeletedFile) {
  kernel.names["/excluded/a (deleted)"] = {7, 3};
  EXPECT_THAT(decide({"/excluded/a (deleted)", fileStatus(3), false}), Optional(Outcome::Excluded));
}

TEST_F(DecisionTest, ScansAFileWithoutAName) {
  EXPECT_THAT(decide({"", fileStatus(2), false}), Eq(std::nullopt));
  EXPECT_EQ(facts.trouble, NameTrouble::NoPath);
}

TEST_F(DecisionTest, DoesNotLookAtTheProgramForAPolicyThatDoesNotReadIt) {
  kernel.processes.clear();
  EXPECT_THAT(decide({"/excluded/a", fileStatus(2), false}), Optional(Outcome::Excluded));
}

TEST_F(DecisionTest, ExcludesByProgram) {
  exclusions.isReadingProgram = true;
  kernel.processes[kOpener] = {"/bin/trusted", {7, 501}, 1000};
  kernel.names["/bin/trusted"] = {7, 501};
  EXPECT_THAT(decide({"/data/a", fileStatus(1), false}), Optional(Outcome::Excluded));
  EXPECT_THAT(facts.dataSets, ElementsAre(2u));
}

TEST_F(DecisionTest, AsksAgainWithTheProgramWhenAPolicyThatReadsItComesMeanwhile) {
  kernel.processes[kOpener] = {"/bin/trusted", {7, 501}, 1000};
  kernel.names["/bin/trusted"] = {7, 501};
  exclusions.onQuestion = [&] { exclusions.isReadingProgram = true; };
  EXPECT_THAT(decide({"/data/a", fileStatus(1), false}), Optional(Outcome::Excluded));
  EXPECT_THAT(facts.dataSets, ElementsAre(2u));
  EXPECT_EQ(exclusions.questions, 2u);
}

TEST_F(DecisionTest, AsksAWhileOnlyWhenPoliciesAreSwappedWithoutEnd) {
  bool isReading = false;
  exclusions.onQuestion = [&] { exclusions.isReadingProgram = true; };
  kernel.afterPath = [&] { exclusions.isReadingProgram = isReading; };
  EXPECT_THAT(decide({"/excluded/a", fileStatus(2), false}), Eq(std::nullopt));
  EXPECT_LE(exclusions.questions, 10u);
  isReading = true;
  EXPECT_THAT(decide({"/excluded/a", fileStatus(2), false}), Optional(Outcome::Excluded));
}

TEST_F(DecisionTest, ScansForAProgramWhoseNameLeadsToAnotherFile) {
  exclusions.isReadingProgram = true;
  kernel.processes[kOpener] = {"/bin/trusted", {7, 666}, 1000};
  kernel.names["/bin/trusted"] = {7, 501};
  EXPECT_THAT(decide({"/data/a", fileStatus(1), false}), Eq(std::nullopt));
  EXPECT_EQ(facts.trouble, NameTrouble::ProgramElsewhere);
  EXPECT_EQ(exclusions.questions, 0u);
}

TEST_F(DecisionTest, ScansForALostProcessEvenBelowAnExcludedFolder) {
  exclusions.isReadingProgram = true;
  for (const pid_t lost : {0, 77}) {
    EXPECT_THAT(decide({"/excluded/a", fileStatus(2), false}, lost), Eq(std::nullopt));
    EXPECT_EQ(facts.trouble, NameTrouble::NoProgram);
  }
}

TEST_F(DecisionTest, AllowsACleanFileThatHasNotChanged) {
  cache.remember(fileStatus(1), 0, cache.ticketFor({7, 1}));
  EXPECT_THAT(decide({"/data/a", fileStatus(1), false}), Optional(Outcome::Remembered));
}

TEST_F(DecisionTest, ScansACleanFileAgainOnceItHasChanged) {
  cache.remember(fileStatus(1, 1), 0, cache.ticketFor({7, 1}));
  EXPECT_THAT(decide({"/data/a", fileStatus(1, 2), false}), Eq(std::nullopt));
}

TEST_F(DecisionTest, ForgetsACleanFileThatMayBeWritten) {
  cache.remember(fileStatus(1), 0, cache.ticketFor({7, 1}));
  EXPECT_THAT(decide({"/data/a", fileStatus(1), true}), Eq(std::nullopt));
  EXPECT_FALSE(facts.mayRemember);
  EXPECT_THAT(decide({"/data/a", fileStatus(1), false}), Eq(std::nullopt))
      << "times do not show every write";
}

TEST_F(DecisionTest, DoesNotRememberAScanDuringWhichTheFileWasOpenedForWriting) {
  ASSERT_THAT(decide({"/data/a", fileStatus(1), false}), Eq(std::nullopt));
  const Facts scanned = facts;
  ASSERT_TRUE(scanned.mayRemember);
  decide({"/data/a", fileStatus(1), true});
  cache.remember(*scanned.status, scanned.database, scanned.ticket);
  EXPECT_THAT(decide({"/data/a", fileStatus(1), false}), Eq(std::nullopt));
}

// A hard link below an excluded folder, or an excluded program: it writes unscanned.
TEST_F(DecisionTest, ForgetsACleanFileThatAnExcludedOpenMayWrite) {
  kernel.names["/excluded/link"] = {7, 1};
  cache.remember(fileStatus(1), 0, cache.ticketFor({7, 1}));
  EXPECT_THAT(decide({"/excluded/link", fileStatus(1), true}), Optional(Outcome::Excluded));
  EXPECT_THAT(decide({"/data/a", fileStatus(1), false}), Eq(std::nullopt));
}

TEST_F(DecisionTest, DoesNotRememberAScanDuringWhichAnExcludedOpenMayHaveWritten) {
  kernel.names["/excluded/link"] = {7, 1};
  ASSERT_THAT(decide({"/data/a", fileStatus(1), false}), Eq(std::nullopt));
  const Facts scanned = facts;
  EXPECT_THAT(decide({"/excluded/link", fileStatus(1), true}), Optional(Outcome::Excluded));
  cache.remember(*scanned.status, scanned.database, scanned.ticket);
  EXPECT_THAT(decide({"/data/a", fileStatus(1), false}), Eq(std::nullopt));
}

TEST_F(DecisionTest, DoesNotRememberAScanWhoseFileWasOpenedForWritingAfterTheLookForWriters) {
  kernel.afterWriters = [&] { cache.forget({7, 1}); };
  ASSERT_THAT(decide({"/data/a", fileStatus(1), false}), Eq(std::nullopt));
  kernel.afterWriters = nullptr;
  cache.remember(*facts.status, facts.database, facts.ticket);
  EXPECT_THAT(decide({"/data/a", fileStatus(1), false}), Eq(std::nullopt));
}

// It can be cut and extended to its old size by its name alone, while its times stay the same.
TEST_F(DecisionTest, NeitherRemembersNorLooksUpAFileThatHasChangedLately) {
  FileStatus status = fileStatus(1);
  status.isChangedLately = true;
  ASSERT_THAT(decide({"/data/a", status, false}), Eq(std::nullopt));
  EXPECT_FALSE(facts.mayRemember);
  cache.remember(fileStatus(1), 0, cache.ticketFor({7, 1}));
  EXPECT_THAT(decide({"/data/a", status, false}), Eq(std::nullopt));
  EXPECT_THAT(decide({"/data/a", fileStatus(1), false}), Optional(Outcome::Remembered));
}

TEST_F(DecisionTest, DoesNotRememberByAnotherDatabase) {
  cache.remember(fileStatus(1), 0, cache.ticketFor({7, 1}));
  decision.setDatabase(1);
  EXPECT_THAT(decide({"/data/a", fileStatus(1), false}), Eq(std::nullopt));
}

TEST_F(DecisionTest, WithoutACacheNobodyIsAskedForWriters) {
  VerdictCache none(0);
  Decision without(kernel, exclusions, none, scanner, kSelf);
  EXPECT_THAT(without.decide({kernel.openAside({"/data/a", fileStatus(1), false}), kOpener}, facts),
              Eq(std::nullopt));
  EXPECT_FALSE(facts.mayRemember);
}

// The scanner of these is the test itself: its process has to be there.
TEST_F(DecisionTest, AllowsTheScannersOpens) {
  const pid_t process = ::getpid();
  kernel.processes[process] = {"/usr/sbin/clamd", {7, 900}, 64};
  scanner.sawReplyOf(process);
  EXPECT_THAT(decide({"/data/a", fileStatus(1), false}, process), Eq(std::nullopt));
  scanner.sawReplyOf(process);
  EXPECT_THAT(decide({"/data/a", fileStatus(1), false}, process), Optional(Outcome::Scanner));
}

TEST_F(DecisionTest, AllowsTheOpensOfAScannerThatStarts) {
  kernel.processes[::getpid()] = {"/usr/sbin/clamd", {7, 900}, 64};
  scanner.sawReplyOf(::getpid());
  scanner.sawReplyOf(::getpid());
  kernel.processes[30] = {"/usr/sbin/clamd", {7, 900}, 64};
  kernel.processes[31] = {"/usr/sbin/clamd", {7, 900}, 0};
  kernel.processes[32] = {"/usr/sbin/clamd", {7, 900}, 1000};
  kernel.processes[33] = {"/usr/sbin/clamd", {7, 666}, 64};
  const ScriptedKernel::File file = {"/data/a", fileStatus(1), false};
  EXPECT_THAT(decide(file, 30), Optional(Outcome::Scanner));
  EXPECT_THAT(decide(file, 31), Optional(Outcome::Scanner)) << "before it changes its user";
  EXPECT_THAT(decide(file, 32), Eq(std::nullopt)) << "run by somebody else";
  EXPECT_THAT(decide(file, 33), Eq(std::nullopt)) << "another program of that name";
  // An update has put a new file in its place. Old ones still run.
  kernel.names["/usr/sbin/clamd"] = {7, 901};
  kernel.processes[34] = {"/usr/sbin/clamd", {7, 901}, 64};
  kernel.processes[35] = {"/usr/sbin/clamd", {7, 901}, 1000};
  EXPECT_THAT(decide(file, 34), Optional(Outcome::Scanner)) << "an updated scanner that starts";
  EXPECT_THAT(decide(file, 35), Eq(std::nullopt)) << "run by somebody else";
  EXPECT_THAT(decide(file, 30), Optional(Outcome::Scanner));
  EXPECT_THAT(decide(file, 33), Eq(std::nullopt)) << "a name in a namespace of its own";
}

TEST_F(DecisionTest, FactsAreThoseOfTheLastOpen) {
  decide({"/excluded/a", fileStatus(2), false});
  decide({"", std::nullopt, false}, kSelf);
  EXPECT_EQ(facts.path, "");
  EXPECT_TRUE(facts.dataSets.empty());
  EXPECT_FALSE(facts.status);
}

}  // namespace
}  // namespace test
}  // namespace onaccess
