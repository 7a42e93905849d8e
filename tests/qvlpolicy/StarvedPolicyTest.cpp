// Memory that runs out while a policy is read: the parser, which is C, calls us back, and nothing
// may be thrown through it.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <qvlpolicy/Lint.h>
#include <qvlpolicy/Policy.h>

#include <new>
#include <string>
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
