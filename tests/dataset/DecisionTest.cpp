// The order in which a data set decides a request.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "qvl/qvl.h"
#include "tests/dataset/DataSetKinds.h"
#include "tests/support/Outcome.h"
#include "tests/support/Requests.h"
#include "tests/support/ScriptedRule.h"
#include "tests/support/TraceRecorder.h"

namespace QVL {
namespace Test {
namespace {

constexpr const char* kAsked = "rule.canAvoid";
constexpr const char* kAskedWithAccess = "rule.canAvoidWithAccessType(false)";
constexpr const char* kAskedAboutEmpty = "rule.canAvoidWithAccessType(true)";

struct Switches {
  bool enabled = true;
  bool matchAnything = false;
  bool matchEmptyInput = false;
  bool checkAccess = true;
  unsigned char atDataSetLevel = 0;
  AccessTypes access = AccessTypes();
};

template <typename SetUnderTest>
class Decision : public ::testing::Test {
 protected:
  using Set = SetUnderTest;

  static void configure(IDataSet& dataSet, const Switches& switches) {
    switches.enabled ? dataSet.enableDataSet() : dataSet.disableDataSet();
    switches.matchAnything ? dataSet.enableMatchAnything() : dataSet.disableMatchAnything();
    switches.matchEmptyInput ? dataSet.enableMatchEmptyInput() : dataSet.disableMatchEmptyInput();
    switches.checkAccess ? dataSet.enableCheckingOfAccessType()
                         : dataSet.disableCheckingOfAccessType();
    dataSet.checkAccessTypeAtDataSetLevelOnly(switches.atDataSetLevel, switches.access);
  }

  static LookupData fullInput(AccessTypes access) {
    return Set::Kind::request(Set::Kind::kOtherInput, access);
  }
};
TYPED_TEST_SUITE(Decision, AllDataSetKinds, KindName);

// --- Defaults ------------------------------------------------------------------------------------

TYPED_TEST(Decision, AFreshDataSetWithoutRulesIsNeverPresent) {
  typename TypeParam::DataSet dataSet;
  for (const std::uint32_t access : {0U, 1U, 2U, 3U, 77U}) {
    LookupData full = this->fullInput(accessType(access));
    LookupData empty = TypeParam::emptyInput(accessType(access));
    EXPECT_FALSE(dataSet.isPresentInDataSet(full)) << access;
    EXPECT_FALSE(dataSet.isPresentInDataSet(empty)) << access;
  }
}

TYPED_TEST(Decision, AFreshDataSetChecksAccessTypesByRuleOrAtItsOwnLevelAgainstZero) {
  const bool atDataSetLevel = std::is_same<TypeParam, ProcessSet>::value;
  Journal journal;
  typename TypeParam::DataSet dataSet;
  auto rule = std::make_unique<ScriptedRule>("rule", journal);
  rule->avoids = true;
  rule->avoidsWithAccessType = true;
  dataSet.addToDataSet(std::move(rule));
  for (const std::uint32_t access : {0U, 1U, 2U, 3U, 77U}) {
    LookupData request = this->fullInput(accessType(access));
    journal.clear();
    const bool fits = !atDataSetLevel || access == 0;
    EXPECT_EQ(dataSet.isPresentInDataSet(request), fits) << access;
    const Journal expected =
        !fits ? Journal{} : Journal{atDataSetLevel ? kAsked : kAskedWithAccess};
    EXPECT_EQ(journal, expected) << access;
  }
  dataSet.enableMatchAnything();
  for (const std::uint32_t access : {0U, 1U, 3U}) {
    LookupData request = this->fullInput(accessType(access));
    journal.clear();
    EXPECT_EQ(dataSet.isPresentInDataSet(request), !atDataSetLevel || access == 0) << access;
    EXPECT_EQ(journal, Journal{});
  }
}

TYPED_TEST(Decision, AFreshDataSetDoesNotMatchEmptyInput) {
  Journal journal;
  typename TypeParam::DataSet dataSet;
  dataSet.addToDataSet(std::make_unique<ScriptedRule>("rule", journal));
  LookupData empty = TypeParam::emptyInput(AccessTypes());
  journal.clear();
  EXPECT_FALSE(dataSet.isPresentInDataSet(empty));
  EXPECT_EQ(journal.size(), 1U) << "the empty input is offered to the rules";
}

// --- Worked rows ---------------------------------------------------------------------------------

TYPED_TEST(Decision, ProceedsInItsFixedOrder) {
  const bool isType = std::is_same<TypeParam, FileTypeSet>::value;
  const bool never = !TypeParam::kAnswersEmptyInput;
  const AccessTypes read = ReadAccess;
  const AccessTypes write = WriteAccess;
  struct Row {
    const char* what;
    Switches switches;
    bool emptyInput;
    AccessTypes request;
    bool expected;
    Journal asked;
  };
  const auto with = [](auto change) {
    Switches switches;
    change(switches);
    return switches;
  };
  // The rule answers false whenever it is asked.
  const std::vector<Row> rows = {
      {"by each rule", {}, false, read, false, {kAskedWithAccess}},
      {"by each rule, match anything",
       with([](auto& s) { s.matchAnything = true; }),
       false,
       read,
       true,
       {}},
      {"by each rule, match empty input", with([](auto& s) { s.matchEmptyInput = true; }), true,
       read, !isType && !never,
       isType  ? Journal{kAskedAboutEmpty}
       : never ? Journal{kAskedWithAccess}
               : Journal{}},
      {"by each rule, match empty input that is not empty",
       with([](auto& s) { s.matchEmptyInput = true; }),
       false,
       read,
       false,
       {kAskedWithAccess}},
      {"at data-set level, another type",
       with([&](auto& s) {
         s.atDataSetLevel = 1;
         s.access = write;
       }),
       false,
       read,
       false,
       {}},
      {"at data-set level, another type, match anything",
       with([&](auto& s) {
         s.atDataSetLevel = 1;
         s.access = write;
         s.matchAnything = true;
       }),
       false,
       read,
       false,
       {}},
      {"at data-set level, another type, match empty input",
       with([&](auto& s) {
         s.atDataSetLevel = 1;
         s.access = write;
         s.matchEmptyInput = true;
       }),
       true,
       read,
       false,
       {}},
      {"at data-set level, the same type",
       with([&](auto& s) {
         s.atDataSetLevel = 1;
         s.access = read;
       }),
       false,
       read,
       false,
       {kAsked}},
      {"at data-set level, the same type, match anything",
       with([&](auto& s) {
         s.atDataSetLevel = 1;
         s.access = read;
         s.matchAnything = true;
       }),
       false,
       read,
       true,
       {}},
      {"at data-set level, any type",
       with([&](auto& s) {
         s.atDataSetLevel = 1;
         s.access = AnyAccess;
         s.matchAnything = true;
       }),
       false,
       accessType(77),
       true,
       {}},
      {"at data-set level, any type on the request only",
       with([&](auto& s) {
         s.atDataSetLevel = 1;
         s.access = read;
         s.matchAnything = true;
       }),
       false,
       AnyAccess,
       false,
       {}},
      {"not at all", with([](auto& s) { s.checkAccess = false; }), false, read, false, {kAsked}},
      {"not at all, whatever the level",
       with([&](auto& s) {
         s.checkAccess = false;
         s.atDataSetLevel = 1;
         s.access = write;
         s.matchAnything = true;
       }),
       false,
       read,
       true,
       {}},
      {"switched off",
       with([](auto& s) {
         s.enabled = false;
         s.matchAnything = true;
       }),
       false,
       read,
       false,
       {}},
  };
  for (const Row& row : rows) {
    Journal journal;
    typename TypeParam::DataSet dataSet;
    dataSet.addToDataSet(std::make_unique<ScriptedRule>("rule", journal));
    this->configure(dataSet, row.switches);
    LookupData request =
        row.emptyInput ? TypeParam::emptyInput(row.request) : this->fullInput(row.request);
    journal.clear();
    EXPECT_EQ(dataSet.isPresentInDataSet(request), row.expected) << row.what;
    EXPECT_EQ(journal, row.asked) << row.what;
    EXPECT_TRUE(request.m_matchIdentifiers.empty()) << "recording is the manager's";
  }
}

TYPED_TEST(Decision, StoresTheLevelAndItsAccessTypeUnchangedWhateverTheSwitch) {
  Journal journal;
  typename TypeParam::DataSet dataSet;
  dataSet.enableMatchAnything();
  LookupData read = this->fullInput(ReadAccess);
  for (const unsigned char enable : std::vector<unsigned char>{1, 2, 128, 255}) {
    dataSet.checkAccessTypeAtDataSetLevelOnly(enable, WriteAccess);
    EXPECT_FALSE(dataSet.isPresentInDataSet(read)) << int{enable};
    dataSet.checkAccessTypeAtDataSetLevelOnly(0, WriteAccess);
    EXPECT_TRUE(dataSet.isPresentInDataSet(read));
  }
}

TYPED_TEST(Decision, SwitchingOffAndOnRestoresEverything) {
  typename TypeParam::DataSet dataSet;
  dataSet.checkAccessTypeAtDataSetLevelOnly(0, AccessTypes());
  dataSet.enableMatchAnything();
  LookupData request = this->fullInput(ReadAccess);
  EXPECT_TRUE(dataSet.isPresentInDataSet(request));
  dataSet.disableDataSet();
  EXPECT_FALSE(dataSet.isPresentInDataSet(request));
  dataSet.enableDataSet();
  EXPECT_TRUE(dataSet.isPresentInDataSet(request));
  dataSet.disableMatchAnything();
  EXPECT_FALSE(dataSet.isPresentInDataSet(request));
}

TYPED_TEST(Decision, ARequestOfAnotherTypeIsNeverPresent) {
  Journal journal;
  typename TypeParam::DataSet dataSet;
  auto rule = std::make_unique<ScriptedRule>("rule", journal);
  rule->avoids = true;
  rule->avoidsWithAccessType = true;
  dataSet.addToDataSet(std::move(rule));
  dataSet.enableMatchAnything();
  dataSet.enableMatchEmptyInput();
  dataSet.disableCheckingOfAccessType();
  journal.clear();
  ForeignRequest foreign;
  EXPECT_FALSE(dataSet.isPresentInDataSet(foreign));
  EXPECT_EQ(journal, Journal{});

  HostRequest own(this->fullInput(ReadAccess));
  EXPECT_TRUE(dataSet.isPresentInDataSet(own));
}

// --- Every combination ---------------------------------------------------------------------------

TYPED_TEST(Decision, HoldsForEveryCombinationOfSwitches) {
  const bool isType = std::is_same<TypeParam, FileTypeSet>::value;
  const std::vector<AccessTypes> kept = {accessType(0), ReadAccess, WriteAccess, AnyAccess};
  const std::vector<AccessTypes> requested = {accessType(0), ReadAccess, AnyAccess};
  int combinations = 0;
  for (unsigned int bits = 0; bits < 1U << 9; ++bits) {
    const auto bit = [bits](int number) { return (bits >> number & 1U) != 0; };
    Switches switches;
    switches.enabled = bit(0);
    switches.matchAnything = bit(1);
    switches.matchEmptyInput = bit(2);
    switches.checkAccess = bit(3);
    switches.atDataSetLevel = bit(4) ? 1 : 0;
    const bool emptyInput = bit(5);
    const bool hasRule = bit(6);
    const bool avoids = bit(7);
    const bool avoidsWithAccess = bit(8);
    for (const AccessTypes keptType : kept) {
      switches.access = keptType;
      Journal journal;
      typename TypeParam::DataSet dataSet;
      if (hasRule) {
        auto rule = std::make_unique<ScriptedRule>("rule", journal);
        rule->avoids = avoids;
        rule->avoidsWithAccessType = avoidsWithAccess;
        dataSet.addToDataSet(std::move(rule));
      }
      this->configure(dataSet, switches);
      for (const AccessTypes requestType : requested) {
        const bool byRule = switches.checkAccess && switches.atDataSetLevel == 0;
        const bool here = switches.checkAccess && switches.atDataSetLevel != 0;
        bool expected;
        Journal asked;
        if (!switches.enabled || (here && keptType != AnyAccess && keptType != requestType)) {
          expected = false;
        } else if (switches.matchAnything) {
          expected = true;
        } else if (switches.matchEmptyInput && emptyInput && TypeParam::kAnswersEmptyInput) {
          expected = !isType || (hasRule && avoidsWithAccess);
          if (isType && hasRule) asked = {kAskedAboutEmpty};
        } else {
          expected = hasRule && (byRule ? avoidsWithAccess : avoids);
          if (hasRule) asked = {byRule ? kAskedWithAccess : kAsked};
        }
        LookupData request =
            emptyInput ? TypeParam::emptyInput(requestType) : this->fullInput(requestType);
        journal.clear();
        ASSERT_EQ(dataSet.isPresentInDataSet(request), expected)
            << "bits " << bits << ", kept " << keptType << ", requested " << requestType;
        ASSERT_EQ(journal, asked) << "bits " << bits << ", kept " << keptType << ", requested "
                                  << requestType;
        ++combinations;
      }
    }
  }
  EXPECT_EQ(combinations, 512 * 12);
}

// --- isEmptyInput --------------------------------------------------------------------------------

template <typename DataSet>
void expectEmptyInput(const char* path, const char* process, bool expected,
                      const std::vector<std::string>& lines) {
  DataSet dataSet;
  LookupData request;
  request.m_filePath = path;
  request.m_processName = process;
  TraceRecorder trace;
  EXPECT_EQ(dataSet.isEmptyInput(&request), expected) << path << ", " << process;
  EXPECT_EQ(trace.take(), traced(lines)) << path << ", " << process;
}

TEST(EmptyInput, OfFilePathsAndFoldersIsTheEmptyPath) {
  for (const bool named : {false, true}) {
    const char* const process = named ? "process" : "";
    expectEmptyInput<FilePathDataSet>("", process, true, {"FilePathDataSet::isEmptyInput\n"});
    expectEmptyInput<FilePathDataSet>("/", process, false, {"FilePathDataSet::isEmptyInput\n"});
    expectEmptyInput<FolderDataSet>("", process, true, {"FolderDataSet::isEmptyInput\n"});
    expectEmptyInput<FolderDataSet>(" ", process, false, {"FolderDataSet::isEmptyInput\n"});
  }
}

TEST(EmptyInput, OfProcessesIsTheEmptyName) {
  expectEmptyInput<ProcessDataSet>("", "", true, {"ProcessDataSet::isEmptyInput\n"});
  expectEmptyInput<ProcessDataSet>("/path", "", true, {"ProcessDataSet::isEmptyInput\n"});
  expectEmptyInput<ProcessDataSet>("", "process", false, {"ProcessDataSet::isEmptyInput\n"});
}

TEST(EmptyInput, OfFileTypesIsTheMissingExtension) {
  const std::vector<std::string> lines = {"FileTypeDataSet::isEmptyInput\n",
                                          "FileTypeAvoidance::findFileExtension\n"};
  expectEmptyInput<FileTypeDataSet>("", "", true, lines);
  expectEmptyInput<FileTypeDataSet>("/Makefile", "", true, lines);
  expectEmptyInput<FileTypeDataSet>("/file.", "", true, lines);
  expectEmptyInput<FileTypeDataSet>("/file.c", "", false, lines);
  expectEmptyInput<FileTypeDataSet>("/folder.d/file", "", false, lines);
}

TEST(EmptyInput, OfFileAgesIsNone) {
  const char* const own = "FileAgeDataSet::isEmptyInput\n";
  const char* const failed = "Unable to do stat for the file";
  expectEmptyInput<FileAgeDataSet>("/", "", false, {own});
  expectEmptyInput<FileAgeDataSet>("", "", false, {own, failed});
  expectEmptyInput<FileAgeDataSet>("/no/such/file", "", false, {own, failed});
}

// --- Trace of decisions --------------------------------------------------------------------------

TYPED_TEST(Decision, TracesItselfOnceAndTheEmptyInputTestWhereItIsMade) {
  if (std::is_same<TypeParam, FileAgeSet>::value) return;  // traces every step: see its own test
  const std::string present = std::string(TypeParam::kClass) + "::isPresentInDataSet\n";
  const std::string empty = std::string(TypeParam::kClass) + "::isEmptyInput\n";
  std::vector<std::string> emptyLines = {present, empty};
  if (std::is_same<TypeParam, FileTypeSet>::value) {
    emptyLines.push_back("FileTypeAvoidance::findFileExtension\n");
  }
  LookupData full = this->fullInput(ReadAccess);
  LookupData without = TypeParam::emptyInput(ReadAccess);
  ForeignRequest foreign;

  for (int check = 0; check < 3; ++check) {
    typename TypeParam::DataSet dataSet;
    Switches switches;
    switches.checkAccess = check != 0;
    switches.atDataSetLevel = check == 2 ? 1 : 0;
    switches.access = ReadAccess;
    this->configure(dataSet, switches);
    TraceRecorder trace;

    dataSet.isPresentInDataSet(full);
    EXPECT_EQ(trace.take(), traced({present}));
    dataSet.isPresentInDataSet(without);
    EXPECT_EQ(trace.take(), traced({present}));
    dataSet.isPresentInDataSet(foreign);
    EXPECT_EQ(trace.take(), traced({present}));

    dataSet.enableMatchEmptyInput();
    dataSet.isPresentInDataSet(full);
    EXPECT_EQ(trace.take(), traced(emptyLines));
    dataSet.isPresentInDataSet(without);
    EXPECT_EQ(trace.take(), traced(emptyLines));

    dataSet.enableMatchAnything();
    dataSet.isPresentInDataSet(without);
    EXPECT_EQ(trace.take(), traced({present}));
    dataSet.disableDataSet();
    dataSet.isPresentInDataSet(without);
    EXPECT_EQ(trace.take(), traced({present}));
  }
}

TYPED_TEST(Decision, TracesTheRulesThatItAsks) {
  if (std::is_same<TypeParam, FileAgeSet>::value) return;  // see its own test
  using Kind = typename TypeParam::Kind;
  const std::string present = std::string(TypeParam::kClass) + "::isPresentInDataSet\n";
  const std::string rule = std::string(Kind::kClass) + "::";
  for (int check = 0; check < 3; ++check) {
    typename TypeParam::DataSet dataSet;
    dataSet.enableWildCardSearch();
    Switches switches;
    switches.checkAccess = check != 0;
    switches.atDataSetLevel = check == 2 ? 1 : 0;
    switches.access = ReadAccess;
    this->configure(dataSet, switches);
    dataSet.addToDataSet(Kind::make(std::string(Kind::kText)));
    dataSet.addToDataSet(Kind::make(std::string(Kind::kGlobOnly)));

    std::vector<std::string> once = {rule +
                                     (check == 1 ? "canAvoidWithAccessType\n" : "canAvoid\n")};
    if (std::is_same<TypeParam, FileTypeSet>::value) {
      once.push_back("FileTypeAvoidance::findFileExtension\n");
    }
    std::vector<std::string> twice = {present};
    twice.insert(twice.end(), once.begin(), once.end());
    std::vector<std::string> firstOnly = twice;
    twice.insert(twice.end(), once.begin(), once.end());

    LookupData other = this->fullInput(ReadAccess);
    LookupData match = Kind::request(Kind::kGlobOnlyInput, ReadAccess);
    TraceRecorder trace;
    EXPECT_FALSE(dataSet.isPresentInDataSet(other));
    EXPECT_EQ(trace.take(), traced(twice));
    EXPECT_TRUE(dataSet.isPresentInDataSet(match)) << "by the first rule in key order";
    EXPECT_EQ(trace.take(), traced(firstOnly));
  }
}

}  // namespace
}  // namespace Test
}  // namespace QVL
