#include <gtest/gtest.h>

#include <string>

#include "qvl/qvl.h"
#include "tests/support/Outcome.h"
#include "tests/support/Requests.h"
#include "tests/support/RuleKinds.h"
#include "tests/support/TraceRecorder.h"

namespace QVL {
namespace Test {
namespace {

constexpr unsigned char kFolderOnly = 0;
constexpr unsigned char kWithSubfolders = 1;

bool matches(FolderAvoidance& rule, const std::string& path) {
  LookupData request = fileRequest(path);
  return rule.canAvoid(request);
}

TEST(FolderRule, MatchesFilesInTheFolderAndOnRequestBelowIt) {
  const struct {
    const char* rule;
    const char* path;
    bool folderOnly;
    bool withSubfolders;
  } rows[] = {
      {"/tmp/", "/tmp/a", true, true},
      {"/tmp/", "/tmp/a/b", false, true},
      {"/tmp/", "/tmp/a/", false, true},
      {"/tmp/", "/tmp/", true, true},  // what follows the folder may be nothing
      {"/tmp/", "/tmp", false, false},
      {"/tmp/", "/tmpx/a", false, false},
      {"/tmp/", "/x/tmp/a", false, false},
      {"/tmp/", "tmp/a", false, false},
      {"/tmp/", "", false, false},
      {"/tmp/", "/tmp/a\nb", true, true},
      {"/tmp/", "/tmp/a\n/b", false, true},
      {"/tmp/", "/tmp/日本", true, true},
      {"/", "/a", true, true},
      {"/", "/a/b", false, true},
      {"/", "a", false, false},
      {"/Users/*/Downloads/", "/Users/ann/Downloads/x.dmg", true, true},
      {"/Users/*/Downloads/", "/Users/ann/Downloads/old/x.dmg", false, true},
      {"/Users/*/Downloads/", "/Users/ann/bob/Downloads/x.dmg", false, false},
      {"/Users/*/Downloads/", "/Users/ann/Downloads", false, false},
      {"/var/**/", "/var/a", true, true},
      {"/var/**/", "/var/x/y/a", true, true},
      {"/var/**/", "/var/", true, true},
      {"/var/**/", "/var", false, false},
      {"/var/**/", "/varx/a", false, false},
      {"**/", "/a/b/c", true, true},
      {"**/", "a", false, false},
      {"/a/?/", "/a/x/f", true, true},
      {"/a/?/", "/a/xy/f", false, false},
      {"/a.b/", "/a.b/f", true, true},
      {"/a.b/", "/axb/f", false, false},
      {"/node_modules/", "/node_modules_old/f", false, false},
      {"/DOUBLE/", "/x/y/f", true, true},
      {"DOUBLEWITHSLASH/", "/x//f", true, true},
      {"(a|b)/", "b/f", true, true},
      {"(a|b)/", "c/f", false, false},
  };
  for (const auto& row : rows) {
    FolderAvoidance folderOnly(std::string(row.rule), AnyAccess, kFolderOnly);
    EXPECT_EQ(matches(folderOnly, row.path), row.folderOnly)
        << "folder " << row.rule << " alone, path " << shown(row.path);
    FolderAvoidance withSubfolders(std::string(row.rule), AnyAccess, kWithSubfolders);
    EXPECT_EQ(matches(withSubfolders, row.path), row.withSubfolders)
        << "folder " << row.rule << " with subfolders, path " << shown(row.path);
  }
}

TEST(FolderRule, AnyNonZeroByteIncludesSubfolders) {
  for (const unsigned char flag : std::vector<unsigned char>{1, 2, 128, 255}) {
    FolderAvoidance rule(std::string("/tmp/"), AnyAccess, flag);
    EXPECT_TRUE(matches(rule, "/tmp/a/b")) << int{flag};
    FolderAvoidance wide(std::wstring(L"/tmp/"), AnyAccess, flag);
    EXPECT_TRUE(matches(wide, "/tmp/a/b")) << int{flag};
  }
  FolderAvoidance wide(std::wstring(L"/tmp/"), AnyAccess, kFolderOnly);
  EXPECT_FALSE(matches(wide, "/tmp/a/b"));
}

TEST(FolderRule, IgnoresSiblingSharingPrefix) {
  FolderAvoidance rule(std::string("/srv/data/"), AnyAccess, kWithSubfolders);
  EXPECT_TRUE(matches(rule, "/srv/data/x"));
  EXPECT_FALSE(matches(rule, "/srv/database/x"));
  EXPECT_FALSE(matches(rule, "/srv/data.old/x"));
}

TEST(FolderRule, TheTextEndsInASlash) {
  const struct {
    const char* text;
    bool accepted;
  } rows[] = {
      {"/tmp", false}, {"/tmp/", true},   {"", false},        {"/", true},       {"a", false},
      {"a/", true},    {"/tmp/*", false}, {"/tmp/**", false}, {"/tmp/ ", false}, {"//", true},
  };
  for (const auto& row : rows) {
    const std::string expected = row.accepted ? "nothing" : FolderKind::kRefusedMessage;
    EXPECT_EQ(thrownBy([&] { FolderKind::make(std::string(row.text)); }), expected) << row.text;
    EXPECT_EQ(thrownBy([&] { FolderKind::make(widened(row.text)); }), expected) << row.text;
  }
}

TEST(FolderRule, AcceptsUpTo4096Bytes) {
  const std::string longest = "/" + std::string(4094, 'a') + "/";
  ASSERT_EQ(longest.size(), 4096U);
  EXPECT_EQ(thrownBy([&] { FolderKind::make(longest); }), "nothing");
  EXPECT_EQ(thrownBy([&] { FolderKind::make("a" + longest); }), FolderKind::kRefusedMessage);
  EXPECT_EQ(thrownBy([&] { FolderKind::make(widened(longest)); }), "nothing");
  EXPECT_EQ(thrownBy([&] { FolderKind::make(widened("a" + longest)); }),
            FolderKind::kRefusedMessage);
}

TEST(FolderRule, WildcardsAndKeywordsDoNotTouchTheSuffix) {
  // Raw: the text is an expression, the suffix remains.
  FolderAvoidance raw(std::string("/a.b/"), AnyAccess, kFolderOnly);
  raw.disableWildCardSearch();
  ASSERT_TRUE(raw.updateRegex());
  EXPECT_TRUE(matches(raw, "/axb/f"));
  EXPECT_FALSE(matches(raw, "/axb/f/g"));

  FolderAvoidance rawDeep(std::string("/a.b/"), AnyAccess, kWithSubfolders);
  rawDeep.disableWildCardSearch();
  ASSERT_TRUE(rawDeep.updateRegex());
  EXPECT_TRUE(matches(rawDeep, "/axb/f/g"));

  // Keywords that would be found in the suffix.
  FolderAvoidance rule(std::string("/a/"), AnyAccess, kFolderOnly);
  ASSERT_TRUE(rule.addOrUpdateKeyword("[^/]*", {"x"}));
  ASSERT_TRUE(rule.addOrUpdateKeyword("^", {"y"}));
  ASSERT_TRUE(rule.updateRegex());
  EXPECT_TRUE(matches(rule, "/a/f"));
  EXPECT_FALSE(matches(rule, "/a/f/g"));

  FolderAvoidance deep(std::string("/a/"), AnyAccess, kWithSubfolders);
  ASSERT_TRUE(deep.addOrUpdateKeyword(".*", {"x"}));
  ASSERT_TRUE(deep.addOrUpdateKeyword(".", {"y"}));
  ASSERT_TRUE(deep.updateRegex());
  EXPECT_TRUE(matches(deep, "/a/f/g"));
}

TEST(FolderRule, KeywordsStandForAnyOfTheirValues) {
  FolderAvoidance rule(std::string("/%HOME%/cache/"), AnyAccess, kFolderOnly);
  ASSERT_TRUE(rule.addOrUpdateKeyword("%HOME%", {"home/ann", "root"}));
  EXPECT_FALSE(matches(rule, "/root/cache/f"));
  ASSERT_TRUE(rule.updateRegex());
  EXPECT_TRUE(matches(rule, "/root/cache/f"));
  EXPECT_TRUE(matches(rule, "/home/ann/cache/f"));
  EXPECT_FALSE(matches(rule, "/home/bob/cache/f"));
  EXPECT_FALSE(rule.addOrUpdateKeyword("", {"x"}));
  EXPECT_FALSE(rule.addOrUpdateKeyword("%HOME%", {}));
  EXPECT_FALSE(rule.deleteKeyword("%OTHER%"));
  EXPECT_TRUE(rule.deleteKeyword("%HOME%"));
  ASSERT_TRUE(rule.updateRegex());
  EXPECT_FALSE(matches(rule, "/root/cache/f"));
}

TEST(FolderRule, CaseMattersUntilSwitchedOff) {
  FolderAvoidance rule(std::string("/Tmp/"), AnyAccess, kFolderOnly);
  EXPECT_FALSE(matches(rule, "/tmp/f"));
  rule.disableCaseSensitiveSearch();
  ASSERT_TRUE(rule.updateRegex());
  EXPECT_TRUE(matches(rule, "/tmp/f"));
}

TEST(FolderRule, ReadsThePathOfTheRequestOnly) {
  FolderAvoidance rule(std::string("/a/"), AnyAccess, kFolderOnly);
  LookupData request;
  request.m_processName = "/a/f";
  EXPECT_FALSE(rule.canAvoid(request));
}

TEST(FolderRule, APathThatIsNotUtf8Throws) {
  FolderAvoidance rule(std::string("/a/"), AnyAccess, kWithSubfolders);
  EXPECT_THROW(matches(rule, "/a/\xff/b"), std::exception);
  EXPECT_THROW(matches(rule, "\x80"), std::exception);
  EXPECT_FALSE(matches(rule, "/b/\xff/b"));
}

TEST(FolderRule, TracesItsLookups) {
  FolderAvoidance rule(std::string("/a/"), ReadAccess, kFolderOnly);
  LookupData match = fileRequest("/a/f", ReadAccess);
  ForeignRequest foreign;
  TraceRecorder trace;
  EXPECT_TRUE(rule.canAvoid(match));
  EXPECT_EQ(trace.take(), traced({"FolderAvoidance::canAvoid\n"}));
  EXPECT_TRUE(rule.canAvoidWithAccessType(match, false));
  EXPECT_EQ(trace.take(), traced({"FolderAvoidance::canAvoidWithAccessType\n"}));
  rule.canAvoid(foreign);
  EXPECT_EQ(trace.take(), traced({"FolderAvoidance::canAvoid\n"}));
  rule.canAvoidWithAccessType(foreign, false);
  EXPECT_EQ(trace.take(), traced({"FolderAvoidance::canAvoidWithAccessType\n"}));
}

}  // namespace
}  // namespace Test
}  // namespace QVL
