// qvlctl import.

#include <gmock/gmock.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <random>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "Program.h"

namespace QVL {
namespace Test {
namespace {

using testing::HasSubstr;
using testing::Not;

class Import : public ProgramTest {
 protected:
  Result import(const std::string& from, const std::string& list,
                std::vector<std::string> more = {}) const {
    Circumstances circumstances;
    circumstances.input = list;
    std::vector<std::string> arguments = {"import", "--from", from};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return run(arguments, circumstances);
  }

  // Which of the paths the policy excludes, for any access of any process.
  std::set<std::string> excluded(const std::string& policy,
                                 const std::vector<std::string>& paths) const {
    write("imported.xml", policy);
    Circumstances circumstances;
    for (const std::string& path : paths) circumstances.input += path + '\0';
    const Result result = run({"lookup", "-q", "-p", "imported.xml", "-0"}, circumstances);
    EXPECT_NE(result.status, 2) << result.err << policy;
    EXPECT_EQ(result.err, "") << policy;
    std::set<std::string> found;
    std::istringstream lines(result.out);
    std::size_t i = 0;
    for (std::string line; std::getline(lines, line); ++i) {
      if (line.compare(0, 8, "excluded") == 0) found.insert(paths[i]);
    }
    EXPECT_EQ(i, paths.size());
    return found;
  }

  void expectCanonical(const std::string& policy) const {
    write("imported.xml", policy);
    EXPECT_EQ(run({"fmt", "--check", "-p", "imported.xml"}), (Result{0, "", ""})) << policy;
  }
};

TEST_F(Import, MakesRulesOfPaths) {
  const Result result = import("paths", "# ours\n/srv/a.db\n/srv/build/\n\n/srv/c++/[x] (1)\r\n");
  EXPECT_EQ(result, (Result{0,
                            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                            "<exclusion-policy version=\"1\">\n"
                            "  <logic>1|2</logic>\n\n"
                            "  <!-- standard input:2 -->\n"
                            "  <data-set number=\"1\" kind=\"file-path\">\n"
                            "    <rule>/srv/a.db</rule>\n"
                            "    <rule>/srv/c\\+\\+/\\[x\\] \\(1\\)</rule>\n"
                            "  </data-set>\n\n"
                            "  <!-- standard input:3 -->\n"
                            "  <data-set number=\"2\" kind=\"folder\">\n"
                            "    <rule>/srv/build/</rule>\n"
                            "  </data-set>\n"
                            "</exclusion-policy>\n",
                            ""}));
  expectCanonical(result.out);
}

// Each path is excluded by its rule, and no other path is.
TEST_F(Import, TakesPathsAsTheyAre) {
  const std::vector<std::string> kPaths = {
      "/srv/a*b",  "/srv/a?b",    "/srv/[ab]",   "/srv/a{1,2}",   "/srv/a|b",
      "/srv/^a$",  "/srv/(a)+",   "/srv/a\\b",   "/srv/DOUBLE",   "/srv/DOUBLEWITHSLASH",
      "/srv/**/b", "/srv/a<b&c>", "/srv/a\"b'c", "/srv/%NAME%",   "/srv/ü.ä",
      "/srv/a b ", "/srv/a\tb",   "/srv/a\nb",   "/srv/a\rb",     "/srv/...",
      "/srv/-->",  "/srv/]]>",    "/srv/\\*",    "/srv/.hidden.", "/srv/\\Qa\\E"};
  const std::vector<std::string> kOthers = {
      "/srv/ab",   "/srv/axb",  "/srv/a/b",      "/srv/a",     "/srv/b",        "/srv/a1",
      "/srv/a+",   "/srv/x/y",  "/srv/DOUBLEx",  "/srv/x/y/b", "/srv/üxä",      "/srv/a b",
      "/srv/a  b", "/srv/anyb", "/srv/xhiddenx", "/srv/%NAM%", "/srv/a/DOUBLE", "/srv/bb",
      "/srv/Qa",   "/srv/aaaa", "/srv/a\\\\b",   "/srv/****",  "/srv/....",     "/srv/a*bc"};
  std::string list;
  for (const std::string& path : kPaths) list += path + '\0';
  const Result result = import("paths", list, {"-0"});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_THAT(result.err, HasSubstr("standard input:16: note: the blank at its end"));
  std::vector<std::string> all = kPaths;
  all.insert(all.end(), kOthers.begin(), kOthers.end());
  EXPECT_EQ(excluded(result.out, all), std::set<std::string>(kPaths.begin(), kPaths.end()))
      << result.out;
  expectCanonical(result.out);
}

TEST_F(Import, DoesWhatTheTablesOfTheDocumentationSay) {
  std::ifstream page(QVL_SOURCE_DIR "/docs/import.md");
  const std::regex row("\\| (paths|globs|gitignore) \\| `(.*)` \\| (.*) \\|");
  const std::regex rule("`([^`]*)` as ([a-z-]+)(, an expression)?");
  int rows = 0;
  for (std::string line; std::getline(page, line);) {
    std::smatch cells;
    if (!std::regex_match(line, cells, row)) continue;
    ++rows;
    const std::string from = cells[1];
    std::vector<std::string> more;
    if (from == "gitignore") more = {"--base", "/srv"};
    const Result result = import(from, cells[2].str() + '\n', more);
    const std::string rules = cells[3];
    if (rules == "nothing") {
      EXPECT_EQ(result.status, 2) << line;
      EXPECT_THAT(result.err, HasSubstr("standard input:1: ")) << line;
      continue;
    }
    std::string expected;
    for (std::sregex_iterator one(rules.begin(), rules.end(), rule), end; one != end; ++one) {
      expected +=
          (*one)[2].str() + ((*one)[3].matched ? " expression " : " ") + (*one)[1].str() + '\n';
    }
    std::string found;
    std::string kind;
    std::istringstream policy(result.out);
    for (std::string text; std::getline(policy, text);) {
      static const std::regex kSet(".*kind=\"([a-z-]+)\"( wildcards=\"no\")?>");
      static const std::regex kRule("    <rule>(.*)</rule>");
      std::smatch match;
      if (std::regex_match(text, match, kSet)) {
        kind = match[1].str() + (match[2].matched ? " expression " : " ");
      } else if (std::regex_match(text, match, kRule)) {
        found += kind + match[1].str() + '\n';
      }
    }
    EXPECT_EQ(found, expected) << line << result.err;
  }
  EXPECT_GT(rows, 20);
}

// What lint may find is about what is excluded, or about the names of files themselves: nothing
// says that a rule means something else than it seems to.
TEST_F(Import, WritesNothingThatLooksLikeAMistake) {
  const std::set<std::string> kAboutTheList = {
      "covers-everything", "covers-tree",  "covers-home", "carries-programs", "writable-by-all",
      "shadowed",          "blank-at-end", "alias-path",  "unused-data-set"};
  const auto expectNoMistakes = [&](const std::string& from, const std::string& list) {
    const Result imported = import(from, list, {"--base", "/srv"});
    if (imported.status == 2) return false;
    write("imported.xml", imported.out);
    const Result linted = run({"lint", "-p", "imported.xml", "--format", "json"});
    const nlohmann::json report = nlohmann::json::parse(linted.out);
    for (const nlohmann::json& finding : report["findings"]) {
      EXPECT_EQ(kAboutTheList.count(finding["name"]), 1u)
          << from << ' ' << list << finding << imported.out;
    }
    return true;
  };
  EXPECT_TRUE(expectNoMistakes("globs", "/srv/[!a]\n/srv/[\\]a].[ch]\n[[:digit:]].c\n"));
  const std::vector<std::string> kPieces = {
      "a", "b.c", ".",      "*",   "?",   "**",  "/",  "/", "[a]", "[!a]", "[].]", "[\\].]",
      "%", "%A%", "DOUBLE", "\\*", "(1)", "c++", "$x", "^", "|",   "\\\\", "ä",    "\\[a\\]"};
  std::mt19937 random(1);
  int compared = 0;
  for (int round = 0; round < 30; ++round) {
    for (const char* const from : {"paths", "globs", "gitignore"}) {
      std::string list;
      for (std::size_t lines = 0; lines < 10; ++lines) {
        if (from != std::string("gitignore")) list += "/srv/x/";
        for (std::size_t pieces = 1 + random() % 5; pieces > 0; --pieces) {
          list += kPieces[random() % kPieces.size()];
        }
        list += '\n';
      }
      compared += expectNoMistakes(from, list);
    }
  }
  EXPECT_GT(compared, 60);
}

TEST_F(Import, TakesFoldersWithEverythingInThem) {
  const Result result = import("paths", "/srv/a*/\n/\n");
  EXPECT_EQ(result.status, 0) << result.err;
  const Result one = import("paths", "/srv/a*/\n");
  EXPECT_EQ(excluded(one.out, {"/srv/a*/b", "/srv/a*/b/c", "/srv/a*", "/srv/ab/c"}),
            (std::set<std::string>{"/srv/a*/b", "/srv/a*/b/c"}));
}

TEST_F(Import, UnderstandsGlobs) {
  const struct {
    const char* glob;
    std::vector<std::string> matching;
    std::vector<std::string> others;
  } kCases[] = {
      {"/srv/*.o", {"/srv/a.o", "/srv/.o"}, {"/srv/a/b.o", "/srv/axo"}},
      {"*.o", {"/srv/a.o", "/a/b/c.o", "/x.o"}, {"/srv/a.ox", "/a.o/b"}},
      {"**/build/*.o", {"/build/a.o", "/x/y/build/a.o"}, {"/xbuild/a.o", "/build/x/a.o"}},
      {"/srv/**", {"/srv/a", "/srv/a/b"}, {"/srv", "/srva"}},
      {"/srv/**/x", {"/srv/x", "/srv/a/b/x"}, {"/srv/ax"}},
      {"/srv/a**b", {"/srv/ab", "/srv/axxb"}, {"/srv/a/b"}},
      {"/srv/[!a-c]?", {"/srv/xx", "/srv/ää"}, {"/srv/bx", "/srv//x", "/srv/x"}},
      {"/srv/*.[ch]", {"/srv/a.c", "/srv/a.h"}, {"/srv/axc", "/srv/a.d"}},
      {"/srv/{a,b/**/c}.o", {"/srv/a.o", "/srv/b/c.o", "/srv/b/x/c.o"}, {"/srv/b.o"}},
      {"/srv/build/", {"/srv/build/a", "/srv/build/a/b"}, {"/srv/build"}},
      {"build/", {"/build/a", "/srv/build/a/b"}, {"/srv/build", "/srv/xbuild/a"}},
      {"/srv/**/", {"/srv/a/b", "/srv/a/b/c"}, {"/srv/a"}},
      {"/srv/\\*", {"/srv/*"}, {"/srv/a"}},
      {"/srv/**WITHSLASH", {"/srv/aWITHSLASH"}, {"/srv/", "/srv/a/WITHSLASH"}},
  };
  for (const auto& one : kCases) {
    const Result result = import("globs", std::string(one.glob) + '\n');
    ASSERT_EQ(result.status, 0) << one.glob << result.err;
    std::vector<std::string> all = one.matching;
    all.insert(all.end(), one.others.begin(), one.others.end());
    EXPECT_EQ(excluded(result.out, all),
              std::set<std::string>(one.matching.begin(), one.matching.end()))
        << one.glob << '\n'
        << result.out;
    expectCanonical(result.out);
  }
}

TEST_F(Import, TellsLineByLineWhatItCannotExpress) {
  const Result paths = import("paths", "/srv/a\nsrv/b\n~/c\n/srv/../d\n/srv/\xff\n/srv/\x01\n" +
                                           ("/" + std::string(4096, 'x')) + "\n/srv/a\n");
  EXPECT_EQ(paths.status, 1);
  EXPECT_EQ(
      paths.err,
      "qvlctl: standard input:2: expected a full path, which begins with /; found \"srv/b\"\n"
      "qvlctl: standard input:3: expected a full path, which begins with /; found \"~/c\"\n"
      "qvlctl: standard input:4: expected no . and .., which are in no path that a scanner "
      "asks for; found \"/srv/../d\"\n"
      "qvlctl: standard input:5: it is not UTF-8, as a policy is; ? matches any one "
      "character; found \"/srv/\\xFF\"\n"
      "qvlctl: standard input:6: it holds a character that cannot stand in XML; ? matches any "
      "one character; found \"/srv/\\x01\"\n"
      "qvlctl: standard input:7: expected a rule of at most 4096 bytes; it would have 4097; "
      "found \"/" +
          std::string(199, 'x') +
          "...\" (4,097 bytes)\n"
          "qvlctl: standard input:8: note: it says the same as line 1\n"
          "qvlctl: 6 of 8 lines could not be expressed\n");
  EXPECT_THAT(paths.out, HasSubstr("    <rule>/srv/a</rule>\n  </data-set>"));

  const Result globs = import("globs", "/srv/[a\nsrv/*\n/srv/*\n");
  EXPECT_EQ(globs.status, 1);
  EXPECT_EQ(globs.err,
            "qvlctl: standard input:1: [ has no ] that ends it; found \"/srv/[a\"\n"
            "qvlctl: standard input:2: expected a full path, which begins with /, a name without a "
            "slash, or **/; found \"srv/*\"\n"
            "qvlctl: 2 of 3 lines could not be expressed\n");
}

TEST_F(Import, MakesNoPolicyOfNothing) {
  EXPECT_EQ(import("paths", "# nothing\n\n"),
            (Result{2, "",
                    "qvlctl: standard input: expected at least one line that a policy can express; "
                    "found none\n"}));
  const Result none = import("globs", "a/b\n");
  EXPECT_EQ(none.status, 2);
  EXPECT_EQ(none.out, "");
  EXPECT_THAT(none.err, HasSubstr("found none that it can\n"));
  EXPECT_EQ(run({"import", "none.txt"}),
            (Result{2, "", "qvlctl: cannot read none.txt: No such file or directory\n"}));
  EXPECT_THAT(import("paths", std::string("/a\0/b\0", 6)).err, HasSubstr("did you mean -0?"));
  EXPECT_THAT(import("gitignore", "x\n").err, HasSubstr("expected --base and the folder"));
}

TEST_F(Import, UnderstandsIgnoreFiles) {
  write("repo/.gitignore",
        "# built\n*.o\n/out/\n!keep.o\ndoc/*.html   \n\\#odd\nspace\\ \n!/out/\nout/last\n");
  const Result result = run({"import", "--from", "gitignore", "repo/.gitignore"});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_THAT(result.err, HasSubstr("note: what a line with ! names is always scanned"));
  const std::string repo = path("repo");
  const std::vector<std::string> matching = {
      repo + "/a.o",  repo + "/x/a.o",  repo + "/x/dir.o/file", repo + "/doc/a.html",
      repo + "/#odd", repo + "/space ", repo + "/out/last"};
  std::vector<std::string> all = matching;
  for (const char* const other :
       {"/keep.o", "/x/keep.o", "/out/a", "/x/out/a", "/doc/x/a.html", "/x/doc/a.html", "/space"}) {
    all.push_back(repo + other);
  }
  all.push_back("/elsewhere/a.o");
  EXPECT_EQ(excluded(result.out, all), std::set<std::string>(matching.begin(), matching.end()))
      << result.out;
  EXPECT_THAT(result.out, HasSubstr("<logic>((((1|2)&amp;!(3|4))|5|6)&amp;!(7))|8|9</logic>"));
  expectCanonical(result.out);
}

TEST_F(Import, RefusesAnExceptionThatItCannotExpress) {
  const Result result = import("gitignore", "*.o\n![a\n", {"--base", "/srv"});
  EXPECT_EQ(result,
            (Result{2, "",
                    "qvlctl: standard input: line 2, which takes out of what comes before it, "
                    "cannot be expressed: [ has no ] that ends it; found \"![a\"\n"}));
  // Before anything else, there is nothing to take out.
  EXPECT_EQ(import("gitignore", "!a\n*.o\n", {"--base", "/srv"}).status, 1);
  std::string turns;
  for (int i = 0; i < 400; ++i) {
    turns += "a" + std::to_string(i) + "\n!b" + std::to_string(i) + "\n";
  }
  EXPECT_THAT(import("gitignore", turns, {"--base", "/srv"}).err,
              HasSubstr("expected a logic of at most 2048 characters"));
}

// Against git itself: random ignore files, and every path up to three names deep. Nothing is
// excluded that git does not ignore; without ! the two agree.
TEST_F(Import, AgreesWithGit) {
  Circumstances git;
  git.program = "/usr/bin/git";
  if (run({"--version"}, git).status != 0) GTEST_SKIP() << "needs git";
  write("repo/.gitignore", "");
  ASSERT_EQ(run({"init", "-q", "repo"}, git).status, 0);
  const std::vector<std::string> kNames = {"a", "b", "ab", "a.o", "[a]"};
  std::vector<std::string> paths;
  for (const std::string& x : kNames) {
    paths.push_back(x + "/f");
    for (const std::string& y : kNames) {
      paths.push_back(x + "/" + y + "/f");
      for (const std::string& z : kNames) paths.push_back(x + "/" + y + "/" + z);
    }
  }
  std::string input;
  std::vector<std::string> fullPaths;
  for (const std::string& one : paths) {
    input += one + '\0';
    fullPaths.push_back(path("repo/" + one));
  }

  const std::vector<std::string> kPieces = {"a", "b", "f",  "*",   "?",    "**",  "/",
                                            "/", "/", ".o", "[a]", "[!a]", "\\*", "\\[a\\]"};
  std::mt19937 random(1);
  int compared = 0;
  int withExceptions = 0;
  for (int round = 0; round < 100; ++round) {
    std::string ignore;
    const bool mayExcept = round % 2 == 0;
    bool hasException = false;
    for (std::size_t i = 0, lines = 1 + random() % 4; i < lines; ++i) {
      const bool isException = mayExcept && i > 0 && random() % 2 == 0;
      hasException = hasException || isException;
      if (isException) ignore += '!';
      for (std::size_t pieces = 1 + random() % 5; pieces > 0; --pieces) {
        ignore += kPieces[random() % kPieces.size()];
      }
      ignore += '\n';
    }
    write("repo/.gitignore", ignore);
    const Result imported = run({"import", "--from", "gitignore", "repo/.gitignore"});
    if (imported.status != 0) continue;  // "/" alone, or nothing to take out
    git.input = input;
    const Result answer = run({"-C", "repo", "check-ignore", "--no-index", "-z", "--stdin"}, git);
    ASSERT_LE(answer.status, 1) << answer.err;
    std::set<std::string> ignored;
    std::istringstream lines(answer.out);
    for (std::string one; std::getline(lines, one, '\0');) ignored.insert(path("repo/" + one));
    const std::set<std::string> ours = excluded(imported.out, fullPaths);
    for (const std::string& one : ours) {
      ASSERT_EQ(ignored.count(one), 1u) << one << "\n" << ignore << imported.out;
    }
    // Of two stars beside other characters, git makes one or two, depending on what is before them.
    static const std::regex kBesides("[^/\n]\\*\\*|\\*\\*[^/\n]");
    if (!hasException && !std::regex_search(ignore, kBesides)) {
      ASSERT_EQ(ours, ignored) << ignore << imported.out;
    }
    ++compared;
    withExceptions += hasException;
  }
  EXPECT_GT(compared, 60);
  EXPECT_GT(withExceptions, 15);
}

}  // namespace
}  // namespace Test
}  // namespace QVL
