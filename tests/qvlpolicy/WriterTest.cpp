// A policy written as one file says the same.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <qvlpolicy/Writer.h>

#include <string>

#include "tests/qvlpolicy/Policies.h"

namespace qvlpolicy {
namespace {

using testing::HasSubstr;

class Written : public FolderOfPolicies {};

TEST_F(Written, IsOneFileThatSaysTheSame) {
  write(
      "main.xml",
      "<exclusion-policy version=\"1\" expired=\"drop\"><logic> (1|2)\n&amp; !3 | 4 </logic>"
      "<include file=\"a--b.xml\"/>"
      "<keywords name=\"t\"><keyword name=\"%T%\"><value>a&lt;b</value><value>c</value></keyword>"
      "</keywords>"
      "<data-set number=\"2\" kind=\"process\" check-access=\"17\" owner=\"o &quot;x&quot;&#10;\">"
      "<rule default-folder=\"/bin\" expires=\"2020-01-01\">sh</rule></data-set>"
      "<allow finding=\"f\" reason=\"a &lt; b\"/>"
      "<data-set number=\"3\" kind=\"file-age\" enabled=\"no\">"
      "<allow finding=\"g\" reason=\"r\"/>"
      "<rule of=\"creation\" days=\"30, 7\" access=\"read\"/></data-set>"
      "<data-set number=\"4\" kind=\"file-type\" case-sensitive=\"yes\" match-empty-input=\"yes\" "
      "check-access=\"never\"><rule>a&amp;b</rule></data-set></exclusion-policy>");
  write("a--b.xml",
        policy("<data-set number=\"1\" kind=\"folder\" keywords=\"t\" wildcards=\"no\">"
               "<rule subfolders=\"no\" reason=\"r\">/opt/%T%/&#13;/ ü/</rule></data-set>"));
  const Loaded first = load("main.xml");
  ASSERT_TRUE(first.policy) << errorsOf(first);
  const std::string text = policyText(first.policy->description());
  const Loaded second = Policy::parse(text, "shown.xml");
  ASSERT_TRUE(second.policy) << errorsOf(second) << text;
  EXPECT_THAT(text, HasSubstr("a- -b.xml:2 -->\n  <data-set number=\"1\" kind=\"folder\""));

  const Description& a = first.policy->description();
  const Description& b = second.policy->description();
  EXPECT_EQ(a.logic, b.logic);
  EXPECT_EQ(a.dropsExpired, b.dropsExpired);
  ASSERT_EQ(b.allowances.size(), 1u);
  EXPECT_EQ(b.allowances[0].finding, "f");
  EXPECT_EQ(b.allowances[0].reason, "a < b");
  EXPECT_EQ(b.allowances[0].rule, "");
  ASSERT_EQ(a.dataSets.size(), b.dataSets.size());
  for (std::size_t i = 0; i < a.dataSets.size(); ++i) {
    const DataSet& x = a.dataSets[i];
    const DataSet& y = b.dataSets[i];
    EXPECT_EQ(x.number, y.number);
    EXPECT_EQ(x.kind, y.kind);
    EXPECT_EQ(x.enabled, y.enabled);
    EXPECT_EQ(x.matchEmptyInput, y.matchEmptyInput);
    EXPECT_EQ(x.caseSensitive, y.caseSensitive);
    EXPECT_EQ(x.wildcards, y.wildcards);
    EXPECT_EQ(x.accessCheck, y.accessCheck);
    EXPECT_EQ(x.access, y.access);
    EXPECT_EQ(x.metadata ? x.metadata->owner : "", y.metadata ? y.metadata->owner : "");
    ASSERT_EQ(x.allowances.size(), y.allowances.size());
    for (std::size_t j = 0; j < x.allowances.size(); ++j) {
      EXPECT_EQ(x.allowances[j].finding, y.allowances[j].finding);
      EXPECT_EQ(x.allowances[j].reason, y.allowances[j].reason);
    }
    ASSERT_EQ(x.keywords.size(), y.keywords.size());
    for (std::size_t j = 0; j < x.keywords.size(); ++j) {
      EXPECT_EQ(x.keywords[j].name, y.keywords[j].name);
      EXPECT_EQ(x.keywords[j].values, y.keywords[j].values);
    }
    ASSERT_EQ(x.rules.size(), y.rules.size());
    for (std::size_t j = 0; j < x.rules.size(); ++j) {
      EXPECT_EQ(x.rules[j].text, y.rules[j].text);
      EXPECT_EQ(x.rules[j].access, y.rules[j].access);
      EXPECT_EQ(x.rules[j].includeSubfolders, y.rules[j].includeSubfolders);
      EXPECT_EQ(x.rules[j].defaultFolder, y.rules[j].defaultFolder);
      EXPECT_EQ(x.rules[j].isDropped, y.rules[j].isDropped);
      EXPECT_EQ(x.rules[j].metadata ? x.rules[j].metadata->expires : "",
                y.rules[j].metadata ? y.rules[j].metadata->expires : "");
    }
  }
}

}  // namespace
}  // namespace qvlpolicy
