#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "qvl/qvl.h"
#include "tests/support/FoldingLocale.h"
#include "tests/support/Outcome.h"
#include "tests/support/Requests.h"
#include "tests/support/RuleKinds.h"
#include "tests/support/TraceRecorder.h"

namespace QVL {
namespace Test {
namespace {

bool matches(FileTypeAvoidance& rule, const std::string& path) {
  LookupData request = fileRequest(path);
  return rule.canAvoid(request);
}

// --- Extension -----------------------------------------------------------------------------------

TEST(FileTypeRule, TheExtensionFollowsTheLastDotOfTheWholePath) {
  using namespace std::string_literals;
  const struct {
    std::string path;
    std::string extension;
  } rows[] = {
      {"/a/report.PDF", "PDF"},
      {"/a/archive.tar.gz", "gz"},
      {"/a/b.d/file", "d/file"},
      {"/a/Makefile", ""},
      {"/a/file.", ""},
      {"/dir.old/file", "old/file"},
      {"/dir.old/file.txt", "txt"},
      {"", ""},
      {".", ""},
      {"..", ""},
      {".bashrc", "bashrc"},
      {"/a/..b", "b"},
      {"/a/b. c ", " c "},
      {"/a/b.\n", "\n"},
      {"/a/b.é", "é"},
      {"/a/b.x\0y"s, "x\0y"s},
      {"/a/b\0.x"s, "x"},
  };
  TraceRecorder trace;
  for (const auto& row : rows) {
    std::string path = row.path;
    EXPECT_EQ(FileTypeAvoidance::findFileExtension(path), row.extension) << shown(row.path);
    EXPECT_EQ(path, row.path) << "the path is only read";
    EXPECT_EQ(trace.take(), traced({"FileTypeAvoidance::findFileExtension\n"}));
  }
}

// --- Matching ------------------------------------------------------------------------------------

TEST(FileTypeRule, MatchesTheWholeExtension) {
  const struct {
    const char* rule;
    const char* path;
    bool expected;
  } rows[] = {
      {"pdf", "/x/Report.PDF", true},
      {"PDF", "/x/report.pdf", true},
      {"pdf", "/x/report.pd", false},
      {"pdf", "/x/report.pdfx", false},
      {"pdf", "/x/report.xpdf", false},
      {"pdf", "/x/pdf", false},
      {"pdf", "/x/report.pdf.gz", false},
      {"gz", "/x/report.tar.gz", true},
      {"tar.gz", "/x/report.tar.gz", false},
      {"old", "/dir.old/file", false},
      {"old/file", "/dir.old/file", true},
      {"bashrc", "/home/.bashrc", true},
      // "?" is one character other than a slash.
      {"d?c", "/x.doc", true},
      {"d?c", "/x.dxc", true},
      {"d?c", "/x.dc", false},
      {"d?c", "/x.dxxc", false},
      {"d?c", "/x.d/c", false},
      {"?", "/x.é", true},
      {"?", "/x.日", true},
      {"??", "/x.é", false},
      {"a?", "/x.a\n", true},
      // "*" is itself.
      {"*", "/x.*", true},
      {"*", "/x.txt", false},
      {"*", "/x.", false},
      {"*", "/x.**", false},
      {"d*c", "/x.d*c", true},
      {"d*c", "/x.dc", false},
      {"d*c", "/x.doc", false},
      {"d*c", "/x.ddc", false},
      // A dot is any character: an extension holds none itself.
      {"t.t", "/x.txt", true},
      {"t.t", "/x.tt", false},
      {"t.t", "/x.t/t", true},
      {"t\\.t", "/x.txt", false},
      {".", "/x.a", true},
      // Other characters keep their meaning in expressions.
      {"jpe?g", "/x.jpeg", false},
      {"jpe?g", "/x.jpexg", true},
      {"x+", "/x.xx", true},
      {"mp[34]", "/x.mp3", true},
      {"mp[34]", "/x.mp5", false},
      {"doc|docx", "/x.docx", true},
      {"(a|b)c", "/x.bc", true},
      {"(a|b)c", "/x.cc", false},
      {"%K%", "/x.%K%", true},
      {"DOUBLE", "/x.double", true},
      {"DOUBLE", "/x.abc", false},
  };
  for (const auto& row : rows) {
    FileTypeAvoidance rule(std::string(row.rule), AnyAccess);
    EXPECT_EQ(matches(rule, row.path), row.expected)
        << "rule " << row.rule << ", path " << shown(row.path);
  }
}

TEST(FileTypeRule, IgnoresCaseUntilSwitchedOn) {
  FileTypeAvoidance rule(std::string("pdf"), AnyAccess);
  EXPECT_TRUE(matches(rule, "/x/Report.PDF"));
  rule.enableCaseSensitiveSearch();
  EXPECT_TRUE(matches(rule, "/x/Report.PDF")) << "before the update";
  ASSERT_TRUE(rule.updateRegex());
  EXPECT_FALSE(matches(rule, "/x/Report.PDF"));
  EXPECT_TRUE(matches(rule, "/x/report.pdf"));
  rule.disableCaseSensitiveSearch();
  ASSERT_TRUE(rule.updateRegex());
  EXPECT_TRUE(matches(rule, "/x/Report.PDF"));
  rule.setCaseSensitiveSearch(2);
  ASSERT_TRUE(rule.updateRegex());
  EXPECT_FALSE(matches(rule, "/x/Report.PDF"));
}

TEST(FileTypeRule, MadeOfAWideTextIgnoresCaseUntilSwitchedOnToo) {
  FileTypeAvoidance rule(std::wstring(L"Pdf"), AnyAccess);
  EXPECT_TRUE(matches(rule, "/a/b.pDF"));
  rule.enableCaseSensitiveSearch();
  EXPECT_TRUE(rule.updateRegex());
  EXPECT_FALSE(matches(rule, "/a/b.pDF"));
  EXPECT_TRUE(matches(rule, "/a/b.Pdf"));
}

TEST(FileTypeRule, IgnoresTheCaseOfEveryScript) {
  const struct {
    const char* rule;
    const char* path;
    bool expected;
  } rows[] = {
      {"k", "/x.\u212a", true},  // KELVIN SIGN
      {"\u212a", "/x.K", true}, {"é", "/x.É", true}, {"é", "/x.e", false}, {"ß", "/x.ss", false},
  };
  for (const auto& row : rows) {
    FileTypeAvoidance rule(std::string(row.rule), AnyAccess);
    EXPECT_EQ(matches(rule, row.path), row.expected) << row.rule << " " << row.path;
  }
}

TEST(FileTypeRule, WithoutWildcardsTheTextIsAnExpression) {
  FileTypeAvoidance rule(std::string("do*c"), AnyAccess);
  EXPECT_FALSE(matches(rule, "/x.doooc"));
  rule.disableWildCardSearch();
  EXPECT_FALSE(matches(rule, "/x.doooc")) << "before the update";
  ASSERT_TRUE(rule.updateRegex());
  EXPECT_TRUE(matches(rule, "/x.doooc"));
  EXPECT_TRUE(matches(rule, "/x.dc"));
  EXPECT_FALSE(matches(rule, "/x.do*c"));

  FileTypeAvoidance optional(std::string("jpe?g"), AnyAccess);
  optional.setWildCardSearch(0);
  ASSERT_TRUE(optional.updateRegex());
  EXPECT_TRUE(matches(optional, "/x.jpg"));
  EXPECT_TRUE(matches(optional, "/x.jpeg"));
  EXPECT_FALSE(matches(optional, "/x.jpexg"));
}

TEST(FileTypeRule, AcceptsOneTo12Bytes) {
  const std::string longest = "123456789012";
  FileTypeAvoidance rule(longest, AnyAccess);
  EXPECT_TRUE(matches(rule, "/x." + longest));
  EXPECT_EQ(thrownBy([&] { FileTypeKind::make(longest + "3"); }), FileTypeKind::kRefusedMessage);
  EXPECT_EQ(thrownBy([&] { FileTypeKind::make(widened(longest)); }), "nothing");
  EXPECT_EQ(thrownBy([&] { FileTypeKind::make(widened(longest + "3")); }),
            FileTypeKind::kWideRefusedMessage);
  EXPECT_EQ(thrownBy([&] { FileTypeKind::make(std::string("a")); }), "nothing");

  // Bytes and not characters, of the converted text.
  EXPECT_EQ(thrownBy([&] { FileTypeKind::make(std::string("éééééé")); }), "nothing");
  EXPECT_EQ(thrownBy([&] { FileTypeKind::make(std::string("ééééééa")); }),
            FileTypeKind::kRefusedMessage);
  const std::wstring wide(6, static_cast<wchar_t>(0xe9));
  EXPECT_EQ(thrownBy([&] { FileTypeKind::make(wide); }), "nothing");
  EXPECT_EQ(thrownBy([&] { FileTypeKind::make(wide + L"a"); }), FileTypeKind::kWideRefusedMessage);
}

TEST(FileTypeRule, AcceptsAnyCharacter) {
  for (const char* text : {".", "/", "a/", "/a/b", " ", "a.b", "\\.", "[a]", "%"}) {
    EXPECT_EQ(thrownBy([&] { FileTypeKind::make(std::string(text)); }), "nothing") << text;
  }
}

TEST(FileTypeRule, HasNoKeywords) {
  FileTypeAvoidance rule(std::string("%K%"), AnyAccess);
  EXPECT_FALSE(rule.addOrUpdateKeyword("%K%", {"txt"}));
  EXPECT_FALSE(rule.addOrUpdateKeyword("", {}));
  EXPECT_FALSE(rule.deleteKeyword("%K%"));
  EXPECT_FALSE(rule.deleteKeyword(""));
  ASSERT_TRUE(rule.updateRegex());
  EXPECT_FALSE(matches(rule, "/x.txt"));
  EXPECT_TRUE(matches(rule, "/x.%K%"));
}

// --- The missing extension -----------------------------------------------------------------------

TEST(FileTypeRule, AMissingExtensionIsMatchedLikeAnyOther) {
  for (const char* path : {"", "/x", "/x.", "/a/Makefile", "/a/b."}) {
    FileTypeAvoidance plain(std::string("txt"), AnyAccess);
    EXPECT_FALSE(matches(plain, path)) << path;
    FileTypeAvoidance maybe(std::string("(x|)"), AnyAccess);
    EXPECT_TRUE(matches(maybe, path)) << path;
  }
}

TEST(FileTypeRule, TheFlagLetsAMissingExtensionPassAndTheAccessTypeDecide) {
  const struct {
    const char* path;
    std::uint32_t access;
    bool withFlag;
    bool withoutFlag;
  } rows[] = {
      {"/x", 1, true, false},      {"/x", 2, false, false},     {"/x.", 1, true, false},
      {"/x.", 2, false, false},    {"", 1, true, false},        {"/x.txt", 1, true, true},
      {"/x.txt", 2, false, false}, {"/x.doc", 1, false, false}, {"/d.o/x", 1, false, false},
  };
  FileTypeAvoidance rule(std::string("txt"), ReadAccess);
  for (const auto& row : rows) {
    LookupData request = fileRequest(row.path, accessType(row.access));
    EXPECT_EQ(rule.canAvoidWithAccessType(request, true), row.withFlag)
        << row.path << " access " << row.access;
    EXPECT_EQ(rule.canAvoidWithAccessType(request, false), row.withoutFlag)
        << row.path << " access " << row.access;
  }
  FileTypeAvoidance any(std::string("txt"), AnyAccess);
  LookupData request = fileRequest("/x", accessType(77));
  EXPECT_TRUE(any.canAvoidWithAccessType(request, true));
}

TEST(FileTypeRule, APathThatIsNotUtf8ThrowsForItsExtensionOnly) {
  FileTypeAvoidance rule(std::string("?"), AnyAccess);
  EXPECT_TRUE(matches(rule, "/\xff/x.a"));
  EXPECT_THROW(matches(rule, "/x.\xff"), std::exception);
  EXPECT_THROW(matches(rule, "/x.\x80"), std::exception);
  EXPECT_THROW(matches(rule, "/x.\xc3"), std::exception);

  FileTypeAvoidance ofWriting(std::string("?"), WriteAccess);
  LookupData reading = fileRequest("/x.\xff", ReadAccess);
  EXPECT_THROW(ofWriting.canAvoidWithAccessType(reading, false), std::exception)
      << "the extension comes before the access type";
}

// --- Trace ---------------------------------------------------------------------------------------

TEST(FileTypeRule, TracesItsLookups) {
  FileTypeAvoidance rule(std::string("txt"), ReadAccess);
  LookupData match = fileRequest("/x.txt", ReadAccess);
  LookupData other = fileRequest("/x.doc", ReadAccess);
  LookupData without = fileRequest("/x", WriteAccess);
  ForeignRequest foreign;
  const std::string canAvoid = "FileTypeAvoidance::canAvoid\n";
  const std::string withAccessType = "FileTypeAvoidance::canAvoidWithAccessType\n";
  const std::string extension = "FileTypeAvoidance::findFileExtension\n";
  TraceRecorder trace;

  for (LookupData* request : {&match, &other, &without}) {
    rule.canAvoid(*request);
    EXPECT_EQ(trace.take(), traced({canAvoid, extension})) << request->m_filePath;
    rule.canAvoidWithAccessType(*request, false);
    EXPECT_EQ(trace.take(), traced({withAccessType, extension})) << request->m_filePath;
  }
  rule.canAvoidWithAccessType(match, true);
  EXPECT_EQ(trace.take(), traced({withAccessType, extension}));
  EXPECT_FALSE(rule.canAvoidWithAccessType(without, true));
  EXPECT_EQ(trace.take(), traced({withAccessType, extension, "Empty extension"}));

  rule.canAvoid(foreign);
  EXPECT_EQ(trace.take(), traced({canAvoid}));
  rule.canAvoidWithAccessType(foreign, true);
  EXPECT_EQ(trace.take(), traced({withAccessType}));
}

// --- Order of keys -------------------------------------------------------------------------------

// -1 when `a` orders before `b`, 1 when after, 0 when they are one key, 2 when the order is broken.
int compared(const std::string& a, const std::string& b) {
  const FileTypeAvoidanceDuplicateKey before;
  if (before(a, b) && before(b, a)) return 2;
  if (before(a, b)) return -1;
  return before(b, a) ? 1 : 0;
}

TEST(FileTypeKeyOrder, IgnoresCaseAndComparesUnsignedBytes) {
  using namespace std::string_literals;
  const struct {
    std::string a;
    std::string b;
    int expected;
  } rows[] = {
      {"Exe", "eXE", 0},
      {"exe", "exe", 0},
      {"", "", 0},
      {"abc", "ABD", -1},
      {"ABC", "abd", -1},
      {"abd", "ABC", 1},
      {"ab", "ABC", -1},
      {"", "a", -1},
      {"a", "B", -1},
      {"Z", "a", 1},
      {"z", "_", 1},  // "_" lies between the cases: before "z", after "Z" as it stands
      {"Z", "_", 1},
      {"[", "A", -1},
      {"9", "a", -1},
      {"z", "\x80", -1},  // bytes of 0x80 and above come last
      {"z", "\xff", -1},
      {"\x7f", "\x80", -1},
      {"\xc0", "\xe0", -1},  // and are not folded in the classic locale
      {"a\0b"s, "A\0B"s, 0},
      {"a"s, "a\0"s, -1},
      {"a\0a"s, "A\0b"s, -1},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(compared(row.a, row.b), row.expected) << shown(row.a) << " and " << shown(row.b);
    EXPECT_EQ(compared(row.b, row.a), -row.expected) << shown(row.b) << " and " << shown(row.a);
  }
  const FileTypeAvoidanceDuplicateKey before;
  EXPECT_FALSE(before("a", "a")) << "strictly before";
}

TEST(FileTypeKeyOrder, FollowsTheGlobalLocaleOfTheMoment) {
  EXPECT_EQ(compared("\xc0", "\xe0"), -1);
  {
    FoldingLocale locale;
    EXPECT_EQ(compared("\xc0", "\xe0"), 0);
    EXPECT_EQ(compared("\xc1x", "\xe0y"), 1);
    EXPECT_EQ(compared("Exe", "eXE"), 0);
  }
  EXPECT_EQ(compared("\xc0", "\xe0"), -1);
}

TEST(FileTypeKeyOrder, WritesNoTrace) {
  TraceRecorder trace;
  compared("a", "B");
  EXPECT_EQ(trace.take(), "");
}

}  // namespace
}  // namespace Test
}  // namespace QVL
