// Every public operation of the engine with memory that runs out at every one of its allocations:
// no crash, no leak, no lock left behind, and answers as before the operation or as after it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "qvl/qvl.h"
#include "tests/support/Requests.h"
#include "tests/support/Starvation.h"

namespace QVL {
namespace Test {
namespace {

// A manager with a data set of every kind. Some rules are compared as globs, some by the regular
// expression engine; the file age rule looks at "/", which is older than a day to come.
struct Policy {
  Policy() {
    auto& path = add(1, std::make_shared<FilePathDataSet>());
    path.addOrUpdateKeyword("%TOP%", {"top", "summit"});
    for (const char* const text :
         {"/path/*.log", "/(x|y)+z", "/%TOP%/**", "/%K%/x", "/Case/a", "/wild/a.c"}) {
      path.addToDataSet(std::make_unique<FilePathAvoidance>(text, AnyAccess));
    }
    auto held_ = std::make_unique<FilePathAvoidance>("/held/a", AnyAccess);
    held = held_.get();
    path.addToDataSet(std::move(held_));
    add(2, std::make_shared<FolderDataSet>())
        .addToDataSet(std::make_unique<FolderAvoidance>("/folder/", AnyAccess, 1));
    add(3, std::make_shared<ProcessDataSet>())
        .addToDataSet(std::make_unique<ProcessAvoidance>("agent", AnyAccess, 1, "/opt/bin"));
    add(4, std::make_shared<FileTypeDataSet>())
        .addToDataSet(std::make_unique<FileTypeAvoidance>("iso", AnyAccess));
    add(5, std::make_shared<FileAgeDataSet>())
        .addToDataSet(std::make_unique<FileAgeAvoidance>("1   -1", AnyAccess));
    manager.defineBusinessLogic("1|2|3|4|5");
  }

  IDataSet& add(unsigned int number, std::shared_ptr<IDataSet> added) {
    dataSets.push_back(added);
    manager.assignDataSet(added, number, 0);
    return *added;
  }

  LookupManager manager;
  std::vector<std::shared_ptr<IDataSet>> dataSets;
  FilePathAvoidance* held;  // a rule of the first, to which its maker has kept a pointer

  // What an operation is lent; made before memory runs out.
  std::unique_ptr<IAvoidance> rule;
  std::shared_ptr<IDataSet> dataSet;
};

constexpr const char* kPaths[] = {
    "/path/a.log", "/path/a.txt", "/xyxyz",    "/summit/a/b", "/kk/x",        "/Case/a",
    "/case/a",     "/wild/a.c",   "/wild/abc", "/held/a",     "/held/b",      "/folder/a/b",
    "/new/a",      "/no/a.ISO",   "/",         "/no/such",    "/\xc3\xa9/no", "",
};

LookupData ask(const char* path) {
  LookupData request = fileRequest(path, ReadAccess);
  request.m_processName = std::string(path) == "/no/such" ? "/opt/bin/agent" : "/opt/bin/other";
  return request;
}

// The verdict on every path, with the data sets that matched.
std::vector<std::string> answersOf(Policy& policy) {
  std::vector<std::string> answers;
  for (const char* const path : kPaths) {
    LookupData request = ask(path);
    std::string answer = std::string(path) + (policy.manager.isPresent(request) ? " yes" : " no");
    for (const unsigned int number : request.m_matchIdentifiers) {
      answer += ' ' + std::to_string(number);
    }
    answers.push_back(std::move(answer));
  }
  return answers;
}

// Whatever comes out of an operation without memory is one of these.
template <typename Call>
void hungrily(Call&& call) {
  try {
    std::forward<Call>(call)();
  } catch (const QVLException& exception) {
    EXPECT_EQ(exception.m_code, 3);
  } catch (const std::exception&) {
  }
}

struct Operation {
  const char* name;
  std::function<void(Policy&)> run;
  std::function<void(Policy&)> prepare = [](Policy&) {};
};

std::ostream& operator<<(std::ostream& out, const Operation& operation) {
  return out << operation.name;
}

std::string nameOf(const testing::TestParamInfo<Operation>& info) {
  return info.param.name;
}

void lendRule(Policy& policy) {
  policy.rule = std::make_unique<FilePathAvoidance>("/new/*", AnyAccess);
}
void lendDataSet(Policy& policy) {
  policy.dataSet = std::make_shared<FilePathDataSet>();
  policy.dataSet->addToDataSet(std::make_unique<FilePathAvoidance>("/new/*", AnyAccess));
}

class StarvedChange : public testing::TestWithParam<Operation> {};

TEST_P(StarvedChange, LeavesAnswersAsBeforeOrAsAfterAndCanBeRepeated) {
  const Operation& operation = GetParam();
  std::vector<std::string> before;
  std::vector<std::string> after;
  for (int warming = 0; warming < 2; ++warming) {
    Policy policy;
    before = answersOf(policy);
    operation.prepare(policy);
    operation.run(policy);
    after = answersOf(policy);
  }

  std::size_t struckAtAll = 0;
  for (const Hunger hunger : {Hunger::OneRefusal, Hunger::ForGood}) {
    struckAtAll += untilFed([&](std::size_t spared) {
      SCOPED_TRACE(testing::Message() << "after " << spared << " allocations, " << hunger);
      const long blocks = liveBlocks();
      bool struck = false;
      bool right = true;
      {
        Policy policy;
        operation.prepare(policy);
        {
          const Starvation starvation(spared, hunger);
          hungrily([&] { operation.run(policy); });
          struck = starvation.struck();
        }
        const std::vector<std::string> now = answersOf(policy);
        for (std::size_t i = 0; i < now.size(); ++i) {
          EXPECT_THAT(now[i], testing::AnyOf(before[i], after[i]));
        }
        operation.prepare(policy);
        operation.run(policy);
        EXPECT_EQ(answersOf(policy), after) << "repeated with memory";
        right = !testing::Test::HasFailure();
      }
      EXPECT_EQ(liveBlocks(), blocks) << "a leak";
      return struck && right;
    });
  }
  RecordProperty("starved", std::to_string(struckAtAll));
}

const std::vector<Operation> kChanges = {
    {"AddToDataSet", [](Policy& p) { p.dataSets[0]->addToDataSet(std::move(p.rule)); }, lendRule},
    {"RemoveFromDataSet", [](Policy& p) { p.dataSets[0]->removeFromDataSet(*p.rule); },
     [](Policy& p) { p.rule = std::make_unique<FilePathAvoidance>("/(x|y)+z", AnyAccess); }},
    {"AddKeyword",
     [](Policy& p) {
       p.dataSets[0]->addOrUpdateKeyword("%K%", {"kk", "k"});
     }},
    {"ReplaceKeyword", [](Policy& p) { p.dataSets[0]->addOrUpdateKeyword("%TOP%", {"hill"}); }},
    // Deleting what is gone does nothing: to repeat it, a host enters the keyword again.
    {"DeleteKeyword", [](Policy& p) { p.dataSets[0]->deleteKeyword("%TOP%"); },
     [](Policy& p) {
       p.dataSets[0]->addOrUpdateKeyword("%TOP%", {"top", "summit"});
     }},
    {"IgnoreCase", [](Policy& p) { p.dataSets[0]->disableCaseSensitiveSearch(); }},
    {"HeedCase", [](Policy& p) { p.dataSets[3]->enableCaseSensitiveSearch(); }},
    {"DisableWildCards", [](Policy& p) { p.dataSets[0]->disableWildCardSearch(); }},
    {"EnableWildCards", [](Policy& p) { p.dataSets[2]->enableWildCardSearch(); }},
    {"Switches",
     [](Policy& p) {
       for (const auto& dataSet : p.dataSets) {
         dataSet->disableDataSet();
         dataSet->enableDataSet();
         dataSet->enableMatchAnything();
         dataSet->disableMatchAnything();
         dataSet->enableMatchEmptyInput();
         dataSet->disableCheckingOfAccessType();
         dataSet->enableCheckingOfAccessType();
         dataSet->checkAccessTypeAtDataSetLevelOnly(1, AnyAccess);
       }
     }},
    {"AssignADataSet", [](Policy& p) { p.manager.assignDataSet(p.dataSet, 6, 0); },
     [](Policy& p) {
       lendDataSet(p);
       p.manager.defineBusinessLogic("1|2|3|4|5|6");
     }},
    {"ReplaceADataSet", [](Policy& p) { p.manager.assignDataSet(std::move(p.dataSet), 1, 1); },
     lendDataSet},
    {"DefineBusinessLogic", [](Policy& p) { p.manager.defineBusinessLogic("(2 | 3) & !1"); }},
    {"RecompileAHeldRule",
     [](Policy& p) {
       p.held->validate("/held/b", AnyAccess);
       p.held->updateRegex();
     }},
    {"GiveAHeldRuleAKeyword",
     [](Policy& p) {
       p.held->addOrUpdateKeyword("a", {"b"});
       p.held->updateRegex();
       p.held->deleteKeyword("b");
     }},
    {"RecompileAHeldRuleForTheEngine",
     [](Policy& p) {
       p.held->validate("/held/(b|c)+", AnyAccess);
       p.held->updateRegex();
     }},
};
INSTANTIATE_TEST_SUITE_P(Of, StarvedChange, testing::ValuesIn(kChanges), nameOf);

// --- Questions -----------------------------------------------------------------------------------

struct Question {
  const char* name;
  std::function<bool(Policy&, LookupData&)> put;
};

std::ostream& operator<<(std::ostream& out, const Question& question) {
  return out << question.name;
}

class StarvedQuestion : public testing::TestWithParam<Question> {};

// Without memory a data set counts as not matching: what is excluded may be scanned, never the
// other way round. This holds for logics without NOT.
TEST_P(StarvedQuestion, IsAnsweredRightlyOrInFavourOfScanning) {
  const Question& question = GetParam();
  {
    Policy warming;  // what lives as long as the process is there before blocks are counted
    answersOf(warming);
    LookupData request = ask(kPaths[0]);
    question.put(warming, request);
  }
  std::size_t struckAtAll = 0;
  std::size_t scannedInVain = 0;
  for (const bool fresh : {true, false}) {
    for (const char* const path : kPaths) {
      for (const Hunger hunger : {Hunger::OneRefusal, Hunger::ForGood}) {
        struckAtAll += untilFed([&](std::size_t spared) {
          SCOPED_TRACE(testing::Message() << (fresh ? "first query, \"" : "later query, \"") << path
                                          << "\" after " << spared << " allocations, " << hunger);
          const long blocks = liveBlocks();
          bool struck = false;
          bool right = true;
          {
            Policy policy;
            if (!fresh) answersOf(policy);
            LookupData request = ask(path);
            bool answer = false;
            {
              const Starvation starvation(spared, hunger);
              hungrily([&] { answer = question.put(policy, request); });
              struck = starvation.struck();
            }
            LookupData again = ask(path);
            const bool expected = question.put(policy, again);
            EXPECT_TRUE(!answer || expected) << "excluded for want of memory";
            if (!struck) {
              EXPECT_EQ(answer, expected);
            }
            EXPECT_EQ(request.m_matchIdentifiers,
                      answer ? again.m_matchIdentifiers : std::vector<unsigned int>());
            scannedInVain += expected && !answer;
            right = !HasFailure();
          }
          EXPECT_EQ(liveBlocks(), blocks) << "a leak";
          return struck && right;
        });
      }
    }
  }
  RecordProperty("starved", std::to_string(struckAtAll));
  RecordProperty("scanned in vain", std::to_string(scannedInVain));
}

const std::vector<Question> kQuestions = {
    {"Manager", [](Policy& p, LookupData& request) { return p.manager.isPresent(request); }},
    {"ExecuteLogic",
     [](Policy& p, LookupData& request) {
       return p.manager.executeLogic("1 2 | 3 | 4 | 5 | ", request);
     }},
    {"LookupInDataSet",
     [](Policy& p, LookupData& request) {
       unsigned int number = 1;
       return p.manager.lookupInDataSet(number, request);
     }},
};
INSTANTIATE_TEST_SUITE_P(Of, StarvedQuestion, testing::ValuesIn(kQuestions),
                         [](const auto& each) { return std::string(each.param.name); });

// --- Everything else -----------------------------------------------------------------------------

class StarvedCall : public testing::TestWithParam<Operation> {};

TEST_P(StarvedCall, LeavesThePolicyAsItWas) {
  const Operation& operation = GetParam();
  Policy policy;
  const std::vector<std::string> before = answersOf(policy);
  for (int warming = 0; warming < 2; ++warming) {
    hungrily([&] { operation.run(policy); });
  }
  std::size_t struckAtAll = 0;
  for (const Hunger hunger : {Hunger::OneRefusal, Hunger::ForGood}) {
    struckAtAll += untilFed([&](std::size_t spared) {
      SCOPED_TRACE(testing::Message() << "after " << spared << " allocations, " << hunger);
      const long blocks = liveBlocks();
      bool struck = false;
      {
        const Starvation starvation(spared, hunger);
        hungrily([&] { operation.run(policy); });
        struck = starvation.struck();
      }
      EXPECT_EQ(liveBlocks(), blocks) << "a leak";
      return struck && !HasFailure();
    });
  }
  EXPECT_EQ(answersOf(policy), before);
  EXPECT_GT(struckAtAll, 0U) << "nothing was allocated";
  RecordProperty("starved", std::to_string(struckAtAll));
}

// A rule from its construction to its destruction, with every operation of its own.
template <typename Make>
std::function<void(Policy&)> lifeOf(Make make) {
  return [make](Policy&) {
    const auto rule = make();
    rule->addOrUpdateKeyword("%K%", {"a", "b"});
    rule->disableCaseSensitiveSearch();
    rule->updateRegex();
    rule->disableWildCardSearch();
    rule->updateRegex();
    rule->deleteKeyword("%K%");
    rule->validate("(a|b)+c/x", ReadAccess);
    rule->updateRegex();
    for (const char* const path : {"/Ab", "/\xc3\x89", "acx", "/\xff"}) {
      LookupData request = fileRequest(path);
      request.m_processName = path;
      hungrily([&] { rule->canAvoid(request); });
      hungrily([&] { rule->canAvoidWithAccessType(request, true); });
    }
    rule->getKey();
  };
}

template <typename DataSet>
void liveAs(Policy&) {
  DataSet dataSet;
  dataSet.enableMatchEmptyInput();
  dataSet.addOrUpdateKeyword("%K%", {"a"});
  dataSet.addToDataSet(std::make_unique<FilePathAvoidance>("/%K%/(b|c)+", AnyAccess));
  dataSet.addToDataSet(std::make_unique<FolderAvoidance>("/\xc3\xa9/", AnyAccess, 1));
  LookupData request = fileRequest("/a/bcb.x");
  dataSet.isEmptyInput(&request);
  dataSet.isPresentInDataSet(request);
}

const std::vector<Operation> kCalls = {
    {"FilePathRule",
     lifeOf([] { return std::make_unique<FilePathAvoidance>("/a%K%*", AnyAccess); })},
    {"FilePathRuleFromWideText",
     lifeOf([] { return std::make_unique<FilePathAvoidance>(L"/\u00e9%K%*", AnyAccess); })},
    {"FolderRule",
     lifeOf([] { return std::make_unique<FolderAvoidance>("/a%K%/", AnyAccess, 1); })},
    {"FolderRuleFromWideText",
     lifeOf([] { return std::make_unique<FolderAvoidance>(L"/a%K%/", AnyAccess, 0); })},
    {"ProcessRule",
     lifeOf([] { return std::make_unique<ProcessAvoidance>("agent*", AnyAccess, 1, "/opt"); })},
    {"ProcessRuleFromWideText",
     lifeOf([] { return std::make_unique<ProcessAvoidance>(L"agent*", AnyAccess, 1, "/opt"); })},
    {"FileTypeRule", lifeOf([] { return std::make_unique<FileTypeAvoidance>("d?c", AnyAccess); })},
    {"FileTypeRuleFromWideText",
     lifeOf([] { return std::make_unique<FileTypeAvoidance>(L"d?c", AnyAccess); })},
    {"FileAgeRule",
     lifeOf([] { return std::make_unique<FileAgeAvoidance>("1   1,2,30", AnyAccess); })},
    {"FileAgeRuleFromWideText",
     lifeOf([] { return std::make_unique<FileAgeAvoidance>(L"1   1,2,30", AnyAccess); })},
    {"RefusedRule", [](Policy&) { FilePathAvoidance("/folder/", AnyAccess); }},
    {"UnbuildableRule", [](Policy&) { FilePathAvoidance("/(", AnyAccess); }},
    {"FilePathDataSet", liveAs<FilePathDataSet>},
    {"FolderDataSet", liveAs<FolderDataSet>},
    {"ProcessDataSet", liveAs<ProcessDataSet>},
    {"FileTypeDataSet", liveAs<FileTypeDataSet>},
    {"FileAgeDataSet", liveAs<FileAgeDataSet>},
    {"DuplicateRule",
     [](Policy& p) {
       p.dataSets[0]->addToDataSet(std::make_unique<FilePathAvoidance>("/path/*.log", AnyAccess));
     }},
    {"UnknownRule",
     [](Policy& p) {
       FilePathAvoidance unknown("/none", AnyAccess);
       p.dataSets[0]->removeFromDataSet(unknown);
     }},
    {"AssignToATakenNumber",
     [](Policy& p) { p.manager.assignDataSet(std::make_shared<FilePathDataSet>(), 1, 0); }},
    {"Manager",
     [](Policy& p) {
       LookupManager manager;
       manager.assignDataSet(p.dataSets[0], 7, 0);
       manager.defineBusinessLogic("(7&!8)|9");
       LookupData request = ask("/path/a.log");
       manager.isPresent(request);
       manager.doLookup(8, request);
     }},
    {"ParseLogic", [](Policy& p) { p.manager.parseLogic("(1|2)&!(3|12345678)|((((1))))"); }},
    {"RefusedLogic", [](Policy& p) { p.manager.defineBusinessLogic("1&a"); }},
    {"ReplaceAll",
     [](Policy&) {
       Utility::replaceAll("a text that is longer than a short one", "t", "something else");
     }},
    {"FindFileExtension",
     [](Policy&) {
       std::string path = "/a/b.an extension that is longer than a short one";
       FileTypeAvoidance::findFileExtension(path);
     }},
    {"DuplicateKey",
     [](Policy&) {
       FileTypeAvoidanceDuplicateKey()("an extension that is longer than a short one", "B");
     }},
    {"Request",
     [](Policy&) {
       LookupData request = fileRequest("/a path that is longer than a short one");
       request.setMatchIndentifier(1);
       const LookupData copy = request;
       request.setMatchIndentifier(2);
     }},
};
INSTANTIATE_TEST_SUITE_P(Of, StarvedCall, testing::ValuesIn(kCalls), nameOf);

// --- First use -----------------------------------------------------------------------------------

// What the libraries beneath make once in a process, they make here: for the engine, for folding
// case and for the start of the trace log.
bool useEverything() {
  Policy policy;
  for (const auto& dataSet : policy.dataSets) dataSet->disableCaseSensitiveSearch();
  auto& path = *policy.dataSets[0];
  path.addToDataSet(std::make_unique<FilePathAvoidance>("/caf\xc3\x89/*", AnyAccess));
  path.addToDataSet(
      std::make_unique<FilePathAvoidance>("/[[:alpha:]\xc3\x89-\xc3\x8A]+", AnyAccess));
  path.addToDataSet(std::make_unique<FilePathAvoidance>(L"/wide/\u00c9", AnyAccess));
  TraceLogMessage(5, "starts the log");
  for (const char* const excluded : {"/CAF\xc3\xa9/x", "/\xc3\xa9", "/xyXYZ", "/wide/\xc3\xa9"}) {
    LookupData request = ask(excluded);
    if (!policy.manager.isPresent(request)) return false;
  }
  return true;
}

// In a process for each allocation, since there is but one first time in each: the first in this
// one, too, where it is the only case that runs.
TEST(StarvedFirstUse, LeavesALibraryThatWorksOnceThereIsMemory) {
  enum Outcome { Fed, Struck, Broken };
  constexpr unsigned kMostSeconds = 60;  // of one process, which may hang
  std::size_t struckAtAll = 0;
  for (const Hunger hunger : {Hunger::OneRefusal, Hunger::ForGood}) {
    struckAtAll += untilFed([&](std::size_t spared) {
      SCOPED_TRACE(testing::Message() << "after " << spared << " allocations, " << hunger);
      const pid_t process = fork();
      if (process == 0) {
        alarm(kMostSeconds);
        bool struck = false;
        {
          const Starvation starvation(spared, hunger);
          hungrily([&] { useEverything(); });
          struck = starvation.struck();
        }
        bool works = false;
        hungrily([&] { works = useEverything(); });
        _exit(!works ? Broken : struck ? Struck : Fed);
      }
      int status = 0;
      EXPECT_EQ(waitpid(process, &status, 0), process);
      EXPECT_TRUE(WIFEXITED(status)) << "signal " << WTERMSIG(status);
      EXPECT_NE(WEXITSTATUS(status), Broken);
      return WEXITSTATUS(status) == Struck && !HasFailure();
    });
  }
  RecordProperty("starved", std::to_string(struckAtAll));
  EXPECT_GT(struckAtAll, 0U) << "nothing was allocated";
}

}  // namespace
}  // namespace Test
}  // namespace QVL
