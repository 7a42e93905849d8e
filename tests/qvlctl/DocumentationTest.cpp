// The manual page, the completion and the examples of JSON follow the program.

#include <gmock/gmock.h>

#include <algorithm>
#include <fstream>
#include <iterator>
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

}  // namespace
}  // namespace Test
}  // namespace QVL
