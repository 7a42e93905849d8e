// What the documents say in sentences, where no other test is about it.

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "Program.h"

namespace QVL {
namespace Test {
namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::Not;

class Prose : public ProgramTest {
 protected:
  static std::string source(const std::string& name) {
    std::ifstream stream(QVL_SOURCE_DIR "/" + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
  }

  void policy(const std::string& name, const std::string& logic,
              const std::string& dataSets) const {
    write(name, "<exclusion-policy version='1'><logic>" + logic + "</logic>\n" + dataSets +
                    "</exclusion-policy>\n");
  }

  json jsonOf(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin() + 1, {"--format", "json"});
    const Result result = run(arguments);
    EXPECT_NE(result.status, 2) << result.err;
    return json::parse(result.out);
  }

  Result shell(const std::string& commands) const {
    const std::string program = QVLCTL;
    Circumstances circumstances;
    circumstances.program = "/bin/sh";
    return run({"-c", "PATH=" + program.substr(0, program.rfind('/')) + ":$PATH\n" + commands},
               circumstances);
  }
};

// ---- docs/lint.md ----

// "Nothing is asked about files that exist, so the answer is the same everywhere."
TEST_F(Prose, LintDoesNotLookAtFiles) {
  std::filesystem::create_directories(path("there/tmp"));
  std::filesystem::create_directory_symlink("there", path("link"));
  policy("policy.xml", "1|2",
         "<data-set number='1' kind='folder'><rule>" + path("link") + "/</rule><rule>" +
             path("there") +
             "/tmp/</rule></data-set>"
             "<data-set number='2' kind='file-age'><rule of='creation' days='9'/></data-set>");
  const Result before = run({"lint", "-p", "policy.xml"});
  std::filesystem::remove_all(path("there"));
  std::filesystem::remove(path("link"));
  EXPECT_EQ(run({"lint", "-p", "policy.xml"}), before);
}

// "Findings stand in the order of the file, behind them those of included files."
TEST_F(Prose, LintTellsInTheOrderOfTheFile) {
  write("part.xml",
        "<exclusion-policy version='1'>\n<data-set number='4' kind='folder'>\n<rule>/opt/</rule>\n"
        "<rule>/usr/</rule></data-set></exclusion-policy>\n");
  write("policy.xml",
        "<exclusion-policy version='1'>\n<data-set number='1' kind='folder'>\n"
        "<rule>/usr/</rule><rule>/srv/x</rule>\n<rule>/usr/lib/</rule>\n</data-set>\n"
        "<logic>1|2&amp;9|4</logic><include file='part.xml'/>\n"
        "<data-set number='2' kind='folder' match-anything='yes'/>\n</exclusion-policy>\n");
  const json report = json::parse(run({"lint", "-p", "policy.xml", "--format", "json"}).out);
  std::vector<std::string> places;
  for (const json& finding : report["findings"]) {
    places.push_back(finding["file"].get<std::string>() + ':' +
                     std::to_string(finding["line"].get<int>()) + ' ' +
                     finding["name"].get<std::string>());
  }
  EXPECT_EQ(
      places,
      (std::vector<std::string>{
          "policy.xml:3 covers-tree", "policy.xml:3 refused-rule", "policy.xml:4 covers-tree",
          "policy.xml:4 shadowed", "policy.xml:6 mixed-operators", "policy.xml:6 no-such-data-set",
          "policy.xml:7 covers-everything", "part.xml:3 covers-tree", "part.xml:4 covers-tree"}));
}

// "An error can hide findings that need a policy that can be read."
TEST_F(Prose, AnErrorHidesFindings) {
  policy("policy.xml", "1", "<data-set number='1' kind='folder'><rule>/usr/</rule>");
  EXPECT_THAT(run({"lint", "-p", "policy.xml"}).out,
              testing::AllOf(HasSubstr("[not-xml]"), Not(HasSubstr("[covers-tree]"))));
}

// "with a baseline what is new and what is unchanged"
TEST_F(Prose, SarifTellsWhatIsNew) {
  policy("policy.xml", "1", "<data-set number='1' kind='folder'><rule>/usr/</rule></data-set>");
  write("baseline.json", run({"lint", "-p", "policy.xml", "--format", "json"}).out);
  policy("policy.xml", "1",
         "<data-set number='1' kind='folder'><rule>/opt/</rule><rule>/usr/</rule></data-set>");
  const auto states = [&](const std::vector<std::string>& more) {
    std::vector<std::string> arguments = {"lint", "-p", "policy.xml", "--format", "sarif"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    std::string all;
    const json log = json::parse(run(arguments).out);
    for (const json& one : log["runs"][0]["results"]) {
      all += one.value("baselineState", "none") + ' ';
    }
    return all;
  };
  EXPECT_EQ(states({"--baseline", "baseline.json"}), "new unchanged ");
  EXPECT_EQ(states({}), "none none ");
}

// "a file type ... that can carry programs: `exe`, `js`, `so`, `docm`"; and so for interpreters.
TEST_F(Prose, LintFindsTheProgramsThatThePageNames) {
  const std::string page = source("docs/lint.md");
  int tried = 0;
  for (const auto& [name, kind] :
       {std::pair{"interpreter", "process"}, std::pair{"carries-programs", "file-type"}}) {
    const std::size_t start = page.find(std::string("| `") + name + "` |");
    ASSERT_NE(start, std::string::npos);
    const std::string row = page.substr(start + 5, page.find('\n', start) - start - 5);
    const std::regex code("`([^` |]+)`");
    for (std::sregex_iterator one(row.begin(), row.end(), code), end; one != end; ++one) {
      if ((*one)[1] == name) continue;
      policy("policy.xml", "1",
             std::string("<data-set number='1' kind='") + kind + "'><rule>" + (*one)[1].str() +
                 "</rule></data-set>");
      EXPECT_THAT(run({"lint", "-p", "policy.xml"}).out, HasSubstr(std::string("[") + name + "]"))
          << (*one)[1];
      ++tried;
    }
  }
  EXPECT_EQ(tried, 7);
}

// The hook that the page shows is the one that the tree has.
TEST_F(Prose, TheHookHasTheNameThatThePageShows) {
  std::smatch id;
  const std::string page = source("docs/lint.md");
  ASSERT_TRUE(std::regex_search(page, id, std::regex("\n +- id: ([a-z-]+)\n")));
  EXPECT_THAT(source(".pre-commit-hooks.yaml"), HasSubstr("- id: " + id[1].str() + "\n"));
}

// ---- docs/qvlctl-json.md ----

// "Commands that answer for paths write a line of JSON for each answer as it is found": before the
// next path is there.
TEST_F(Prose, JsonIsWrittenAsItIsFound) {
  policy("policy.xml", "1", "<data-set number='1' kind='folder'><rule>/a/</rule></data-set>");
  ASSERT_EQ(::mkfifo(path("paths").c_str(), 0600), 0);
  ASSERT_EQ(::mkfifo(path("answers").c_str(), 0600), 0);
  for (const char* const command : {"lookup", "explain"}) {
    const Result result = shell(std::string("qvlctl ") + command +
                                " -p policy.xml --format json <paths >answers &\n"
                                "exec 3>paths 4<answers\n"
                                "for path in /a/x /b/x; do\n"
                                "  echo $path >&3\n  read -r line <&4\n  echo \"$line\"\ndone");
    EXPECT_THAT(result.out,
                testing::MatchesRegex("\\{\"path\":\"/a/x\".*\n\\{\"path\":\"/b/x\".*\n"));
  }
}

TEST_F(Prose, TextsOfAnyBytesAreAsThePageShows) {
  policy("policy.xml", "1", "<data-set number='1' kind='folder'><rule>/a/</rule></data-set>");
  const std::string page = source("docs/qvlctl-json.md");
  const std::string out = run({"lookup", "-p", "policy.xml", "--format", "json", "/srv/\xff"}).out;
  EXPECT_THAT(page, HasSubstr("`" + out.substr(1, out.find(",\"verdict\"") - 1) + "`"));
}

// "`matched`: the numbers of the data sets that were asked and matched, in the order in which they
// did"; "left out where there is none"; "null where it is not known".
TEST_F(Prose, MembersHaveTheValuesDescribed) {
  policy("policy.xml", "2&amp;1|3",
         "<data-set number='1' kind='folder' owner='ann'><rule>/a/</rule>"
         "<rule ticket='T-1'>/a/b/</rule></data-set>\n"
         "<data-set number='2' kind='file-path'><rule>/a/**</rule></data-set>\n"
         "<data-set number='3' kind='file-age'><rule of='modification' days='7,3'/></data-set>");
  const json answer = jsonOf({"explain", "-p", "policy.xml", "/a/b/x"});
  EXPECT_EQ(answer["matched"], json({2, 1}));
  const json& first = answer["dataSets"][0];
  EXPECT_EQ(first["metadata"], json({{"owner", "ann"}}));
  EXPECT_FALSE(first["rules"][0].contains("metadata"));
  EXPECT_EQ(first["rules"][1]["metadata"], json({{"ticket", "T-1"}}));
  EXPECT_EQ(first["rules"][1]["rule"], 2);
  EXPECT_FALSE(answer["dataSets"][1].contains("metadata"));
  const json& age = answer["dataSets"][2];
  EXPECT_TRUE(age["creation"].is_null());
  EXPECT_TRUE(age["modification"].is_null());
}

// "Both empty: the same rules match, and the logic differs"; "A path counts once in the whole,
// however many queries change."
TEST_F(Prose, ChangesAreCountedAsThePageSays) {
  const std::string sets =
      "<data-set number='1' kind='folder'><rule>/a/</rule></data-set>"
      "<data-set number='2' kind='process'><rule>/bin/cp</rule></data-set>";
  policy("old.xml", "1&amp;!1&amp;!2", sets);
  policy("new.xml", "1", sets);
  Circumstances circumstances;
  circumstances.input = "/a/x\n";
  const std::string out =
      run({"diff", "-p", "old.xml", "--with", "new.xml", "--format", "json"}, circumstances).out;
  std::vector<json> lines;
  std::istringstream text(out);
  for (std::string line; std::getline(text, line);) lines.push_back(json::parse(line));
  ASSERT_EQ(lines.size(), 3u) << out;
  EXPECT_EQ(lines[0]["onlyOld"], json::array()) << out;
  EXPECT_EQ(lines[0]["onlyNew"], json::array()) << out;
  EXPECT_EQ(lines[1]["process"], "/bin/cp");
  EXPECT_EQ(lines[2]["newlySkipped"]["paths"], 1);
  EXPECT_EQ(lines[2]["queries"].size(), 2u);
}

// "`queries`, all of them, `rules` and `folders`, those that differ"
TEST_F(Prose, ADiffOfAuditsListsWhatDiffers) {
  write("t/a/x", "1");
  write("t/b/x", "1");
  write("t/b/y", "1");
  const auto audit = [&](const std::string& rule, const std::string& file) {
    policy("p.xml", "1",
           "<data-set number='1' kind='file-path'><rule>/**/a/x</rule><rule>" + rule +
               "</rule><rule access='write'>/none</rule></data-set>");
    write(file, run({"audit", "-p", "p.xml", "--format", "json", "t"}).out);
  };
  audit("/**/b/x", "old.json");
  audit("/**/b/?", "new.json");
  const Result result = run({"diff", "--audits", "old.json", "new.json", "--format", "json"});
  const json report = json::parse(result.out);
  EXPECT_EQ(report["version"], 1);
  EXPECT_EQ(report["old"]["file"], "old.json");
  EXPECT_EQ(report["queries"].size(), 2u);
  EXPECT_EQ(report["rules"].size(), 2u) << report;    // one gone, one new
  EXPECT_EQ(report["folders"].size(), 1u) << report;  // b, and not a
}

// ---- docs/audit.md ----

// "a policy without processes and access types has one" query
TEST_F(Prose, APolicyWithoutProcessesAndAccessTypesHasOneQuery) {
  write("t/x", "1");
  policy("p.xml", "1", "<data-set number='1' kind='folder'><rule>/**/t/</rule></data-set>");
  const json one = jsonOf({"audit", "-p", "p.xml", "t"});
  ASSERT_EQ(one["queries"].size(), 1u);
  EXPECT_EQ(one["queries"][0]["otherAccess"], true);
  EXPECT_EQ(one["skippedAlways"], one["skipped"]);
  EXPECT_EQ(one["reasons"][0]["verdict"], "scan");
}

// "Two process rules with wildcards may match a name in common that neither of their own names
// stands for."
TEST_F(Prose, ANameThatTwoWildcardsHaveInCommonHasToBeGiven) {
  write("t/x", "1");
  policy("p.xml", "1&amp;2",
         "<data-set number='1' kind='process'><rule>/opt/*a</rule></data-set>"
         "<data-set number='2' kind='process'><rule>/opt/b*</rule></data-set>");
  EXPECT_EQ(jsonOf({"audit", "-p", "p.xml", "t"})["skipped"]["files"], 0);
  EXPECT_EQ(jsonOf({"audit", "-p", "p.xml", "--process", "/opt/ba", "t"})["skipped"]["files"], 1);
}

// "Rules of a data set with `match-anything` are never asked and never hit."
TEST_F(Prose, RulesBesideMatchAnythingNeverHit) {
  write("t/x", "1");
  policy("p.xml", "1",
         "<data-set number='1' kind='folder' match-anything='yes'><rule>/**/t/</rule></data-set>");
  const json report = jsonOf({"audit", "-p", "p.xml", "t"});
  EXPECT_EQ(report["skipped"]["files"], 1);
  EXPECT_EQ(report["rules"][0]["skipped"]["files"], 0);
  EXPECT_EQ(report["rules"][0]["leftOut"], false);
}

// "At most 1,500 folders below each root have a place of their own, the largest ones, a file
// counting as 4,096 bytes more than it has."
TEST_F(Prose, AtMost1500FoldersOfEachRootHaveAPlace) {
  policy("p.xml", "1", "<data-set number='1' kind='file-type'><rule>o</rule></data-set>");
  // One file of 3,000 bytes is less than two that are empty.
  write("many/less/one", std::string(3000, 'x'));
  for (int i = 0; i < 1510; ++i) {
    const std::string folder = "many/" + std::to_string(i);
    write(folder + "/a", i < 1490 ? std::string(5000, 'x') : "");
    if (i >= 1490) write(folder + "/b", "");
  }
  write("few/a/x", "");
  const json report = jsonOf({"audit", "-p", "p.xml", "many", "few"});
  std::size_t inMany = 0;
  std::size_t inFew = 0;
  std::size_t root = 0;
  bool hasLess = false;
  for (std::size_t i = 0; i < report["folders"].size(); ++i) {
    const json& folder = report["folders"][i];
    if (folder["parent"].is_null()) {
      root = i;
    } else {
      ASSERT_EQ(folder["parent"], root);  // behind the one that it is in
    }
    const bool isMany = report["folders"][root]["name"] == path("many");
    ++(isMany ? inMany : inFew);
    hasLess = hasLess || (isMany && folder["name"] == "less");
  }
  EXPECT_LE(inMany, 1501u);  // with the root
  EXPECT_GT(inMany, 1400u);
  EXPECT_GE(inFew, 1u);
  EXPECT_FALSE(hasLess);
}

// ---- docs/man/qvlctl.1 ----

// "Leave out folders on other file systems."
TEST_F(Prose, OtherFileSystemsAreLeftOut) {
  struct stat devices, memory;
  if (::stat("/dev", &devices) != 0 || ::stat("/dev/shm", &memory) != 0 ||
      devices.st_dev == memory.st_dev) {
    GTEST_SKIP() << "no file system is mounted on /dev/shm";
  }
  const std::string file = "/dev/shm/qvlctl-test-" + std::to_string(::getpid());
  std::ofstream(file) << "x";
  const bool with = run({"inventory", "-q", "/dev"}).out.find(file) != std::string::npos;
  const bool without = run({"inventory", "-q", "-x", "/dev"}).out.find(file) != std::string::npos;
  std::filesystem::remove(file);
  EXPECT_TRUE(with);
  EXPECT_FALSE(without);
}

// "Any number of them is answered in constant memory": with less than the paths take.
TEST_F(Prose, PathsAreAnsweredInConstantMemory) {
  policy("policy.xml", "1", "<data-set number='1' kind='folder'><rule>/a/</rule></data-set>");
  const std::string longPath = "/a/" + std::string(1000, 'x');
  EXPECT_EQ(shell("yes " + longPath +
                  " | head -n 400000 | (ulimit -v 200000; exec qvlctl lookup -p policy.xml) | "
                  "grep -c '^excluded  1 '"),
            (Result{0, "400000\n", ""}));
}

// The lines of the section CASE FILES are cases.
TEST_F(Prose, TheCasesOfTheManualPageAreCases) {
  const std::string page = source("docs/man/qvlctl.1");
  const std::size_t start = page.find(".Bd -literal -offset indent\nexcluded") + 28;
  write("cases.txt", page.substr(start, page.find(".Ed", start) - start));
  policy("policy.xml", "(1|3)&amp;!2",
         "<data-set number='1' kind='folder'><rule>/srv/build/</rule></data-set>"
         "<data-set number='2' kind='file-type'><rule>exe</rule></data-set>"
         "<data-set number='3' kind='process'><rule>/usr/bin/rsync</rule></data-set>");
  EXPECT_THAT(run({"test", "-q", "-p", "policy.xml", "cases.txt"}).out, HasSubstr("\n3 cases: "));
}

// The examples of the manual page that ask about /srv, with another folder in its place.
TEST_F(Prose, TheFirstExamplesOfTheManualPageRun) {
  const std::string page = source("docs/man/qvlctl.1");
  write("srv/build/a b", "1");
  write("srv/a.o", "1");
  policy("policy.xml", "1",
         "<data-set number='1' kind='folder'><rule>/**/srv/build/</rule></data-set>");
  policy("next.xml", "1", "<data-set number='1' kind='folder'><rule>/**/srv/</rule></data-set>");
  const std::regex command("\n\\.Dl ([^\n]*)");
  std::vector<std::string> outputs;
  for (std::sregex_iterator one(page.begin(), page.end(), command), end; one != end; ++one) {
    const Result result =
        shell(std::regex_replace((*one)[1].str(), std::regex(" /srv"), " '" + path("srv") + "'"));
    EXPECT_EQ(result.err, "") << (*one)[1];
    outputs.push_back(result.out);
  }
  ASSERT_EQ(outputs.size(), 3u);
  EXPECT_EQ(outputs[0], "excluded  1        " + path("srv/build/a b") + "\n");
  EXPECT_THAT(outputs[1], HasSubstr("asked   write by /usr/bin/cc\n"));
  EXPECT_THAT(outputs[2], HasSubstr("Newly skipped: 1 (1 byte)\n"));
}

}  // namespace
}  // namespace Test
}  // namespace QVL
