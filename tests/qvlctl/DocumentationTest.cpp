// The manual page, the completion and the examples of JSON follow the program.

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "Program.h"

namespace QVL {
namespace Test {
namespace {

using testing::HasSubstr;
using testing::Not;

class Documentation : public ProgramTest {
 protected:
  static std::string source(const std::string& name) {
    std::ifstream stream(QVL_SOURCE_DIR "/" + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
  }

  static std::vector<std::string> findAll(const std::string& text, const char* expression) {
    const std::regex pattern(expression);
    std::vector<std::string> found;
    for (std::sregex_iterator match(text.begin(), text.end(), pattern), end; match != end;
         ++match) {
      found.push_back((*match)[1]);
    }
    return found;
  }

  std::vector<std::string> commands() const {
    const std::string help = run({"--help"}).out;
    return findAll(help.substr(help.find("Commands:")), "\n  ([a-z][-a-z]*) ");
  }

  // The options that the program, or a command of it, tells in its help.
  std::vector<std::string> options() const { return optionsIn(run({"--help"}).out); }
  std::vector<std::string> options(const std::string& command) const {
    return optionsIn(run({command, "--help"}).out);
  }

 private:
  static std::vector<std::string> optionsIn(const std::string& help) {
    return findAll(help, "\n  (?:-.,)?--([-a-z]+)");
  }
};

TEST_F(Documentation, TheManualPageKnowsEveryCommandAndOption) {
  const std::string page = source("docs/man/qvlctl.1");
  ASSERT_GE(commands().size(), 6u);
  for (const std::string& command : commands()) {
    EXPECT_THAT(page, HasSubstr("\n.It Cm " + command + "\n"));
    EXPECT_THAT(page, HasSubstr(".Nm\n.Cm " + command + "\n"));
    for (const std::string& option : options(command)) {
      const std::regex item("\n\\.It Fl (. , )?-" + option + "( Ar [a-z]+)?\n");
      EXPECT_TRUE(std::regex_search(page, item)) << command << " --" << option;
    }
  }
}

TEST_F(Documentation, TheManualPageKnowsNoOtherOption) {
  std::set<std::string> known;
  for (const std::string& option : options()) known.insert(option);
  for (const std::string& command : commands()) {
    for (const std::string& option : options(command)) known.insert(option);
  }
  for (const std::string& option :
       findAll(source("docs/man/qvlctl.1"), "\n\\.It Fl (?:. , )?-([-a-z]+)")) {
    EXPECT_EQ(known.count(option), 1u) << option;
  }
}

TEST_F(Documentation, TheCompletionForZshKnowsEveryCommandAndOption) {
  const std::string completion = source("tools/qvlctl/completion/_qvlctl");
  for (const std::string& command : commands()) {
    EXPECT_THAT(completion, HasSubstr("'" + command + ":"));
    const std::regex place("[ (]" + command + "( \\||\\)\n)");
    EXPECT_TRUE(std::regex_search(completion, place)) << command;
    for (const std::string& option : options(command)) {
      EXPECT_THAT(completion, HasSubstr("--" + option)) << command;
    }
    const std::vector<std::string> known = options(command);
    if (std::find(known.begin(), known.end(), "format") == known.end()) continue;
    const std::vector<std::string> formats =
        findAll(run({command, "--format", "none"}).err, "[ ]([a-z]+)(?=,| or [a-z]+;|;)");
    ASSERT_GE(formats.size(), 2u) << command;
    for (const std::string& format : formats) EXPECT_THAT(completion, HasSubstr(format)) << command;
  }
}

TEST_F(Documentation, TheExampleOfJsonIsRight) {
  const std::string page = source("docs/qvlctl-json.md");
  const std::string policies = source("docs/policy-format.md");
  const std::size_t start = policies.find("```xml\n") + 7;
  write("policy.xml", policies.substr(start, policies.find("```", start) - start));
  const Result result = run(
      {"lookup", "--policy", "policy.xml", "--format", "json", "/srv/build/a.o", "/home/ann/a.o"});
  std::string example =
      "    $ qvlctl lookup --policy policy.xml --format json /srv/build/a.o "
      "/home/ann/a.o\n";
  for (const std::string& line : findAll(result.out, "([^\n]+)\n")) example += "    " + line + '\n';
  EXPECT_THAT(page, HasSubstr(example));
}

TEST_F(Documentation, EveryMemberOfJsonIsDescribed) {
  write("policy.xml", R"(<exclusion-policy version="1"><logic>1|!2</logic>
<data-set number="1" kind="folder"><keyword name="%K%"><value>a</value></keyword>
<rule>/%K%/</rule></data-set>
<data-set number="2" kind="file-age"><rule of="creation" days="0"/></data-set>
</exclusion-policy>)");
  write("next.xml", R"(<exclusion-policy version="1"><logic>1&amp;1</logic>
<data-set number="1" kind="folder" match-anything="yes"/></exclusion-policy>)");
  write("cases.txt", "excluded 1 access=read process=p /a/x\nscan * /b\n");
  write("trace.xml", "<TraceValues/>");
  write("audit.json", run({"audit", "-p", "policy.xml", "--format", "json", "."}).out);
  Circumstances circumstances;
  circumstances.input = "/a/x\n/A/x\n/\xff\n" + path("policy.xml") + "\n";
  const std::vector<std::vector<std::string>> commandLines = {
      {"lookup", "-p", "policy.xml", "--format", "json"},
      {"explain", "-p", "policy.xml", "--format", "json"},
      {"diff", "-p", "policy.xml", "--with", "next.xml", "--format", "json"},
      {"diff", "-p", "policy.xml", "--with", "next.xml", "--format", "json", "."},
      {"diff", "--audits", "audit.json", "audit.json", "--format", "json"},
      {"test", "-p", "policy.xml", "--format", "json", "cases.txt"},
      {"inventory", "."},
      {"trace-level", "-f", "trace.xml", "--format", "json", "4"}};
  const std::string page = source("docs/qvlctl-json.md");
  for (const std::vector<std::string>& commandLine : commandLines) {
    const Result result = run(commandLine, circumstances);
    EXPECT_NE(result.status, 2) << result.err;
    const std::vector<std::string> members = findAll(result.out, "\"([a-zA-Z]+)\":");
    EXPECT_THAT(members, Not(testing::IsEmpty())) << commandLine.front();
    for (const std::string& member : members) {
      const bool isHex = member.size() > 3 && member.substr(member.size() - 3) == "Hex";
      EXPECT_THAT(page, HasSubstr(isHex ? "\"" + member + "\"" : "`" + member + "`"))
          << commandLine.front();
    }
  }
}

// What stands between two texts of a page, which both have to be there.
std::string between(const std::string& page, const std::string& from, const std::string& to) {
  const std::size_t start = page.find(from);
  const std::size_t end = start == std::string::npos ? start : page.find(to, start + from.size());
  EXPECT_NE(end, std::string::npos) << from;
  if (end == std::string::npos) return "";
  return page.substr(start + from.size(), end - start - from.size());
}

TEST_F(Documentation, TheExamplesOfLintAreRight) {
  const std::string page = source("docs/lint.md");
  const auto policy = [&](const std::string& dataSets) {
    write("policy.xml", "<exclusion-policy version=\"1\">\n  <logic>1</logic>\n" + dataSets +
                            "</exclusion-policy>\n");
  };
  policy("  <data-set number=\"1\" kind=\"folder\">\n    <rule>/usr/</rule>\n  </data-set>\n");
  const std::string out = run({"lint", "--policy", "policy.xml"}).out;
  std::string example = "    $ qvlctl lint --policy policy.xml\n";
  const std::vector<std::string> lines = findAll(out, "([^\n]+)\n");
  ASSERT_EQ(lines.size(), 3u) << out;
  example += "    " + lines[0] + "\n    " + lines[1] + "\n\n";
  EXPECT_THAT(page, HasSubstr(example));

  const std::string command = run({"lint", "-p", "policy.xml", "--format", "github"}).out;
  EXPECT_THAT(page, HasSubstr("`" + command.substr(0, command.find("::", 2) + 2) + "...`"));

  // The finding that the example allows is one, and there is nothing else.
  const std::string allowed = between(page, "with the reason:\n\n", "\n\n");
  const std::string allow = findAll(allowed, "( *<allow [^\n]*\n)").front();
  std::string bare = allowed + "\n";
  bare.erase(bare.find(allow), allow.size());
  for (const auto& [dataSet, status] : {std::pair{allowed + "\n", 0}, std::pair{bare, 1}}) {
    write("policy.xml",
          "<exclusion-policy version=\"1\"><logic>4</logic>\n" + dataSet + "</exclusion-policy>\n");
    EXPECT_EQ(run({"lint", "-p", "policy.xml"}).status, status) << dataSet;
  }
  EXPECT_EQ(nlohmann::json::parse(run({"lint", "-p", "policy.xml", "--format", "json"}).out)
                .at("findings")[0]
                .at("name"),
            "covers-tree");

  // Both commands of the baseline, one behind the other.
  const std::string commands = between(page, "do not count for the exit status.\n\n", "\n\n");
  Circumstances shell;
  shell.program = "/bin/sh";
  const std::string program = QVLCTL;
  const std::string all = "PATH=" + program.substr(0, program.rfind('/')) + ":$PATH\n" + commands;
  EXPECT_EQ(run({"-c", all}, shell).status, 0);
}

// In both directions: no member without a word about it, and no word about a member that is not
// there.
TEST_F(Documentation, TheReportsOfLintAndAuditHaveTheMembersDescribed) {
  write("policy.xml", R"(<exclusion-policy version="1" expired="drop"><logic>1|2|!3</logic>
<data-set number="1" kind="folder"><allow finding="covers-tree" rule="/usr/" reason="r"/>
<rule>/usr/</rule><rule>/opt/</rule><rule>/**/a/</rule></data-set>
<data-set number="2" kind="file-age"><rule of="creation" days="3000"/></data-set>
<data-set number="3" kind="process"><rule>/bin/a</rule><rule>/bin/b</rule></data-set>
</exclusion-policy>)");
  write("baseline.json", run({"lint", "-p", "policy.xml", "--format", "json"}).out);
  write("t/a/x", "1");
  write("t/b/x", "1");
  // A pseudo file system is in /dev where terminals are mounted in it; "none" cannot be read.
  struct stat devices, terminals;
  const bool hasPseudoFileSystem = ::stat("/dev", &devices) == 0 &&
                                   ::stat("/dev/pts", &terminals) == 0 &&
                                   devices.st_dev != terminals.st_dev;
  const std::vector<std::string> outputs = {
      run({"lint", "-p", "policy.xml", "--baseline", "baseline.json", "--format", "json"}).out,
      run({"audit", "-p", "policy.xml", "--format", "json", "t", "/dev", "none"}).out};
  const std::string lint = between(source("docs/lint.md"), "`--format json` writes", "Names stay");
  const std::string audit = source("docs/audit.md");
  const std::string described[] = {lint, audit.substr(audit.find("## The data"))};
  for (std::size_t i = 0; i < 2; ++i) {
    const std::vector<std::string> members = findAll(outputs[i], "\"([a-zA-Z]+)\":");
    std::set<std::string> written;
    for (const std::string& member : members) {
      if (member.size() < 4 || member.substr(member.size() - 3) != "Hex") written.insert(member);
    }
    std::set<std::string> told;
    for (const std::string& name : findAll(described[i], "`([a-zA-Z]+)`")) told.insert(name);
    for (const std::string& member : written) {
      EXPECT_EQ(told.count(member), 1u) << member << " is not described";
    }
    for (const std::string& name : told) {
      const bool isNoMember = name == "Hex" || name == "json";
      if (isNoMember || (name == "fileSystem" && !hasPseudoFileSystem)) continue;
      EXPECT_EQ(written.count(name), 1u) << name << " is not written";
    }
  }
}

// Programs that ask about many things, one of which each member of the JSON's page is about.
TEST_F(Documentation, EveryMemberDescribedIsWritten) {
  write("old.xml", R"(<exclusion-policy version="1"><logic>(1|3)&amp;4</logic>
<data-set number="1" kind="folder" name="n"><keyword name="%K%"><value>a</value></keyword>
<rule comment="c" owner="o" reason="r" ticket="t" added="2001-01-01" expires="2001-01-02">/%K%/</rule>
<rule>/b/</rule></data-set>
<data-set number="3" kind="file-age"><rule of="modification" days="3000,4000"/></data-set>
<data-set number="4" kind="process"><rule>/bin/a</rule><rule>/bin/b</rule></data-set>
</exclusion-policy>)");
  write("new.xml", R"(<exclusion-policy version="1"><logic>1</logic>
<data-set number="1" kind="folder" match-anything="yes"/></exclusion-policy>)");
  write("cases.txt", "excluded 1 access=read process=p /a/x\nscan * /b/x\n");
  write("trace.xml", "<TraceValues/>");
  write("audit.json", run({"audit", "-p", "old.xml", "--format", "json", "."}).out);
  write("later.json", run({"audit", "-p", "new.xml", "--format", "json", "."}).out);
  Circumstances circumstances;
  write("aged", "");
  std::filesystem::last_write_time(
      path("aged"), std::filesystem::file_time_type::clock::now() - std::chrono::hours(24 * 5000));
  circumstances.input = "/a/x\n/A/x\n/\xff\n/b/x\n" + path("aged") + "\n";
  std::set<std::string> written;
  const std::vector<std::vector<std::string>> commandLines = {
      {"lookup", "-p", "old.xml", "--format", "json"},
      {"explain", "-p", "old.xml", "--format", "json"},
      {"explain", "-p", "old.xml", "--format", "json", "--process", "/bin/a"},
      {"diff", "-p", "old.xml", "--with", "new.xml", "--format", "json"},
      {"diff", "-p", "old.xml", "--with", "new.xml", "--format", "json", "."},
      {"diff", "--audits", "audit.json", "later.json", "--format", "json"},
      {"test", "-p", "old.xml", "--format", "json", "cases.txt"},
      {"inventory", "."},
      {"trace-level", "-f", "trace.xml", "--format", "json", "4"}};
  std::string all;
  for (const std::vector<std::string>& commandLine : commandLines) {
    all += run(commandLine, circumstances).out;
  }
  for (const std::string& member : findAll(all, "\"([a-zA-Z]+)\":")) written.insert(member);
  const std::string page = source("docs/qvlctl-json.md");
  // The first column of each table, and what is told of the shapes in prose.
  std::set<std::string> told;
  for (const std::string& row : findAll(page, "\n\\| (`[^|]*) \\|")) {
    for (const std::string& name : findAll(row, "`([a-zA-Z]+)`")) told.insert(name);
  }
  for (const char* const prose : {"asked",
                                  "newlySkipped",
                                  "newlyScanned",
                                  "unreadableFolders",
                                  "leftOutFolders",
                                  "result",
                                  "cases",
                                  "passed",
                                  "failed",
                                  "failedFor",
                                  "expected",
                                  "found",
                                  "was",
                                  "level",
                                  "mtime",
                                  "btime",
                                  "fitsAccess",
                                  "expression",
                                  "keywords",
                                  "gaveUp",
                                  "decidedBy",
                                  "inLogic",
                                  "caseSensitive",
                                  "rules",
                                  "folders",
                                  "policyDigest",
                                  "created",
                                  "evaluation",
                                  "parts",
                                  "value"}) {
    EXPECT_THAT(page, HasSubstr(std::string("`") + prose + "`"));
    told.insert(prose);
  }
  EXPECT_GT(told.size(), 50u);
  for (const std::string& name : told) EXPECT_EQ(written.count(name), 1u) << name;
}

TEST_F(Documentation, TheValuesOfJsonAreThoseDescribed) {
  const std::string page = source("docs/qvlctl-json.md");
  const auto rowOf = [&](const std::string& member) {
    std::vector<std::string> values =
        findAll(between(page, "\n| `" + member + "` |", "\n"), "`\"([a-z-]+)\"`");
    std::sort(values.begin(), values.end());
    return values;
  };
  const auto ask = [&](const std::string& dataSet, std::vector<std::string> more) {
    write("policy.xml", "<exclusion-policy version='1'><logic>1</logic><data-set number='1' " +
                            dataSet + "</data-set></exclusion-policy>");
    more.insert(more.begin(), {"explain", "-p", "policy.xml", "--format", "json"});
    return nlohmann::json::parse(run(more).out);
  };
  std::set<std::string> kinds;
  std::set<std::string> deciders;
  std::set<std::string> verdicts;
  std::set<std::string> differences;
  const struct {
    const char* dataSet;
    const char* path;
  } rows[] = {
      {"kind='file-path'><rule>/a</rule>", "/a"},
      {"kind='file-type'><rule>a</rule>", "/x"},
      {"kind='process'><rule>/a</rule>", "/a"},
      {"kind='file-age'><rule of='creation' days='1'/>", "/a"},
      {"kind='folder' enabled='no'><rule>/a/</rule>", "/a"},
      {"kind='folder' check-access='write'><rule>/a/</rule>", "/a"},
      {"kind='folder' match-anything='yes'>", "/a"},
      {"kind='folder' match-empty-input='yes'><rule>/a/</rule>", ""},
      {"kind='folder'><rule>/Users/</rule>", "/users/x"},
      {"kind='file-path'><rule>/caf\xc3\xa9</rule>", "/cafe\xcc\x81"},
      {"kind='folder'><rule>/a/</rule>", "/a"},
      {"kind='folder'><rule>/tmp/</rule>", "/private/tmp/x"},
      {"kind='folder'><rule subfolders='no'>/a/</rule>", "/a/b/x"},
      {"kind='file-path'><rule>/a/*.c</rule>", "/a/b/x.c"},
      {"kind='file-path'><rule>/a/b</rule>", "/a/b/c/x"},
      {"kind='file-path' wildcards='no'><rule>/a/*.c</rule>", "/a/x.c"},
      {"kind='file-path'><rule>/a/b</rule>", "/a/x"},
      {"kind='file-path'><rule>/a/b.log</rule>", "/x/y.log"},
  };
  for (const auto& row : rows) {
    const nlohmann::json answer = ask(row.dataSet, {row.path});
    verdicts.insert(answer["verdict"]);
    kinds.insert(answer["dataSets"][0]["kind"]);
    deciders.insert(answer["dataSets"][0]["decidedBy"]);
    for (const nlohmann::json& near : answer["nearRules"]) differences.insert(near["difference"]);
  }
  EXPECT_THAT(kinds, testing::ElementsAreArray(rowOf("kind")));
  EXPECT_THAT(verdicts, testing::ElementsAreArray(rowOf("verdict")));
  std::vector<std::string> told =
      findAll(between(page, "`decidedBy`: `\"rules\"`, or", "; and `rules`"), "`\"([a-z-]+)\"`");
  told.push_back("rules");
  EXPECT_THAT(deciders, testing::UnorderedElementsAreArray(told));
  EXPECT_THAT(differences, testing::UnorderedElementsAreArray(findAll(
                               between(page, "\n`difference` is ", "\n\n"), "`\"([a-z-]+)\"`")));

  for (const auto& [access, written] :
       {std::pair{"read", "read"}, std::pair{"1", "read"}, std::pair{"2", "write"},
        std::pair{"any", "any"}, std::pair{"17", "17"}}) {
    EXPECT_EQ(ask("kind='folder'><rule>/a/</rule>", {"--access", access, "/a"})["access"], written);
  }
}

// "Errors and warnings go to standard error as text, and the exit status is the same in every
// format."
TEST_F(Documentation, FormatsDifferInNothingElse) {
  const std::string warned =
      "<exclusion-policy version='1'><logic>1|7</logic><data-set number='1' kind='folder'>"
      "<rule>/a/</rule></data-set></exclusion-policy>";
  write("policy.xml", warned);
  write("next.xml", std::string(warned).replace(warned.find("/a/"), 3, "/b/"));
  write("broken.xml", "<exclusion-policy version='1'><logic>1</logic>");
  write("good.txt", "excluded 1 /a/x\n");
  write("bad.txt", "scan 1 /a/x\n");
  const struct {
    std::vector<std::string> arguments;
    std::vector<std::string> formats;
    int status;
  } rows[] = {
      {{"lookup", "-p", "policy.xml", "/a/x"}, {"json"}, 0},
      {{"lookup", "-p", "policy.xml", "/b/x"}, {"json"}, 1},
      {{"lookup", "-p", "broken.xml", "/b/x"}, {"json"}, 2},
      {{"explain", "-p", "policy.xml", "/a/x"}, {"json"}, 0},
      {{"explain", "-p", "policy.xml", "/b/x"}, {"json"}, 1},
      {{"diff", "-p", "policy.xml", "--with", "policy.xml", "."}, {"json", "sarif"}, 0},
      {{"diff", "-p", "policy.xml", "--with", "broken.xml", "."}, {"json", "sarif"}, 2},
      {{"test", "-p", "policy.xml", "good.txt"}, {"json", "tap", "junit"}, 0},
      {{"test", "-p", "policy.xml", "bad.txt"}, {"json", "tap", "junit"}, 1},
      {{"audit", "-p", "policy.xml", "."}, {"json", "html"}, 0},
      {{"audit", "-p", "broken.xml", "."}, {"json", "html"}, 2},
      {{"audit", "-p", "policy.xml", "none"}, {"json", "html"}, 2},
      {{"lint", "-p", "policy.xml"}, {"json", "sarif", "github"}, 1},
      {{"lint", "-p", "broken.xml"}, {"json", "sarif", "github"}, 2},
  };
  for (const auto& row : rows) {
    const Result text = run(row.arguments);
    EXPECT_EQ(text.status, row.status) << row.arguments[0] << text.err;
    for (const std::string& format : row.formats) {
      std::vector<std::string> arguments = row.arguments;
      arguments.insert(arguments.begin() + 1, {"--format", format});
      const Result other = run(arguments);
      EXPECT_EQ(other.status, row.status) << row.arguments[0] << ' ' << format << other.err;
      EXPECT_EQ(other.err, text.err) << row.arguments[0] << ' ' << format;
    }
  }
}

// The table of the manual page: for each command what 0 and 1 mean.
TEST_F(Documentation, TheExitStatusIsThatOfTheManualPage) {
  const auto policy = [&](const std::string& name, const std::string& rule) {
    write(
        name,
        "<exclusion-policy version='1'><logic>1</logic><data-set number='1' kind='folder'><rule>" +
            rule + "</rule></data-set></exclusion-policy>");
  };
  policy("policy.xml", "/srv/a/");
  policy("broad.xml", "/usr/");
  write("canonical.xml", run({"fmt", "-p", "policy.xml"}).out);
  write("good.txt", "excluded 1 /srv/a/x\n");
  write("bad.txt", "excluded 1 /srv/b/x\n");
  write("list.txt", "/srv/a\n");
  write("odd.txt", "/srv/a\nrelative\n");
  write("none.txt", "# no case\n");
  write("trace.xml", "<TraceValues/>");
  write("level.xml", "<TraceValues><ScanAvoidanceFlow>1</ScanAvoidanceFlow></TraceValues>");
  write("t/srv.txt", "1");
  policy("old.xml", "/**/t/");
  const struct {
    std::vector<std::string> arguments;
    int status;
  } rows[] = {
      {{"lookup", "-p", "policy.xml", "/b", "/srv/a/x"}, 0},
      {{"lookup", "-p", "policy.xml", "/b"}, 1},
      {{"explain", "-p", "policy.xml", "/b", "/srv/a/x"}, 0},
      {{"explain", "-p", "policy.xml", "/b"}, 1},
      {{"diff", "-p", "policy.xml", "--with", "policy.xml", "t"}, 0},
      {{"diff", "-p", "policy.xml", "--with", "old.xml", "t"}, 1},
      {{"test", "-p", "policy.xml", "good.txt"}, 0},
      {{"test", "-p", "policy.xml", "good.txt", "bad.txt"}, 1},
      {{"test", "-p", "policy.xml", "none.txt"}, 2},
      {{"lint", "-p", "policy.xml"}, 0},
      {{"lint", "-p", "broad.xml"}, 1},
      {{"import", "list.txt"}, 0},
      {{"import", "odd.txt"}, 1},
      {{"audit", "-p", "policy.xml", "."}, 0},
      {{"inventory", "."}, 0},
      {{"show", "-p", "policy.xml"}, 0},
      {{"init"}, 0},
      {{"fmt", "-p", "policy.xml"}, 0},
      {{"fmt", "-p", "canonical.xml", "--check"}, 0},
      {{"fmt", "-p", "policy.xml", "--check"}, 1},
      {{"trace-level", "-f", "level.xml"}, 0},
      {{"trace-level", "-f", "trace.xml", "4"}, 0},
      {{"lookup", "-p", "none.xml", "/b"}, 2},
      {{"inventory", "none"}, 2},
      {{"import", "none"}, 2},
  };
  std::set<std::string> tried;
  for (const auto& row : rows) {
    const Result result = run(row.arguments);
    EXPECT_EQ(result.status, row.status)
        << row.arguments[0] << ' ' << row.arguments.back() << ": " << result.err;
    tried.insert(row.arguments[0]);
  }
  for (const std::string& command : commands()) EXPECT_EQ(tried.count(command), 1u) << command;
  EXPECT_EQ(run({"init", "policy.xml"}).status, 2) << "which must not be there yet";
}

// `-` as the policy is standard input, whatever the command.
TEST_F(Documentation, ThePolicyOfEveryCommandMayBeStandardInput) {
  Circumstances circumstances;
  circumstances.input =
      "<exclusion-policy version='1'><logic>1</logic><data-set number='1' kind='folder'>"
      "<rule>/srv/a/</rule></data-set></exclusion-policy>";
  write("cases.txt", "excluded 1 /srv/a/x\n");
  write("policy.xml", circumstances.input);
  const std::vector<std::vector<std::string>> rows = {
      {"lookup", "-p", "-", "/srv/a/x"},
      {"explain", "-p", "-", "/srv/a/x"},
      {"diff", "-p", "-", "--with", "policy.xml", "."},
      {"diff", "-p", "policy.xml", "--with", "-", "."},
      {"test", "-p", "-", "cases.txt"},
      {"lint", "-p", "-"},
      {"audit", "-p", "-", "."},
      {"show", "-p", "-"},
      {"fmt", "-p", "-"}};
  std::set<std::string> tried;
  for (const auto& row : rows) {
    EXPECT_EQ(run(row, circumstances).status, 0) << row[0];
    tried.insert(row[0]);
  }
  for (const std::string& command : commands()) {
    const std::vector<std::string> known = options(command);
    const bool takesPolicy = std::find(known.begin(), known.end(), "policy") != known.end();
    EXPECT_EQ(tried.count(command) == 1, takesPolicy) << command;
  }
}

// Of the examples of the manual page, those that the page says to be run one behind the other.
TEST_F(Documentation, TheExamplesOfTheManualPageRun) {
  write("policy.xml", source("examples/linux-server.xml"));
  write("next.xml", source("examples/linux-server.xml"));
  write("paths.txt", "/usr/include/a.h\n/srv/build/a/b.o\n/srv/build/a b.exe\n/home/ann/mail\n");
  const std::string keep =
      between(source("docs/man/qvlctl.1"),
              "Keep answers as they are:\n.Bd -literal -offset indent\n", "\n.Ed");
  Circumstances shell;
  shell.program = "/bin/sh";
  const std::string program = QVLCTL;
  const std::string path = "PATH=" + program.substr(0, program.rfind('/')) + ":$PATH\n";
  const std::string commands = std::regex_replace(keep, std::regex("\\\\\\(dq"), "\"");
  const Result result = run({"-c", path + commands}, shell);
  EXPECT_EQ(result.status, 0) << result.out << result.err;
  EXPECT_THAT(result.out, HasSubstr("4 cases"));
}

// As many folders, rules and reasons are listed as `--top` says, 10 if it says nothing.
TEST_F(Documentation, TenOfEachAreListedUnlessTold) {
  std::string rules;
  for (int i = 0; i < 12; ++i) {
    rules += "<rule>/**/d" + std::to_string(i) + "/</rule>";
    write("t/d" + std::to_string(i) + "/x", "1");
  }
  write("t/scanned", "1");  // or the whole of t would be one folder that is skipped
  write("policy.xml",
        "<exclusion-policy version='1'><logic>1</logic><data-set number='1' "
        "kind='folder'>" +
            rules + "</data-set></exclusion-policy>");
  const auto listed = [&](std::vector<std::string> more) {
    more.insert(more.begin(), {"audit", "-p", "policy.xml", "--format", "json", "t"});
    return nlohmann::json::parse(run(more).out)["skippedFolders"].size();
  };
  EXPECT_EQ(listed({}), 10u);
  EXPECT_EQ(listed({"--top", "3"}), 3u);
  EXPECT_EQ(listed({"--top", "100"}), 12u);
}

}  // namespace
}  // namespace Test
}  // namespace QVL
