// Which rules miss a question by little, among many, and what looking for them takes.

#include <gtest/gtest.h>
#include <qvlpolicy/Policy.h>

#ifdef __GLIBC__
#include <malloc.h>
#endif

#include <algorithm>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "tests/qvlpolicy/Policies.h"
#include "tests/support/Sanitizers.h"

namespace qvlpolicy {
namespace {

std::vector<NearRule> nearRulesOf(const Policy& policy, const std::string& path) {
  return policy.nearRules({path, ""}, policy.explain({path, ""}));
}

std::string dataSetOf(const std::string& attributes, const std::string& rules) {
  return policy("<logic>1</logic><data-set number=\"1\" " + attributes + ">" + rules +
                "</data-set>");
}

TEST(NearRules, AreFoundAmongThousands) {
  const struct Row {
    const char* attributes;
    const char* rule;
    const char* path;
    Difference difference;
  } rows[] = {
      {"kind='file-path'", "/v/Near/a.txt", "/v/near/a.txt", Difference::Case},
      {"kind='file-path'", "/v/%C3%89t\u00C9/*", "/v/%C3%89t\u00E9/x", Difference::Case},
      {"kind='file-path'", "/v/caf\u00E9/*", "/v/cafe\u0301/x", Difference::Normalisation},
      {"kind='file-path'", "/v/cafe\u0301/*", "/v/caf\u00E9/x", Difference::Normalisation},
      {"kind='folder'", "/v/near/", "/v/near", Difference::Slash},
      {"kind='file-path'", "/var/near/*", "/private/var/near/x", Difference::Alias},
      {"kind='folder'", "/v/*/d/", "/v/b/c/d/x", Difference::Star},
      {"kind='file-path'", "/v/near", "/v/near/c/x", Difference::Inside},
      {"kind='file-path' wildcards='no'", "/v/*near", "/v/xnear", Difference::Wildcards},
      {"kind='file-path'", "/v/near/b", "/v/near/x", Difference::SameFolder},
      {"kind='file-path'", "/v/b.near", "/x/y.near", Difference::SameExtension},
  };
  for (const Row& row : rows) {
    std::string rules;
    const bool isFolder = std::string(row.attributes) == "kind='folder'";
    for (int i = 0; i < 3000; ++i) {
      rules += "<rule>/srv/d" + std::to_string(i % 7) + "/" + std::to_string(i) + "/" +
               (isFolder ? "" : "name.db") + "</rule>";
      if (i == 2345) rules += std::string("<rule>") + row.rule + "</rule>";
    }
    const Loaded loaded = Policy::parse(dataSetOf(row.attributes, rules), "p.xml");
    ASSERT_TRUE(loaded.policy) << errorsOf(loaded);
    const std::vector<NearRule> found = nearRulesOf(*loaded.policy, row.path);
    ASSERT_EQ(found.size(), 1u) << row.rule;
    EXPECT_EQ(found[0].rule, 2346u) << row.rule;
    EXPECT_EQ(found[0].difference, row.difference) << row.rule;
  }
}

TEST(NearRules, AreAtMostFive) {
  std::string rules;
  for (int i = 0; i < 50; ++i) rules += "<rule>/srv/near/" + std::to_string(i) + ".db</rule>";
  const Loaded loaded = Policy::parse(dataSetOf("kind='file-path'", rules), "p.xml");
  ASSERT_TRUE(loaded.policy) << errorsOf(loaded);
  EXPECT_EQ(nearRulesOf(*loaded.policy, "/srv/near/x.db").size(), 5u);
}

#if defined(__GLIBC__) && !QVL_TEST_ADDRESS_SANITIZER && !QVL_TEST_THREAD_SANITIZER

std::size_t heap() {
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

TEST(NearRules, TakeWithAllSearchesHalfTheMemoryOfAPolicyAtMost) {
  const struct Shape {
    const char* attributes;
    std::function<std::string(const std::string&)> ruleOf;
  } shapes[] = {
      {"kind='file-path'", [](const std::string& i) { return "/srv/" + i + "/**/x*.db"; }},
      {"kind='file-path'", [](const std::string& i) { return "/srv/name" + i + ".db"; }},
      {"kind='file-path'", [](const std::string& i) { return "**/*.x" + i; }},
      {"kind='file-path' wildcards='no'",
       [](const std::string& i) { return "/srv/" + i + "/v[0-9]+\\.(log|tmp)"; }},
      {"kind='folder'", [](const std::string& i) { return "/Users/*/x/" + i + "/"; }},
      {"kind='process'", [](const std::string& i) { return "/usr/lib/*/" + i; }},
      {"kind='file-type'", [](const std::string& i) { return "x" + i; }},
  };
  for (const Shape& shape : shapes) {
    std::string rules;
    for (int i = 0; i < 5000; ++i) rules += "<rule>" + shape.ruleOf(std::to_string(i)) + "</rule>";
    const std::string text = dataSetOf(shape.attributes, rules);
    const std::size_t before = heap();
    // The description is part of the policy and counts, the text does not.
    const auto loaded = Policy::parse(text, "p.xml").policy;
    ASSERT_TRUE(loaded) << shape.attributes;
    loaded->isExcluded({"/x/y.z", "/x"});
    const std::size_t ofLookups = heap() - before;
    nearRulesOf(*loaded, "/x/y.z");
    const std::size_t ofExplanations = heap() - before;
    EXPECT_LE(static_cast<double>(ofExplanations), 1.5 * static_cast<double>(ofLookups))
        << shape.attributes << ' ' << shape.ruleOf("1");
  }
}

TEST(NearRules, KeepFewOfTheRulesThatTheyMake) {
  std::string rules;
  for (int i = 0; i < 5000; ++i) {
    rules += "<rule>/srv/" + std::to_string(i) + "/**/x*.db</rule>";
  }
  const auto loaded = Policy::parse(dataSetOf("kind='file-path'", rules), "p.xml").policy;
  ASSERT_TRUE(loaded);
  nearRulesOf(*loaded, "/x/y.z");
  const std::size_t before = heap();
  std::size_t most = 0;
  std::size_t found = 0;
  for (int i = 0; i < 5000; ++i) {
    found += nearRulesOf(*loaded, "/SRV/" + std::to_string(i) + "/x.db").size();
    most = std::max(most, std::max(heap(), before) - before);
  }
  EXPECT_GE(found, 5000u);
  EXPECT_LE(most, 4000000u);
}

#endif

}  // namespace
}  // namespace qvlpolicy
