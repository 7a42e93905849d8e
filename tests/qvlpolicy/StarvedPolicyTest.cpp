// Memory that runs out while a policy is read: the parser, which is C, calls us back, and nothing
// may be thrown through it.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <qvlpolicy/Lint.h>
#include <qvlpolicy/LivePolicy.h>
#include <qvlpolicy/Policy.h>
#include <qvlpolicy/qvlpolicy.h>

#include <cstdint>
#include <filesystem>
#include <iterator>
#include <new>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/qvlpolicy/Policies.h"
#include "tests/support/Starvation.h"

namespace {

[[maybe_unused]] int parsings = 0;
int exceptionsThroughTheParser = 0;

}  // namespace

#if defined(__linux__)
// The parser's operation by which policies are read, watched: an exception that one of our
// functions lets pass would leave it here.
extern "C" xmlDoc* xmlCtxtReadMemory(xmlParserCtxt* parser, const char* text, int size,
                                     const char* url, const char* encoding, int options) {
  static const auto original =
      reinterpret_cast<decltype(&xmlCtxtReadMemory)>(dlsym(RTLD_NEXT, "xmlCtxtReadMemory"));
  ++parsings;
  try {
    return original(parser, text, size, url, encoding, options);
  } catch (...) {
    ++exceptionsThroughTheParser;
    throw;
  }
}
#endif

namespace qvlpolicy {
namespace {

using QVL::Test::Hunger;
using QVL::Test::Starvation;
using QVL::Test::untilFed;
using QVL::Test::Whose;

std::string outcomeOf(const Loaded& loaded) {
  return loaded.policy ? "a policy" : errorsOf(loaded);
}

// Texts that lead to each of the calls by which the parser tells what it found.
const std::vector<std::pair<std::string, std::string>> kTexts = {
    {"a policy", policy("<logic>1</logic>\n"
                        "<data-set number=\"1\" kind=\"file-path\" name=\"a name long enough to be "
                        "allocated\" comment=\"and another text that is\">"
                        "<keyword name=\"%LONG NAMES OF KEYWORDS%\"><value>a</value></keyword>"
                        "<rule>/data/%LONG NAMES OF KEYWORDS%/&lt;and&gt;<![CDATA[<more>]]></rule>"
                        "</data-set>")},
    {"elements that do not belong there", policy("<no-such-element and-this=\"its attribute\"/>")},
    {"no XML", "<exclusion-policy version=\"1\"><logic>1</a-tag-that-nobody-opened>"},
    {"a document type", "<!DOCTYPE exclusion-policy><exclusion-policy version=\"1\"/>"},
};

// Reads the text while memory runs out. Answers whether it did.
bool readHungrily(const std::string& text, const std::string& fed, std::size_t spared,
                  Hunger hunger) {
  Loaded loaded;
  bool isRead = false;
  bool struck = false;
  {
    const Starvation starvation(spared, hunger, Whose::OperatorNew);
    try {
      loaded = Policy::parse(text, "policy.xml");
      isRead = true;
    } catch (const std::bad_alloc&) {
    }
    struck = starvation.struck();
  }
  // A rule that cannot be compiled is refused, whatever the reason is.
  if (isRead && (loaded.policy || fed != "a policy")) {
    EXPECT_EQ(outcomeOf(loaded), fed);
  }
  return struck;
}

TEST(StarvedPolicy, IsReadAsEverOrNotAtAll) {
  for (const auto& one : kTexts) {
    SCOPED_TRACE(one.first);
    const auto& text = one.second;
    const std::string fed = outcomeOf(Policy::parse(text, "policy.xml"));
    for (const Hunger hunger : {Hunger::OneRefusal, Hunger::ForGood}) {
      const std::size_t struckAtAll = untilFed([&](std::size_t spared) {
        SCOPED_TRACE(testing::Message() << "after " << spared << " allocations, " << hunger);
        // What the first time around is kept for good is no leak.
        readHungrily(text, fed, spared, hunger);
        const long blocks = QVL::Test::liveBlocks();
        const bool struck = readHungrily(text, fed, spared, hunger);
        EXPECT_EQ(QVL::Test::liveBlocks(), blocks) << "a leak";
        EXPECT_EQ(outcomeOf(Policy::parse(text, "policy.xml")), fed) << "the next one";
        return struck && !testing::Test::HasFailure();
      });
      EXPECT_GT(struckAtAll, 5U);
    }
  }
  EXPECT_EQ(exceptionsThroughTheParser, 0);
#if defined(__linux__)
  EXPECT_GT(parsings, 100);
#endif
}

// ---- Whatever a host calls ----

class StarvedHost : public FolderOfPolicies {
 protected:
  // `tried` either does all that it should, and answers true, or throws std::bad_alloc; `isAsEver`
  // tells afterwards whether everything goes on as it did before. Nothing else may be thrown.
  template <typename Tried, typename IsAsEver>
  static void expectAllOrNothing(Tried tried, IsAsEver isAsEver) {
    ASSERT_TRUE(tried());  // what is made once and kept
    for (const Hunger hunger : {Hunger::OneRefusal, Hunger::ForGood}) {
      std::size_t refusals = 0;
      const std::size_t struckAtAll = untilFed([&](std::size_t spared) {
        SCOPED_TRACE(testing::Message() << "after " << spared << " allocations, " << hunger);
        bool isRight = true;
        bool struck = false;
        {
          const Starvation starvation(spared, hunger, Whose::OperatorNew);
          try {
            isRight = tried();
          } catch (const std::bad_alloc&) {
            ++refusals;
          }
          struck = starvation.struck();
        }
        EXPECT_TRUE(isRight);
        EXPECT_TRUE(isAsEver());
        return struck && !testing::Test::HasFailure();
      });
      EXPECT_GT(struckAtAll, 0U);
      EXPECT_GT(refusals, 0U);
    }
  }

  static Question question() { return {"/srv/build/long-name-of-a-file.o", "/usr/bin/compiler"}; }
};

const std::string kRules =
    "<logic>1|2</logic>\n<data-set number=\"1\" kind=\"file-path\" keywords=\"table-with-names\">"
    "<rule reason=\"a reason that is long enough\">/srv/%BUILD%/**.o</rule>"
    "<rule>/srv/build/long-name-of-a-?ile.o</rule><rule>/srv/(a|b)\\1/**</rule></data-set>"
    "<include file=\"processes.xml\"/>"
    "<keywords name=\"table-with-names\"><keyword name=\"%BUILD%\"><value>build</value></keyword>"
    "</keywords>";
const std::string kProcesses = policy(
    "<data-set number=\"2\" kind=\"process\"><rule>/usr/bin/other-compiler</rule></data-set>");

TEST_F(StarvedHost, LoadsAFileWithAllThatItIncludesOrThrows) {
  write("policy.xml", policy(kRules));
  write("processes.xml", kProcesses);
  const auto descriptors = [] {
    const std::filesystem::directory_iterator begin("/dev/fd");
    return std::distance(begin, std::filesystem::directory_iterator());
  };
  load("policy.xml");  // opens what the engine keeps open
  const auto before = descriptors();
  expectAllOrNothing(
      [&] {
        const Loaded loaded = load("policy.xml");
        // A rule that cannot be compiled is refused, whatever the reason is.
        return loaded.policy ? loaded.policy->isExcluded(question()) : !loaded.errors.empty();
      },
      [&] { return load("policy.xml").policy != nullptr && descriptors() == before; });
}

TEST_F(StarvedHost, IsAnsweredRightlyOrNotAtAll) {
  write("policy.xml", policy(kRules));
  write("processes.xml", kProcesses);
  const Loaded loaded = load("policy.xml");
  ASSERT_TRUE(loaded.policy) << errorsOf(loaded);
  const auto asks = [&] {
    const Answer answer = loaded.policy->ask(question());
    return answer.isExcluded && answer.dataSets == std::vector<unsigned int>{1};
  };
  expectAllOrNothing(asks, asks);
}

// The index is there afterwards, or is made by the next search.
TEST_F(StarvedHost, IsToldWhyRightlyOrNotAtAll) {
  write("policy.xml", policy(kRules));
  write("processes.xml", kProcesses);
  const auto explains = [&](const Policy& policy) {
    const Explanation explanation = policy.explain(question());
    return explanation.isExcluded && explanation.dataSets[0].rules.size() == 2;
  };
  Loaded loaded = load("policy.xml");
  expectAllOrNothing([&] { return explains(*loaded.policy); },
                     [&] {
                       const bool isRight = explains(*loaded.policy);
                       loaded = load("policy.xml");  // without an index
                       return isRight;
                     });
  const Question other = {"/SRV/build/long-name-of-a-file.o", ""};
  const auto isNear = [&] {
    return !loaded.policy->nearRules(other, loaded.policy->explain(other)).empty();
  };
  expectAllOrNothing(isNear, [&] {
    const bool isRight = isNear();
    loaded = load("policy.xml");
    return isRight;
  });
}

TEST_F(StarvedHost, IsToldWhatIsOddOrNothing) {
  write("policy.xml", policy(kRules));
  write("processes.xml", kProcesses);
  const Loaded loaded = load("policy.xml");
  const std::size_t findings = lint(loaded).findings.size();
  const auto lints = [&] { return lint(loaded).findings.size() == findings; };
  EXPECT_GT(findings, 0U);
  expectAllOrNothing(lints, lints);
}

// What is in force is one policy for all threads, whenever memory runs out while it is exchanged.
TEST_F(StarvedHost, KeepsAPolicyInForceOrTakesTheNextOne) {
  write("policy.xml", policy("<logic>1</logic>" + folderSet(1, "/srv/")));
  LivePolicy live(load("policy.xml").policy, Counting::Rules);
  // Threads are given places in turn, and what is in force in each has to be the same.
  const auto inForce = [&] {
    std::set<const Policy*> policies;
    for (int i = 0; i < 32; ++i) {
      std::thread([&] { policies.insert(live.policy().get()); }).join();
    }
    return policies;
  };
  expectAllOrNothing(
      [&] {
        const Loaded loaded = live.reload();
        return loaded.policy ? live.policy() == loaded.policy : !loaded.errors.empty();
      },
      [&] {
        return inForce().size() == 1 && live.isExcluded({"/srv/x", ""});
      });
}

// The interface in C: a status, or no handle, and never an exception.
TEST_F(StarvedHost, IsToldInC) {
  write("policy.xml", policy(kRules));
  write("processes.xml", kProcesses);
  const std::string file = path("policy.xml");
  const qvlpolicy_question asked = {
      {"/srv/build/long-name-of-a-file.o", 32}, {"/usr/bin/compiler", 17}, QVLPOLICY_READ};
  // Answers false when something was refused for want of memory.
  const auto useAll = [&] {
    qvlpolicy_report* report = nullptr;
    qvlpolicy_policy* const policy = qvlpolicy_load(file.data(), file.size(), &report);
    qvlpolicy_findings* const findings = qvlpolicy_lint(report, nullptr);
    qvlpolicy_live* const live =
        policy == nullptr ? nullptr : qvlpolicy_live_new(policy, QVLPOLICY_COUNT_RULES);
    qvlpolicy_counters* const counters = qvlpolicy_live_counters(live);
    qvlpolicy_queries* const queries = qvlpolicy_queries_new(&policy, 1, nullptr);
    bool isWhole = policy != nullptr && report != nullptr && findings != nullptr &&
                   live != nullptr && counters != nullptr && queries != nullptr;
    const auto took = [&](int status) { isWhole = isWhole && status >= 0; };
    if (policy != nullptr) {
      qvlpolicy_match matches[8];
      std::size_t count = 0;
      std::uint32_t dataSets[2];
      const int verdict = qvlpolicy_is_excluded(policy, &asked);
      EXPECT_NE(verdict, 0);
      took(verdict);
      took(qvlpolicy_ask(policy, &asked, dataSets, 2, &count));
      took(qvlpolicy_matching_rules(policy, &asked, matches, 8, &count));
      took(qvlpolicy_near_rules(policy, &asked, matches, 8, &count));
    }
    if (live != nullptr) {
      qvlpolicy_report* reloaded = nullptr;
      took(qvlpolicy_live_ask(live, &asked, nullptr, 0, nullptr));
      took(qvlpolicy_live_reload(live, &reloaded));
      isWhole = isWhole && reloaded != nullptr;
      qvlpolicy_report_free(reloaded);
    }
    qvlpolicy_queries_free(queries);
    qvlpolicy_counters_free(counters);
    qvlpolicy_live_free(live);
    qvlpolicy_findings_free(findings);
    qvlpolicy_report_free(report);
    qvlpolicy_free(policy);
    return isWhole;
  };
  ASSERT_TRUE(useAll());
  for (const Hunger hunger : {Hunger::OneRefusal, Hunger::ForGood}) {
    const std::size_t struckAtAll = untilFed([&](std::size_t spared) {
      SCOPED_TRACE(testing::Message() << "after " << spared << " allocations, " << hunger);
      bool struck = false;
      bool isWhole = false;
      {
        const Starvation starvation(spared, hunger, Whose::OperatorNew);
        isWhole = useAll();
        struck = starvation.struck();
      }
      EXPECT_TRUE(struck || isWhole);
      EXPECT_FALSE(struck && hunger == Hunger::ForGood && isWhole);
      EXPECT_TRUE(useAll()) << "the next one";
      return struck && !testing::Test::HasFailure();
    });
    EXPECT_GT(struckAtAll, 100U);
  }
}

// A path that is near the same rules as the last one is told so without making those rules again:
// the allocations are counted, which are the same on every machine.
TEST(NearRulesOfOnePathAfterAnother, AreMadeOnce) {
  std::string rules;
  for (int i = 0; i < 50; ++i) rules += "<rule>/srv/?*" + std::to_string(i) + "/*.db</rule>";
  const Loaded loaded = Policy::parse(
      policy("<logic>1</logic><data-set number=\"1\" kind=\"file-path\">" + rules + "</data-set>"),
      "policy.xml");
  ASSERT_TRUE(loaded.policy);
  // Does a search end with so many allocations, or does it want more?
  const auto suffices = [&](std::size_t allocations, const std::string& path) {
    const Question request = {path, ""};
    const Explanation explanation = loaded.policy->explain(request);
    const Starvation starvation(allocations, Hunger::ForGood, Whose::OperatorNew);
    try {
      loaded.policy->nearRules(request, explanation);
    } catch (const std::bad_alloc&) {
    }
    return !starvation.struck();
  };
  EXPECT_TRUE(suffices(1000000, "/x/none"));  // makes the index
  const std::size_t few = 500;
  EXPECT_FALSE(suffices(few, "/SRV/x0123456789/y.db"));
  EXPECT_TRUE(suffices(1000000, "/SRV/x0123456789/y.db"));
  EXPECT_TRUE(suffices(few, "/SRV/x0123456789/y.db"));
  EXPECT_TRUE(suffices(few, "/SRV/y0123456789/z.db"));
}

// What an explanation takes for each rule that matches is what it takes to find that it does.
TEST(ExplanationOfManyRules, AllocatesNothingForEach) {
  const auto allocationsFor = [](int rules) {
    std::string inside = "<logic>1</logic><data-set number=\"1\" kind=\"file-path\">";
    for (int i = 0; i < rules; ++i) {
      inside += "<rule>/srv/" + std::string(static_cast<std::size_t>(i + 1), '*') + "/**</rule>";
    }
    const Loaded loaded = Policy::parse(policy(inside + "</data-set>"), "policy.xml");
    const Question request = {"/srv/a/b/c/d", ""};
    loaded.policy->explain(request);
    EXPECT_EQ(loaded.policy->explain(request).dataSets[0].rules.size(),
              static_cast<std::size_t>(rules));
    std::size_t allocations = 0;
    for (bool suffices = false; !suffices; ++allocations) {
      const Starvation starvation(allocations, Hunger::ForGood, Whose::OperatorNew);
      try {
        loaded.policy->explain(request);
        suffices = true;
      } catch (const std::bad_alloc&) {
      }
    }
    return allocations;
  };
  EXPECT_EQ(allocationsFor(400), allocationsFor(2));
}

// Rules times values would be a million allocations and more.
TEST(KeywordsOfManyValues, AreReadOnceForAllRules) {
  std::string inside =
      "<logic>1</logic><data-set number=\"1\" kind=\"file-path\"><keyword name=\"%K%\">";
  for (int i = 0; i < 2000; ++i) inside += "<value>value" + std::to_string(i) + "</value>";
  inside += "</keyword>";
  for (int i = 0; i < 500; ++i) inside += "<rule>/srv/" + std::to_string(i) + "/%K%/*</rule>";
  const std::string text = policy(inside + "</data-set>");
  constexpr std::size_t kFew = 200'000;
  Loaded loaded;
  {
    const Starvation starvation(kFew, Hunger::ForGood, Whose::OperatorNew);
    try {
      loaded = Policy::parse(text, "policy.xml");
    } catch (const std::bad_alloc&) {
    }
    EXPECT_FALSE(starvation.struck()) << "loading";
  }
  ASSERT_TRUE(loaded.policy);
  // Without a policy the rules are made anew.
  for (const bool hasPolicy : {true, false}) {
    if (!hasPolicy) loaded.policy.reset();
    const Starvation starvation(kFew, Hunger::ForGood, Whose::OperatorNew);
    try {
      lint(loaded);
    } catch (const std::bad_alloc&) {
    }
    EXPECT_FALSE(starvation.struck()) << "lint " << hasPolicy;
  }
}

}  // namespace
}  // namespace qvlpolicy
